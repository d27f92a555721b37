#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qor
{
namespace
{

using test::ids;
using test::LaminaRig;

/** The same band-limited click at any rate: a Blackman-windowed sinc, flat to 16 kHz, 2 ms long. */
std::vector<float> bandLimitedClick(double sampleRate, size_t length)
{
    std::vector<float> x(length, 0.0f);
    const double cutoff = 16000.0 / sampleRate;
    const auto half = static_cast<long>(std::lround(0.001 * sampleRate));
    for (long n = -half; n <= half; ++n)
    {
        const double t = static_cast<double>(n);
        const double sinc = n == 0 ? 2 * cutoff : std::sin(2 * M_PI * cutoff * t) / (M_PI * t);
        const double phase = M_PI * (t + half) / half;
        const double window = 0.42 - 0.5 * std::cos(phase) + 0.08 * std::cos(2 * phase);
        x[static_cast<size_t>(n + half)] = static_cast<float>(sinc * window);
    }
    return x;
}

/** The wet level of band-limited white noise through the sheet, in dB against an arbitrary reference: the
    energy of the response to a click flat to 16 kHz is the integral of |H|^2 over that band divided by the
    rate, so rate times energy is what noise of a given level and band hears, whatever the rate. */
double wetLevelDb(double sampleRate, const std::function<void(Lamina&)>& configure = {})
{
    LaminaRig::Options options;
    options.sampleRate = sampleRate;
    options.offline = true;
    options.configure = [&](Lamina& l)
    {
        l.setParameter(ids().mix, 1.0f);
        if (configure)
            configure(l);
    };
    LaminaRig rig(options);
    const auto length = static_cast<size_t>(sampleRate * 1.5);
    const auto click = bandLimitedClick(sampleRate, length);
    const auto out = rig.render({click, click}, 512);
    double energy = 0;
    for (const auto& channel : out)
        for (float y : channel)
            energy += static_cast<double>(y) * y;
    return 10 * std::log10(energy * sampleRate);
}

/** Moving a session to another rate keeps the reverb's level; the issue measured +3 dB per doubling. */
TEST(LaminaLevel, WetLevelHoldsAcrossSampleRates)
{
    const double reference = wetLevelDb(48000);
    for (double rate : {44100.0, 96000.0, 192000.0})
        EXPECT_NEAR(wetLevelDb(rate), reference, 0.5) << rate << " Hz";
}

/** Quality resolves the same sheet more or less finely; the level stays (as the table was cut, "Low" stood 8
   dB above "Insane"). */
TEST(LaminaLevel, WetLevelHoldsAcrossQualities)
{
    double lowest = 1e9, highest = -1e9;
    for (int32_t quality = 0; quality < numQualityLevels; ++quality)
    {
        const double level =
            wetLevelDb(48000, [quality](Lamina& l) { l.setParameter(ids().quality, quality); });
        lowest = std::min(lowest, level);
        highest = std::max(highest, level);
    }
    EXPECT_LT(highest - lowest, 1.0);
}

double largestStep(const std::vector<float>& x, size_t from, size_t to)
{
    double step = 0;
    for (size_t n = std::max<size_t>(from, 1); n < to; ++n)
        step = std::max(step, std::fabs(static_cast<double>(x[n]) - x[n - 1]));
    return step;
}

/** A geometry change while a low tail rings: the old modes fade out instead of stopping, so the output moves
   no faster than the tail itself did, at the take-over and where the fade ends. (When the tail was cut at
   once, the step was up to forty times the tail's own.) */
TEST(LaminaTakeOver, OldTailFadesOutWithoutAStep)
{
    const double rate = 48000;
    LaminaRig rig(test::smallSheet(true, 256));
    rig.lamina->setParameter(ids().mix, 1.0f);
    const auto burst = static_cast<size_t>(0.1 * rate);
    const auto ring = static_cast<size_t>(0.1 * rate);
    std::vector<float> input(burst + ring, 0.0f);
    for (size_t n = 0; n < burst; ++n)
        input[n] = static_cast<float>(0.5 * std::sin(2 * M_PI * 150 * static_cast<double>(n) / rate));
    auto before = rig.render({input, input}, 256);
    const auto takeOvers = rig.stats().takeOvers.load();

    // Offline, the next block takes the new table over at its head.
    rig.lamina->setParameter(ids().area, 0.7f);
    const auto after = rig.render({std::vector<float>(static_cast<size_t>(0.1 * rate), 0.0f),
                                   std::vector<float>(static_cast<size_t>(0.1 * rate), 0.0f)},
                                  256);
    ASSERT_EQ(rig.stats().takeOvers.load(), takeOvers + 1);

    for (size_t c = 0; c < 2; ++c)
    {
        std::vector<float> y = before[c];
        y.insert(y.end(), after[c].begin(), after[c].end());
        const size_t takeOver = before[c].size();
        const auto window = static_cast<size_t>(0.01 * rate);
        const double tailStep = largestStep(y, takeOver - window, takeOver);
        ASSERT_GT(tailStep, 1e-4);
        // The take-over, the whole fade and 10 ms beyond its end.
        EXPECT_LE(largestStep(y, takeOver, takeOver + static_cast<size_t>(0.04 * rate)), tailStep) << c;
        // Gone after the fade: the new modes heard no input.
        EXPECT_LT(test::peak(std::vector<float>(y.end() - 256, y.end())), 1e-3 * tailStep) << c;
    }
}

} // namespace
} // namespace qor
