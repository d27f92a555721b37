// The host's slots against the real sheet: names and kinds in slot order, mapping edges, the echo guard,
// gestures, bad indices, and slots that lose or change their target.
#include "engine/engine_proxy.h"
#include "plugin/lamina_plugin.h"
#include "tests/plugin/plugin_rig.h"
#include "tests/support/host_slots.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

using namespace qor;
using qor::test::makePlugin;

namespace
{
Element& lamina(LaminaPlugin& plugin)
{
    auto* e = plugin.getEngine()->findElement("/Lamina");
    if (e == nullptr)
        throw std::runtime_error("no /Lamina");
    return *e;
}

uint32_t slotOf(const char* key)
{
    const auto& names = LaminaPlugin::hostParameterNames();
    return uint32_t(std::find(names.begin(), names.end(), juce::String(key)) - names.begin());
}

/** Emissions of a plug-in signal that carries a slot index; the last index is std::get<0>(last). */
using SlotCounter = test::SignalCounter<uint32_t>;

/** Parameter changes that an element announces. */
struct ElementChangeCounter : test::SignalCounter<Element*, uint32_t>
{
    explicit ElementChangeCounter(Element& e) : SignalCounter(e.signals().parameterChanged) {}
};
} // namespace

TEST(HostParameters, TwentyFiveSlotsInOrderWithDisplayNamesKindsAndRanges)
{
    auto plugin = makePlugin();
    ASSERT_EQ(plugin->getNumParameters(), 25u);

    for (uint32_t i = 0; i < 25; ++i)
    {
        EXPECT_EQ(plugin->getParameterName(i), qor::test::hostSlotNames[i]) << "slot " << i;
        const auto key = LaminaPlugin::hostParameterNames()[i];
        const int32_t expectedType = key == "Material" ? 1 : key.startsWith("Enable") ? 2 : 0;
        EXPECT_EQ(plugin->getParameterType(i), expectedType) << key;
    }
    EXPECT_EQ(plugin->getParameterName(slotOf("Decay")), "Decay");

    ParameterRange range;
    plugin->getParameterRange(slotOf("Decay"), range);
    EXPECT_EQ(range.type, 0);
    EXPECT_EQ(range.numSteps, 0);
    EXPECT_FLOAT_EQ(range.max, 10000.0f);
    EXPECT_FLOAT_EQ(range.defaultValue, 2.0f);

    plugin->getParameterRange(slotOf("Material"), range);
    EXPECT_EQ(range.type, 1);
    EXPECT_EQ(range.numSteps, 5);
    EXPECT_EQ(range.max, 4.0f);
    ASSERT_EQ(range.choices.size(), 5u);
    EXPECT_EQ(range.choices[0], plugin->formatParameterValue(slotOf("Material"), 0.0f));

    plugin->getParameterRange(slotOf("EnableEQ"), range);
    EXPECT_EQ(range.type, 2);
    EXPECT_EQ(range.numSteps, 2);
    EXPECT_EQ(range.defaultValue, 1.0f);
    ASSERT_EQ(range.choices.size(), 2u);
    EXPECT_EQ(range.choices[0], "off");
    EXPECT_EQ(range.choices[1], "on");
}

TEST(HostParameters, NormalisedValuesGoThroughTheMappersBothWays)
{
    auto plugin = makePlugin();
    const auto decay = slotOf("Decay"), area = slotOf("Area"), mix = slotOf("Mix");

    // A conformal mapper puts its middle at the centre; a log mapper with no offset the geometric mean.
    plugin->setParameterNormalised(decay, 0.5f);
    EXPECT_NEAR(plugin->getParameterValue(decay), 4.0f, 1e-3f);
    plugin->setParameterNormalised(area, 0.5f);
    EXPECT_NEAR(plugin->getParameterValue(area), std::sqrt(0.6f * 6.0f), 1e-4f);
    plugin->setParameterNormalised(mix, 0.25f);
    EXPECT_NEAR(plugin->getParameterValue(mix), 0.25f, 1e-6f);

    for (float x : {0.0f, 0.1f, 0.37f, 0.5f, 0.93f, 1.0f})
    {
        plugin->setParameterNormalised(decay, x);
        EXPECT_NEAR(plugin->getParameterNormalised(decay), x, 1e-4f);
        EXPECT_NEAR(plugin->valueToNormalised(decay, plugin->normalisedToValue(decay, x)), x, 1e-4f);
    }
    plugin->setParameterNormalised(decay, 1.0f);
    EXPECT_NEAR(plugin->getParameterValue(decay), 10000.0f, 0.5f);

    // Text round trip through the sheet's own formatter.
    const auto text = plugin->formatParameterValue(decay, 4.0f);
    EXPECT_NEAR(plugin->parseParameterValue(decay, text), 4.0f, 0.01f) << text;
    plugin->setParameterValue(decay, 4.0f);
    EXPECT_EQ(plugin->getParameterDisplay(decay), text);

    // Real values are limited to the range.
    plugin->setParameterValue(mix, 7.0f);
    EXPECT_EQ(plugin->getParameterValue(mix), 1.0f);
}

