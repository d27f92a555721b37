#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qor::test
{

/** Channels of audio with the pointer arrays a bank takes. */
struct Channels
{
    Channels(uint32_t numChannels, uint32_t numSamples)
        : data(numChannels, std::vector<float>(numSamples, 0.0f))
    {
        for (auto& channel : data)
            pointers.push_back(channel.data());
    }
    float* const* write() { return pointers.data(); }
    const float* const* read() const { return pointers.data(); }
    std::vector<float>& operator[](size_t channel) { return data[channel]; }
    const std::vector<float>& operator[](size_t channel) const { return data[channel]; }

    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

} // namespace qor::test
