#include "modal/bank/family.h"
#include "modal/bank/modal_bank.h"
#include "modal/bank/modal_bank_multi_core.h"
#include "modal/bank/processors.h"
#include "tests/bank/random_modes.h"
#include "tests/bank/reference.h"
#include "tests/support/alloc_counter.h"

#include <gtest/gtest.h>
#include <juce_core/juce_core.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace qor
{
namespace
{

using test::fillRandom;
using test::noise;
using test::pi;
using test::run;
using test::sameBits;
using test::setPole;
using test::Signal;
using test::SpanData;
constexpr double sampleRate = test::bankSampleRate;

using Factory = IModalBank* (*)(uint32_t, uint32_t, uint32_t);

struct Family
{
    const char* name;
    Factory create;
    uint32_t lanes;
    bool (*available)();
    bool vector() const { return lanes > 1; }
};

const Family families[] = {
    {"scalar", modalbank::scalar::createProcessor, 1, [] { return true; }},
    {"avx", modalbank::avx::createProcessor, 8, [] { return modalbank::readCpuFeatures().avx; }},
    {"avx2", modalbank::avx2::createProcessor, 8, [] { return modalbank::readCpuFeatures().avx2; }},
    {"avx512", modalbank::avx512::createProcessor, 16,
     [] { return modalbank::bestFamily() == modalbank::Family::avx512; }},
};

struct Layout
{
    uint32_t inputs, outputs;
};
const Layout layouts[] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}};

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

INSTANTIATE_TEST_SUITE_P(Bank, EveryFamily,
                         ::testing::Values(&families[0], &families[1], &families[2], &families[3]),
                         familyName);

// A copy rings on exactly as its source, in every layout; a bank of another layout is refused.
TEST_P(EveryFamily, CopyRingsOnAsItsSource)
{
    for (const auto& layout : layouts)
    {
        auto source = make(layout.inputs, layout.outputs, 64);
        auto copy = make(layout.inputs, layout.outputs, 64);
        fillRandom(*source, 64, layout.inputs, layout.outputs, 7);
        source->setNumModes(50);
        run(*source, noise(layout.inputs, 300, 8), layout.outputs);

        ASSERT_TRUE(copy->copyModesFrom(*source));
        const Signal more = noise(layout.inputs, 200, 9);
        const Signal a = run(*source, more, layout.outputs);
        const Signal b = run(*copy, more, layout.outputs);
        for (uint32_t o = 0; o < layout.outputs; ++o)
            EXPECT_TRUE(sameBits(a.data[o], b.data[o]))
                << layout.inputs << " in, " << layout.outputs << " out";

        auto other = make(layout.inputs == 1 ? 2 : 1, layout.outputs, 64);
        EXPECT_FALSE(other->copyModesFrom(*source));
    }
}

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

// A span of modes set at once is the same bank as the same values set one by one, in every layout; a side of
// 0 channels keeps its gains.
TEST_P(EveryFamily, SetModesIsTheSettersAtOnce)
{
    for (const auto& layout : layouts)
    {
        SpanData data(45, layout.inputs, layout.outputs, 15);
        auto bulk = make(layout.inputs, layout.outputs, 64);
        auto single = make(layout.inputs, layout.outputs, 64);
        fillRandom(*bulk, 64, layout.inputs, layout.outputs, 16);
        fillRandom(*single, 64, layout.inputs, layout.outputs, 16);
        bulk->setModes(3, 45, data.span);
        data.setOneByOne(*single, 3);

        SpanData poles(20, 0, 0, 17);
        bulk->setModes(30, 20, poles.span);
        poles.setOneByOne(*single, 30);

        bulk->setNumModes(64);
        single->setNumModes(64);
        const auto in = noise(layout.inputs, 200, 18);
        const auto a = run(*bulk, in, layout.outputs);
        const auto b = run(*single, in, layout.outputs);
        for (uint32_t o = 0; o < layout.outputs; ++o)
            EXPECT_TRUE(sameBits(a[o], b[o])) << layout.inputs << "x" << layout.outputs;
    }
}