TEST(HostParameters, BoolThresholdIsStrictlyAboveOneHalfAndIntsRoundHalfUp)
{
    auto plugin = makePlugin();
    const auto enable = slotOf("EnablePorousDamp"), material = slotOf("Material");
    auto& sheet = lamina(*plugin);
    const auto enableId = sheet.getParameterId("EnablePorousDamp");
    const auto materialId = sheet.getParameterId("Material");

    ASSERT_TRUE(sheet.getBoolParameter(enableId)); // default on
    plugin->setParameterNormalised(enable, 0.5f);
    EXPECT_FALSE(sheet.getBoolParameter(enableId));
    EXPECT_EQ(plugin->getParameterNormalised(enable), 0.0f);
    plugin->setParameterNormalised(enable, 0.5000001f);
    EXPECT_TRUE(sheet.getBoolParameter(enableId));
    EXPECT_EQ(plugin->getParameterNormalised(enable), 1.0f);

    // Material runs 0..4: x * 4 + 0.5, floored.
    const std::pair<float, int> cases[] = {{0.625f, 3}, {0.375f, 2}, {0.124f, 0}, {0.125f, 1}, {1.0f, 4}};
    for (auto [x, expected] : cases)
    {
        plugin->setParameterNormalised(material, x);
        EXPECT_EQ(sheet.getIntParameter(materialId), expected) << x;
        EXPECT_EQ(plugin->getParameterNormalised(material), expected / 4.0f);
    }
    plugin->setParameterValue(material, 2.9f);
    EXPECT_EQ(sheet.getIntParameter(materialId), 2) << "a real value is truncated";
}

TEST(HostParameters, HostWritesDoNotEchoAndUnchangedWritesCostNothing)
{
    auto plugin = makePlugin();
    auto& sheet = lamina(*plugin);
    const auto mix = slotOf("Mix");
    const auto mixId = sheet.getParameterId("Mix");
    SlotCounter toHost(plugin->parameterChanged);
    ElementChangeCounter inElement(sheet);

    plugin->setParameterNormalised(mix, 0.8f);
    EXPECT_EQ(inElement.count, 1);
    EXPECT_EQ(toHost.count, 0) << "the host's own write must not come back to it";
    EXPECT_TRUE(sheet.isModified());

    plugin->setParameterNormalised(mix, plugin->getParameterNormalised(mix));
    plugin->setParameterNormalised(slotOf("EnableEQ"), 0.9f);  // already on
    plugin->setParameterNormalised(slotOf("Material"), 0.05f); // rounds to the present 0
    EXPECT_EQ(inElement.count, 1) << "repeated values must not reach the element";

    // A change from the element side (editor, preset) reaches the host on the slot's index.
    sheet.setParameterDeferred(mixId, 0.2f, true);
    EXPECT_EQ(toHost.count, 1);
    EXPECT_EQ(std::get<0>(toHost.last), mix);
    EXPECT_NEAR(plugin->getParameterNormalised(mix), 0.2f, 1e-6f);

    // A parameter with no slot stays quiet.
    sheet.setParameterDeferred(sheet.getParameterId("BandGain4"), 3.0f, true);
    EXPECT_EQ(toHost.count, 1);
}

