// The state block a host keeps: its header, the round trip, old plain-XML states, and damaged blocks.
#include "tests/plugin/plugin_rig.h"
#include "tests/support/lamina_probe.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

using namespace qor;

namespace
{
std::unique_ptr<LaminaPlugin> makePlugin(ChannelConfig config = {2, 2})
{
    return test::makePlugin(config, 48000, 256, PluginFormat::lv2);
}

std::vector<uint8_t> stateOf(LaminaPlugin& plugin)
{
    std::vector<uint8_t> block;
    plugin.getState(block);
    return block;
}

Element* sheetOf(LaminaPlugin& plugin)
{
    return plugin.getEngine()->findElement("/Lamina");
}

int32_t int32At(const std::vector<uint8_t>& b, std::size_t offset)
{
    return int32_t(uint32_t(b[offset]) | uint32_t(b[offset + 1]) << 8 | uint32_t(b[offset + 2]) << 16 |
                   uint32_t(b[offset + 3]) << 24);
}

void putInt32(std::vector<uint8_t>& b, std::size_t offset, int32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[offset + std::size_t(i)] = uint8_t(uint32_t(v) >> (8 * i));
}

/** The XML text inside a block, read independently of the plug-in. */
std::string xmlOf(const std::vector<uint8_t>& block)
{
    juce::MemoryInputStream in(block.data() + 12, block.size() - 12, false);
    juce::GZIPDecompressorInputStream inflater(in);
    juce::MemoryBlock out;
    inflater.readIntoMemoryBlock(out);
    return out.toString().toStdString();
}

std::vector<uint8_t> bytesOf(const std::string& text)
{
    return std::vector<uint8_t>(text.begin(), text.end());
}

/** Peak of the right output for an impulse on the left input, rendered offline so the table is loaded. */
float impulsePeak(LaminaPlugin& plugin, int blocks = 40)
{
    TimeInfo time;
    time.isOffline = true;
    float peak = 0.0f;
    std::vector<float> left(256), right(256);
    float* channels[2] = {left.data(), right.data()};
    PluginAudioBuffer buffer;
    for (int b = 0; b < blocks; ++b)
    {
        std::fill(left.begin(), left.end(), 0.0f);
        std::fill(right.begin(), right.end(), 0.0f);
        if (b == 0)
            left[0] = 1.0f;
        buffer.setChannels(2, 256, channels);
        plugin.setTimeInfo(time);
        plugin.process(buffer);
        if (b > 4) // past the dry impulse and the onset
            for (float v : right)
                peak = std::max(peak, std::abs(v));
    }
    return peak;
}

/** A block in the form the plug-in writes: header, then the text compressed. */
std::vector<uint8_t> blockOf(const std::string& xml)
{
    juce::MemoryOutputStream out;
    out.write("QOR4", 4);
    out.writeInt(1);
    out.writeInt(int(xml.size()));
    {
        juce::GZIPCompressorOutputStream deflater(out);
        deflater.write(xml.data(), xml.size());
    }
    const auto* data = static_cast<const uint8_t*>(out.getData());
    return std::vector<uint8_t>(data, data + out.getDataSize());
}

/** Threads of this process. One that ends may linger here a moment after it was joined, so only a rise says
    something: a load that starts none leaves the count where it was or below. */
std::size_t threadsInProcess()
{
    std::size_t n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ++n;
    return n;
}

const LaminaProbe::Stats& statsOf(LaminaPlugin& plugin)
{
    return *LaminaProbe::stats(LaminaProbe::processState(*plugin.getLamina()));
}

struct StateCounter : test::SignalCounter<>
{
    explicit StateCounter(Plugin& p) : SignalCounter(p.stateLoaded) {}
};
} // namespace

