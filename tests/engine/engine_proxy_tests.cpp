// The proxy: changes from any thread reach listeners on the thread that ticks it.
#include "engine/engine_proxy.h"
#include "engine/parameter_mapper.h"

#include <gtest/gtest.h>

#include <thread>

using namespace qor;

namespace
{
std::shared_ptr<ParameterDescription<float>> levelDescription()
{
    static const auto d = makeFloatDescription("Level", "", "", 0.0f, 100000.0f, 0.0f);
    return d;
}

class LevelEffect : public BasicProcessingElement
{
public:
    explicit LevelEffect(const juce::String& name) : BasicProcessingElement("LevelEffect", name)
    {
        addParameter<float>(
            levelDescription(),
            [](Element& e, ElementState*, const uint16_t*, float v)
            { static_cast<LevelEffect&>(e).level = v; },
            [](const Element& e, const ElementState*, const uint16_t*)
            { return static_cast<const LevelEffect&>(e).level.load(); });
    }
    void renderInPlace(ProcessContext&, ProcessingElementState&, uint32_t, float* const*, bool&) override {}
    std::atomic<float> level{0.0f};
};

struct Recorder : EngineProxy::ParameterListener, EngineProxy::ElementBoundListener
{
    void engineParameterChanged(Element& element, uint32_t id, float value) override
    {
        changes.push_back({&element, id, value});
        threads.push_back(std::this_thread::get_id());
    }
    void elementBound(const juce::String&, Element* element) override { bound.push_back(element); }

    struct Change
    {
        Element* element;
        uint32_t id;
        float value;
    };
    std::vector<Change> changes;
    std::vector<std::thread::id> threads;
    std::vector<Element*> bound;
};
} // namespace

TEST(EngineProxy, DeliversChangesFromAnotherThreadOnTheTickingThread)
{
    Engine engine;
    auto* effect = engine.addElement(std::make_unique<LevelEffect>("Fx"));
    EngineProxy proxy(nullptr, &engine, false);
    Recorder recorder;
    proxy.addParameterListener("/Fx", levelDescription()->id, &recorder);

    std::thread audio(
        [&]
        {
            for (int i = 1; i <= 100; ++i)
                effect->setParameterDeferred(levelDescription()->id, static_cast<float>(i), true);
        });
    audio.join();
    EXPECT_TRUE(recorder.changes.empty()) << "nothing is delivered before the tick";
    EXPECT_EQ(proxy.tick(), 100);
    ASSERT_EQ(recorder.changes.size(), 100u);
    EXPECT_EQ(recorder.changes.back().value, 100.0f);
    EXPECT_EQ(recorder.changes.front().element, effect);
    for (auto id : recorder.threads)
        EXPECT_EQ(id, std::this_thread::get_id());
    EXPECT_EQ(proxy.tick(), 0);
}

TEST(EngineProxy, ABurstAboveThePoolDropsTheExcessWithoutBlocking)
{
    Engine engine;
    auto* effect = engine.addElement(std::make_unique<LevelEffect>("Fx"));
    EngineProxy proxy(nullptr, &engine, false);
    Recorder recorder;
    proxy.addParameterListener("/Fx", 0, &recorder);

    const int burst = EngineProxy::poolSize + 500;
    std::thread producer(
        [&]
        {
            for (int i = 0; i < burst; ++i)
                effect->setParameterDeferred(levelDescription()->id, static_cast<float>(i), true);
        });
    producer.join();
    EXPECT_EQ(proxy.tick(), static_cast<int>(EngineProxy::poolSize));
    EXPECT_EQ(proxy.getNumDropped(), 500u);
    // The pool is whole again after the tick: the next change gets through.
    effect->setParameterDeferred(levelDescription()->id, 7.0f, true);
    EXPECT_EQ(proxy.tick(), 1);
    EXPECT_EQ(recorder.changes.back().value, 7.0f);
}

