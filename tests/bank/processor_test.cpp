#include "modal/bank/modal_bank.h"
#include "modal/bank/modal_bank_multi_core.h"
#include "modal/bank/processors.h"
#include "tests/bank/reference.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/channels.h"

#include <gtest/gtest.h>
#include <juce_core/juce_core.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace qor
{
namespace
{

constexpr double sampleRate = 48000.0;
constexpr double pi = 3.141592653589793;

using Factory = IModalBank* (*)(uint32_t, uint32_t, uint32_t);

struct Family
{
    const char* name;
    Factory create;
    bool vector;
    bool (*available)();
};

const Family families[] = {
    {"scalar", modalbank::scalar::createProcessor, false, [] { return true; }},
    {"avx", modalbank::avx::createProcessor, true, [] { return juce::SystemStats::hasAVX(); }},
    {"avx2", modalbank::avx2::createProcessor, true, [] { return juce::SystemStats::hasAVX2(); }},
};

struct Layout
{
    uint32_t inputs, outputs;
};
const Layout layouts[] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}};

using Signal = test::Channels;

void setPole(IModalBank& bank, uint32_t mode, double decayRate, double omega)
{
    const double r = std::exp(-decayRate / sampleRate);
    const double cs[2] = {r * std::cos(omega / sampleRate), r * std::sin(omega / sampleRate)};
    bank.setModeCoefficients(mode, cs);
}

/** Random poles and gains on every mode up to capacity, also those that will not be active. */
void fillRandom(IModalBank& bank, uint32_t capacity, uint32_t numInputs, uint32_t numOutputs, unsigned seed)
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

Signal noise(uint32_t numChannels, uint32_t numSamples, unsigned seed)
{
    Signal s(numChannels, numSamples);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (auto& channel : s.data)
        for (auto& x : channel)
            x = unit(random);
    return s;
}

Signal run(IModalBank& bank, const Signal& in, uint32_t numOutputs)
{
    Signal out(numOutputs, static_cast<uint32_t>(in.data[0].size()));
    bank.process(out.write(), in.read(), static_cast<uint32_t>(in.data[0].size()));
    return out;
}

bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

class EveryFamily : public ::testing::TestWithParam<const Family*>
{
protected:
    void SetUp() override
    {
        if (!GetParam()->available())
            GTEST_SKIP() << "instruction set not available";
    }
    std::unique_ptr<IModalBank> make(uint32_t numInputs, uint32_t numOutputs, uint32_t capacity)
    {
        return std::unique_ptr<IModalBank>(GetParam()->create(numInputs, numOutputs, capacity));
    }
};

std::string familyName(const ::testing::TestParamInfo<const Family*>& info)
{
    return info.param->name;
}

INSTANTIATE_TEST_SUITE_P(Bank, EveryFamily, ::testing::Values(&families[0], &families[1], &families[2]),
                         familyName);

// One mode, impulse into input 0: g_in * g_out * r^n * cos(n w / fs) from sample 0, on output 0 of every
// layout (channel 0's gains sit where every family reads them for mode 0).
TEST_P(EveryFamily, ImpulseRingsAsTheClosedForm)
{
    constexpr uint32_t length = 4800;
    const double decayRate = 6.907755278982138 / 0.5; // 0.5 s to -60 dB
    const double omega = 2 * pi * 1234.5;
    const double gIn = 0.75, gOut = -1.5;

    for (const auto& layout : layouts)
    {
        auto bank = make(layout.inputs, layout.outputs, 16);
        setPole(*bank, 0, decayRate, omega);
        bank->setInputGain(0, 0, gIn);
        bank->setOutputGain(0, 0, gOut);
        bank->setNumModes(1);

        Signal in(layout.inputs, length);
        in[0][0] = 1.0f;
        auto out = run(*bank, in, layout.outputs);

        double worst = 0.0;
        for (uint32_t n = 0; n < length; ++n)
        {
            const double expected =
                gIn * gOut * std::exp(-decayRate * n / sampleRate) * std::cos(n * omega / sampleRate);
            worst = std::max(worst, std::abs(out[0][n] - expected));
        }
        EXPECT_LT(worst, 2e-5) << layout.inputs << "x" << layout.outputs;
        EXPECT_FLOAT_EQ(out[0][0], static_cast<float>(gIn * gOut));
    }
}

