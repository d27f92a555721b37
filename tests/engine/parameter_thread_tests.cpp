// A value crossing threads: one thread sets deferred values while another runs blocks.
#include "engine/engine.h"
#include "engine/parameter_mapper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace qor;

namespace
{
class PairState : public ProcessingElementState
{
public:
    using ProcessingElementState::ProcessingElementState;
    // Two halves that the setter always writes together, so that a torn value would show.
    std::atomic<uint32_t> high{0}, low{0};
};

std::shared_ptr<ParameterDescription<int32_t>> counterDescription()
{
    static const auto d = makeIntDescription("Counter", "", "", 0, 1 << 30, 0);
    return d;
}

class PairEffect : public BasicProcessingElement
{
public:
    PairEffect() : BasicProcessingElement("PairEffect", "Pair")
    {
        setStates(std::make_unique<PairState>(this), std::make_unique<PairState>(this));
        addParameter<int32_t>(
            counterDescription(),
            [](Element&, ElementState* s, const uint16_t*, int32_t v)
            {
                auto* p = static_cast<PairState*>(s);
                p->high.store(static_cast<uint32_t>(v) >> 16, std::memory_order_relaxed);
                p->low.store(static_cast<uint32_t>(v) & 0xffff, std::memory_order_relaxed);
            },
            [](const Element&, const ElementState* s, const uint16_t*)
            {
                auto* p = static_cast<const PairState*>(s);
                return static_cast<int32_t>((p->high.load(std::memory_order_relaxed) << 16) |
                                            p->low.load(std::memory_order_relaxed));
            });
    }

    void renderInPlace(ProcessContext&, ProcessingElementState& s, uint32_t, float* const*, bool&) override
    {
        auto& p = static_cast<PairState&>(s);
        const auto value =
            (p.high.load(std::memory_order_relaxed) << 16) | p.low.load(std::memory_order_relaxed);
        // Values are written as (k << 16) | k: a block must never see halves of two different writes.
        if ((value >> 16) != (value & 0xffff))
            ++torn;
        if (value < lastSeen)
            ++wentBack;
        lastSeen = value;
        ++blocks;
    }

    uint32_t lastSeen = 0;
    int torn = 0;
    int wentBack = 0;
    int blocks = 0;
};
} // namespace

TEST(ParameterThreads, DeferredValuesCrossWholeInOrderAndTheLastOneWins)
{
    Engine engine;
    auto* effect = static_cast<PairEffect*>(engine.addElement(std::make_unique<PairEffect>()));
    AudioBus bus(2, 32);
    std::vector<float> l(32), r(32);
    float* ptrs[2] = {l.data(), r.data()};
    ProcessContext context;
    context.scratch.reserve(1 << 16);
    engine.prepare(48000, 32);
    engine.setOutputBus(0, &bus);

    constexpr int32_t last = 16000;
    std::atomic<bool> writing{true};
    std::atomic<int> blocksRun{0};
    std::thread writer(
        [&]
        {
            for (int32_t k = 1; k <= last; ++k)
            {
                // Keep pace with the blocks so that the two threads really overlap.
                while (blocksRun.load() < k / 8)
                    std::this_thread::yield();
                effect->setParameterDeferred(counterDescription()->id, (k << 16) | k, true);
            }
            writing = false;
        });
    while (writing.load())
    {
        bus.setChannels(ptrs);
        engine.process(context, 32);
        ++blocksRun;
    }
    writer.join();
    bus.setChannels(ptrs);
    engine.process(context, 32);

    EXPECT_GT(effect->blocks, last / 8);
    EXPECT_EQ(effect->torn, 0);
    EXPECT_EQ(effect->wentBack, 0);
    EXPECT_EQ(effect->lastSeen, static_cast<uint32_t>((last << 16) | last));
    EXPECT_EQ(effect->getIntParameter(counterDescription()->id), (last << 16) | last);
}