TEST(HostState, BlockCarriesMagicVersionLengthAndCompressedXmlAndReadsBackToTheSameXml)
{
    auto first = makePlugin();
    auto* sheet = sheetOf(*first);
    ASSERT_NE(sheet, nullptr);
    // The sheet's own name is its path ("/Lamina"), which presets never change; the engine's name is free.
    first->getEngine()->setName("Plate A");
    const auto decayId = sheet->getParameterId("Decay");
    sheet->setParameterDeferred(decayId, 5.5f, true);
    sheet->setParameterDeferred(sheet->getParameterId("Material"), int32_t(2), true);
    sheet->setParameterDeferred(sheet->getParameterId("EnableEQ"), false, true);
    EXPECT_TRUE(first->getEngine()->isModified());

    const auto block = stateOf(*first);
    EXPECT_FALSE(first->getEngine()->isModified()) << "a host save counts as a save";
    ASSERT_GT(block.size(), 12u);
    EXPECT_EQ(std::memcmp(block.data(), "QOR4", 4), 0);
    EXPECT_EQ(int32At(block, 4), 1);
    const auto xml = xmlOf(block);
    EXPECT_EQ(int32At(block, 8), int32_t(xml.size()));
    EXPECT_EQ(xml.rfind("<QOR4>", 0), 0u) << xml.substr(0, 60);
    EXPECT_NE(xml.find("<Engine"), std::string::npos);
    EXPECT_NE(xml.find("Name=\"Plate A\""), std::string::npos);
    EXPECT_LT(block.size(), xml.size()) << "the payload is compressed";

    auto second = makePlugin();
    StateCounter loaded(*second);
    auto* oldSheet = sheetOf(*second);
    ASSERT_TRUE(second->setState(block, {}));
    EXPECT_EQ(loaded.count, 1);
    auto* newSheet = sheetOf(*second);
    ASSERT_NE(newSheet, nullptr);
    EXPECT_NE(newSheet, oldSheet) << "a load replaces the tree";
    EXPECT_EQ(second->getEngine()->getName(), "Plate A");
    EXPECT_FALSE(newSheet->isModified()) << "restoring is not an edit";
    EXPECT_FALSE(second->getEngine()->isModified());
    EXPECT_FLOAT_EQ(second->getParameterValue(0), 5.5f);
    EXPECT_EQ(newSheet->getIntParameter(newSheet->getParameterId("Material")), 2);

    const auto again = stateOf(*second);
    EXPECT_EQ(xmlOf(again), xml);

    // Buses and slots follow the new tree: it rings, and a host write reaches it.
    EXPECT_GT(impulsePeak(*second), 1e-4f);
    second->setParameterNormalised(0, 0.25f);
    EXPECT_NEAR(newSheet->getParameter(decayId), second->normalisedToValue(0, 0.25f), 1e-6f);
}

TEST(HostState, PlainXmlWithoutHeaderLoadsTheSameTree)
{
    auto first = makePlugin();
    first->getEngine()->setName("Old Plate");
    const auto block = stateOf(*first);
    const auto xml = xmlOf(block);

    auto second = makePlugin({1, 2});
    ASSERT_TRUE(second->setState(bytesOf(xml), "/tmp/some.preset"));
    EXPECT_EQ(second->getEngine()->getName(), "Old Plate");
    const auto again = stateOf(*second);
    EXPECT_EQ(xmlOf(again), xml);
    EXPECT_GT(impulsePeak(*second), 1e-4f) << "mono in, stereo out after a load";
}

