#include "modal/lamina/signal_blocks.h"
#include "tests/support/alloc_counter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace qor
{
namespace
{

/** Peak amplitude of a sine of frequency f (cycles per sample) after the filter has settled. */
template <typename Filter>
float sineGain(Filter filter, double f)
{
    std::vector<float> x(20000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(std::sin(2 * M_PI * f * static_cast<double>(i)));
    filter.process(x.data(), static_cast<uint32_t>(x.size()));
    float peak = 0;
    for (size_t i = 10000; i < x.size(); ++i)
        peak = std::max(peak, std::abs(x[i]));
    return peak;
}

TEST(SampleDelay, FullBlocksAcrossTheSeamReadBackExactly)
{
    constexpr uint32_t block = 64, maxDelay = 100;
    SampleDelay delay;
    delay.init(block, maxDelay);

    std::vector<float> in(block), longest(block), none(block), half(block);
    uint32_t t = 0;
    test::AllocationCounter allocations;
    for (int b = 0; b < 40; ++b) // about fifteen trips round the ring
    {
        for (uint32_t i = 0; i < block; ++i)
            in[i] = static_cast<float>(t + i + 1); // the signal is its own time, from 1
        delay.write(in.data(), block);
        delay.read(longest.data(), maxDelay, maxDelay, block);
        delay.read(none.data(), 0, 0, block);
        delay.read(half.data(), 2.5, 2.5, block);
        delay.advance(block);
        for (uint32_t i = 0; i < block; ++i)
        {
            const float now = static_cast<float>(t + i + 1);
            ASSERT_EQ(none[i], now);
            ASSERT_EQ(longest[i], now > maxDelay ? now - maxDelay : 0.0f) << b << " " << i;
            ASSERT_EQ(half[i], now > 3 ? now - 2.5f : half[i]) << b << " " << i;
        }
        t += block;
    }
    EXPECT_EQ(allocations.count(), 0u);

    delay.clear();
    delay.read(longest.data(), maxDelay, maxDelay, block);
    EXPECT_EQ(longest[0], 0.0f);
}

TEST(SampleDelay, OddBlockSizesKeepTheMirrorInStep)
{
    SampleDelay delay;
    delay.init(48, 70);
    uint32_t t = 0;
    std::vector<float> in(48), out(48);
    const uint32_t sizes[] = {48, 1, 17, 48, 30, 5, 48, 48, 2, 33};
    for (int round = 0; round < 30; ++round)
        for (uint32_t n : sizes)
        {
            for (uint32_t i = 0; i < n; ++i)
                in[i] = static_cast<float>(t + i + 1);
            delay.write(in.data(), n);
            delay.read(out.data(), 69.25, 69.25, n);
            delay.advance(n);
            for (uint32_t i = 0; i < n; ++i)
            {
                const float now = static_cast<float>(t + i + 1);
                if (now > 71)
                {
                    ASSERT_FLOAT_EQ(out[i], now - 69.25f) << t << " " << i;
                }
            }
            t += n;
        }
}

TEST(SampleDelay, AnyDelayReadsInsideTheLine)
{
    constexpr uint32_t block = 64, maxDelay = 100;
    SampleDelay delay;
    delay.init(block, maxDelay);
    std::vector<float> in(block), out(block);
    for (uint32_t i = 0; i < block; ++i)
        in[i] = float(i + 1);
    delay.write(in.data(), block);
    for (double bad : {std::nan(""), double(INFINITY), -double(INFINITY), -5.5, 1e300})
    {
        std::fill(out.begin(), out.end(), -1.0f);
        delay.read(out.data(), bad, bad, block);
        for (float v : out)
            ASSERT_TRUE(std::isfinite(v) && v >= 0.0f && v <= float(block)) << bad << " read " << v;
    }
    // No delay is the written block itself.
    delay.read(out.data(), std::nan(""), std::nan(""), block);
    EXPECT_EQ(out, in);
}

TEST(ShelfFilter, EndsOfTheShelfAndTheFlatPair)
{
    const double fn = 2000.0 / 48000;
    const ShelfCoefficients pre = designShelf(fn, 1, preEmphasisHighGain);
    EXPECT_NEAR((pre.b0 + pre.b1) / (1 + pre.a1), 1.0, 1e-5);
    EXPECT_NEAR((pre.b0 - pre.b1) / (1 - pre.a1), preEmphasisHighGain, 1e-4);

    ShelfFilter a, b;
    a.setCoefficients(pre);
    b.setCoefficients(designShelf(fn, 1, deEmphasisHighGain));
    std::vector<float> x(4096), y(4096);
    uint32_t noise = 12345;
    for (float& v : x)
    {
        noise = noise * 1664525u + 1013904223u;
        v = static_cast<float>(noise >> 8) / 8388608.0f - 1.0f;
    }
    y = x;
    a.process(y.data(), 4096);
    b.process(y.data(), 4096);
    for (size_t i = 0; i < x.size(); ++i)
        ASSERT_NEAR(y[i], x[i], 1e-5f) << i;

    EXPECT_NEAR(sineGain(a, 0.49), preEmphasisHighGain, 0.02);
    EXPECT_NEAR(sineGain(a, 0.001), 1.0, 0.01);

    const ShelfCoefficients silentLow = designShelf(fn, 0, 1);
    EXPECT_TRUE(std::isfinite(silentLow.b0) && std::isfinite(silentLow.b1) && std::isfinite(silentLow.a1));
}

TEST(Biquad, LowShelfCutsTheBassAndLeavesTheTop)
{
    Biquad filter;
    filter.setCoefficients(designLowShelf(100.0 / 48000, -24, 0, 0.7071067811865476));
    EXPECT_NEAR(sineGain(filter, 10.0 / 48000), std::pow(10.0, -24 / 20.0), 0.01);
    EXPECT_NEAR(sineGain(filter, 5000.0 / 48000), 1.0, 0.01);

    // An output gain lifts the whole curve; the shelf depth is measured from it.
    filter.setCoefficients(designLowShelf(100.0 / 48000, 0, 6, 0.7071067811865476));
    EXPECT_NEAR(sineGain(filter, 10.0 / 48000), 1.0, 0.01);
    EXPECT_NEAR(sineGain(filter, 5000.0 / 48000), std::pow(10.0, 6 / 20.0), 0.01);
}

TEST(AnalyserRing, OverlongPushKeepsTheLatestSamples)
{
    AnalyserRing ring(8);
    std::vector<float> x(20);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(i);
    ring.push(x.data(), 20);
    EXPECT_EQ(ring.available(), 7u);
    float out[8] = {};
    ASSERT_EQ(ring.pop(out, 8), 7u);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(out[i], static_cast<float>(13 + i));
    EXPECT_EQ(ring.available(), 0u);
}

TEST(AnalyserRing, InterleavedPushAndPopAcrossTheWrap)
{
    AnalyserRing ring(16);
    float next = 0, expected = 0;
    float buffer[16];
    test::AllocationCounter allocations;
    for (int round = 0; round < 50; ++round)
    {
        for (int i = 0; i < 5; ++i)
            buffer[i] = next++;
        ring.push(buffer, 5);
        const uint32_t got = ring.pop(buffer, round % 2 ? 16 : 3);
        for (uint32_t i = 0; i < got; ++i)
            ASSERT_EQ(buffer[i], expected++);
    }
    EXPECT_EQ(allocations.count(), 0u);
    // Overflow while the reader lags drops the oldest: what is left runs up to the newest without a gap.
    for (int i = 0; i < 40; ++i)
    {
        buffer[0] = next++;
        ring.push(buffer, 1);
    }
    const uint32_t got = ring.pop(buffer, 16);
    EXPECT_EQ(got, 15u);
    for (uint32_t i = 0; i < got; ++i)
        EXPECT_EQ(buffer[i], next - static_cast<float>(got - i));
}

} // namespace
} // namespace qor
