#pragma once

#include "engine/engine_proxy.h"
#include "modal/lamina/signal_blocks.h"

#include <juce_events/juce_events.h>

#include <memory>
#include <vector>

namespace qor
{

class Lamina;

/** The editor's one view of the sheet's audio: the element's input and output rings, attached while the
    editor is open, read every 20 ms on the message thread and handed to whoever asks (the level meters, the
    analyser). One tap per editor: the element keeps one pair of rings. */
class AudioTap : private juce::Timer, private EngineProxy::ElementBoundListener
{
public:
    enum class Side
    {
        input,
        output
    };

    /** Told of the samples that arrived since the last read, on the message thread. */
    class Listener
    {
    public:
        virtual ~Listener() = default;
        virtual void tapSamples(Side side, const float* samples, int count) = 0;
    };

    static constexpr int intervalMs = 20;
    static constexpr uint32_t ringSize = 1 << 15;

    AudioTap(EngineProxy& proxy, const juce::String& path);
    ~AudioTap() override;

    void addListener(Listener* listener);
    void removeListener(Listener* listener);

    /** The element whose audio is read; null while there is none. */
    Lamina* getElement() const { return element; }
    /** Reads what the rings hold now and hands it on (the timer does this every 20 ms). */
    void poll();

private:
    void timerCallback() override { poll(); }
    void elementBound(const juce::String& path, Element* element) override;
    void detach();

    EngineProxy& proxy;
    Lamina* element = nullptr;
    std::shared_ptr<AnalyserRing> input;
    std::shared_ptr<AnalyserRing> output;
    std::vector<float> scratch;
    std::vector<Listener*> listeners;
};

} // namespace qor
