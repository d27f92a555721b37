#include "modal/lamina/signal_blocks.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qor
{

void SampleDelay::init(uint32_t maxBlock, uint32_t maxDelay)
{
    // Three more than a block, for the neighbours of a four-point interpolator.
    guard = maxBlock + 3;
    length = guard + std::max(maxDelay, guard);
    writeIndex = 0;
    samples.assign(static_cast<size_t>(length) + guard, 0.0f);
}

void SampleDelay::write(const float* source, uint32_t count)
{
    float* data = samples.data();
    std::memcpy(data + writeIndex, source, count * sizeof(float));
    if (writeIndex < guard)
    {
        const uint32_t mirrored = std::min(count, guard - writeIndex);
        std::memcpy(data + length + writeIndex, data + writeIndex, mirrored * sizeof(float));
    }
    else if (writeIndex + count >= length)
    {
        std::memcpy(data, data + length, (writeIndex + count - length) * sizeof(float));
    }
}

void SampleDelay::read(float* target, double delayStart, double delayEnd, uint32_t count) const
{
    // Whatever the delays are, NaN included, the read stays inside the line.
    const double longest = double(length - guard);
    delayStart = std::isnan(delayStart) ? 0.0 : std::clamp(delayStart, 0.0, longest);
    delayEnd = std::isnan(delayEnd) ? 0.0 : std::clamp(delayEnd, 0.0, longest);
    const float* data = samples.data();
    if (delayStart == delayEnd && delayStart == std::floor(delayStart))
    {
        const uint32_t delay = static_cast<uint32_t>(delayStart);
        const uint32_t from = (writeIndex + length - delay) % length;
        std::memcpy(target, data + from, count * sizeof(float));
        return;
    }

    const double ringLength = length;
    double start = writeIndex + ringLength - delayStart - 1;
    while (start >= ringLength)
        start -= ringLength;
    start += 1;
    const double end = count + start + delayStart - delayEnd;
    const double base = std::floor(std::min(start, end));
    const double first = start - base;
    const double step = ((end - base) - first) / count;
    const float* anchor = data + static_cast<size_t>(base);
    for (uint32_t i = 0; i < count; ++i)
    {
        const double position = first + step * i;
        const double whole = std::floor(position);
        const float fraction = static_cast<float>(position - whole);
        const size_t index = static_cast<size_t>(whole);
        const float a = anchor[index];
        const float b = anchor[index + 1];
        target[i] = a + (b - a) * fraction;
    }
}

void SampleDelay::advance(uint32_t count)
{
    writeIndex = (writeIndex + count) % length;
}

void SampleDelay::clear()
{
    std::fill(samples.begin(), samples.end(), 0.0f);
}

ShelfCoefficients designShelf(double normalisedFrequency, double lowGain, double highGain)
{
    if (!(lowGain > 0))
        lowGain = 1e-20;
    if (!(highGain > 0))
        highGain = 1e-20;
    const double r = lowGain / highGain;
    const double t = std::tan(3.141592653589793 * normalisedFrequency) / std::sqrt(r);
    const double u = t * r;
    const double g = 1 / (t + 1);
    const double b0 = g * (u + 1) * highGain;
    const double b1 = ((u - 1) / (u + 1)) * b0;
    const double a1 = (t - 1) * g;
    return {static_cast<float>(b0), static_cast<float>(b1), static_cast<float>(a1)};
}

void ShelfFilter::setCoefficients(const ShelfCoefficients& design)
{
    b0 = design.b0;
    b1 = design.b1;
    a1 = design.a1;
}

void ShelfFilter::process(float* samples, uint32_t count)
{
    const float c0 = b0;
    const float c1 = b1;
    const float d1 = a1;
    float z = state;
    for (uint32_t i = 0; i < count; ++i)
    {
        const float x = samples[i];
        const float y = x * c0 + z;
        z = x * c1 - y * d1;
        samples[i] = y;
    }
    state = z;
}

BiquadCoefficients designLowShelf(double normalisedFrequency, double gainDb, double outputGainDb, double q)
{
    const double a = std::pow(10.0, (gainDb - outputGainDb) * 0.025);
    const double w0 = 2 * 3.141592653589793 * normalisedFrequency;
    const double cosW0 = std::cos(w0);
    const double alpha = std::sin(w0) * (0.5 / q);
    const double twoRootAAlpha = 2 * std::sqrt(a) * alpha;

    const double b0 = a * ((a + 1) - (a - 1) * cosW0 + twoRootAAlpha);
    const double b1 = 2 * a * ((a - 1) - (a + 1) * cosW0);
    const double b2 = a * ((a + 1) - (a - 1) * cosW0 - twoRootAAlpha);
    const double a0 = (a + 1) + (a - 1) * cosW0 + twoRootAAlpha;
    const double a1 = -2 * ((a - 1) + (a + 1) * cosW0);
    const double a2 = (a + 1) + (a - 1) * cosW0 - twoRootAAlpha;

    const double outputGain = std::pow(10.0, outputGainDb * 0.05);
    return {static_cast<float>(b0 / a0 * outputGain), static_cast<float>(b1 / a0 * outputGain),
            static_cast<float>(b2 / a0 * outputGain), static_cast<float>(a1 / a0),
            static_cast<float>(a2 / a0)};
}

void Biquad::setCoefficients(const BiquadCoefficients& design)
{
    b0 = design.b0;
    b1 = design.b1;
    b2 = design.b2;
    a1 = design.a1;
    a2 = design.a2;
    target[0] = b0;
    target[1] = b1;
    target[2] = b2;
    target[3] = a1;
    target[4] = a2;
    rampFactor = 1;
    gliding = false;
}

void Biquad::process(float* samples, uint32_t count)
{
    const float c0 = b0;
    const float c1 = b1;
    const float c2 = b2;
    const float d1 = a1;
    const float d2 = a2;
    float z1 = s1;
    float z2 = s2;
    for (uint32_t i = 0; i < count; ++i)
    {
        const float x = samples[i];
        const float y = x * c0 + z1;
        z1 = x * c1 + z2 - y * d1;
        z2 = x * c2 - y * d2;
        samples[i] = y;
    }
    s1 = z1;
    s2 = z2;
}

AnalyserRing::AnalyserRing(uint32_t size) : buffer(std::max<uint32_t>(size, 2)) {}

void AnalyserRing::push(const float* samples, uint32_t count)
{
    const uint32_t n = size();
    auto* data = buffer.data();
    while (count > 0)
    {
        const uint32_t w = writeIndex.load(std::memory_order_relaxed);
        const uint32_t run = std::min(count, n - w);
        for (uint32_t i = 0; i < run; ++i)
            data[w + i].store(samples[i], std::memory_order_relaxed);
        const uint32_t r = readIndex.load(std::memory_order_acquire);
        const uint32_t free = (r + n - w - 1) % n;
        const uint32_t next = (w + run) % n;
        writeIndex.store(next, std::memory_order_release);
        // Never wait for the reader: drop the oldest samples instead.
        if (free <= run)
            readIndex.store((next + 1) % n, std::memory_order_release);
        samples += run;
        count -= run;
    }
}

uint32_t AnalyserRing::available() const
{
    const uint32_t n = size();
    const uint32_t r = readIndex.load(std::memory_order_acquire);
    const uint32_t w = writeIndex.load(std::memory_order_acquire);
    return (w + n - r) % n;
}

uint32_t AnalyserRing::pop(float* target, uint32_t maxCount)
{
    const uint32_t n = size();
    uint32_t r = readIndex.load(std::memory_order_acquire);
    const uint32_t w = writeIndex.load(std::memory_order_acquire);
    const uint32_t take = std::min((w + n - r) % n, maxCount);
    for (uint32_t i = 0, j = r; i < take; ++i, j = j + 1 == n ? 0 : j + 1)
        target[i] = buffer[j].load(std::memory_order_relaxed);
    // If the writer has moved readIndex meanwhile, its value stands.
    readIndex.compare_exchange_strong(r, (r + take) % n, std::memory_order_acq_rel);
    return take;
}

} // namespace qor
