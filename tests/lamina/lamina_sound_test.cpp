#include "modal/lamina/drive.h"
#include "modal/lamina/signal_blocks.h"
#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>

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

/** Magnitudes in dB of a Blackman-Harris-windowed signal of 2^k samples (radix-2 FFT), bins 0 to n / 2. */
std::vector<double> spectrumDb(const std::vector<float>& x)
{
    const size_t n = x.size();
    std::vector<std::complex<double>> a(n);
    for (size_t i = 0; i < n; ++i)
    {
        const double t = 2 * M_PI * static_cast<double>(i) / static_cast<double>(n);
        a[i] =
            x[i] * (0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t));
    }
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(a[i], a[j]);
    }
    for (size_t length = 2; length <= n; length <<= 1)
        for (size_t start = 0; start < n; start += length)
            for (size_t k = 0; k < length / 2; ++k)
            {
                const auto w =
                    std::polar(1.0, -2 * M_PI * static_cast<double>(k) / static_cast<double>(length));
                const auto u = a[start + k];
                const auto v = a[start + k + length / 2] * w;
                a[start + k] = u + v;
                a[start + k + length / 2] = u - v;
            }
    std::vector<double> db(n / 2 + 1);
    for (size_t i = 0; i < db.size(); ++i)
        db[i] = 20 * std::log10(std::abs(a[i]) + 1e-30);
    return db;
}

/** The input's path through Drive as the sheet runs it: pre-emphasis, the shaper, de-emphasis. */
struct DrivePath
{
    explicit DrivePath(double rate)
    {
        pre.setCoefficients(designShelf(2000 / rate, 1, preEmphasisHighGain));
        de.setCoefficients(designShelf(2000 / rate, 1, deEmphasisHighGain));
        shaper.prepare(rate);
    }
    void process(std::vector<float>& x, float drive, uint32_t block = 512)
    {
        for (size_t offset = 0; offset < x.size(); offset += block)
        {
            const auto n = static_cast<uint32_t>(std::min<size_t>(block, x.size() - offset));
            float* channels[1] = {x.data() + offset};
            pre.process(channels[0], n);
            shaper.process(channels, 1, n, drive);
            de.process(channels[0], n);
        }
    }
    ShelfFilter pre, de;
    DriveShaper shaper;
};

/** A 5 kHz sine driven hard: every component that is not a harmonic of it stays 60 dB below it, up to half
   the rate. (Shaped at the rate itself, 0.6 at 44.1 kHz left 900 Hz and 9.1 kHz 26 dB down; at 0 dBFS and
   Drive 1 they stood 9 dB down.) */
TEST(LaminaDrive, FiveKilohertzLeavesNoAliasAboveMinus60Decibels)
{
    for (double rate : {44100.0, 48000.0})
        for (float drive : {0.6f, 1.0f})
            for (double amplitude : {0.5, 1.0})
            {
                DrivePath path(rate);
                const size_t settle = 4096, n = size_t{1} << 15;
                std::vector<float> x(settle + n);
                for (size_t i = 0; i < x.size(); ++i)
                    x[i] = static_cast<float>(amplitude *
                                              std::sin(2 * M_PI * 5000 * static_cast<double>(i) / rate));
                path.process(x, drive);
                const auto db = spectrumDb(std::vector<float>(x.begin() + settle, x.end()));

                const double binHz = rate / static_cast<double>(n);
                double fundamental = -1e9, worst = -1e9, worstHz = 0;
                for (size_t i = 4; i < db.size(); ++i)
                {
                    const double hz = static_cast<double>(i) * binHz;
                    const double harmonic = std::round(hz / 5000);
                    // The window's main lobe is four bins either side.
                    if (harmonic >= 1 && std::fabs(hz - harmonic * 5000) <= 6 * binHz)
                    {
                        if (harmonic == 1)
                            fundamental = std::max(fundamental, db[i]);
                        continue;
                    }
                    if (db[i] > worst)
                    {
                        worst = db[i];
                        worstHz = hz;
                    }
                }
                EXPECT_LT(worst - fundamental, -60.0) << rate << " Hz, Drive " << drive << ", amplitude "
                                                      << amplitude << ": at " << worstHz << " Hz";
            }
}

/** Drive 0 leaves the path bit for bit as the shelves alone make it; switching Drive on and off crossfades,
   so that the few samples by which the oversampled path lags never show as a step. */
TEST(LaminaDrive, ZeroIsUntouchedAndSwitchingMakesNoStep)
{
    const double rate = 48000;
    std::vector<float> sine(static_cast<size_t>(rate * 0.2));
    for (size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(0.3 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / rate));

    DrivePath driven(rate), clean(rate);
    auto x = sine, y = sine;
    driven.process(x, 0.0f);
    clean.pre.process(y.data(), static_cast<uint32_t>(y.size()));
    clean.de.process(y.data(), static_cast<uint32_t>(y.size()));
    EXPECT_EQ(x, y);

    // On for a block of 2400, off for the next, in blocks of 480.
    x = sine;
    for (size_t offset = 0; offset < x.size(); offset += 480)
    {
        std::vector<float> block(x.begin() + static_cast<long>(offset),
                                 x.begin() + static_cast<long>(offset + 480));
        driven.process(block, (offset / 2400) % 2 == 0 ? 0.0f : 0.5f, 480);
        std::copy(block.begin(), block.end(), x.begin() + static_cast<long>(offset));
    }
    auto steady = sine;
    DrivePath(rate).process(steady, 0.5f);
    EXPECT_LT(largestStep(x, 1, x.size()), 1.05 * largestStep(steady, 2400, steady.size()));
}

/** The oversampled path delays the wet signal only by a few samples, so it needs no latency reported to the
    host; measured as the phase lag of a quiet sine (where the shaper is nearly linear) against its input. */
TEST(LaminaDrive, OversamplingLagsByAFewSamples)
{
    for (double rate : {44100.0, 48000.0, 96000.0})
        for (double frequency : {100.0, 1000.0, 5000.0})
        {
            DriveShaper shaper;
            shaper.prepare(rate);
            const auto length = static_cast<size_t>(rate / 2);
            std::vector<float> x(length);
            for (size_t i = 0; i < length; ++i)
                x[i] =
                    static_cast<float>(1e-4 * std::sin(2 * M_PI * frequency * static_cast<double>(i) / rate));
            auto y = x;
            for (size_t offset = 0; offset < length; offset += 256)
            {
                float* channels[1] = {y.data() + offset};
                shaper.process(channels, 1, static_cast<uint32_t>(std::min<size_t>(256, length - offset)),
                               1.0f);
            }
            // Correlate the settled second half of both against the sine's phasor.
            std::complex<double> in, out;
            for (size_t i = length / 2; i < length; ++i)
            {
                const auto w = std::polar(1.0, -2 * M_PI * frequency * static_cast<double>(i) / rate);
                in += static_cast<double>(x[i]) * w;
                out += static_cast<double>(y[i]) * w;
            }
            auto lagRadians = std::arg(in) - std::arg(out);
            while (lagRadians < 0)
                lagRadians += 2 * M_PI;
            const double lagSamples = lagRadians / (2 * M_PI * frequency / rate);
            EXPECT_LT(lagSamples, 8.0) << rate << " Hz rate, " << frequency << " Hz";
        }
}

} // namespace
} // namespace qor
