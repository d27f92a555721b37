#include "modal/bank/modal_bank_multi_core.h"
#include "modal/lamina/bank_loading.h"
#include "modal/lamina/damping.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

namespace qor
{
namespace
{

using test::ids;
using test::LaminaRig;
using test::noise;
using test::peak;
using test::smallSheet;

/** What the bank alone, freshly loaded with table and a flat EQ, gives for a stereo input from silence. */
std::vector<std::vector<float>> bankAlone(const LaminaModeTable& table,
                                          const std::vector<std::vector<float>>& input)
{
    ModalBankMultiCore bank(2, 2, 20000, 0, 128, 8192, 48000);
    MonotoneCubicTable flat;
    setBandGainTable(flat, {});
    LoadBankSettings settings;
    settings.eqTable = &flat;
    loadBank(bank, table, settings);
    std::vector<std::vector<float>> out(2, std::vector<float>(input[0].size()));
    const float* in[2] = {input[0].data(), input[1].data()};
    float* pointers[2] = {out[0].data(), out[1].data()};
    const juce::ScopedNoDenormals noDenormals;
    bank.process(pointers, in, static_cast<uint32_t>(input[0].size()));
    return out;
}

TEST(LaminaRender, MixZeroPassesTheInputUntouched)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().mix, 0.0f);
    rig.lamina->setParameter(ids().gain, 20.0f);
    const std::vector<std::vector<float>> input{noise(4096, 0.5f, 1), noise(4096, 0.5f, 2)};
    const auto out = rig.render(input, 512);
    EXPECT_EQ(out, input);
    EXPECT_GT(rig.stats().takeOvers.load(), 0u);
}

TEST(LaminaRender, MixOneLeavesNoDryAndGainScalesTheWetSideOnly)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().mix, 1.0f);
    std::vector<std::vector<float>> input{std::vector<float>(4096, 0.0f), std::vector<float>(4096, 0.0f)};
    input[0][0] = 1.0f;
    const auto out = rig.render(input, 512);
    EXPECT_GT(peak(out[0]), 1e-4);

    // At Mix 0.5, dry and wet each take sqrt(0.5); +6 dB of Gain leaves the dry part where it was.
    LaminaRig half(smallSheet());
    half.lamina->setParameter(ids().mix, 0.5f);
    half.lamina->setParameter(ids().gain, 6.0f);
    const auto mixed = half.render(input, 512);
    const double wetGain = std::sqrt(0.5) * std::pow(10.0, 6.0 * 0.05);
    for (size_t n = 1; n < 4096; n += 97)
        EXPECT_NEAR(mixed[0][n], out[0][n] * wetGain, 1e-5 + 1e-3 * std::fabs(out[0][n])) << n;
    EXPECT_NEAR(mixed[0][0] - out[0][0] * wetGain, std::sqrt(0.5), 1e-5);
}

/** The wet path with Drive 0, a low cut of 0 dB and full width is the bank alone, fed with the input delayed
   by PreDelay: the shelves cancel, the low cut passes, the width stage leaves the pair. */
