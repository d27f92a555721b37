#include "modal/bank/modal_bank_multi_core.h"
#include "tests/bank/random_modes.h"
#include "tests/support/alloc_counter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <vector>
#include <xmmintrin.h>

namespace qor
{
namespace
{

using test::fillRandom;
using test::noise;
using test::pi;
using test::Signal;
using test::SpanData;
constexpr double sampleRate = test::bankSampleRate;
constexpr uint32_t perBank = 128;

/** Every mode an integrator (c = 1, s = 0) with unit gains below count and zero gains above: an impulse then
    gives, at every sample, the number of modes that actually run. */
void fillCounting(IModalBank& bank, uint32_t capacity, uint32_t count)
{
    const double integrate[2] = {1.0, 0.0};
    for (uint32_t k = 0; k < capacity; ++k)
    {
        bank.setModeCoefficients(k, integrate);
        bank.setInputGain(k, 0, k < count ? 1.0 : 0.0);
        bank.setOutputGain(k, 0, k < count ? 1.0 : 0.0);
    }
    bank.setNumModes(count);
}

// The last active job gets count % 128 modes, so an exact multiple of 128 leaves it silent: 128 sounds as
// nothing and 256 as 128. (That no job runs more than its share is checked where every mode has a gain.)
TEST(ModalBankMultiCore, CountDecidesWhichJobsRun)
{
    constexpr uint32_t capacity = 20000;
    const std::pair<uint32_t, float> cases[] = {{0, 0.0f},     {1, 1.0f},     {128, 0.0f},      {129, 129.0f},
                                                {200, 200.0f}, {256, 128.0f}, {20000, 20000.0f}};
    for (const auto& [count, expected] : cases)
    {
        ModalBankMultiCore bank(1, 1, capacity, 1, perBank, 64, sampleRate);
        ASSERT_EQ(bank.getNumBanks(), 157u);
        fillCounting(bank, capacity, count);

        Signal in(1, 64);
        in.data[0][0] = 1.0f;
        Signal out(1, 64);
        bank.process(out.write(), in.read(), 64);
        EXPECT_EQ(out.data[0], std::vector<float>(64, expected)) << "count " << count;
    }
}

// Workers change only the order of the sum over jobs; the sum itself is checked against every job run alone
// and added in double, over blocks of varying length (which exercises the clear marks of the accumulators).
TEST(ModalBankMultiCore, WorkersChangeOnlyTheSummationOrder)
{
    constexpr uint32_t numModes = 20000, maxBlock = 256;
    const uint32_t blocks[] = {256, 100, 256, 1, 37, 256, 255};

    ModalBankMultiCore alone(2, 2, numModes, 0, perBank, maxBlock, sampleRate);
    ModalBankMultiCore shared(2, 2, numModes, 2, perBank, maxBlock, sampleRate);
    std::vector<std::unique_ptr<ModalBank>> jobs;
    for (uint32_t j = 0; j < 157; ++j)
        jobs.push_back(std::make_unique<ModalBank>(2, 2, perBank));

    const SpanData modes(numModes, 2, 2, 1);
    alone.setModes(0, numModes, modes.span);
    shared.setModes(0, numModes, modes.span);
    alone.setNumModes(numModes - 1);
    shared.setNumModes(numModes - 1);
    for (uint32_t j = 0; j < 157; ++j)
    {
        jobs[j]->setModes(0, std::min(perBank, numModes - j * perBank), modes.span.from(j * perBank));
        jobs[j]->setNumModes(j < 156 ? perBank : (numModes - 1) % perBank);
    }

    unsigned seed = 2;
    for (uint32_t length : blocks)
    {
        const Signal in = noise(2, length, seed++);
        Signal a(2, length), b(2, length);
        alone.process(a.write(), in.read(), length);
        shared.process(b.write(), in.read(), length);

        std::vector<std::vector<double>> sum(2, std::vector<double>(length, 0.0));
        double peak = 0.0;
        for (auto& job : jobs)
        {
            Signal part(2, length);
            job->process(part.write(), in.read(), length);
            for (uint32_t c = 0; c < 2; ++c)
                for (uint32_t n = 0; n < length; ++n)
                {
                    sum[c][n] += part.data[c][n];
                    peak = std::max(peak, std::abs(sum[c][n]));
                }
        }
        ASSERT_GT(peak, 0.01);
        for (uint32_t c = 0; c < 2; ++c)
            for (uint32_t n = 0; n < length; ++n)
            {
                ASSERT_NEAR(a.data[c][n], sum[c][n], 1e-5 * peak) << "block " << length << " sample " << n;
                ASSERT_NEAR(b.data[c][n], sum[c][n], 1e-5 * peak) << "block " << length << " sample " << n;
            }
    }
}

// Growing the count clears only the jobs whose own count grows: a job that stays at 128 keeps ringing.
TEST(ModalBankMultiCore, GrowingClearsOnlyJobsThatGrow)
{
    ModalBankMultiCore bank(1, 1, 1024, 1, perBank, 128, sampleRate);
    const double integrate[2] = {1.0, 0.0};
    for (uint32_t k = 0; k < 1024; ++k)
    {
        bank.setModeCoefficients(k, integrate);
        bank.setInputGain(k, 0, 1.0);
        bank.setOutputGain(k, 0, 1.0);
    }
    // Whole groups in every family, so that no spare lane rings.
    bank.setNumModes(304); // 128, 128, 48
    Signal in(1, 128);
    in.data[0][0] = 1.0f;
    Signal out(1, 128);
    bank.process(out.write(), in.read(), 128);
    EXPECT_EQ(out.data[0][127], 304.0f);

    bank.setNumModes(400); // 128, 128, 128, 16: jobs 2 and 3 start from rest
    Signal silence(1, 128);
    bank.process(out.write(), silence.read(), 128);
    EXPECT_EQ(out.data[0], std::vector<float>(128, 256.0f));
}

// After fadeOut the old modes ring on, hearing no input, under a half cosine from 1 to 0 over the fade, and
// then stop, while a new table loaded a span at a time starts from rest beside them, in every family that
// runs here. Workers claim the fading jobs like any other, and nothing allocates.
TEST(ModalBankMultiCore, FadeOutRingsTheOldModesWithoutInputUnderAHalfCosine)
{
    constexpr uint32_t fade = 600;
    for (int f = 0; f <= static_cast<int>(modalbank::bestFamily()); ++f)
    {
        const auto family = static_cast<modalbank::Family>(f);
        SCOPED_TRACE(modalbank::familyName(family));
        ModalBankMultiCore bank(2, 2, 4096, 2, perBank, 256, sampleRate, family);
        ModalBankMultiCore tail(2, 2, 4096, 0, perBank, 256, sampleRate, family);
        ModalBankMultiCore fresh(2, 2, 4096, 0, perBank, 256, sampleRate, family);
        // fresh has the same history but for the fade: what a table leaves beyond the next one's count (gains
        // that spare lanes and the scalar pairs read) is the same in both.
        for (auto* b : {&bank, &tail, &fresh})
        {
            fillRandom(*b, 4096, 2, 2, 5);
            b->setNumModes(4000);
        }
        const Signal in = noise(2, 256, 6);
        Signal out(2, 256), silence(2, 256), old(2, 256), young(2, 256);
        bank.process(out.write(), in.read(), 256);
        tail.process(old.write(), in.read(), 256);

        const SpanData next(3001, 2, 2, 11);
        auto load = [&next](IModalBank& b)
        {
            b.setNumModes(3001);
            b.setModes(0, 3001, next.span);
        };
        fresh.clear();
        load(fresh);
        test::AllocationCounter counter;
        bank.fadeOut(fade);
        load(bank);
        uint32_t position = 0;
        // The jobs' sum may come in another order than in the single-threaded banks: the last bits may
        // differ.
        double peak = 0, youngPeak = 0;
        for (uint32_t length : {256u, 100u, 256u, 256u})
        {
            bank.process(out.write(), in.read(), length);
            tail.process(old.write(), silence.read(), length);
            fresh.process(young.write(), in.read(), length);
            for (uint32_t c = 0; c < 2; ++c)
                for (uint32_t n = 0; n < length; ++n)
                {
                    const uint32_t t = position + n;
                    const double gain = t < fade ? 0.5 + 0.5 * std::cos(pi * t / fade) : 0.0;
                    peak = std::max(peak, std::abs(static_cast<double>(old.data[c][n])));
                    youngPeak = std::max(youngPeak, std::abs(static_cast<double>(young.data[c][n])));
                    // Past the fade the old modes must be gone, not merely small.
                    const double tolerance = 1e-5 * ((t < fade ? peak : 0) + youngPeak);
                    ASSERT_NEAR(out.data[c][n], old.data[c][n] * gain + young.data[c][n], tolerance)
                        << "sample " << t;
                }
            position += length;
        }
        EXPECT_EQ(counter.count(), 0u);
        EXPECT_GT(peak, 0.01);
    }
}

// Whether a worker's thread is still listed by the kernel right after the join is up to the kernel: the test
// counts the workers' thread functions instead, which a join is guaranteed to have seen end.
TEST(ModalBankMultiCore, DestructionJoinsTheWorkers)
{
    const int before = ModalBankMultiCore::getNumRunningWorkers();
    for (int round = 0; round < 20; ++round)
    {
        // Destroyed at once, and after use: the workers must end either way, also before they first wait.
        auto bank = std::make_unique<ModalBankMultiCore>(1, 1, 256, 3, perBank, 64, sampleRate);
        EXPECT_EQ(bank->getNumWorkers(), 3u);
        EXPECT_EQ(ModalBankMultiCore::getNumRunningWorkers(), before + 3);
        if (round % 2 == 1)
        {
            bank->setNumModes(200);
            Signal in(1, 64), out(1, 64);
            bank->process(out.write(), in.read(), 64);
        }
        bank.reset();
        EXPECT_EQ(ModalBankMultiCore::getNumRunningWorkers(), before);
    }
}

// Each job turns one input sample into a subnormal output: (j + 1) units of the smallest subnormal, exact on
// a thread without flush-to-zero and 0 on a thread with it. This test's thread runs without it, so a block
// whose sum falls short of the full sum shows that a worker ran jobs, and ran them flushed.
TEST(ModalBankMultiCore, WorkersFlushSubnormalsToZero)
{
    ASSERT_EQ(_mm_getcsr() & 0x8040u, 0u);
    constexpr uint32_t numJobs = 64;
    ModalBankMultiCore bank(1, 1, numJobs * perBank, 1, perBank, 16, sampleRate);
    for (uint32_t j = 0; j < numJobs; ++j)
    {
        bank.setInputGain(j * perBank, 0, std::ldexp(double(j + 1), -74));
        bank.setOutputGain(j * perBank, 0, 1.0);
    }
    bank.setNumModes(numJobs * perBank - 1);

    Signal in(1, 16), out(1, 16);
    std::fill(in.data[0].begin(), in.data[0].end(), std::ldexp(1.0f, -75));
    const float smallest = std::ldexp(1.0f, -149);
    const float full = smallest * float(numJobs * (numJobs + 1) / 2);
    ASSERT_LT(full, std::numeric_limits<float>::min());

    bool flushedOnWorker = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!flushedOnWorker && std::chrono::steady_clock::now() < deadline)
    {
        bank.process(out.write(), in.read(), 16);
        // Units are whole and the jobs of this thread add them exactly.
        ASSERT_EQ(std::fmod(out.data[0][0] / smallest, 1.0f), 0.0f);
        ASSERT_LE(out.data[0][0], full);
        flushedOnWorker = out.data[0][0] < full;
    }
    EXPECT_TRUE(flushedOnWorker);
}

} // namespace
} // namespace qor