TEST_P(EveryFamily, NoModesWritesZerosAndNoSamplesWritesNothing)
{
    for (const auto& layout : layouts)
    {
        auto bank = make(layout.inputs, layout.outputs, 64);
        fillRandom(*bank, 64, layout.inputs, layout.outputs, 1);
        auto in = noise(layout.inputs, 300, 2);

        Signal out(layout.outputs, 300);
        for (auto& channel : out.data)
            std::fill(channel.begin(), channel.end(), std::numeric_limits<float>::quiet_NaN());
        bank->process(out.write(), in.read(), 300);
        for (auto& channel : out.data)
            EXPECT_EQ(channel, std::vector<float>(300, 0.0f));

        // Nothing written and nothing advanced: the first real block is that of a fresh bank.
        bank->setNumModes(64);
        for (auto& channel : out.data)
            std::fill(channel.begin(), channel.end(), 7.0f);
        bank->process(out.write(), in.read(), 0);
        for (auto& channel : out.data)
            EXPECT_EQ(channel, std::vector<float>(300, 7.0f));

        auto fresh = make(layout.inputs, layout.outputs, 64);
        fillRandom(*fresh, 64, layout.inputs, layout.outputs, 1);
        fresh->setNumModes(64);
        EXPECT_TRUE(sameBits(run(*bank, in, layout.outputs)[0], run(*fresh, in, layout.outputs)[0]));
    }
}

// Shrinking keeps the state of the modes that stay; growing clears all of them; the modes above the smaller
// count keep their tables for when they come back; the same count again changes nothing.
TEST_P(EveryFamily, SetNumModesShrinksKeepingStateAndGrowsClearing)
{
    auto in = noise(2, 200, 3);
    Signal silence(2, 200);

    auto bank = make(2, 2, 32);
    auto small = make(2, 2, 32);
    fillRandom(*bank, 32, 2, 2, 4);
    fillRandom(*small, 32, 2, 2, 4);
    bank->setNumModes(16);
    small->setNumModes(8);
    run(*bank, in, 2);
    run(*small, in, 2);

    // Modes 8..15 have rung in bank only; after the shrink both run modes 0..7 from the same state.
    bank->setNumModes(8);
    auto afterShrink = run(*bank, silence, 2);
    EXPECT_TRUE(sameBits(afterShrink[0], run(*small, silence, 2)[0]));
    EXPECT_NE(afterShrink[0][199], 0.0f);

    bank->setNumModes(8); // the same count: state kept
    EXPECT_NE(run(*bank, silence, 2)[0][0], 0.0f);

    bank->setNumModes(16);
    EXPECT_EQ(run(*bank, silence, 2)[0], std::vector<float>(200, 0.0f));

    auto fresh = make(2, 2, 32);
    fillRandom(*fresh, 32, 2, 2, 4);
    fresh->setNumModes(16);
    EXPECT_TRUE(sameBits(run(*bank, in, 2)[1], run(*fresh, in, 2)[1]));
}

TEST_P(EveryFamily, ClearSilencesButKeepsTheTable)
{
    auto bank = make(1, 2, 40);
    fillRandom(*bank, 40, 1, 2, 5);
    bank->setNumModes(40);
    Signal impulse(1, 500);
    impulse[0][0] = 1.0f;
    Signal silence(1, 500);

    const auto first = run(*bank, impulse, 2);
    bank->clear();
    EXPECT_EQ(run(*bank, silence, 2)[1], std::vector<float>(500, 0.0f));
    const auto second = run(*bank, impulse, 2);
    EXPECT_TRUE(sameBits(first[0], second[0]));
    EXPECT_TRUE(sameBits(first[1], second[1]));
}

TEST_P(EveryFamily, ProcessDoesNotAllocate)
{
    for (const auto& layout : layouts)
    {
        auto bank = make(layout.inputs, layout.outputs, 128);
        fillRandom(*bank, 128, layout.inputs, layout.outputs, 6);
        bank->setNumModes(100);
        auto in = noise(layout.inputs, 1000, 7);
        Signal out(layout.outputs, 1000);

        test::AllocationCounter counter;
        bank->process(out.write(), in.read(), 1000);
        bank->process(out.write(), in.read(), 3);
        EXPECT_EQ(counter.count(), 0u);
    }
}

