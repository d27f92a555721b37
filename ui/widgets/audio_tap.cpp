#include "ui/widgets/audio_tap.h"

#include "modal/lamina/lamina.h"

#include <algorithm>
#include <thread>

namespace qor
{

AudioTap::AudioTap(EngineProxy& p, const juce::String& path) : proxy(p), scratch(ringSize)
{
    proxy.addElementBoundListener(path, this);
    startTimer(intervalMs);
}

AudioTap::~AudioTap()
{
    stopTimer();
    proxy.removeElementBoundListener(this);
    detach();
}

void AudioTap::elementBound(const juce::String&, Element* newElement)
{
    detach();
    element = dynamic_cast<Lamina*>(newElement);
    if (element == nullptr)
        return;
    input = std::make_shared<AnalyserRing>(ringSize);
    output = std::make_shared<AnalyserRing>(ringSize);
    element->attachInputAnalyser(input);
    element->attachOutputAnalyser(output);
}

void AudioTap::detach()
{
    if (element != nullptr)
    {
        element->attachInputAnalyser(nullptr);
        element->attachOutputAnalyser(nullptr);
    }
    element = nullptr;
    // A block that took the rings before they were detached still holds them; the last reference must not
    // fall to the audio thread, which would free them there. Its hold lasts one block at most.
    for (auto* ring : {&input, &output})
    {
        while (*ring != nullptr && ring->use_count() > 1)
            std::this_thread::yield();
        ring->reset();
    }
}

void AudioTap::addListener(Listener* listener)
{
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.push_back(listener);
}

void AudioTap::removeListener(Listener* listener)
{
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

void AudioTap::poll()
{
    const std::pair<Side, AnalyserRing*> rings[] = {{Side::input, input.get()}, {Side::output, output.get()}};
    for (auto [side, ring] : rings)
    {
        if (ring == nullptr)
            continue;
        const auto count = ring->pop(scratch.data(), uint32_t(scratch.size()));
        if (count == 0)
            continue;
        for (auto* listener : std::vector<Listener*>(listeners))
            listener->tapSamples(side, scratch.data(), int(count));
    }
}

} // namespace qor