TEST(LaminaRender, CleanWetPathIsTheBankBehindThePredelay)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().mix, 1.0f);
    rig.lamina->setParameter(ids().preDelay, 12.0f); // exactly 576 samples at 48 kHz in float
    const size_t length = 6000;
    const std::vector<std::vector<float>> input{noise(length, 0.3f, 7), noise(length, 0.3f, 8)};

    // The first block takes over the first build (offline), so the reference starts from the same table.
    std::vector<std::vector<float>> out = input;
    const uint32_t block = 500;
    float* first[2] = {out[0].data(), out[1].data()};
    rig.process(first, block);
    ASSERT_EQ(rig.stats().takeOvers.load(), 1u);
    for (size_t offset = block; offset < length; offset += block)
    {
        float* p[2] = {out[0].data() + offset, out[1].data() + offset};
        rig.process(p, block);
    }

    const auto& table = *LaminaProbe::table(rig.state());
    ASSERT_GT(table.size(), 100u);
    std::vector<std::vector<float>> delayed(2, std::vector<float>(length, 0.0f));
    for (size_t n = 576; n < length; ++n)
        for (size_t c = 0; c < 2; ++c)
            delayed[c][n] = input[c][n - 576];
    const auto ref = bankAlone(table, delayed);

    double error = 0, level = 0;
    for (size_t n = 0; n < length; ++n)
    {
        for (size_t c = 0; c < 2; ++c)
        {
            error = std::max(error, std::fabs(double(out[c][n]) - ref[c][n]));
            level = std::max(level, std::fabs(double(ref[c][n])));
        }
    }
    for (size_t n = 0; n < 576; ++n)
        ASSERT_EQ(out[0][n], 0.0f) << n;
    EXPECT_GT(level, 1e-3);
    // Rounding of the two 18 dB shelves and the order of the bank's sums.
    EXPECT_LT(error, 1e-4 * level);
}

// A change of Decay reaches the modes a share at a time, so that the block which meets it stays cheap: with
// blocks of 64 samples the first redoes about a quarter of the table, and after 256 samples every rate is the
// damping model's for the new value and the bank runs exactly the table, as a fresh load of it would. Offline
// the whole table goes at once.
TEST(LaminaRender, DampingChangeSweepsTheTableWithinAFewBlocks)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().mix, 1.0f);
    rig.process(64); // takes over the first build
    rig.setOffline(false);
    const auto& table = *LaminaProbe::table(rig.state());
    const auto count = table.size();
    ASSERT_GT(count, 1000u);

    auto modesAtTheModel = [&]
    {
        const DampingSettings damping = makeDampingSettings(LaminaProbe::snapshotInputs(rig.state()));
        MonotoneCubicTable bandDecay;
        setBandDecayTable(bandDecay, LaminaProbe::snapshotInputs(rig.state()).bandDecay);
        size_t same = 0;
        for (const auto& mode : table)
            same += mode.decayRate ==
                    damping.rateAt(static_cast<float>(mode.omega * 0.15915494309189535), bandDecay);
        return same;
    };
    ASSERT_EQ(modesAtTheModel(), count);

    rig.lamina->setParameter(ids().decay, 5.0f);
    rig.process(64);
    const size_t afterOne = modesAtTheModel();
    EXPECT_GE(afterOne, count / 4);
    EXPECT_LT(afterOne, count / 2);
    for (int block = 1; block < 4; ++block)
        rig.process(64);
    EXPECT_EQ(modesAtTheModel(), count);

    // The bank against a fresh load of the table, from silence, behind the default predelay of 0.
    rig.state().reset();
    const std::vector<std::vector<float>> input{noise(512, 0.3f, 9), noise(512, 0.3f, 10)};
    const auto out = rig.render(input, 512);
    const auto ref = bankAlone(table, input);
    for (size_t c = 0; c < 2; ++c)
        for (size_t n = 0; n < 512; ++n)
            ASSERT_NEAR(out[c][n], ref[c][n], 1e-5 * peak(ref[c])) << c << " " << n;

    rig.setOffline(true);
    rig.lamina->setParameter(ids().decay, 1.0f);
    rig.process(64);
    EXPECT_EQ(modesAtTheModel(), count);
}

TEST(LaminaRender, WidthZeroFoldsTheWetPairToMono)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().mix, 1.0f);
    rig.lamina->setParameter(ids().stereoWidth, 0.0f);
    const auto out = rig.render({noise(2048, 0.3f, 3), noise(2048, 0.3f, 4)}, 512);
    for (size_t n = 0; n < 2048; ++n)
        ASSERT_EQ(out[0][n], out[1][n]) << n;
    EXPECT_GT(peak(out[0]), 1e-4);
}