TEST(HostState, BlocksThatDoNotParseLeaveThePluginAsItWas)
{
    auto plugin = makePlugin();
    plugin->getEngine()->setName("Keep");
    const auto good = stateOf(*plugin);
    const auto xml = xmlOf(good);
    auto* sheet = sheetOf(*plugin);
    StateCounter loaded(*plugin);

    std::vector<std::pair<const char*, std::vector<uint8_t>>> cases;
    cases.push_back({"empty", {}});
    cases.push_back({"magic only", {'Q', 'O', 'R', '4'}});
    cases.push_back({"header only", std::vector<uint8_t>(good.begin(), good.begin() + 12)});
    cases.push_back(
        {"half the payload", std::vector<uint8_t>(good.begin(), good.begin() + long(good.size() / 2))});
    auto wrongMagic = good;
    wrongMagic[3] = '5';
    cases.push_back({"wrong magic", wrongMagic});
    for (int32_t length :
         {0, -1, -2147483647 - 1, 2147483647, 60 << 20, int32_t(xml.size()) + 1, int32_t(xml.size()) - 10, 5})
    {
        auto lying = good;
        putInt32(lying, 8, length);
        cases.push_back({"xmlLength lies", lying});
    }
    cases.push_back({"other root", bytesOf("<Preset><Engine/></Preset>")});
    cases.push_back({"root without child", bytesOf("<QOR4/>")});
    cases.push_back({"child that is no engine", bytesOf("<QOR4><Lamina Name=\"x\"/></QOR4>")});
    cases.push_back({"unknown child", bytesOf("<QOR4><Synth/></QOR4>")});
    cases.push_back({"not xml", bytesOf("\x01\x02garbage<<")});

    int expectedSignals = 0;
    for (auto& [what, bytes] : cases)
    {
        EXPECT_FALSE(plugin->setState(bytes, {})) << what;
        EXPECT_EQ(loaded.count, ++expectedSignals) << "stateLoaded fires all the same: " << what;
        EXPECT_EQ(sheetOf(*plugin), sheet) << what;
    }
    const auto after = stateOf(*plugin);
    EXPECT_EQ(xmlOf(after), xml);

    // Bytes behind the compressed text are not read.
    auto padded = good;
    padded.insert(padded.end(), 100, uint8_t(0xab));
    EXPECT_TRUE(plugin->setState(padded, {}));
    EXPECT_EQ(plugin->getEngine()->getName(), "Keep");
}

TEST(HostState, RandomMutationsOfAValidBlockNeitherCrashNorCorruptThePlugin)
{
    auto plugin = makePlugin();
    const auto good = stateOf(*plugin);
    std::mt19937 random(20261123);
    int loadedCount = 0;
    for (int round = 0; round < 400; ++round)
    {
        auto bytes = good;
        const int kind = int(random() % 4);
        if (kind == 0) // flip a few bytes anywhere
            for (int n = 0; n < 1 + int(random() % 4); ++n)
                bytes[random() % bytes.size()] ^= uint8_t(1 + random() % 255);
        else if (kind == 1) // truncate
            bytes.resize(random() % bytes.size());
        else if (kind == 2) // insert noise into the payload
            bytes.insert(bytes.begin() + long(12 + random() % (bytes.size() - 12)),
                         std::size_t(1 + random() % 64), uint8_t(random()));
        else // damage the header only
            bytes[random() % 12] = uint8_t(random());
        loadedCount += plugin->setState(bytes, {}) ? 1 : 0;

        // Whatever happened, the plug-in still describes a tree the same way it loads it.
        const auto now = stateOf(*plugin);
        ASSERT_GT(now.size(), 12u);
        ASSERT_EQ(std::memcmp(now.data(), "QOR4", 4), 0);
    }
    EXPECT_TRUE(plugin->setState(good, {}));
    EXPECT_NE(sheetOf(*plugin), nullptr);
    EXPECT_GT(impulsePeak(*plugin), 1e-4f);
    RecordProperty("loads that went through", loadedCount);
}