TEST(EngineProxy, RebindsElementListenersWhenTheEngineChangesAndIgnoresTheSameEngine)
{
    auto first = std::make_unique<Engine>();
    first->addElement(std::make_unique<LevelEffect>("Fx"));
    EngineProxy proxy(nullptr, first.get(), true);
    Recorder recorder;
    proxy.addElementBoundListener("/Fx", &recorder);
    ASSERT_EQ(recorder.bound.size(), 1u);
    EXPECT_EQ(recorder.bound[0], first->findElement("/Fx"));

    proxy.setEngine(first.get());
    EXPECT_EQ(recorder.bound.size(), 1u) << "the same engine changes nothing";
    proxy.tick();

    auto second = std::make_unique<Engine>();
    auto* replacement = second->addElement(std::make_unique<LevelEffect>("Fx"));
    first.reset(); // a state load drops the old tree before the proxy is pointed at the new one
    proxy.setEngine(second.get());
    ASSERT_EQ(recorder.bound.size(), 2u);
    EXPECT_EQ(recorder.bound[1], replacement);

    // listensToAllParameters: the new tree reports every parameter once.
    proxy.addParameterListener("/Fx", 0, &recorder);
    EXPECT_GT(proxy.tick(), 0);
    EXPECT_EQ(recorder.changes.back().element, replacement);
}

// Widgets unbind in their callbacks: one goes while it is told, another takes a third one down with it.
TEST(EngineProxy, ListenersThatLeaveWhileBeingToldStopHearingAndTheRestHearEverything)
{
    Engine engine;
    auto* effect = engine.addElement(std::make_unique<LevelEffect>("Fx"));
    EngineProxy proxy(nullptr, &engine, false);

    struct Leaver : EngineProxy::ParameterListener
    {
        EngineProxy* proxy = nullptr;
        bool leavesItself = false;
        std::unique_ptr<Recorder> victim; // removed and destroyed at the first call
        int calls = 0;
        void engineParameterChanged(Element&, uint32_t, float) override
        {
            ++calls;
            if (leavesItself)
                proxy->removeParameterListener(this);
            else if (victim != nullptr)
            {
                proxy->removeParameterListener(victim.get());
                victim.reset();
            }
        }
    };
    Recorder first, last;
    Leaver self, killer;
    self.proxy = killer.proxy = &proxy;
    self.leavesItself = true;
    killer.victim = std::make_unique<Recorder>();
    proxy.addParameterListener("/Fx", 0, &first);
    proxy.addParameterListener("/Fx", 0, &self);
    proxy.addParameterListener("/Fx", 0, &killer);
    proxy.addParameterListener("/Fx", 0, killer.victim.get());
    proxy.addParameterListener("/Fx", 0, &last);

    for (int i = 1; i <= 3; ++i)
        effect->setParameterDeferred(levelDescription()->id, float(i), true);
    proxy.tick();
    EXPECT_EQ(self.calls, 1);
    EXPECT_EQ(killer.calls, 3);
    EXPECT_EQ(first.changes.size(), 3u);
    ASSERT_EQ(last.changes.size(), 3u);
    EXPECT_EQ(last.changes.back().value, 3.0f);

    effect->setParameterDeferred(levelDescription()->id, 4.0f, true);
    EXPECT_EQ(proxy.tick(), 3) << "first, killer and last are left";

    // The same while the proxy rebinds after a load.
    struct BoundLeaver : EngineProxy::ElementBoundListener
    {
        EngineProxy* proxy = nullptr;
        int calls = 0;
        void elementBound(const juce::String&, Element*) override
        {
            if (++calls == 2)
                proxy->removeElementBoundListener(this);
        }
    };
    BoundLeaver leaver;
    leaver.proxy = &proxy;
    Recorder bound;
    proxy.addElementBoundListener("/Fx", &leaver);
    proxy.addElementBoundListener("/Fx", &bound);
    Engine second;
    second.addElement(std::make_unique<LevelEffect>("Fx"));
    proxy.setEngine(&second);
    Engine third;
    third.addElement(std::make_unique<LevelEffect>("Fx"));
    proxy.setEngine(&third);
    EXPECT_EQ(leaver.calls, 2);
    EXPECT_EQ(bound.bound.size(), 3u);
}
