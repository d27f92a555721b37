#pragma once

// Random tables and signals shared by the single-core and multi-core bank tests: every value comes from a
// seed, so two banks filled alike must sound alike.

#include "modal/bank/imodal_bank.h"
#include "tests/support/channels.h"

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace qor::test
{

constexpr double bankSampleRate = 48000.0;
constexpr double pi = 3.141592653589793;

using Signal = Channels;

inline void setPole(IModalBank& bank, uint32_t mode, double decayRate, double omega)
{
    const double r = std::exp(-decayRate / bankSampleRate);
    const double cs[2] = {r * std::cos(omega / bankSampleRate), r * std::sin(omega / bankSampleRate)};
    bank.setModeCoefficients(mode, cs);
}

/** Random poles and gains on every mode up to capacity, also those that will not be active. */
inline void fillRandom(IModalBank& bank, uint32_t capacity, uint32_t numInputs, uint32_t numOutputs,
                       unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (uint32_t k = 0; k < capacity; ++k)
    {
        setPole(bank, k, 1.0 + 30.0 * unit(random), 2 * pi * 20000.0 * unit(random));
        for (uint32_t i = 0; i < numInputs; ++i)
            bank.setInputGain(k, i, 2.0 * unit(random) - 1.0);
        for (uint32_t o = 0; o < numOutputs; ++o)
            bank.setOutputGain(k, o, 2.0 * unit(random) - 1.0);
    }
}

inline Signal noise(uint32_t numChannels, uint32_t numSamples, unsigned seed)
{
    Signal s(numChannels, numSamples);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (auto& channel : s.data)
        for (auto& x : channel)
            x = unit(random);
    return s;
}

inline Signal run(IModalBank& bank, const Signal& in, uint32_t numOutputs)
{
    Signal out(numOutputs, static_cast<uint32_t>(in.data[0].size()));
    bank.process(out.write(), in.read(), static_cast<uint32_t>(in.data[0].size()));
    return out;
}

inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/** Random poles and gains for count modes as the arrays of a ModeSpan. */
struct SpanData
{
    SpanData(uint32_t count, uint32_t numInputs, uint32_t numOutputs, unsigned seed)
        : c(count), s(count), in(numInputs, std::vector<double>(count)),
          out(numOutputs, std::vector<double>(count))
    {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        for (uint32_t k = 0; k < count; ++k)
        {
            const double r = std::exp(-(1.0 + 30.0 * unit(random)) / bankSampleRate);
            const double w = 2 * pi * 20000.0 * unit(random) / bankSampleRate;
            c[k] = r * std::cos(w);
            s[k] = r * std::sin(w);
            for (auto& row : in)
                row[k] = 2.0 * unit(random) - 1.0;
            for (auto& row : out)
                row[k] = 2.0 * unit(random) - 1.0;
        }
        span.c = c.data();
        span.s = s.data();
        span.numInputs = numInputs;
        span.numOutputs = numOutputs;
        for (uint32_t i = 0; i < numInputs; ++i)
            span.inputGains[i] = in[i].data();
        for (uint32_t o = 0; o < numOutputs; ++o)
            span.outputGains[o] = out[o].data();
    }
    /** The same values through the per-mode setters. */
    void setOneByOne(IModalBank& bank, uint32_t first) const
    {
        for (uint32_t k = 0; k < c.size(); ++k)
        {
            const double cs[2] = {c[k], s[k]};
            bank.setModeCoefficients(first + k, cs);
            for (uint32_t i = 0; i < in.size(); ++i)
                bank.setInputGain(first + k, i, in[i][k]);
            for (uint32_t o = 0; o < out.size(); ++o)
                bank.setOutputGain(first + k, o, out[o][k]);
        }
    }

    std::vector<double> c, s;
    std::vector<std::vector<double>> in, out;
    ModeSpan span;
};

} // namespace qor::test