TEST(LaminaRender, DriveShapesTheInputOnlyWhenAboveZero)
{
    // Equal tables on both rigs, so that only the drive differs.
    const std::vector<std::vector<float>> input{noise(2048, 0.9f, 5), noise(2048, 0.9f, 6)};
    LaminaRig clean(smallSheet());
    clean.lamina->setParameter(ids().mix, 1.0f);
    LaminaRig driven(smallSheet());
    driven.lamina->setParameter(ids().mix, 1.0f);
    driven.lamina->setParameter(ids().drive, 1.0f);
    const auto a = clean.render(input, 512);
    const auto b = driven.render(input, 512);
    double diff = 0;
    for (size_t n = 0; n < 2048; ++n)
        diff = std::max(diff, std::fabs(double(a[0][n]) - b[0][n]));
    EXPECT_GT(diff, 1e-3 * peak(a[0]));
}

TEST(LaminaRender, LowCutFollowsItsParametersAndPassesAtZeroDecibels)
{
    LaminaRig rig(smallSheet());
    auto response = [&rig](double normalised)
    {
        const auto& f = LaminaProbe::lowCut(rig.state(), 0);
        const std::complex<double> z = std::polar(1.0, 2.0 * juce::MathConstants<double>::pi * normalised);
        const auto zi = 1.0 / z;
        return std::abs((double(f.b0) + double(f.b1) * zi + double(f.b2) * zi * zi) /
                        (1.0 + double(f.a1) * zi + double(f.a2) * zi * zi));
    };
    EXPECT_NEAR(response(0.0), 1.0, 1e-6);
    EXPECT_NEAR(response(0.25), 1.0, 1e-6);

    // An immediate set from another thread acts at the head of the next block.
    rig.lamina->setParameter(ids().lowCutGain, -40.0f);
    rig.lamina->setParameter(ids().lowCutFreq, 100.0f);
    rig.process(64);
    EXPECT_NEAR(response(0.0), 0.01, 1e-4);
    EXPECT_NEAR(response(0.25), 1.0, 1e-3);
    EXPECT_NEAR(20 * std::log10(response(100.0 / 48000.0)), -20.0, 0.5);
}

TEST(LaminaRender, ModulationRunsInChunksOf1024)
{
    auto options = smallSheet();
    options.maxBlockSize = 8192;
    LaminaRig rig(options);
    auto& stats = rig.stats();
    rig.process(256); // takes over the first build

    // Without modulation a long block is one chunk and the counter stands still.
    rig.process(5000);
    EXPECT_EQ(stats.modulationUpdates.load(), 0u);
    EXPECT_EQ(LaminaProbe::modulationCounter(rig.state()), 0u);

    rig.lamina->setParameter(ids().modulation, 0.5f);
    rig.process(5000);
    EXPECT_EQ(stats.modulationUpdates.load(), 4u);
    EXPECT_EQ(stats.lastModulationElapsed.load(), 1024u);
    EXPECT_EQ(LaminaProbe::modulationCounter(rig.state()), 904u);

    // Blocks of 256 carry the count over: the update runs at the head of every fourth block.
    rig.process(120); // 1024 counted now
    EXPECT_EQ(LaminaProbe::modulationCounter(rig.state()), 1024u);
    std::vector<uint32_t> updateBlocks;
    for (uint32_t b = 0; b < 12; ++b)
    {
        const auto before = stats.modulationUpdates.load();
        rig.process(256);
        if (stats.modulationUpdates.load() != before)
            updateBlocks.push_back(b);
    }
    EXPECT_EQ(updateBlocks, (std::vector<uint32_t>{0, 4, 8}));
    EXPECT_EQ(stats.lastModulationElapsed.load(), 1024u);

    // Blocks of 1000: every second block, with 2000 samples elapsed.
    rig.lamina->setParameter(ids().modulation, 0.0f);
    rig.process(1); // one chunk, counter untouched
    rig.lamina->setParameter(ids().modulation, 0.5f);
    const auto start = stats.modulationUpdates.load();
    rig.process(1000); // counter >= 1024: update, then 1000 counted
    EXPECT_EQ(stats.modulationUpdates.load(), start + 1);
    for (int b = 0; b < 4; ++b)
        rig.process(1000);
    EXPECT_EQ(stats.modulationUpdates.load(), start + 3);
    EXPECT_EQ(stats.lastModulationElapsed.load(), 2000u);
}

