#pragma once

#include "engine/processing_element.h"

#include <juce_core/juce_core.h>

namespace qor
{

/** Root of the tree: runs its child elements and keeps the audio thread off the tree while it changes. */
class Engine : public ProcessingElement
{
public:
    static constexpr uint32_t eventRingCapacity = 64;

    explicit Engine(const juce::String& name = {});
    ~Engine() override;

    /** Registers the type "Engine" in the element registry (once per process). */
    static void registerType();

    struct Ids
    {
        uint32_t globalTune, tempo, playing, recording, autoPlay, displayName, meterNumerator,
            meterDenominator;
    };
    static const Ids& parameterIds();

    ProcessingElement* addElement(std::unique_ptr<ProcessingElement> element);
    std::unique_ptr<ProcessingElement> removeElement(ProcessingElement* element);
    const std::vector<ProcessingElement*>& getElements() const { return elements; }

    void prepareToPlay() override;
    void processEvents(ProcessContext& context, EventList events, uint32_t numSamples) override;
    void process(ProcessContext& context, uint32_t numSamples) override;
    void render(ProcessContext& context, uint32_t numSamples, ProcessingElementState& state) override;
    void setOutputBus(uint32_t index, AudioBus* bus) override;
    void reset() override;
    void handleEvents(ProcessContext& context, EventList events) override;
    void setOffline(bool offline) override;

    tinyxml2::XMLElement* saveToXml(tinyxml2::XMLElement* parent, const SaveContext& context) override;
    bool loadFromXml(const tinyxml2::XMLElement* xml, const LoadContext& context, int version) override;

    /** Held by the main thread while the tree changes; the audio thread only tries it. */
    juce::CriticalSection& getTreeLock() { return treeLock; }

    float tuning = 440.0f;
    int32_t meterNumerator = 4;
    int32_t meterDenominator = 4;
    double tempo = 120.0;
    float tempoFloat = 120.0f;
    bool playing = false;
    bool recording = false;
    bool autoPlay = false;
    juce::String displayName{"Default"};
    uint64_t samplePosition = 0;
    bool isFirstBlock = true;
    juce::String defaultMultiName{"Default Multi"};
    Signal<float> tempoChanged;

private:
    std::vector<ProcessingElement*> elements;
    juce::CriticalSection treeLock;
    uint32_t currentNumSamples = 0;
};

} // namespace qor