TEST(ModalBankMultiCore, SetModesSplitsAtJobBoundaries)
{
    ModalBankMultiCore bulk(2, 2, 1000, 0, 128, 256, sampleRate);
    ModalBankMultiCore single(2, 2, 1000, 0, 128, 256, sampleRate);
    SpanData data(300, 2, 2, 19);
    bulk.setModes(100, 300, data.span); // jobs 0 to 3
    data.setOneByOne(single, 100);
    bulk.setNumModes(450);
    single.setNumModes(450);
    const auto in = noise(2, 256, 20);
    const auto a = run(bulk, in, 2);
    const auto b = run(single, in, 2);
    EXPECT_TRUE(sameBits(a[0], b[0]));
    EXPECT_TRUE(sameBits(a[1], b[1]));
}

// The vector families run whole groups: lanes from numModes up to the next multiple of the lane count ring
// with whatever tables they hold, so with 8 lanes numModes 1 sounds like numModes 8 and 9 like 16.
TEST(BankLayout, LanesAboveTheCountKeepRunningInVectorFamilies)
{
    for (const auto& family : families)
    {
        if (!family.vector() || !family.available())
            continue;
        Signal impulse(1, 300);
        impulse[0][0] = 1.0f;
        const uint32_t lanes = family.lanes;
        for (const auto& counts : {std::pair{1u, lanes}, std::pair{lanes + 1, 2 * lanes}})
        {
            std::unique_ptr<IModalBank> partial(family.create(1, 1, 64));
            std::unique_ptr<IModalBank> whole(family.create(1, 1, 64));
            fillRandom(*partial, 64, 1, 1, 8);
            fillRandom(*whole, 64, 1, 1, 8);
            partial->setNumModes(counts.first);
            whole->setNumModes(counts.second);
            EXPECT_TRUE(sameBits(run(*partial, impulse, 1)[0], run(*whole, impulse, 1)[0])) << family.name;
        }
    }
}

/** Random poles and gains on modes below count and zero tables above, with the gains written where the family
    reads them: a scalar bank reads a two-channel side as interleaved pairs, so its pairs are filled directly
    and it runs the same modes as a vector bank given the same seed. */
void fillAsRead(IModalBank& bank, bool scalar, uint32_t count, uint32_t numInputs, uint32_t numOutputs,
                unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    auto* tables = dynamic_cast<detail::SIMDProcessorBase<float>*>(&bank);
    for (uint32_t k = 0; k < count; ++k)
    {
        setPole(bank, k, 1.0 + 30.0 * unit(random), 2 * pi * 20000.0 * unit(random));
        for (bool input : {true, false})
        {
            const uint32_t channels = input ? numInputs : numOutputs;
            for (uint32_t ch = 0; ch < channels; ++ch)
            {
                const double gain = 2.0 * unit(random) - 1.0;
                if (scalar)
                    (input ? tables->inputGains : tables->outputGains)[channels == 2 ? 2 * k + ch : k] =
                        static_cast<float>(gain);
                else if (input)
                    bank.setInputGain(k, ch, gain);
                else
                    bank.setOutputGain(k, ch, gain);
            }
        }
    }
}

