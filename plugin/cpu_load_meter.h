#pragma once

#include <juce_core/juce_core.h>

#include <algorithm>
#include <cstdint>

namespace qor
{

/** Share of real time that blocks take, smoothed, with the peak kept. */
struct CpuLoadMeter
{
    double samplePeriod = 1.0 / 44100.0;
    double startTime = 0.0;
    double load = 0.0;
    double peak = 0.0;

    void prepare(double sampleRate)
    {
        samplePeriod = 1.0 / sampleRate;
        load = 0.0;
        peak = 0.0;
    }

    void start() { startTime = juce::Time::getMillisecondCounterHiRes(); }

    void stop(uint32_t numSamples) { stopAt(numSamples, juce::Time::getMillisecondCounterHiRes()); }

    void stopAt(uint32_t numSamples, double nowMs)
    {
        if (numSamples == 0)
            return;
        const double d = numSamples * samplePeriod;
        const double x = (nowMs - startTime) * 0.001 / d;
        peak = std::max(peak, x);
        load += 2.0 * d * (x - load);
    }
};

} // namespace qor