TEST(LaminaRender, EmptyBlockMovesNothing)
{
    LaminaRig rig(smallSheet());
    rig.lamina->setParameter(ids().modulation, 0.5f);
    rig.process(500);
    const auto counter = LaminaProbe::modulationCounter(rig.state());
    const auto rendered = rig.stats().samplesRendered.load();
    float left = 0.25f, right = -0.5f;
    float* p[2] = {&left, &right};
    rig.process(p, 0);
    EXPECT_EQ(left, 0.25f);
    EXPECT_EQ(right, -0.5f);
    EXPECT_EQ(LaminaProbe::modulationCounter(rig.state()), counter);
    EXPECT_EQ(rig.stats().samplesRendered.load(), rendered);
}

TEST(LaminaRender, MonoLayoutsRender)
{
    for (auto [ins, outs] : {std::pair{1u, 1u}, std::pair{1u, 2u}})
    {
        auto options = smallSheet();
        options.inputs = ins;
        options.outputs = outs;
        LaminaRig rig(options);
        rig.lamina->setParameter(ids().mix, 1.0f);
        std::vector<std::vector<float>> input(outs, noise(2048, 0.3f, 9));
        const auto out = rig.render(input, 512);
        for (uint32_t c = 0; c < outs; ++c)
            EXPECT_GT(peak(out[c]), 1e-4) << ins << " in, " << outs << " out, channel " << c;
    }
}

TEST(LaminaRender, RenderingAllocatesNothingAfterPrepare)
{
    auto options = smallSheet();
    LaminaRig rig(options);
    auto inputRing = std::make_shared<AnalyserRing>(4096);
    auto outputRing = std::make_shared<AnalyserRing>(4096);
    rig.lamina->attachInputAnalyser(inputRing);
    rig.lamina->attachOutputAnalyser(outputRing);
    auto input = noise(512, 0.3f, 11);
    rig.channels[0] = input;
    rig.channels[1] = input;
    rig.process(512);

    rig.lamina->setParameterDeferred(ids().modulation, 0.7f, true);
    rig.lamina->setParameterDeferred(ids().preDelay, 3.5f, true);
    rig.lamina->setParameterDeferred(ids().drive, 0.5f, true);
    rig.lamina->setParameterDeferred(ids().decay, 1.0f, true);
    rig.lamina->setParameterDeferred(ids().bandGain[4], -6.0f, true);
    rig.lamina->setParameterDeferred(ids().lowCutGain, -12.0f, true);
    rig.lamina->setParameterDeferred(ids().area, 0.8f, true);
    rig.lamina->setParameterDeferred(ids().enableDecayCompensation, false, true);
    const auto takeOversBefore = rig.stats().takeOvers.load();
    {
        test::AllocationCounter counter;
        for (int b = 0; b < 40; ++b)
        {
            rig.channels[0] = input;
            rig.channels[1] = input;
            rig.process(512);
        }
        EXPECT_EQ(counter.count(), 0u);
    }
    // The block path above took over a new table and ran modulation updates on it.
    EXPECT_GT(rig.stats().takeOvers.load(), takeOversBefore);
    EXPECT_GT(rig.stats().modulationUpdates.load(), 0u);
    EXPECT_GT(inputRing->available(), 0u);
    EXPECT_GT(outputRing->available(), 0u);
}

} // namespace
} // namespace qor
