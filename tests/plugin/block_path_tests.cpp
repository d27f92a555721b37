// The block path from the shell to a bank of modes and back, driven in the order a host uses.
#include "engine/engine.h"
#include "files/virtual_file.h"
#include "plugin/lamina_plugin.h"
#include "tests/plugin/fixed_modes_element.h"
#include "tests/plugin/plugin_rig.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/lock_held_elsewhere.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace qor;
using qor::test::FixedModesElement;

namespace
{
// The fixture stands in for the sheet in this executable: registered before any plug-in is made.
const bool fixtureRegistered = []
{
    FixedModesElement::registerAsLamina();
    return true;
}();

/** Channels a host would hand over, with a dry copy kept for comparison. */
struct HostBlock
{
    HostBlock(int channels, int samples)
        : data(static_cast<std::size_t>(channels), std::vector<float>(samples, 0.0f))
    {
        for (auto& d : data)
            pointers.push_back(d.data());
        buffer.setChannels(channels, samples, pointers.data());
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
    PluginAudioBuffer buffer;
};

FixedModesElement& element(LaminaPlugin& plugin)
{
    auto* e = dynamic_cast<FixedModesElement*>(plugin.getEngine()->findElement("/Lamina"));
    EXPECT_NE(e, nullptr);
    return *e;
}

} // namespace

TEST(BlockPath, ImpulseRingsWithTheClosedFormOfTheTableAndTheDryMixedInPlace)
{
    ASSERT_TRUE(fixtureRegistered);
    constexpr uint32_t rate = 48000, blockSize = 256, numBlocks = 8;
    auto plugin = test::makePlugin({2, 2}, rate, blockSize);
    EXPECT_EQ(plugin->getEngine()->findElement("/Lamina")->getPath(), "/Lamina");
    EXPECT_FALSE(element(*plugin).isModified());
    EXPECT_TRUE(VirtualFile("$Resource/resource").isDirectory())
        << "the archive is mounted by the first instance";

    TimeInfo time;
    time.tempo = 100.0f;
    time.isPlaying = 1;
    std::vector<float> left, right;
    for (uint32_t b = 0; b < numBlocks; ++b)
    {
        HostBlock block(2, blockSize);
        if (b == 0)
            block.data[0][0] = 1.0f; // unit impulse on the left input, right input silent
        plugin->setTimeInfo(time);
        plugin->process(block.buffer);
        left.insert(left.end(), block.data[0].begin(), block.data[0].end());
        right.insert(right.end(), block.data[1].begin(), block.data[1].end());
    }

    for (uint32_t n = 0; n < left.size(); ++n)
    {
        const double dry = n == 0 ? 1.0 : 0.0;
        const double expectL = dry + FixedModesElement::impulseResponse(0, 0, n, rate);
        const double expectR = FixedModesElement::impulseResponse(0, 1, n, rate);
        // The bank recurs in floats over 2048 samples, the closed form is in doubles: 2e-5 bounds the drift.
        ASSERT_NEAR(left[n], expectL, 2e-5) << "sample " << n;
        ASSERT_NEAR(right[n], expectR, 2e-5) << "sample " << n;
    }
    EXPECT_EQ(plugin->getProcessContext().blockCount, 1u + numBlocks);
    EXPECT_EQ(plugin->getProcessContext().samplePosition, uint64_t{blockSize} * numBlocks);
    EXPECT_NEAR(plugin->getProcessContext().beatPosition, 100.0 / 60.0 / rate * blockSize * numBlocks, 1e-9);
}

TEST(BlockPath, ProcessAllocatesNothingAfterPrepare)
{
    auto plugin = test::makePlugin({2, 2}, 48000, 512);
    HostBlock block(2, 512);
    block.data[0][3] = 0.5f;
    plugin->process(block.buffer); // first block sets the element's one-time marks
    for (int i = 0; i < 20; ++i)
        plugin->addEvent(PluginEvent{});
    const qor::test::AllocationCounter counter;
    for (int b = 0; b < 50; ++b)
    {
        plugin->sendMidi(0, 0, 176, 7, 100, static_cast<uint64_t>(b % 7));
        plugin->process(block.buffer);
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(BlockPath, DrySignalPassesWhenBypassedLockedOrRemovedButNotWhileTheLiveTableIsHeld)
{
    auto plugin = test::makePlugin({2, 2}, 44100, 64);
    auto run = [&](bool expectSilentAnswer)
    {
        HostBlock block(2, 64);
        for (int i = 0; i < 64; ++i)
            block.data[0][static_cast<std::size_t>(i)] = block.data[1][static_cast<std::size_t>(i)] = 0.25f;
        plugin->process(block.buffer);
        EXPECT_EQ(block.buffer.isSilent, expectSilentAnswer);
        for (auto& channel : block.data)
            for (float v : channel)
                if (v != 0.25f)
                    return false;
        return true;
    };

    EXPECT_FALSE(run(false)) << "the reverb adds to the dry signal";

    // The element's own bypass leaves the bus as it came.
    auto& lamina = element(*plugin);
    lamina.setParameterDeferred(ProcessingElement::bypassParameterId(), true, true);
    plugin->getEngine()->reset();
    EXPECT_TRUE(run(false));
    EXPECT_TRUE(lamina.isBypassed());
    lamina.setParameterDeferred(ProcessingElement::bypassParameterId(), false, true);
    EXPECT_FALSE(run(false));

    // The process lock held by another thread: the block passes dry and the plug-in says so.
    plugin->getEngine()->reset();
    {
        const test::LockHeldElsewhere busy(plugin->getProcessLock());
        EXPECT_TRUE(run(true));
    }

    // The engine lock held elsewhere: nothing runs inside the tree.
    {
        const test::LockHeldElsewhere busy(plugin->getEngine()->getTreeLock());
        EXPECT_TRUE(run(false));
    }

    // The main thread holding the live table (an instance coming or going) holds up no block. Held by this
    // very thread, the table's lock answers a block that asked for it with an error instead of a deadlock.
    {
        const DefaultPluginBase::LiveTableHold held;
        EXPECT_FALSE(run(false));
    }

    // Out of the live table, a late block passes dry.
    plugin->removeFromLiveTable();
    EXPECT_TRUE(run(true));
}

TEST(BlockPath, EventsArriveSortedStablyAndNoteOffsAreNormalised)
{
    auto plugin = test::makePlugin({2, 2}, 44100, 128);
    auto& lamina = element(*plugin);

    auto event = [](uint64_t offset, uint8_t data1)
    {
        PluginEvent e;
        e.type = PluginEvent::controller;
        e.sampleOffset = offset;
        e.data1 = data1;
        return e;
    };
    plugin->addEvent(event(50, 1));
    plugin->addEvent(event(10, 2));
    plugin->addEvent(event(50, 3));
    plugin->addEvent(event(0, 4));
    plugin->addEvent(event(10, 5));
    plugin->sendMidi(0, 0, 144, 60, 0, 20);  // note on with velocity 0
    plugin->sendMidi(0, 0, 240, 1, 2, 0);    // system exclusive is dropped
    plugin->sendMidi(0, 0, 144, 61, 90, 20); // a real note on stays one
    ASSERT_EQ(plugin->getPendingEvents().size(), 7u);

    HostBlock block(2, 128);
    plugin->process(block.buffer);
    EXPECT_TRUE(plugin->getPendingEvents().empty());

    const auto& got = lamina.receivedEvents;
    ASSERT_EQ(got.size(), 7u);
    const std::vector<uint64_t> offsets{0, 10, 10, 20, 20, 50, 50};
    const std::vector<int> order{4, 2, 5, -1, -1, 1, 3};
    for (std::size_t i = 0; i < got.size(); ++i)
    {
        EXPECT_EQ(got[i].sampleOffset, offsets[i]);
        if (order[i] > 0)
        {
            EXPECT_EQ(got[i].data1, order[i]);
        }
    }
    EXPECT_EQ(got[3].type, PluginEvent::noteOff);
    EXPECT_EQ(got[3].data1, 60);
    EXPECT_EQ(got[4].type, PluginEvent::noteOn);
}

TEST(BlockPath, MonoInputFeedsBothSidesOfAStereoOutput)
{
    auto plugin = test::makePlugin({1, 2}, 44100, 64);
    HostBlock block(2, 64);
    block.data[0][0] = 1.0f;
    block.data[1][0] = 0.0f; // the binding's dry copy leaves nothing on the right
    plugin->process(block.buffer);
    EXPECT_EQ(element(*plugin).getNumInputChannels(), 1u);
    for (uint32_t n = 0; n < 64; ++n)
    {
        const double dry = n == 0 ? 1.0 : 0.0;
        EXPECT_NEAR(block.data[0][n], dry + FixedModesElement::impulseResponse(0, 0, n, 44100), 1e-5);
        EXPECT_NEAR(block.data[1][n], dry + FixedModesElement::impulseResponse(0, 1, n, 44100), 1e-5);
    }
}

TEST(BlockPath, EmptyBlockRunsThroughAndLeavesTheLoadAlone)
{
    auto plugin = test::makePlugin({2, 2}, 44100, 64);
    HostBlock warm(2, 64);
    plugin->process(warm.buffer);
    const auto load = plugin->getCpuLoad().load;
    const auto before = plugin->getProcessContext().blockCount;
    HostBlock empty(2, 0);
    plugin->process(empty.buffer);
    EXPECT_EQ(plugin->getCpuLoad().load, load);
    EXPECT_EQ(plugin->getProcessContext().blockCount, before + 1);
}

TEST(BlockPath, PrepareReplacesTheBusOnlyOnceTheEngineHoldsTheNewOne)
{
    auto plugin = test::makePlugin({2, 2}, 44100, 64);
    auto* first = plugin->getMainBus();
    EXPECT_EQ(first->getNumUsers(), 2) << "the engine and its element";
    plugin->prepare(44100, {2, 2}, 128);
    auto* second = plugin->getMainBus();
    EXPECT_EQ(second->getNumUsers(), 2);
    EXPECT_EQ(element(*plugin).getMainBus(), second);
    EXPECT_EQ(second->getNumSamples(), 128);
}

TEST(BlockPath, FlushToZeroIsOnForTheBlockOnlyAndTheRegisterIsRestored)
{
    auto plugin = test::makePlugin({2, 2}, 44100, 64);
    const auto before = _mm_getcsr();
    ASSERT_EQ(before & 0x8040u, 0u) << "the test thread starts without flush-to-zero";
    HostBlock block(2, 64);
    plugin->process(block.buffer);
    EXPECT_EQ(element(*plugin).csrDuringRender & 0x8040u, 0x8040u);
    EXPECT_EQ(_mm_getcsr(), before);
}

TEST(CpuLoadMeter, SmoothsTowardsTheShareOfRealTime)
{
    CpuLoadMeter meter;
    meter.prepare(1000.0);
    meter.startTime = 0.0;
    meter.stopAt(100, 50.0); // 100 ms of audio took 50 ms
    EXPECT_NEAR(meter.peak, 0.5, 1e-12);
    EXPECT_NEAR(meter.load, 2.0 * 0.1 * 0.5, 1e-12);
    meter.stopAt(0, 1000.0);
    EXPECT_NEAR(meter.load, 0.1, 1e-12);
}