// The vector families run whole groups: lanes from numModes up to the next multiple of 8 ring with whatever
// tables they hold, so numModes 1 sounds like numModes 8 and 9 like 16.
TEST(BankLayout, LanesAboveTheCountKeepRunningInVectorFamilies)
{
    for (const auto& family : families)
    {
        if (!family.vector || !family.available())
            continue;
        Signal impulse(1, 300);
        impulse[0][0] = 1.0f;
        for (const auto& counts : {std::pair{1u, 8u}, std::pair{9u, 16u}})
        {
            std::unique_ptr<IModalBank> partial(family.create(1, 1, 64));
            std::unique_ptr<IModalBank> whole(family.create(1, 1, 64));
            fillRandom(*partial, 64, 1, 1, 8);
            fillRandom(*whole, 64, 1, 1, 8);
            partial->setNumModes(counts.first);
            whole->setNumModes(counts.second);
            EXPECT_TRUE(sameBits(run(*partial, impulse, 1)[0], run(*whole, impulse, 1)[0])) << family.name;
        }

        // A new bank's spare lanes hold zeros: one mode alone is exactly the closed form's first values.
        std::unique_ptr<IModalBank> one(family.create(1, 1, 64));
        const double cs[2] = {0.5, 0.25};
        one->setModeCoefficients(0, cs);
        one->setInputGain(0, 0, 1.0);
        one->setOutputGain(0, 0, 1.0);
        one->setNumModes(1);
        const auto out = run(*one, impulse, 1);
        EXPECT_EQ(out[0][0], 1.0f);
        EXPECT_EQ(out[0][1], 0.5f);
        EXPECT_EQ(out[0][2], 0.5f * 0.5f - 0.25f * 0.25f);
    }

    // The scalar family has no lanes: numModes 1 is one mode.
    std::unique_ptr<IModalBank> partial(modalbank::scalar::createProcessor(1, 1, 64));
    std::unique_ptr<IModalBank> whole(modalbank::scalar::createProcessor(1, 1, 64));
    fillRandom(*partial, 64, 1, 1, 8);
    fillRandom(*whole, 64, 1, 1, 8);
    partial->setNumModes(1);
    whole->setNumModes(8);
    Signal impulse(1, 50);
    impulse[0][0] = 1.0f;
    EXPECT_FALSE(sameBits(run(*partial, impulse, 1)[0], run(*whole, impulse, 1)[0]));
}

// One-channel banks agree across families up to rounding; on two-channel sides the scalar family reads the
// gains as interleaved pairs and so gives a mode the gains of its neighbour.
TEST(BankFamilies, AgreeOnOneChannelAndScalarReadsPairsOnTwo)
{
    auto in = noise(1, 2000, 9);
    std::vector<std::vector<float>> results;
    for (const auto& family : families)
    {
        if (!family.available())
            continue;
        std::unique_ptr<IModalBank> bank(family.create(1, 1, 128));
        fillRandom(*bank, 128, 1, 1, 10);
        bank->setNumModes(120); // a whole number of groups: no spare lanes ring in the vector families
        results.push_back(run(*bank, in, 1)[0]);
    }
    ASSERT_GE(results.size(), 2u);
    float peak = 0.0f;
    for (float y : results[0])
        peak = std::max(peak, std::abs(y));
    for (size_t f = 1; f < results.size(); ++f)
        for (size_t n = 0; n < results[0].size(); ++n)
            ASSERT_NEAR(results[f][n], results[0][n], 1e-5f * peak) << "family " << f << " sample " << n;

    // Mode 0 integrates; only mode 1 has a gain, on input 0 and output 0. A scalar 2x2 bank reads that gain
    // as mode 0's gain for input 1 and output 1, so an impulse on input 1 comes out of output 1; the vector
    // families, reading rows, stay silent.
    for (const auto& family : families)
    {
        if (!family.available())
            continue;
        std::unique_ptr<IModalBank> bank(family.create(2, 2, 8));
        const double integrate[2] = {1.0, 0.0};
        bank->setModeCoefficients(0, integrate);
        bank->setInputGain(1, 0, 1.0);
        bank->setOutputGain(1, 0, 1.0);
        bank->setNumModes(2);
        Signal impulse(2, 4);
        impulse[1][0] = 1.0f;
        const auto out = run(*bank, impulse, 2);
        const float expected = family.vector ? 0.0f : 1.0f;
        EXPECT_EQ(out[1], std::vector<float>(4, expected)) << family.name;
        EXPECT_EQ(out[0], std::vector<float>(4, 0.0f)) << family.name;
    }
}