// Shapes a damaged or hostile state can have. The product's tree is one engine with one sheet: anything else
// is refused before any of it is made, and a sheet whose name is missing or wrong still stands at "/Lamina".
TEST(HostState, HostileShapesAreRefusedBeforeAnythingIsMadeAndAStrayNameStillFindsTheSheet)
{
    auto plugin = makePlugin();
    auto* sheet = sheetOf(*plugin);
    ASSERT_NE(sheet, nullptr);
    const auto banksBefore = statsOf(*plugin).banksMade.load();

    std::string thousandSheets = "<QOR4><Engine>";
    for (int i = 0; i < 1000; ++i)
        thousandSheets += "<Lamina/>";
    thousandSheets += "</Engine></QOR4>";
    std::string manyAttributes = "<QOR4><Engine><Lamina Name=\"Lamina\"";
    for (int i = 0; i < 100000; ++i)
        manyAttributes += " a" + std::to_string(i) + "=\"\"";
    manyAttributes += "/></Engine></QOR4>";
    std::string deep = "<QOR4><Engine><Lamina>";
    for (int i = 0; i < 20000; ++i)
        deep += "<a>";
    deep += "</Lamina></Engine></QOR4>";

    const std::pair<const char*, std::string> refused[] = {
        {"a thousand sheets", thousandSheets},
        {"two sheets", "<QOR4><Engine><Lamina/><Lamina Name=\"B\"/></Engine></QOR4>"},
        {"no sheet", "<QOR4><Engine Name=\"\"/></QOR4>"},
        {"an engine in the engine", "<QOR4><Engine><Engine><Lamina/></Engine><Lamina/></Engine></QOR4>"},
        {"two engines", "<QOR4><Engine><Lamina/></Engine><Engine><Lamina/></Engine></QOR4>"},
        {"100,000 attributes", manyAttributes},
        {"nesting deeper than the parser goes", deep}};
    const auto threadsBefore = threadsInProcess();
    for (const auto& [what, xml] : refused)
    {
        EXPECT_FALSE(plugin->setState(blockOf(xml), {})) << what;
        EXPECT_FALSE(plugin->setState(bytesOf(xml), {})) << what << ", as plain text";
        EXPECT_EQ(sheetOf(*plugin), sheet) << what;
    }
    EXPECT_LE(threadsInProcess(), threadsBefore) << "a refused state starts no thread";
    EXPECT_EQ(statsOf(*plugin).banksMade.load(), banksBefore);
    EXPECT_GT(impulsePeak(*plugin), 1e-4f) << "the sheet that stayed still rings";

    // A nameless sheet and one of another name load, at "/Lamina", with every slot bound to them.
    for (const char* xml :
         {"<QOR4><Engine><Lamina Decay=\"5\"/></Engine></QOR4>",
          "<QOR4><Engine><Lamina Name=\"InsertFX0\" Decay=\"5\"/><Properties/></Engine></QOR4>"})
    {
        ASSERT_TRUE(plugin->setState(bytesOf(xml), {})) << xml;
        ASSERT_NE(sheetOf(*plugin), nullptr) << xml;
        for (uint32_t i = 0; i < plugin->getNumParameters(); ++i)
            EXPECT_NE(plugin->getParameterType(i), 5) << "slot " << i << " after " << xml;
        EXPECT_FLOAT_EQ(plugin->getParameterValue(0), 5.0f) << xml;
    }
}

TEST(HostState, ALoadAndAPrepareEachBuildTheModesOnce)
{
    auto plugin = makePlugin(); // prepared twice
    EXPECT_EQ(statsOf(*plugin).tablesBuilt.load(), 2u);
    EXPECT_EQ(statsOf(*plugin).banksMade.load(), 2u);

    std::vector<uint8_t> block;
    plugin->getState(block);
    ASSERT_TRUE(plugin->setState(block, {}));
    EXPECT_EQ(statsOf(*plugin).tablesBuilt.load(), 1u);
    EXPECT_EQ(statsOf(*plugin).banksMade.load(), 1u);
}

// A state whose every value on the sheet is no number, or an infinity: it loads, and no slot and no sample
// takes a non-finite value.
TEST(HostState, NonFiniteValuesInAStateStayOutOfEverySlot)
{
    auto plugin = makePlugin();
    tinyxml2::XMLDocument document;
    ASSERT_EQ(document.Parse(xmlOf(stateOf(*plugin)).c_str()), tinyxml2::XML_SUCCESS);
    auto* sheetXml = document.RootElement()->FirstChildElement("Engine")->FirstChildElement("Lamina");
    ASSERT_NE(sheetXml, nullptr);
    for (const char* bad : {"nan", "inf", "-inf"})
    {
        for (auto* a = sheetXml->FirstAttribute(); a != nullptr; a = a->Next())
            if (std::strcmp(a->Name(), "Name") != 0)
                sheetXml->SetAttribute(a->Name(), bad);
        tinyxml2::XMLPrinter printer;
        document.Print(&printer);
        ASSERT_TRUE(plugin->setState(blockOf(printer.CStr()), {})) << bad;
        for (uint32_t i = 0; i < plugin->getNumParameters(); ++i)
        {
            ParameterRange range;
            plugin->getParameterRange(i, range);
            const float v = plugin->getParameterValue(i);
            EXPECT_TRUE(v >= range.min && v <= range.max)
                << "slot " << i << " holds " << v << " after " << bad;
        }
        EXPECT_TRUE(std::isfinite(impulsePeak(*plugin))) << bad;
    }
}
