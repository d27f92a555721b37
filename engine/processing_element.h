#pragma once

#include "engine/audio_bus.h"
#include "engine/element.h"
#include "engine/process_context.h"

#include <atomic>
#include <vector>

namespace qor
{

class ProcessingElementState : public ElementState
{
public:
    using ElementState::ElementState;

    int32_t subBlockOffset = 0;
    bool bypassed = false;
};

/** Single-producer, single-consumer ring of events with free-running indices. */
class EventRing
{
public:
    explicit EventRing(uint32_t capacity = 0) : storage(capacity) {}

    uint32_t capacity() const { return static_cast<uint32_t>(storage.size()); }
    bool empty() const { return readIndex.load() == writeIndex.load(); }

    /** Copies the event in; a full ring drops it and answers false. */
    bool push(const PluginEvent& event);
    /** Takes the oldest event; false when empty. */
    bool pop(PluginEvent& event);

private:
    std::atomic<uint32_t> readIndex{0};
    std::atomic<uint32_t> writeIndex{0};
    std::vector<PluginEvent> storage;
};

/** An element that takes part in the audio path. */
class ProcessingElement : public Element
{
public:
    ProcessingElement(const juce::Identifier& typeName, const juce::String& name = {},
                      uint32_t eventRingCapacity = 0);
    ~ProcessingElement() override;

    /** Id of the built-in bool parameter "Bypass". */
    static uint32_t bypassParameterId();
    /** Id of the built-in text parameter "Role" (the processing role's name; not saved). */
    static uint32_t roleParameterId();

    virtual int32_t getLatency() const { return 0; }
    virtual uint32_t getNumInputBuses() const { return 1; }
    virtual void setOffline(bool) {}
    virtual void processEvents(ProcessContext& context, EventList events, uint32_t numSamples);
    virtual int32_t getNumOutputBuses() const { return 1; }
    struct ChannelInfo
    {
        int32_t count = 2;
        bool isFixed = false;
    };
    virtual ChannelInfo getChannelInfo() const { return {}; }
    virtual void setOutputBus(uint32_t index, AudioBus* bus);
    virtual void process(ProcessContext& context, uint32_t numSamples);
    virtual bool acceptsEvent(const PluginEvent&) const { return true; }
    virtual void handleEvent(const PluginEvent& event);
    virtual void handleEvents(ProcessContext& context, EventList events);
    virtual void onSuspend() {}
    virtual void render(ProcessContext& context, uint32_t numSamples, ProcessingElementState& state);
    virtual void renderSubBlock(ProcessContext&, ProcessingElementState&, uint32_t) {}

    void prepareToPlay() override;

    AudioBus* getOutputBus(uint32_t index) const
    {
        return index < outputBuses.size() ? outputBuses[index] : nullptr;
    }
    bool isBypassed() const;
    /** Producer side of the event ring (used when the tree is busy). */
    bool pushEvent(const PluginEvent& event) { return eventRing.push(event); }

    Signal<int> busChanged;
    juce::String processingName;

protected:
    ProcessingElementState& getProcessingState() const
    {
        return static_cast<ProcessingElementState&>(*processState);
    }

    EventRing eventRing;
    std::vector<AudioBus*> outputBuses;
    bool filtersEvents = false;
    bool receivesChildEvents = false;
    bool skipsOutputRouter = false;
    /** An element that must run although bypassed (none in this product). */
    bool runsWhenBypassed = false;
};

/** The lean base of an effect: the whole audio contract is renderInPlace on the main bus's channels. */
class BasicProcessingElement : public ProcessingElement
{
public:
    using ProcessingElement::ProcessingElement;

    void setOffline(bool offline) override { isOffline.store(offline, std::memory_order_relaxed); }
    int32_t getNumOutputBuses() const override { return 1; }
    ChannelInfo getChannelInfo() const override { return {1, true}; }
    void setOutputBus(uint32_t index, AudioBus* bus) override;
    void render(ProcessContext& context, uint32_t numSamples, ProcessingElementState& state) override;

    /** The effect's work, in place on the main bus; isSilent is true on entry when the bus held nothing. */
    virtual void renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                               float* const* channels, bool& isSilent) = 0;
    virtual void tailChanged() {}

    /** Channel counts the host configured; each is 1 or 2. */
    void setChannelCounts(uint32_t inputs, uint32_t outputs);
    uint32_t getNumInputChannels() const { return numInputChannels; }
    uint32_t getNumOutputChannels() const { return numOutputChannels; }
    bool getOffline() const { return isOffline.load(std::memory_order_relaxed); }
    AudioBus* getMainBus() const { return mainBus; }

    /** Channel count of a bus layout code. */
    static int32_t channelsOfLayout(int32_t layout);

protected:
    AudioBus* mainBus = nullptr;
    uint32_t numInputChannels = 2;
    uint32_t numOutputChannels = 2;
    std::atomic<bool> isOffline{false}; // set by the host side, read by the audio and mode threads
};

} // namespace qor