// The group-outer loop of the vector families against the sample-outer reference loop: outputs and states
// must match bit for bit, block after block, for every member, with spare lanes that hold tables and blocks
// of odd lengths.
TEST(BankFamilies, FastLoopIsBitIdenticalToTheSampleOuterLoop)
{
    using Reference = void (*)(detail::VectorProcessorBase&, uint32_t, uint32_t, float* const*,
                               const float* const*, uint32_t);
    struct Case
    {
        const Family& family;
        Reference reference;
    };
    const Case cases[] = {{families[1], test::referenceProcessAvx},
                          {families[2], test::referenceProcessAvx2}};
    const uint32_t blockLengths[] = {1, 7, 128, 129, 256, 300, 1000, 2};

    for (const auto& c : cases)
    {
        if (!c.family.available())
            continue;
        for (const auto& layout : layouts)
        {
            for (uint32_t numModes : {0u, 1u, 8u, 9u, 37u, 64u, 120u, 128u})
            {
                std::unique_ptr<IModalBank> fast(c.family.create(layout.inputs, layout.outputs, 128));
                std::unique_ptr<IModalBank> slow(c.family.create(layout.inputs, layout.outputs, 128));
                fillRandom(*fast, 128, layout.inputs, layout.outputs, numModes);
                fillRandom(*slow, 128, layout.inputs, layout.outputs, numModes);
                fast->setNumModes(numModes);
                slow->setNumModes(numModes);
                auto& slowTables = dynamic_cast<detail::VectorProcessorBase&>(*slow);
                auto& fastTables = dynamic_cast<detail::VectorProcessorBase&>(*fast);

                unsigned seed = 100;
                for (uint32_t length : blockLengths)
                {
                    auto in = noise(layout.inputs, length, seed++);
                    Signal expected(layout.outputs, length);
                    c.reference(slowTables, layout.inputs, layout.outputs, expected.write(), in.read(),
                                length);
                    const auto actual = run(*fast, in, layout.outputs);
                    for (uint32_t o = 0; o < layout.outputs; ++o)
                        ASSERT_TRUE(sameBits(actual.data[o], expected.data[o]))
                            << c.family.name << " " << layout.inputs << "x" << layout.outputs << " modes "
                            << numModes << " block " << length << " output " << o;
                    ASSERT_EQ(std::memcmp(fastTables.modeState, slowTables.modeState,
                                          2 * fastTables.stride * sizeof(float)),
                              0);
                }
            }
        }
    }
}

TEST(ModalBank, ForwardsToTheBestFamilyAndRejectsOtherChannelCounts)
{
    ModalBank bank(2, 2, 128);
    std::unique_ptr<IModalBank> direct(
        juce::SystemStats::hasAVX2()  ? modalbank::avx2::createProcessor(2, 2, 128)
        : juce::SystemStats::hasAVX() ? modalbank::avx::createProcessor(2, 2, 128)
                                      : modalbank::scalar::createProcessor(2, 2, 128));
    fillRandom(bank, 128, 2, 2, 11);
    fillRandom(*direct, 128, 2, 2, 11);
    bank.setNumModes(77);
    direct->setNumModes(77);
    auto in = noise(2, 512, 12);
    const auto a = run(bank, in, 2);
    const auto b = run(*direct, in, 2);
    EXPECT_TRUE(sameBits(a.data[0], b.data[0]));
    EXPECT_TRUE(sameBits(a.data[1], b.data[1]));

    Signal out(2, 512);
    test::AllocationCounter counter;
    bank.process(out.write(), in.read(), 512);
    EXPECT_EQ(counter.count(), 0u);

    EXPECT_THROW(ModalBank(3, 2, 128), std::invalid_argument);
    EXPECT_THROW(ModalBank(1, 0, 128), std::invalid_argument);
}

TEST(ModalBankMultiCore, WorkerCountNeverUnderflows)
{
    EXPECT_EQ(bankWorkerCount(0), 0u);
    EXPECT_EQ(bankWorkerCount(1), 0u);
    EXPECT_EQ(bankWorkerCount(2), 1u);
    EXPECT_LT(defaultBankWorkerCount(), std::max(2u, std::thread::hardware_concurrency()));
}

} // namespace
} // namespace qor
