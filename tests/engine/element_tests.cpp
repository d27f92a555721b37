// Elements, processing elements and the engine: parameter crossing, rendering splits, events and persistence.
#include "engine/element_document.h"
#include "engine/element_registry.h"
#include "engine/engine.h"
#include "engine/parameter_mapper.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/lock_held_elsewhere.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <random>
#include <thread>

#if defined(__linux__) && defined(__x86_64__)
#include <csignal>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#define QOR_CAN_STEP_WRITES 1
#endif

using namespace qor;

namespace
{
class TestState : public ProcessingElementState
{
public:
    using ProcessingElementState::ProcessingElementState;
    float gain = 0.0f;
    int32_t mode = 0;
    float bands[3] = {};
    int gainWrites = 0;
};

struct TestDescriptions
{
    std::shared_ptr<ParameterDescription<float>> gain =
        makeFloatDescription("Gain", "", "", -20.0f, 20.0f, 0.0f);
    std::shared_ptr<ParameterDescription<float>> band0 =
        makeFloatDescription("Band0", "", "", 0.0f, 1.0f, 0.5f);
    std::shared_ptr<ParameterDescription<float>> band1 =
        makeFloatDescription("Band1", "", "", 0.0f, 1.0f, 0.5f);
    std::shared_ptr<ParameterDescription<int32_t>> mode = makeIntDescription("Mode", "", "", 0, 4, 1);
    std::shared_ptr<ParameterDescription<bool>> hidden = makeBoolDescription("Hidden", "", "", false, 0);
};

const TestDescriptions& descriptions()
{
    static const TestDescriptions d;
    return d;
}

/** A small effect with a float, a row of two bands sharing one setter, an int and an unsaved bool. */
class TestEffect : public BasicProcessingElement
{
public:
    explicit TestEffect(const juce::String& name = "Effect") : BasicProcessingElement("TestEffect", name)
    {
        setStates(std::make_unique<TestState>(this), std::make_unique<TestState>(this));
        const auto& d = descriptions();
        addParameter<float>(
            d.gain,
            [](Element&, ElementState* s, const uint16_t*, float v)
            {
                auto* t = static_cast<TestState*>(s);
                t->gain = v;
                ++t->gainWrites;
            },
            [](const Element&, const ElementState* s, const uint16_t*)
            { return static_cast<const TestState*>(s)->gain; });
        auto bandSetter = [](Element&, ElementState* s, const uint16_t* i, float v)
        { static_cast<TestState*>(s)->bands[i[0]] = v; };
        auto bandGetter = [](const Element&, const ElementState* s, const uint16_t* i)
        { return static_cast<const TestState*>(s)->bands[i[0]]; };
        addParameter<float>(d.band0, bandSetter, bandGetter, {0});
        addParameter<float>(d.band1, bandSetter, bandGetter, {1});
        addParameter<int32_t>(
            d.mode,
            [](Element&, ElementState* s, const uint16_t*, int32_t v)
            { static_cast<TestState*>(s)->mode = v; },
            [](const Element&, const ElementState* s, const uint16_t*)
            { return static_cast<const TestState*>(s)->mode; });
        addParameter<bool>(
            d.hidden,
            [](Element& e, ElementState*, const uint16_t*, bool v)
            { static_cast<TestEffect&>(e).hidden = v; },
            [](const Element& e, const ElementState*, const uint16_t*)
            { return static_cast<const TestEffect&>(e).hidden; });
        for (auto& info : parameters)
            if (auto* f = dynamic_cast<ParameterInfo<float>*>(info.get()))
                f->call(*this, controlState.get(), f->getTypedDescription().defaultValue);
    }

    static void registerType()
    {
        ElementRegistry::add({"TestEffect", "Test Effect",
                              [](const juce::String& n) { return std::make_unique<TestEffect>(n); }, 0, 0, 0,
                              false, false});
    }

    TestState& process() { return static_cast<TestState&>(*processState); }
    TestState& control() { return static_cast<TestState&>(*controlState); }

    void renderInPlace(ProcessContext&, ProcessingElementState& state, uint32_t numSamples,
                       float* const* channels, bool&) override
    {
        ++renderCalls;
        renderedGain = static_cast<TestState&>(state).gain;
        for (int c = 0; c < mainBus->getNumChannels(); ++c)
            for (uint32_t i = 0; i < numSamples; ++i)
                channels[c][i] *= 2.0f;
    }

    void handleEvents(ProcessContext& context, EventList events) override
    {
        received += static_cast<int>(events.size);
        BasicProcessingElement::handleEvents(context, events);
    }

