#include "engine/audio_bus.h"

#include "engine/process_context.h"

#include <cstring>

namespace qor
{

AudioBus::AudioBus(int32_t channelCount, int32_t sampleCount)
    : numChannels(channelCount), channels(static_cast<std::size_t>(channelCount), nullptr),
      numSamples(sampleCount)
{
}

void AudioBus::setChannels(float* const* pointers)
{
    for (int32_t c = 0; c < numChannels; ++c)
        channels[static_cast<std::size_t>(c)] = pointers[c];
    silent = false;
}

void AudioBus::setSilent(ScratchArena* arena, int32_t count)
{
    silent = true;
    numSamples = count;
    if (allocatesFromScratch && arena != nullptr)
    {
        const auto rounded = (static_cast<std::size_t>(count) * sizeof(float) + 15) / 16 * 16;
        for (auto& channel : channels)
            channel = static_cast<float*>(arena->allocate(rounded, 16));
    }
}

float* const* AudioBus::getChannels()
{
    if (silent && clearOnRead)
        for (auto* channel : channels)
            if (channel != nullptr)
                std::memset(channel, 0, static_cast<std::size_t>(numSamples) * sizeof(float));
    silent = false;
    return channels.data();
}

} // namespace qor
