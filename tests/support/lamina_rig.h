#pragma once

#include "engine/audio_bus.h"
#include "engine/process_context.h"
#include "tests/support/lamina_probe.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace qor::test
{

/** One Lamina on its own bus, driven block by block as the engine drives it: deferred values are applied at
    the head of each block by the element's own process call. */
class LaminaRig
{
public:
    struct Options
    {
        double sampleRate = 48000;
        uint32_t maxBlockSize = 512;
        uint32_t inputs = 2;
        uint32_t outputs = 2;
        bool offline = false;
        /** Values set (immediately) before prepare, so that the first table already follows them. */
        std::function<void(Lamina&)> configure;
    };

    explicit LaminaRig(Options o) : options(std::move(o)), bus(static_cast<int32_t>(options.outputs), 0)
    {
        lamina = std::make_unique<Lamina>();
        lamina->setChannelCounts(options.inputs, options.outputs);
        lamina->setOutputBus(0, &bus);
        if (options.configure)
            options.configure(*lamina);
        context.sampleRate = static_cast<float>(options.sampleRate);
        context.timeInfo.isOffline = options.offline;
        context.scratch.reserve(1 << 20);
        context.scratch2.reserve(1 << 16);
        lamina->prepare(options.sampleRate, options.maxBlockSize);
        channels.assign(options.outputs, std::vector<float>(options.maxBlockSize, 0.0f));
    }

    LaminaRig() : LaminaRig(Options{}) {}

    /** Runs one block in place on `data` (one pointer for each bus channel). */
    void process(float* const* data, uint32_t numSamples)
    {
        const juce::ScopedNoDenormals noDenormals;
        bus.setChannels(data);
        lamina->process(context, numSamples);
        context.advance(numSamples);
    }

    /** Runs one block of the rig's own buffers, which the caller filled. */
    void process(uint32_t numSamples)
    {
        float* pointers[2] = {channels[0].data(), options.outputs > 1 ? channels[1].data() : nullptr};
        process(pointers, numSamples);
    }

    /** Renders `input` (one vector for each bus channel) in blocks of `blockSize` and answers the output. */
    std::vector<std::vector<float>> render(const std::vector<std::vector<float>>& input, uint32_t blockSize)
    {
        std::vector<std::vector<float>> out = input;
        const size_t length = input[0].size();
        for (size_t offset = 0; offset < length; offset += blockSize)
        {
            const auto n = static_cast<uint32_t>(std::min<size_t>(blockSize, length - offset));
            float* pointers[2] = {out[0].data() + offset, out.size() > 1 ? out[1].data() + offset : nullptr};
            process(pointers, n);
        }
        return out;
    }

    Lamina::State& state() { return LaminaProbe::processState(*lamina); }
    const LaminaProbe::Stats& stats() { return *LaminaProbe::stats(state()); }

    void setOffline(bool offline) { context.timeInfo.isOffline = offline; }

    Options options;
    AudioBus bus;
    ProcessContext context;
    std::unique_ptr<Lamina> lamina;
    std::vector<std::vector<float>> channels;
};

/** The sheet's parameter ids. */
inline const Lamina::ParameterIds& ids()
{
    return Lamina::ids();
}

/** A small sheet without perturbation ("Low", the smallest area, no anisotropy): its table is the same on
    every thread, and cheap to build. */
inline LaminaRig::Options smallSheet(bool offline = true, uint32_t maxBlockSize = 512)
{
    LaminaRig::Options o;
    o.offline = offline;
    o.maxBlockSize = maxBlockSize;
    o.configure = [](Lamina& l)
    {
        l.setParameter(ids().quality, int32_t{0});
        l.setParameter(ids().area, 0.6f);
        l.setParameter(ids().anisotropy, 0.0f);
    };
    return o;
}

inline double peak(const std::vector<float>& v)
{
    double m = 0;
    for (float x : v)
        m = std::max(m, std::fabs(static_cast<double>(x)));
    return m;
}

inline bool allFinite(const std::vector<float>& v)
{
    for (float x : v)
        if (!std::isfinite(x))
            return false;
    return true;
}

/** Uniform noise from a fixed seed. */
inline std::vector<float> noise(size_t length, float amplitude, uint32_t seed)
{
    std::vector<float> v(length);
    uint32_t s = seed;
    for (auto& x : v)
    {
        s = s * 1664525u + 1013904223u;
        x = amplitude * (static_cast<float>(s >> 8) / 8388608.0f - 1.0f);
    }
    return v;
}

} // namespace qor::test
