#pragma once

#include <juce_core/juce_core.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace qor
{

/** A double that the audio thread writes and the editor's timer reads; copies take the value. */
class SharedDouble
{
public:
    SharedDouble(double initial = 0.0) : value(initial) {}
    SharedDouble(const SharedDouble& other) : value(other.load()) {}
    SharedDouble& operator=(const SharedDouble& other)
    {
        store(other.load());
        return *this;
    }
    SharedDouble& operator=(double v)
    {
        store(v);
        return *this;
    }
    operator double() const { return load(); }
    double load() const { return value.load(std::memory_order_relaxed); }
    void store(double v) { value.store(v, std::memory_order_relaxed); }

private:
    std::atomic<double> value;
};

/** Share of real time that blocks take, smoothed, with the peak kept. */
struct CpuLoadMeter
{
    double samplePeriod = 1.0 / 44100.0;
    double startTime = 0.0;
    SharedDouble load = 0.0;
    SharedDouble peak = 0.0;

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
        peak = std::max(peak.load(), x);
        const double previous = load.load();
        load = previous + 2.0 * d * (x - previous);
    }
};

} // namespace qor