TEST(HostParameters, GesturesOfTheProxyReachTheHostOnTheSlotOfTheirParameter)
{
    auto plugin = makePlugin();
    auto& sheet = lamina(*plugin);
    SlotCounter begin(plugin->parameterGestureBegin), end(plugin->parameterGestureEnd);
    auto* proxy = plugin->getEngineProxy();

    proxy->gestureBegin.emit(&sheet, sheet.getParameterId("Tension"));
    EXPECT_EQ(begin.count, 1);
    EXPECT_EQ(std::get<0>(begin.last), slotOf("Tension"));
    proxy->gestureEnd.emit(&sheet, sheet.getParameterId("Tension"));
    EXPECT_EQ(end.count, 1);
    EXPECT_EQ(std::get<0>(end.last), slotOf("Tension"));

    proxy->gestureBegin.emit(&sheet, sheet.getParameterId("BandDecay2"));                 // no slot
    proxy->gestureBegin.emit(plugin->getEngine().get(), sheet.getParameterId("Tension")); // other element
    EXPECT_EQ(begin.count, 1);
}

TEST(HostParameters, BadIndicesDoNothingAndAnswerNeutralValues)
{
    auto plugin = makePlugin();
    auto& sheet = lamina(*plugin);
    std::vector<uint8_t> before, after;
    plugin->getState(before);
    ElementChangeCounter inElement(sheet);

    for (uint32_t index : {25u, 26u, 1000u, 0xffffffffu})
    {
        plugin->setParameterNormalised(index, 0.7f);
        plugin->setParameterValue(index, 3.0f);
        EXPECT_EQ(plugin->getParameterName(index), "");
        EXPECT_EQ(plugin->getParameterDisplay(index), "");
        EXPECT_EQ(plugin->getParameterNormalised(index), 0.0f);
        EXPECT_EQ(plugin->getParameterValue(index), 0.0f);
        EXPECT_EQ(plugin->formatParameterValue(index, 0.5f), "");
        EXPECT_EQ(plugin->parseParameterValue(index, "12"), 0.0f);
        EXPECT_EQ(plugin->normalisedToValue(index, 0.5f), 0.0f);
        EXPECT_EQ(plugin->valueToNormalised(index, 0.5f), 0.0f);
        EXPECT_EQ(plugin->getParameterType(index), 5);
        ParameterRange range;
        range.min = 3.0f;
        range.choices = {"x"};
        plugin->getParameterRange(index, range);
        EXPECT_EQ(range.type, 0);
        EXPECT_EQ(range.min, 0.0f);
        EXPECT_EQ(range.max, 0.0f);
        EXPECT_TRUE(range.choices.empty());
    }
    EXPECT_EQ(inElement.count, 0);
    EXPECT_FALSE(sheet.isModified());
    plugin->getState(after);
    EXPECT_EQ(before, after);
}

TEST(HostParameters, SlotWhoseElementVanishedReadsItsUnconnectedValueAndComesBackWithTheElement)
{
    auto plugin = makePlugin();
    const auto decay = slotOf("Decay");
    plugin->setParameterValue(decay, 7.5f);

    // No state loads a tree without the sheet: take it out by hand.
    auto* engine = plugin->getEngine().get();
    auto removed = engine->removeElement(static_cast<ProcessingElement*>(engine->findElement("/Lamina")));
    ASSERT_NE(removed, nullptr);
    plugin->refreshParameters();
    EXPECT_EQ(plugin->getParameterType(decay), 5);
    EXPECT_EQ(plugin->getParameterNormalised(decay), 0.0f);
    plugin->setParameterNormalised(decay, 0.7f);
    EXPECT_EQ(plugin->getParameterNormalised(decay), 0.7f);
    EXPECT_EQ(plugin->getParameterDisplay(decay), "");
    EXPECT_EQ(plugin->getParameterName(decay), "Decay");

    engine->addElement(std::move(removed));
    plugin->refreshParameters();
    EXPECT_EQ(plugin->getParameterType(decay), 0);
    EXPECT_FLOAT_EQ(plugin->getParameterValue(decay), 7.5f);
    SlotCounter toHost(plugin->parameterChanged);
    lamina(*plugin).setParameterDeferred(lamina(*plugin).getParameterId("Decay"), 3.0f, true);
    EXPECT_EQ(toHost.count, 1) << "the slot listens to the element again";
}