// Every vector family against the scalar reference running the same modes, in every layout, block after
// block (the scalar family given its two-channel gains as pairs, the vector families as rows): an odd count
// (spare lanes hold zero tables), a shrink to a whole number of 16-lane groups (so the vector families run no
// other modes than the scalar one), a grow back (which clears) and the full capacity.
TEST(BankFamilies, VectorFamiliesAgreeWithTheScalarReference)
{
    constexpr uint32_t capacity = 128, filled = 113, length = 700;
    const uint32_t counts[] = {filled, 48, filled, capacity};
    for (const auto& layout : layouts)
    {
        std::unique_ptr<IModalBank> reference(families[0].create(layout.inputs, layout.outputs, capacity));
        fillAsRead(*reference, true, filled, layout.inputs, layout.outputs, 13);
        std::vector<Signal> expected;
        unsigned seed = 14;
        for (uint32_t count : counts)
        {
            reference->setNumModes(count);
            expected.push_back(run(*reference, noise(layout.inputs, length, seed++), layout.outputs));
        }

        for (const auto& family : families)
        {
            if (!family.vector() || !family.available())
                continue;
            std::unique_ptr<IModalBank> bank(family.create(layout.inputs, layout.outputs, capacity));
            fillAsRead(*bank, false, filled, layout.inputs, layout.outputs, 13);
            seed = 14;
            for (size_t b = 0; b < std::size(counts); ++b)
            {
                bank->setNumModes(counts[b]);
                const auto actual = run(*bank, noise(layout.inputs, length, seed++), layout.outputs);
                for (uint32_t o = 0; o < layout.outputs; ++o)
                {
                    float peak = 0.0f;
                    for (float y : expected[b][o])
                        peak = std::max(peak, std::abs(y));
                    ASSERT_GT(peak, 0.1f);
                    for (uint32_t n = 0; n < length; ++n)
                        ASSERT_NEAR(actual[o][n], expected[b][o][n], 1e-5f * peak)
                            << family.name << " " << layout.inputs << "x" << layout.outputs << " count "
                            << counts[b] << " output " << o << " sample " << n;
                }
            }
        }
    }
}

/** The state array of a vector bank and its length in floats. */
template <typename Tables>
std::pair<const float*, size_t> stateOf(IModalBank& bank)
{
    auto& tables = dynamic_cast<Tables&>(bank);
    return {tables.modeState, 2 * size_t{tables.stride}};
}

// The group-outer loop of the vector families against the sample-outer reference loop: outputs and states
// must match bit for bit, block after block, for every member, with spare lanes that hold tables and blocks
// of odd lengths.
TEST(BankFamilies, FastLoopIsBitIdenticalToTheSampleOuterLoop)
{
    using Reference =
        std::function<void(IModalBank&, uint32_t, uint32_t, float* const*, const float* const*, uint32_t)>;
    using State = std::pair<const float*, size_t> (*)(IModalBank&);
    struct Case
    {
        const Family& family;
        Reference reference;
        State state;
    };
    auto eightLanes = [](auto reference)
    {
        return [reference](IModalBank& bank, uint32_t i, uint32_t o, float* const* out,
                           const float* const* in, uint32_t n)
        { reference(dynamic_cast<detail::VectorProcessorBase&>(bank), i, o, out, in, n); };
    };
    const Case cases[] = {
        {families[1], eightLanes(test::referenceProcessAvx), stateOf<detail::VectorProcessorBase>},
        {families[2], eightLanes(test::referenceProcessAvx2), stateOf<detail::VectorProcessorBase>},
        {families[3],
         [](IModalBank& bank, uint32_t i, uint32_t o, float* const* out, const float* const* in, uint32_t n) {
             test::referenceProcessAvx512(dynamic_cast<detail::WideVectorProcessorBase&>(bank), i, o, out, in,
                                          n);
         },
         stateOf<detail::WideVectorProcessorBase>}};
    const uint32_t blockLengths[] = {1, 7, 128, 129, 256, 300, 1000, 2};

    for (const auto& c : cases)
    {
        if (!c.family.available())
            continue;
        for (const auto& layout : layouts)
        {
            for (uint32_t numModes : {0u, 1u, 8u, 9u, 17u, 37u, 64u, 120u, 128u})
            {
                std::unique_ptr<IModalBank> fast(c.family.create(layout.inputs, layout.outputs, 128));
                std::unique_ptr<IModalBank> slow(c.family.create(layout.inputs, layout.outputs, 128));
                fillRandom(*fast, 128, layout.inputs, layout.outputs, numModes);
                fillRandom(*slow, 128, layout.inputs, layout.outputs, numModes);
                fast->setNumModes(numModes);
                slow->setNumModes(numModes);

                unsigned seed = 100;
                for (uint32_t length : blockLengths)
                {
                    auto in = noise(layout.inputs, length, seed++);
                    Signal expected(layout.outputs, length);
                    c.reference(*slow, layout.inputs, layout.outputs, expected.write(), in.read(), length);
                    const auto actual = run(*fast, in, layout.outputs);
                    for (uint32_t o = 0; o < layout.outputs; ++o)
                        ASSERT_TRUE(sameBits(actual.data[o], expected.data[o]))
                            << c.family.name << " " << layout.inputs << "x" << layout.outputs << " modes "
                            << numModes << " block " << length << " output " << o;
                    const auto [fastState, size] = c.state(*fast);
                    ASSERT_EQ(std::memcmp(fastState, c.state(*slow).first, size * sizeof(float)), 0);
                }
            }
        }
    }
}

