#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

namespace qor
{
namespace
{

using test::allFinite;
using test::ids;
using test::LaminaRig;
using test::smallSheet;

constexpr int32_t holdoffAt48k = 2400; // 50 ms

/** Renders blocks until the first build (asked for by the first block) has been taken over. */
void settle(LaminaRig& rig)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while ((rig.stats().takeOvers.load() == 0 || LaminaProbe::recomputeHoldoff(rig.state()) > 0 ||
            LaminaProbe::dirtyFlags(rig.state())[0] != 0) &&
           std::chrono::steady_clock::now() < deadline)
        rig.process(256);
    ASSERT_GE(rig.stats().takeOvers.load(), 1u);
}

TEST(LaminaModeThread, AreaSweepBuildsOneAtATimeWithTheHoldOffBetween)
{
    LaminaRig rig(smallSheet(false, 256));
    const auto& stats = rig.stats();

    // A new Area before every block; the sweep runs until four builds have been asked for, however long
    // the mode thread takes for each.
    uint32_t requests = 0, changes = 0;
    uint64_t lastTakeOver = 0;
    bool sawTakeOver = false;
    float area = 0.6f;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (requests < 4 && std::chrono::steady_clock::now() < deadline)
    {
        area = area >= 1.2f ? 0.6f : area + 0.01f;
        rig.lamina->setParameterDeferred(ids().area, area, true);
        ++changes;
        rig.process(256);
        ASSERT_TRUE(allFinite(rig.channels[0]));
        const auto r = stats.requests.load();
        const auto t = stats.takeOvers.load();
        // One build at a time: no request while the last is not taken over.
        ASSERT_LE(r, t + 1);
        ASSERT_LE(stats.buildsStarted.load(), r);
        if (r != requests)
        {
            ASSERT_EQ(r, requests + 1);
            if (sawTakeOver)
            {
                EXPECT_GE(stats.lastRequestSample.load() - lastTakeOver, uint64_t(holdoffAt48k));
            }
            requests = r;
        }
        if (t > 0)
        {
            lastTakeOver = stats.lastTakeOverSample.load();
            sawTakeOver = true;
        }
        std::this_thread::yield();
    }
    ASSERT_EQ(requests, 4u);
    // Many changes, few builds: the changes that land during a build or the hold-off are served by the next
    // one, so at least a hold-off of blocks lies between requests.
    EXPECT_GE(changes, 3 * static_cast<uint32_t>(holdoffAt48k / 256));
}

TEST(LaminaModeThread, GeometryLockHoldsBuildsBackAndItsReleaseAsksAtOnce)
{
    LaminaRig rig(smallSheet(false, 256));
    settle(rig);
    const auto& stats = rig.stats();
    const auto requests = stats.requests.load();

    rig.lamina->setParameterDeferred(ids().geometryLock, true, true);
    rig.process(256);
    rig.lamina->setParameterDeferred(ids().area, 0.9f, true);
    for (int b = 0; b < 30; ++b)
        rig.process(256);
    EXPECT_EQ(stats.requests.load(), requests);
    EXPECT_EQ(LaminaProbe::dirtyFlags(rig.state())[0], 1);
    EXPECT_EQ(LaminaProbe::value<float>(*rig.lamina, rig.state(), ids().area), 0.9f);

    // Damping still acts on the running modes under the lock.
    const auto table = LaminaProbe::table(rig.state());
    const double before = (*table)[table->size() / 2].decayRate;
    rig.lamina->setParameterDeferred(ids().decay, 0.5f, true);
    rig.process(256);
    EXPECT_EQ(LaminaProbe::table(rig.state()), table);
    EXPECT_GT((*table)[table->size() / 2].decayRate, before * 1.5);

    rig.lamina->setParameterDeferred(ids().geometryLock, false, true);
    rig.process(256);
    EXPECT_EQ(stats.requests.load(), requests + 1);
}

TEST(LaminaModeThread, OfflineTakesAGeometryChangeInTheVeryBlock)
{
    LaminaRig rig(smallSheet(true, 256));
    rig.process(256);
    const auto& stats = rig.stats();
    ASSERT_EQ(stats.takeOvers.load(), 1u);
    while (LaminaProbe::recomputeHoldoff(rig.state()) > 0)
        rig.process(256);

    rig.lamina->setParameterDeferred(ids().area, 1.0f, true);
    rig.process(256);
    EXPECT_EQ(stats.takeOvers.load(), 2u);
    EXPECT_EQ(stats.lastRequestSample.load(), stats.lastTakeOverSample.load());
    auto inputs = LaminaProbe::snapshotInputs(rig.state());
    EXPECT_EQ(inputs.area, 1.0f);
    EXPECT_EQ(LaminaProbe::table(rig.state())->size(), computeModeTable(inputs)->size());

    // A change inside the hold-off waits for it, counted in rendered samples: the request comes at the head
    // of the first block that finds the 2400 samples run out.
    rig.lamina->setParameterDeferred(ids().area, 1.2f, true);
    int blocks = 0;
    while (stats.takeOvers.load() == 2u && blocks < 100)
    {
        rig.process(256);
        ++blocks;
    }
    EXPECT_EQ(blocks, (holdoffAt48k + 255) / 256 + 1);
    EXPECT_EQ(stats.takeOvers.load(), 3u);
    EXPECT_EQ(LaminaProbe::value<float>(*rig.lamina, rig.state(), ids().area), 1.2f);
}

TEST(LaminaModeThread, DestroyingTheElementWaitsForTheBuild)
{
    LaminaRig::Options options;
    options.maxBlockSize = 256;
    options.configure = [](Lamina& l)
    {
        l.setParameter(ids().quality, int32_t{5});
        l.setParameter(ids().area, 6.0f);
        l.setParameter(ids().aspectRatio, 1.0f);
    };
    // A build of 59049 candidates nearly always outlasts the way to the destructor; a thread preempted on
    // the way just tries again with a new sheet.
    bool caughtBuilding = false;
    for (int attempt = 0; attempt < 5 && !caughtBuilding; ++attempt)
    {
        auto rig = std::make_unique<LaminaRig>(options);
        const auto stats = LaminaProbe::stats(rig->state());
        rig->process(256); // modes start dirty: this block asks for a build
        ASSERT_EQ(stats->requests.load(), 1u);
        while (stats->buildsStarted.load() == 0)
            std::this_thread::yield();
        caughtBuilding = stats->buildsFinished.load() == 0;
        rig->lamina.reset();
        EXPECT_EQ(stats->buildsFinished.load(), 1u);
    }
    EXPECT_TRUE(caughtBuilding);
}

TEST(LaminaModeThread, SettersFromAnotherThreadWhileRendering)
{
    LaminaRig rig(smallSheet(false, 256));
    std::atomic<bool> running{true};
    std::thread host(
        [&]
        {
            int i = 0;
            while (running.load())
            {
                const float t = static_cast<float>(i % 10) / 10.0f;
                rig.lamina->setParameter(ids().area, 0.6f + t * 0.4f);
                rig.lamina->setParameter(ids().decay, 0.5f + t);
                rig.lamina->setParameter(ids().bandGain[i % 12], -t * 10.0f);
                rig.lamina->setParameter(ids().lowCutGain, -t * 20.0f);
                rig.lamina->setParameter(ids().lowCutFreq, 20.0f + t * 100.0f);
                rig.lamina->setParameter(ids().mix, t);
                rig.lamina->setParameter(ids().modulation, t);
                rig.lamina->setParameter(ids().enableEQ, (i & 1) != 0);
                rig.lamina->setParameterDeferred(ids().drive, t, true);
                if (i % 7 == 0)
                    rig.lamina->attachOutputAnalyser((i & 8) != 0 ? std::make_shared<AnalyserRing>(1024)
                                                                  : nullptr);
                ++i;
                std::this_thread::sleep_for(std::chrono::microseconds(300));
            }
        });
    const auto input = test::noise(256, 0.5f, 21);
    for (int block = 0; block < 600; ++block)
    {
        rig.channels[0] = input;
        rig.channels[1] = input;
        rig.process(256);
        ASSERT_TRUE(allFinite(rig.channels[0]) && allFinite(rig.channels[1])) << block;
    }
    running = false;
    host.join();
    EXPECT_GE(rig.stats().takeOvers.load(), 2u);
}

} // namespace
} // namespace qor
