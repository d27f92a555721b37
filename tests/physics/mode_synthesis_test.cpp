#include "modal/lamina/bank_loading.h"
#include "modal/lamina/mode_synthesis.h"
#include "tests/physics/recording_bank.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/float_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

namespace qor
{
namespace
{

constexpr double toHz = 0.15915494309189535;

/** Builds on a new thread, whose generator starts from its first state, so that equal inputs give equal
 * tables. */
LaminaModeTable buildOnFreshThread(const ModeSynthesisInputs& inputs)
{
    LaminaModeTable result;
    std::thread([&] { result = *computeModeTable(inputs); }).join();
    return result;
}

ModeSynthesisInputs plainSteel()
{
    ModeSynthesisInputs in;
    in.tension = 0;
    in.anisotropy = 0;
    in.quality = 5;
    return in;
}

double frequencyOf(const LaminaGrid& grid, int m, int n, float tension)
{
    return laminaModeOmega(grid, laminaWaveNumberSquared(grid, m, n), tension, 0) * toHz;
}

TEST(ModeSynthesis, GridSizes)
{
    const LaminaGrid steel = laminaGrid(2, 2, 0);
    EXPECT_EQ(steel.nx, 200);
    EXPECT_EQ(steel.ny, 100);
    const LaminaGrid aluminium = laminaGrid(2, 2, 4);
    EXPECT_EQ(aluminium.lengthX * (1 / aluminium.cellSize), 199.99999999999997);
    EXPECT_EQ(aluminium.nx, 199);
    EXPECT_EQ(aluminium.ny, 99);
    // The longest side is capped at 1000 cells.
    EXPECT_EQ(laminaGrid(6, 20, 0).nx, 1000);
    EXPECT_EQ(laminaGrid(6, 20, 0).ny, 54);
    // Sizes that are no numbers make no grid, whatever the float.
    for (float bad : {std::nanf(""), INFINITY, -INFINITY, -2.0f})
    {
        const LaminaGrid g = laminaGrid(bad, 2, 0), h = laminaGrid(2, bad, 0);
        for (int n : {g.nx, g.ny, h.nx, h.ny})
            EXPECT_TRUE(n >= 0 && n <= 1000) << bad << " gave " << n;
    }
}

TEST(ModeSynthesis, SteelFrequenciesAndTheReachOfTension)
{
    const LaminaGrid grid = laminaGrid(2, 2, 0);
    EXPECT_NEAR(frequencyOf(grid, 1, 1, 0), 1.1452692, 5e-8);
    EXPECT_NEAR(frequencyOf(grid, 2, 1, 0), 1.8324308, 5e-8);
    EXPECT_NEAR(frequencyOf(grid, 199, 99, 0), 18050.589, 5e-4);
    EXPECT_NEAR(frequencyOf(grid, 1, 1, 1), 1.1795166, 5e-8);
    EXPECT_NEAR(frequencyOf(grid, 199, 99, 1), 18050.623, 5e-4);

    // With room for every candidate the table spans the whole grid, lowest and highest at the corners.
    const LaminaModeTable table = buildOnFreshThread(plainSteel());
    ASSERT_EQ(table.size(), 199u * 99u);
    EXPECT_DOUBLE_EQ(table.front().omega * toHz, frequencyOf(grid, 1, 1, 0));
    EXPECT_DOUBLE_EQ(table.back().omega * toHz, frequencyOf(grid, 199, 99, 0));
}

TEST(ModeSynthesis, MaterialLeavesTheFrequenciesAlone)
{
    const LaminaGrid steel = laminaGrid(2, 2, 0);
    for (int material = 1; material < numLaminaMaterials; ++material)
    {
        const LaminaGrid other = laminaGrid(2, 2, material);
        EXPECT_NEAR(frequencyOf(other, 7, 3, 0), frequencyOf(steel, 7, 3, 0), 1e-9) << material;
        EXPECT_NEAR(frequencyOf(other, 150, 80, 0), frequencyOf(steel, 150, 80, 0), 1e-6) << material;
    }
}

TEST(ModeSynthesis, TableIsSortedAndAnisotropyPerturbsWithinOnePercent)
{
    ModeSynthesisInputs in;
    in.anisotropy = 1;
    in.tension = 0;
    in.quality = 5;
    const LaminaModeTable perturbed = buildOnFreshThread(in);
    const LaminaModeTable plain = buildOnFreshThread(plainSteel());
    ASSERT_EQ(perturbed.size(), plain.size());
    EXPECT_TRUE(std::is_sorted(perturbed.begin(), perturbed.end(),
                               [](const auto& a, const auto& b) { return a.omega < b.omega; }));
    for (const LaminaModeParams& mode : perturbed)
    {
        EXPECT_GE(mode.modulationPhase, 0.0f);
        EXPECT_LE(mode.modulationPhase, 6.2831855f);
    }
    // The lowest mode stands alone: its perturbation is at most 1 %.
    const double ratio = perturbed.front().omega / plain.front().omega;
    EXPECT_GT(ratio, 0.99);
    EXPECT_LT(ratio, 1.01);
    EXPECT_NE(ratio, 1.0);
}

TEST(ModeSynthesis, ImportanceCutKeepsTheStrongestRows)
{
    ModeSynthesisInputs in = plainSteel();
    const LaminaModeTable all = buildOnFreshThread(in);
    in.quality = 0;
    const LaminaModeTable kept = buildOnFreshThread(in);
    ASSERT_EQ(kept.size(), 3000u);

    auto importance = [](const LaminaModeParams& m)
    {
        double a = 0, b = 0;
        for (int i = 0; i < 2; ++i)
        {
            const float x = static_cast<float>(m.inputGain[i]);
            const float y = static_cast<float>(m.outputGain[i]);
            a += static_cast<double>(x * x);
            b += static_cast<double>(y * y);
        }
        return a * b;
    };
    double weakestKept = 1e300;
    for (const auto& m : kept)
        weakestKept = std::min(weakestKept, importance(m));
    std::vector<double> sorted;
    for (const auto& m : all)
        sorted.push_back(importance(m));
    std::sort(sorted.begin(), sorted.end(), std::greater<>());
    EXPECT_EQ(weakestKept, sorted[2999]);
    EXPECT_GE(weakestKept, sorted[3000]);
}

TEST(ModeSynthesis, DecayRatesAndGainsFollowTheModel)
{
    ModeSynthesisInputs in = plainSteel();
    const LaminaModeTable table = buildOnFreshThread(in);
    const DampingSettings damping = makeDampingSettings(in);
    MonotoneCubicTable band;
    setBandDecayTable(band, in.bandDecay);
    for (size_t k = 0; k < table.size(); k += 997)
    {
        const LaminaModeParams& m = table[k];
        EXPECT_EQ(m.decayRate, damping.rateAt(static_cast<float>(m.omega * toHz), band));
        // Shapes are bounded by 4, times a low-pass of at most 1.
        for (int i = 0; i < 2; ++i)
        {
            EXPECT_LE(std::abs(m.inputGain[i]), 4.0);
            EXPECT_LE(std::abs(m.outputGain[i]), 4.0);
        }
    }
    // Recomputing with other damping changes every rate and nothing else.
    LaminaModeTable copy = table;
    DampingSettings longer = damping;
    longer.decay = 20;
    recomputeDecayRates(copy, longer, band);
    for (size_t k = 0; k < table.size(); k += 997)
    {
        EXPECT_LT(copy[k].decayRate, table[k].decayRate);
        EXPECT_EQ(copy[k].omega, table[k].omega);
        EXPECT_EQ(copy[k].outputGain[1], table[k].outputGain[1]);
    }
    recomputeDecayRates(copy, damping, band);
    EXPECT_EQ(copy[1234].decayRate, table[1234].decayRate);
}

TEST(ModeSynthesis, SpatialAntialiasingDampsOnlyTheTop)
{
    ModeSynthesisInputs in = plainSteel();
    const LaminaModeTable plain = buildOnFreshThread(in);
    in.enableSpatialAA = true;
    const LaminaModeTable averaged = buildOnFreshThread(in);
    ASSERT_EQ(plain.size(), averaged.size());
    auto power = [](const LaminaModeTable& t, size_t from, size_t to)
    {
        double sum = 0;
        for (size_t k = from; k < to; ++k)
            sum += t[k].outputGain[0] * t[k].outputGain[0];
        return sum;
    };
    // The lowest mode's wavelength is 200 cells: the average is practically the point value.
    EXPECT_NEAR(averaged[0].outputGain[0] / plain[0].outputGain[0], 1.0, 1e-4);
    const size_t n = plain.size();
    EXPECT_LT(power(averaged, n - 500, n) / power(plain, n - 500, n), 0.9);
}

TEST(ModeSynthesis, CutoffIsLimitedByTheSampleRate)
{
    ModeSynthesisInputs in = plainSteel();
    in.sampleRate = 44100;
    const LaminaModeTable full = buildOnFreshThread(in);
    in.modesCutoff = 17640;
    const LaminaModeTable limited = buildOnFreshThread(in);
    ASSERT_EQ(full.size(), limited.size());
    for (size_t k = 0; k < full.size(); k += 101)
        EXPECT_EQ(full[k].inputGain[0], limited[k].inputGain[0]);
    // At 48 kHz the cutoff stays at 20 kHz and the top modes are louder.
    in.sampleRate = 48000;
    in.modesCutoff = 20000;
    const LaminaModeTable wider = buildOnFreshThread(in);
    EXPECT_GT(std::abs(wider.back().outputGain[0]), std::abs(full.back().outputGain[0]));
}

TEST(ModeSynthesis, TruncationLevelIsFixedByTheFirstBuild)
{
    computeModeTable(ModeSynthesisInputs{});
    ModeSynthesisInputs in;
    in.modeTruncationThreshold = 0; // a level of 1 would cut every mode
    EXPECT_EQ(computeModeTable(in)->size(), 6000u);
}

TEST(ModeSynthesis, GridUnderTwoCellsIsSilent)
{
    ModeSynthesisInputs in;
    in.area = 0.0001f;
    in.aspectRatio = 1;
    EXPECT_TRUE(computeModeTable(in)->empty());

    test::RecordingBank bank(4);
    bank.numModes = 7;
    loadBank(bank, LaminaModeTable{}, LoadBankSettings{});
    EXPECT_EQ(bank.numModes, 0u);
}

TEST(LoadBank, GainsHaveUnitPowerPerChannelAndPolesMatchTheTable)
{
    const auto table = computeModeTable(ModeSynthesisInputs{});
    test::RecordingBank bank(table->size());
    LoadBankSettings settings;
    settings.enableDecayCompensation = false;
    settings.enableEQ = false;
    {
        test::AllocationCounter allocations;
        loadBank(bank, *table, settings);
        EXPECT_EQ(allocations.count(), 0u);
    }
    ASSERT_EQ(bank.numModes, table->size());
    double in[2] = {0, 0}, out[2] = {0, 0};
    for (size_t k = 0; k < table->size(); ++k)
        for (int c = 0; c < 2; ++c)
        {
            in[c] += bank.modes[k].in[c] * bank.modes[k].in[c];
            out[c] += bank.modes[k].out[c] * bank.modes[k].out[c];
        }
    EXPECT_NEAR(in[0] + in[1], 2.0, 1e-4);
    EXPECT_NEAR(out[0] + out[1], 2.0, 1e-4);

    const LaminaModeParams& m = (*table)[100];
    const double radius = std::hypot(bank.modes[100].c, bank.modes[100].s);
    EXPECT_NEAR(std::log(radius) * -48000, m.decayRate, 1e-6 * m.decayRate);
    EXPECT_NEAR(std::atan2(bank.modes[100].s, bank.modes[100].c) * 48000, m.omega, 1e-9 * m.omega);
}

TEST(LoadBank, CompensationEvensOutEnergyAndSilencesUndampedModes)
{
    ModeSynthesisInputs in;
    const auto table = computeModeTable(in);
    test::RecordingBank plain(table->size()), compensated(table->size());
    LoadBankSettings settings;
    settings.enableEQ = false;
    settings.enableDecayCompensation = false;
    loadBank(plain, *table, settings);
    settings.enableDecayCompensation = true;
    loadBank(compensated, *table, settings);
    // Resonator energy goes as g^2 / (1 - |p|^2): with compensation it is the raw gain's power times 5000,
    // whatever the decay.
    auto energy = [](const test::RecordingBank::Mode& m)
    { return m.in[0] * m.in[0] / (1 - (m.c * m.c + m.s * m.s)); };
    for (size_t k : {size_t(10), size_t(2000), size_t(5900)})
    {
        const double ratio = energy(compensated.modes[k]) / (plain.modes[k].in[0] * plain.modes[k].in[0]);
        EXPECT_NEAR(ratio, 5000, 5000 * 1e-3) << k;
    }

    LaminaModeTable still = *table;
    for (auto& mode : still)
        mode.decayRate = 0;
    loadBank(compensated, still, settings);
    EXPECT_EQ(compensated.modes[50].in[0], 0.0);
    EXPECT_EQ(std::hypot(compensated.modes[50].c, compensated.modes[50].s), 1.0);
}

TEST(LoadBank, EqScalesOutputsOnly)
{
    const auto table = computeModeTable(ModeSynthesisInputs{});
    MonotoneCubicTable eq;
    std::array<float, 12> gains;
    gains.fill(6);
    setBandGainTable(eq, gains);
    test::RecordingBank flat(table->size()), boosted(table->size());
    LoadBankSettings settings;
    loadBank(flat, *table, settings);
    settings.eqTable = &eq;
    loadBank(boosted, *table, settings);
    for (size_t k : {size_t(0), size_t(3000)})
    {
        EXPECT_NEAR(boosted.modes[k].out[1] / flat.modes[k].out[1], std::pow(10.0, 0.3), 1e-6);
        EXPECT_EQ(boosted.modes[k].in[0], flat.modes[k].in[0]);
    }
}

// The poles from whole vectors against the library's one mode at a time, as the bank keeps them (in 32 bits):
// every pole and gain within one float step, nearly all identical. Decays from none (a pole of radius 1,
// whose compensation is 0) to very fast, with compensation and a sloped EQ.
TEST(LoadBank, VectorPolesMatchTheLibraryWithinOneFloatStep)
{
    auto table = *computeModeTable(ModeSynthesisInputs{});
    for (size_t k = 0; k < table.size(); ++k)
        table[k].decayRate = k % 97 == 0 ? 0.0 : std::pow(10.0, (k % 1000) * 0.004 - 1);
    MonotoneCubicTable eq;
    std::array<float, 12> gains;
    for (size_t i = 0; i < 12; ++i)
        gains[i] = static_cast<float>(i) - 6;
    setBandGainTable(eq, gains);
    LoadBankSettings settings;
    settings.eqTable = &eq;
    settings.family = modalbank::Family::scalar;
    test::RecordingBank reference(table.size());
    loadBank(reference, table, settings);

    auto steps = [](double a, double b)
    { return test::floatSteps(static_cast<float>(a), static_cast<float>(b)); };
    for (auto family : {modalbank::Family::avx2, modalbank::Family::avx512})
    {
        if (modalbank::bestFamily() < family)
            continue;
        settings.family = family;
        test::RecordingBank bank(table.size());
        loadBank(bank, table, settings);
        int64_t differing = 0;
        for (size_t k = 0; k < table.size(); ++k)
        {
            const auto& a = bank.modes[k];
            const auto& b = reference.modes[k];
            const int64_t worst =
                std::max({steps(a.c, b.c), steps(a.s, b.s), steps(a.in[0], b.in[0]), steps(a.in[1], b.in[1]),
                          steps(a.out[0], b.out[0]), steps(a.out[1], b.out[1])});
            ASSERT_LE(worst, 1) << modalbank::familyName(family) << " mode " << k;
            differing += worst;
        }
        EXPECT_LE(differing, 5) << modalbank::familyName(family);
        EXPECT_EQ(bank.modes[97].in[0], 0.0);
    }
}

} // namespace
} // namespace qor