    bool hidden = false;
    int renderCalls = 0;
    float renderedGain = 0.0f;
    int received = 0;
};

/** Counts the sub-blocks of the default render. */
class SubBlockCounter : public ProcessingElement
{
public:
    SubBlockCounter() : ProcessingElement("Counter", "Counter") {}
    void renderSubBlock(ProcessContext&, ProcessingElementState& state, uint32_t numSamples) override
    {
        lengths.push_back(numSamples);
        offsets.push_back(state.subBlockOffset);
    }
    std::vector<uint32_t> lengths;
    std::vector<int32_t> offsets;
};

struct Rig
{
    Rig(uint32_t blockSize = 64)
        : bus(2, static_cast<int32_t>(blockSize)), left(blockSize, 1.0f), right(blockSize, 1.0f)
    {
        TestEffect::registerType();
        context.scratch.reserve(1 << 16);
        context.scratch2.reserve(1 << 16);
        effect = static_cast<TestEffect*>(engine.addElement(std::make_unique<TestEffect>("Effect")));
        engine.prepare(48000, blockSize);
        engine.setOutputBus(0, &bus);
    }

    void run(uint32_t numSamples, EventList events = {})
    {
        float* ptrs[2] = {left.data(), right.data()};
        bus.setChannels(ptrs);
        engine.processEvents(context, events, numSamples);
        engine.process(context, numSamples);
        context.advance(numSamples);
    }

    Engine engine;
    AudioBus bus;
    ProcessContext context;
    TestEffect* effect = nullptr;
    std::vector<float> left, right;
};

#if QOR_CAN_STEP_WRITES
/** Runs `between` right behind every write that the calling thread makes to one page while `run` runs: the
   page is write-protected, so each write faults; the fault lets that one instruction through under the
   processor's single-step flag, and the step's trap runs `between` before the next instruction. No second
   thread, no timing: every point between two writes is visited once. */
class BetweenWrites
{
public:
    static int run(void* page, std::size_t size, const std::function<void()>& body,
                   const std::function<void()>& between)
    {
        current = {page, size, &between, 0};
        struct sigaction fault = {}, step = {}, oldFault = {}, oldStep = {};
        fault.sa_sigaction = &onFault;
        fault.sa_flags = SA_SIGINFO;
        step.sa_sigaction = &onStep;
        step.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &fault, &oldFault);
        sigaction(SIGTRAP, &step, &oldStep);
        mprotect(page, size, PROT_READ);
        body();
        mprotect(page, size, PROT_READ | PROT_WRITE);
        sigaction(SIGSEGV, &oldFault, nullptr);
        sigaction(SIGTRAP, &oldStep, nullptr);
        return current.writes;
    }

private:
    static constexpr greg_t trapFlag = 0x100;

    static void onFault(int, siginfo_t* info, void* context)
    {
        auto* at = static_cast<char*>(info->si_addr);
        auto* begin = static_cast<char*>(current.page);
        if (at < begin || at >= begin + current.size)
        {
            std::signal(SIGSEGV, SIG_DFL); // a real crash: let it happen
            return;
        }
        mprotect(current.page, current.size, PROT_READ | PROT_WRITE);
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] |= trapFlag;
    }

    static void onStep(int, siginfo_t*, void* context)
    {
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~trapFlag;
        ++current.writes;
        (*current.between)();
        mprotect(current.page, current.size, PROT_READ);
    }

    struct Run
    {
        void* page;
        std::size_t size;
        const std::function<void()>* between;
        int writes;
    };
    static inline Run current{};
};
#endif

std::string saveXml(Element& element)
{
    tinyxml2::XMLDocument doc;
    auto* root = doc.NewElement("Root");
    doc.InsertEndChild(root);
    element.saveToXml(root, {});
    tinyxml2::XMLPrinter printer;
    doc.Print(&printer);
    return printer.CStr();
}
} // namespace

TEST(Element, DeferredValuesReachTheProcessStateAtTheNextBlockOnceAndLastWins)
{
    Rig rig;
    const auto gain = descriptions().gain->id;
    rig.effect->setParameterDeferred(gain, 3.0f, true);
    rig.effect->setParameterDeferred(gain, 5.0f, true);
    // A reader sees its own write before the audio thread does.
    EXPECT_EQ(rig.effect->getParameter(gain), 5.0f);
    EXPECT_EQ(rig.effect->process().gain, 0.0f);
    const int writesBefore = rig.effect->process().gainWrites;
    rig.run(64);
    EXPECT_EQ(rig.effect->renderCalls, 1) << "a basic element renders the first block whole";
    EXPECT_EQ(rig.effect->renderedGain, 5.0f);
    EXPECT_EQ(rig.effect->process().gainWrites, writesBefore + 1);
    EXPECT_EQ(rig.effect->control().gain, 5.0f);
    EXPECT_TRUE(rig.effect->isModified());
    EXPECT_TRUE(rig.engine.isModified()) << "the modified flag runs up to the root";
}