TEST(HostParameters, ConnectDisconnectAndAutomationXmlMoveSlotsWithoutRenumbering)
{
    auto plugin = makePlugin();
    auto& sheet = lamina(*plugin);
    const auto mix = slotOf("Mix");
    SlotCounter titles(plugin->parameterTitleChanged);

    EXPECT_FALSE(plugin->connect("/Lamina", "Mix", "Mix")) << "already exported";
    EXPECT_FALSE(plugin->connect("/Lamina", "BandGain3", "Gain 125")) << "every slot is taken";
    EXPECT_FALSE(plugin->connect("/Nowhere", "Mix", "Mix"));

    plugin->disconnect({"/Lamina", "Mix"});
    EXPECT_EQ(titles.count, 1);
    EXPECT_EQ(std::get<0>(titles.last), mix);
    EXPECT_EQ(plugin->getParameterType(mix), 5);
    const float mixBefore = sheet.getParameter(sheet.getParameterId("Mix"));
    plugin->setParameterNormalised(mix, 0.9f);
    EXPECT_EQ(sheet.getParameter(sheet.getParameterId("Mix")), mixBefore);
    EXPECT_EQ(plugin->getParameterNormalised(mix), 0.9f);

    EXPECT_FALSE(plugin->connect("/Lamina", "NoSuchParameter", "x"));
    ASSERT_TRUE(plugin->connect("/Lamina", "BandGain3", "Gain 125"));
    EXPECT_EQ(plugin->getParameterName(mix), "Gain 125") << "the only free slot is taken";
    EXPECT_EQ(plugin->getParameterType(mix), 0);
    plugin->setParameterValue(mix, -6.0f);
    EXPECT_EQ(sheet.getParameter(sheet.getParameterId("BandGain3")), -6.0f);

    // Back to its default: the first pass finds the slot whose default target is the pair.
    plugin->disconnect({"/Lamina", "BandGain3"});
    ASSERT_TRUE(plugin->connect("/Lamina", "Mix", "Wet"));
    EXPECT_EQ(plugin->getParameterName(mix), "Wet");
    plugin->disconnect({"/Lamina", "Mix"});
    ASSERT_TRUE(plugin->connect("/Lamina", "BandGain3", ""));
    EXPECT_EQ(plugin->getParameterName(mix), "BandGain3");

    tinyxml2::XMLDocument doc;
    auto* xml = doc.NewElement("Automation");
    doc.InsertEndChild(xml);
    EXPECT_TRUE(plugin->saveAutomation(xml));
    int entries = 0;
    for (auto* e = xml->FirstChildElement("AutomationConnection"); e != nullptr;
         e = e->NextSiblingElement("AutomationConnection"))
        ++entries;
    EXPECT_EQ(entries, 25);
    // Entries that must be skipped: a bad index, an unknown parameter, an empty path.
    auto addEntry = [&](int index, const char* path, const char* name)
    {
        auto* e = doc.NewElement("AutomationConnection");
        e->SetAttribute("sourceIndex", index);
        e->SetAttribute("targetPath", path);
        e->SetAttribute("parameterName", name);
        xml->InsertEndChild(e);
    };
    addEntry(25, "/Lamina", "Drive");
    addEntry(3, "/Lamina", "NoSuchParameter");
    addEntry(4, "", "Area");

    auto other = makePlugin();
    SlotCounter otherTitles(other->parameterTitleChanged);
    other->loadAutomation(xml);
    EXPECT_EQ(other->getParameterName(mix), "BandGain3");
    other->setParameterValue(mix, 4.0f);
    auto& otherSheet = lamina(*other);
    EXPECT_EQ(otherSheet.getParameter(otherSheet.getParameterId("BandGain3")), 4.0f);
    EXPECT_EQ(other->getParameterName(slotOf("Area")), "Area") << "a bad entry leaves the good one standing";
    EXPECT_EQ(other->getParameterType(slotOf("Material")), 1);
    EXPECT_GE(otherTitles.count, 25);

    // An empty automation list releases every slot.
    tinyxml2::XMLDocument empty;
    auto* none = empty.NewElement("Automation");
    empty.InsertEndChild(none);
    other->loadAutomation(none);
    for (uint32_t i = 0; i < other->getNumParameters(); ++i)
        EXPECT_EQ(other->getParameterType(i), 5);
    EXPECT_FALSE(other->saveAutomation(none));
}