// The choice with the processor's features injected: avx512 needs all four AVX-512 subsets, AVX2, FMA and an
// operating system that saves the 512-bit registers; missing any one falls back to avx2 (which stands on the
// AVX2 bit alone), then avx, then scalar.
TEST(FamilyChoice, FallsBackCleanlyWhenAnythingIsMissing)
{
    using modalbank::Family;
    const modalbank::CpuFeatures full{true, true, true, true, true, true, true, true};
    EXPECT_EQ(modalbank::chooseFamily(full), Family::avx512);

    bool modalbank::CpuFeatures::*const needed[] = {
        &modalbank::CpuFeatures::fma,      &modalbank::CpuFeatures::avx512f,
        &modalbank::CpuFeatures::avx512dq, &modalbank::CpuFeatures::avx512bw,
        &modalbank::CpuFeatures::avx512vl, &modalbank::CpuFeatures::osSaves512BitState};
    for (auto field : needed)
    {
        auto features = full;
        features.*field = false;
        EXPECT_EQ(modalbank::chooseFamily(features), Family::avx2);
    }

    auto noAvx2 = full;
    noAvx2.avx2 = false;
    EXPECT_EQ(modalbank::chooseFamily(noAvx2), Family::avx);
    EXPECT_EQ(modalbank::chooseFamily({true, false, false, false, false, false, false, false}), Family::avx);
    EXPECT_EQ(modalbank::chooseFamily({}), Family::scalar);

    // This machine: the bits agree with what the kernel reports, and the cached choice is the computed one.
    const auto here = modalbank::readCpuFeatures();
    EXPECT_EQ(here.avx, juce::SystemStats::hasAVX());
    EXPECT_EQ(here.avx2, juce::SystemStats::hasAVX2());
    EXPECT_EQ(here.fma, juce::SystemStats::hasFMA3());
    // The kernel lists AVX-512 only where it saves the 512-bit state.
    EXPECT_EQ(here.avx512f && here.osSaves512BitState, juce::SystemStats::hasAVX512F());
    EXPECT_EQ(here.avx512dq && here.osSaves512BitState, juce::SystemStats::hasAVX512DQ());
    EXPECT_EQ(here.avx512bw && here.osSaves512BitState, juce::SystemStats::hasAVX512BW());
    EXPECT_EQ(here.avx512vl && here.osSaves512BitState, juce::SystemStats::hasAVX512VL());
    EXPECT_EQ(modalbank::bestFamily(), modalbank::chooseFamily(here));
}

TEST(ModalBank, ForwardsToTheBestFamilyAndRejectsOtherChannelCounts)
{
    ModalBank bank(2, 2, 128);
    std::unique_ptr<IModalBank> direct(modalbank::createProcessor(modalbank::bestFamily(), 2, 2, 128));
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
    EXPECT_THROW(ModalBank(modalbank::Family::scalar, 2, 3, 128), std::invalid_argument);
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