// A block may start between any two writes of a deferred set on another thread. Whichever point it meets, the
// value is in the process state by the first block that starts after the set has returned.
TEST(Element, ABlockBetweenAnyTwoWritesOfADeferredSetLosesNoValue)
{
#if QOR_CAN_STEP_WRITES
    const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    ASSERT_LE(sizeof(TestEffect), pageSize);
    void* page = mmap(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    auto* effect = new (page) TestEffect("Paged");
    const auto gain = descriptions().gain->id;
    auto block = [effect] { effect->syncParameters(effect->getControlState()); };

    const int writes = BetweenWrites::run(
        page, pageSize, [&] { effect->setParameterDeferred(gain, 7.0f, true); }, block);
    EXPECT_GE(writes, 2) << "the set raises its marks in the element";
    block();
    EXPECT_EQ(effect->process().gain, 7.0f);

    effect->~TestEffect();
    munmap(page, pageSize);
#else
    GTEST_SKIP() << "needs page protection and single steps of x86-64 Linux";
#endif
}

TEST(Element, NoNonFiniteValueReachesAParameterByAnyWriteAndIntMappingTakesAnyFloat)
{
    Rig rig;
    const auto gain = descriptions().gain->id;
    rig.effect->setParameter(gain, 3.0f);
    for (float bad : {std::nanf(""), INFINITY, -INFINITY})
    {
        rig.effect->setParameter(gain, bad);
        rig.effect->setParameterDeferred(gain, bad, true);
        rig.effect->setParameterDeferred(gain, bad, false);
        ElementParameterValue<float>(rig.effect, gain).set(bad);
        EXPECT_EQ(rig.effect->getParameter(gain), 3.0f) << bad;
        rig.run(64);
        EXPECT_EQ(rig.effect->process().gain, 3.0f) << bad;
        EXPECT_EQ(rig.effect->control().gain, 3.0f) << bad;
    }

    const auto& mode = *descriptions().mode;
    for (float x : {std::nanf(""), INFINITY, -INFINITY, 1e30f, -1e30f})
    {
        const int v = mode.clamp(mode.denormalise(x));
        EXPECT_TRUE(v == mode.range.min || v == mode.range.max) << x << " gave " << v;
    }
}

TEST(Element, IndexedSettersServeARowAndLookupsAreTyped)
{
    TestEffect effect;
    const auto& d = descriptions();
    effect.setParameter(d.band1->id, 0.75f);
    EXPECT_EQ(effect.control().bands[1], 0.75f);
    EXPECT_EQ(effect.process().bands[1], 0.75f);
    EXPECT_EQ(effect.control().bands[0], 0.5f);
    EXPECT_NE(effect.hasFloatParameter(d.gain->id), nullptr);
    EXPECT_EQ(effect.hasIntParameter(d.gain->id), nullptr) << "a float id is not an int parameter";
    EXPECT_EQ(effect.hasFloatParameter(999999), nullptr);
    int error = 0;
    effect.getParameter(999999, &error);
    EXPECT_NE(error, 0);
    EXPECT_EQ(effect.getParameterId("Mode"), d.mode->id);
    EXPECT_EQ(effect.getParameterId("Nope"), 0u);
}

TEST(Element, RoundTripThroughXmlIsExactAndClampsOnLoad)
{
    TestEffect::registerType();
    TestEffect a("First");
    const auto& d = descriptions();
    a.setParameter(d.gain->id, 0.1f * 3.0f); // a value that needs all 8 digits
    a.setParameter(d.mode->id, int32_t{3});
    a.setParameter(d.hidden->id, true);
    a.setProperty("PresetPath", "/tmp/x.preset", true);
    a.setProperty("Scratch", "not saved", false);
    const auto xml = saveXml(a);
    EXPECT_NE(xml.find("Gain=\"0.30000001\""), std::string::npos) << xml;
    EXPECT_EQ(xml.find("Hidden"), std::string::npos);
    EXPECT_EQ(xml.find("Version"), std::string::npos) << "no version attribute for version 0";
    EXPECT_EQ(xml.find("Connections"), std::string::npos);
    EXPECT_NE(xml.find("PresetPath"), std::string::npos);
    EXPECT_EQ(xml.find("Scratch"), std::string::npos);

    tinyxml2::XMLDocument doc;
    ASSERT_EQ(doc.Parse(xml.c_str()), tinyxml2::XML_SUCCESS);
    TestEffect b("Other");
    ASSERT_TRUE(b.loadFromXml(doc.RootElement()->FirstChildElement(), {}, 0));
    EXPECT_EQ(b.getName(), "First");
    EXPECT_EQ(saveXml(b), xml);

    // Out of range, unreadable and missing values: clamp, default, default.
    auto* e = doc.RootElement()->FirstChildElement();
    e->SetAttribute("Gain", "99");
    e->SetAttribute("Mode", "junk");
    e->DeleteAttribute("Band0");
    e->DeleteAttribute("Name");
    TestEffect c("Named");
    c.setParameter(d.band0->id, 0.9f);
    ASSERT_TRUE(c.loadFromXml(e, {}, 0));
    EXPECT_EQ(c.getParameter(d.gain->id), 20.0f);
    EXPECT_EQ(c.getIntParameter(d.mode->id), 1);
    EXPECT_EQ(c.getParameter(d.band0->id), 0.5f);
    EXPECT_EQ(c.getName(), "") << "a file without Name leaves the name empty";
}

TEST(ProcessingElement, DefaultRenderSplitsIntoSubBlocksOfThirtyTwoOnceThenRunsWhole)
{
    SubBlockCounter counter;
    ProcessContext context;
    counter.prepare(48000, 64);
    counter.process(context, 33);
    EXPECT_EQ(counter.lengths, (std::vector<uint32_t>{32, 1}));
    EXPECT_EQ(counter.offsets, (std::vector<int32_t>{0, 32}));
    counter.lengths.clear();
    counter.process(context, 33);
    EXPECT_EQ(counter.lengths, (std::vector<uint32_t>{33}));
}

TEST(Engine, BusyTreeParksEventsInTheRingAndDropsTheSixtyFifth)
{
    Rig rig;
    std::vector<PluginEvent> burst(65);
    for (std::size_t i = 0; i < burst.size(); ++i)
    {
        burst[i].type = PluginEvent::controller;
        burst[i].sampleOffset = 64 - i % 64;
    }
    {
        const test::LockHeldElsewhere busy(rig.engine.getTreeLock());
        rig.run(64, EventList{burst.data(), burst.size()});
        EXPECT_EQ(rig.left[0], 1.0f) << "a busy tree leaves the bus untouched";
        EXPECT_EQ(rig.effect->received, 0);
    }

    PluginEvent late;
    late.type = PluginEvent::controller;
    rig.run(64, EventList{&late, 1});
    EXPECT_EQ(rig.effect->received, 65) << "64 parked events and the block's own";
    EXPECT_EQ(rig.left[0], 2.0f);
}

TEST(Engine, ParameterEventsSetValuesAndUnknownIdsAreIgnored)
{
    Rig rig;
    PluginEvent events[2];
    events[0].type = PluginEvent::setFloatParameter;
    events[0].parameterId = descriptions().gain->id;
    events[0].floatValue = -7.0f;
    events[1].type = PluginEvent::setFloatParameter;
    events[1].parameterId = 424242;
    rig.run(64, EventList{events, 2});
    rig.run(64);
    EXPECT_EQ(rig.effect->getParameter(descriptions().gain->id), -7.0f);
    EXPECT_EQ(rig.effect->renderedGain, -7.0f);
}

TEST(Engine, BypassDropsEventsAndKeepsTheBus)
{
    Rig rig;
    rig.effect->setParameterDeferred(ProcessingElement::bypassParameterId(), true, true);
    rig.run(64);
    PluginEvent e;
    rig.run(64, EventList{&e, 1});
    EXPECT_EQ(rig.effect->received, 0);
    EXPECT_EQ(rig.left[0], 1.0f);
}

TEST(Engine, SaveAndLoadReplaceTheChildrenAndSkipUnknownTypes)
{
    Rig rig;
    rig.effect->setParameter(descriptions().gain->id, 4.0f);
    tinyxml2::XMLDocument doc;
    auto* root = doc.NewElement("QOR4");
    doc.InsertEndChild(root);
    rig.engine.saveToXml(root, {});
    auto* engineXml = root->FirstChildElement("Engine");
    ASSERT_NE(engineXml, nullptr);
    engineXml->InsertEndChild(doc.NewElement("NoSuchType"));
    auto* second = doc.NewElement("TestEffect");
    second->SetAttribute("Name", "Second");
    engineXml->InsertEndChild(second);

    Engine::registerType();
    auto fresh = ElementRegistry::makeElement("Engine");
    ASSERT_NE(fresh, nullptr);
    auto& loaded = static_cast<Engine&>(*fresh);
    ASSERT_TRUE(loaded.loadFromXml(engineXml, {}, 0));
    ASSERT_EQ(loaded.getElements().size(), 2u);
    auto* effect = loaded.findElement("/Effect");
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(effect->getParameter(descriptions().gain->id), 4.0f);
    EXPECT_NE(loaded.findElement("/Second"), nullptr);

    tinyxml2::XMLDocument empty;
    auto* bare = empty.NewElement("Engine");
    empty.InsertEndChild(bare);
    ASSERT_TRUE(loaded.loadFromXml(bare, {}, 0));
    EXPECT_TRUE(loaded.getElements().empty()) << "a state with no child leaves the engine empty";
}

TEST(Engine, ProcessAllocatesNothing)
{
    Rig rig;
    rig.run(64);
    std::vector<PluginEvent> events(10);
    const qor::test::AllocationCounter counter;
    for (int i = 0; i < 20; ++i)
    {
        rig.effect->setParameterDeferred(descriptions().gain->id, static_cast<float>(i), true);
        rig.run(64, EventList{events.data(), events.size()});
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(Engine, TextTakenAtTheHeadOfABlockFreesNothingThereAndArrivesWhole)
{
    Engine engine;
    const auto id = Engine::parameterIds().displayName;
    // Long enough to live on the heap; each text is made and dropped here, as a message thread would.
    auto text = [](const char* head) { return juce::String(head) + juce::String::repeatedString("-", 64); };
    engine.setParameterDeferred(id, text("first"), true);
    engine.syncParameters(engine.getControlState());
    ASSERT_EQ(engine.displayName, text("first"));

    // Now only the engine holds the first text: taking the second must not be where the first one dies.
    engine.setParameterDeferred(id, text("second"), true);
    {
        const qor::test::AllocationCounter counter;
        engine.syncParameters(engine.getControlState());
        EXPECT_EQ(counter.frees(), 0u);
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_EQ(engine.displayName, text("second"));
    EXPECT_EQ(engine.getStringParameter(id), text("second"));

    // A block with nothing new leaves the text alone.
    engine.syncParameters(engine.getControlState());
    engine.setParameterDeferred(id, text("third"), true);
    engine.syncParameters(engine.getControlState());
    EXPECT_EQ(engine.displayName, text("third"));
}

// The scan that keeps the parser from documents it would take seconds over: its limits hold at their edges,
// it counts what the parser would (no '=' in a value, a comment or character data), and no bytes crash it.
TEST(ElementDocument, TheScanHoldsItsLimitsAtTheirEdgesAndTakesAnyBytes)
{
    const ElementDocumentLimits limits{1 << 12, 4, 6};
    auto element = [](int attributes)
    {
        std::string s = "<e";
        for (int i = 0; i < attributes; ++i)
            s += " a" + std::to_string(i) + "='x=y'";
        return s + "/>";
    };
    auto within = [&](const std::string& s)
    { return isWithinElementDocumentLimits(s.data(), s.size(), limits); };
    EXPECT_TRUE(within("<r>" + element(4) + element(2) + "</r>"));
    EXPECT_FALSE(within("<r>" + element(5) + "</r>")) << "one element over";
    EXPECT_FALSE(within("<r>" + element(4) + element(3) + "</r>")) << "the document over";
    EXPECT_TRUE(within("<r>" + element(4) + "<!-- a=1 b=2 c=3 --><![CDATA[ d=4 e=5 f=6 ]]><?p g=7?></r>"));
    EXPECT_FALSE(within(element(1) + std::string(limits.maxBytes, ' '))) << "over the size";

    tinyxml2::XMLDocument document;
    const std::string good = "<r>" + element(4) + "</r>";
    EXPECT_TRUE(parseElementDocument(document, good.data(), good.size(), limits));
    EXPECT_FALSE(parseElementDocument(document, "<r><e", 5, limits));
    EXPECT_EQ(document.RootElement(), nullptr) << "a refused text leaves the document empty";

    std::mt19937 random(11);
    const char alphabet[] = "<>!?-[]CDAT='\" a/";
    for (int round = 0; round < 2000; ++round)
    {
        std::string text(random() % 64, ' ');
        for (auto& c : text)
            c = alphabet[random() % (sizeof(alphabet) - 1)];
        parseElementDocument(document, text.data(), text.size(), limits);
    }
}