// What a host's parameter queue may carry: NaN and infinities, on every slot, through both write paths.
TEST(HostParameters, NonFiniteWritesOnEverySlotLeaveValuesInRangeAndTheSoundFinite)
{
    auto plugin = makePlugin();
    std::vector<float> left(1024), right(1024);
    float* channels[2] = {left.data(), right.data()};
    PluginAudioBuffer buffer;
    TimeInfo offline;
    offline.isOffline = true; // every block hears the modes its values ask for
    auto block = [&](bool impulse)
    {
        std::fill(left.begin(), left.end(), 0.0f);
        std::fill(right.begin(), right.end(), 0.0f);
        left[0] = impulse ? 1.0f : 0.0f;
        buffer.setChannels(2, 1024, channels);
        plugin->setTimeInfo(offline);
        plugin->process(buffer);
        float peak = 0.0f;
        for (float v : right)
            peak = std::isfinite(v) ? std::max(peak, std::abs(v)) : INFINITY;
        return peak;
    };

    for (uint32_t slot = 0; slot < plugin->getNumParameters(); ++slot)
    {
        ParameterRange range;
        plugin->getParameterRange(slot, range);
        for (float bad : {std::nanf(""), INFINITY, -INFINITY})
        {
            const float before = plugin->getParameterValue(slot);
            plugin->setParameterNormalised(slot, bad);
            const float normalised = plugin->getParameterValue(slot);
            plugin->setParameterValue(slot, bad);
            const float real = plugin->getParameterValue(slot);
            for (float v : {normalised, real})
            {
                EXPECT_TRUE(v >= range.min && v <= range.max)
                    << "slot " << slot << " took " << bad << " as " << v;
            }
            if (std::isnan(bad))
            {
                EXPECT_EQ(real, before) << "slot " << slot << ": NaN changes nothing";
            }
            EXPECT_TRUE(std::isfinite(plugin->getParameterNormalised(slot))) << slot;
        }
        EXPECT_TRUE(std::isfinite(block(slot % 4 == 0))) << "after slot " << slot;
    }

    // Back to good values: the sheet rings as a fresh one does.
    for (uint32_t slot = 0; slot < plugin->getNumParameters(); ++slot)
    {
        ParameterRange range;
        plugin->getParameterRange(slot, range);
        plugin->setParameterValue(slot, range.defaultValue);
    }
    block(false);
    float peak = block(true);
    for (int b = 0; b < 8; ++b)
        peak = std::max(peak, block(false));
    EXPECT_TRUE(std::isfinite(peak));
    EXPECT_GT(peak, 1e-4f);
}

// A host write that finds the slots held (a load swapping the tree, a save) is parked; whoever takes the
// slots next applies it, so a state saved after it holds it whatever the blocks do meanwhile.
TEST(HostParameters, AWriteThatFindsTheSlotsHeldIsInTheNextSavedState)
{
    auto plugin = makePlugin();
    const auto mix = slotOf("Mix");
    std::atomic<int> step{0};
    std::thread holder(
        [&]
        {
            const juce::ScopedLock held(plugin->getSlotLock());
            step = 1;
            while (step.load() < 2)
                std::this_thread::yield();
        });
    while (step.load() < 1)
        std::this_thread::yield();
    plugin->setParameterValue(mix, 0.9f);
    EXPECT_NE(lamina(*plugin).getParameter(lamina(*plugin).getParameterId("Mix")), 0.9f)
        << "parked, not lost";
    step = 2;
    holder.join();

    std::vector<uint8_t> block;
    plugin->getState(block);
    EXPECT_FLOAT_EQ(plugin->getParameterValue(mix), 0.9f);
    auto other = makePlugin();
    ASSERT_TRUE(other->setState(block, {}));
    EXPECT_FLOAT_EQ(other->getParameterValue(mix), 0.9f);
}
