// The built VST3 and LV2 bundles loaded through JUCE's plug-in hosting, as a DAW would load them: the
// parameter list, an impulse that rings, automation mid-stream, and a saved state restored into a second
// instance.
#include "tests/host/juce_hosting.h"
#include "tests/support/host_slots.h"

#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_events/juce_events.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace
{
using qor::test::Format;
using qor::test::formatName;
using qor::test::Hosting;

constexpr double rate = 48000.0;
constexpr int blockSize = 512;

Hosting* theHosting = nullptr;

/** An instance rendering offline, so that no block is skipped. */
std::unique_ptr<juce::AudioPluginInstance> load(Format which)
{
    return theHosting->load(which, rate, blockSize, true);
}

juce::AudioProcessorParameter* parameterNamed(juce::AudioPluginInstance& plugin, const juce::String& name)
{
    for (auto* p : plugin.getParameters())
        if (p->getName(100) == name)
            return p;
    ADD_FAILURE() << "no parameter " << name;
    return nullptr;
}

/** Renders `blocks` blocks with an impulse on the left input at the first sample (or silence), calling
    `beforeBlock(b)`. */
std::vector<std::vector<float>> render(juce::AudioPluginInstance& plugin, int blocks,
                                       const std::function<void(int)>& beforeBlock = {}, bool impulse = true)
{
    std::vector<std::vector<float>> out(2);
    juce::AudioBuffer<float> buffer(2, blockSize);
    juce::MidiBuffer midi;
    for (int b = 0; b < blocks; ++b)
    {
        if (beforeBlock)
            beforeBlock(b);
        buffer.clear();
        if (b == 0 && impulse)
            buffer.setSample(0, 0, 1.0f);
        plugin.processBlock(buffer, midi);
        for (int c = 0; c < 2; ++c)
            out[size_t(c)].insert(out[size_t(c)].end(), buffer.getReadPointer(c),
                                  buffer.getReadPointer(c) + blockSize);
    }
    return out;
}

double rms(const std::vector<float>& x, std::size_t from, std::size_t to)
{
    double sum = 0.0;
    for (auto i = from; i < to; ++i)
        sum += double(x[i]) * x[i];
    return std::sqrt(sum / double(std::max<std::size_t>(1, to - from)));
}

/** The XML text of the 'QOR4' block inside whatever wrapping a host format puts around the state. */
std::string laminaXml(const juce::MemoryBlock& state)
{
    auto fromBlock = [](const void* data, std::size_t size) -> std::string
    {
        const auto* bytes = static_cast<const uint8_t*>(data);
        for (std::size_t i = 0; i + 12 <= size; ++i)
            if (std::memcmp(bytes + i, "QOR4", 4) == 0 && bytes[i + 4] == 1 && bytes[i + 5] == 0)
            {
                juce::MemoryInputStream in(bytes + i + 12, size - i - 12, false);
                juce::GZIPDecompressorInputStream inflater(in);
                const auto length = int(juce::ByteOrder::littleEndianInt(bytes + i + 8));
                juce::MemoryBlock xml;
                inflater.readIntoMemoryBlock(xml, length);
                return xml.toString().toStdString();
            }
        return {};
    };
    if (auto direct = fromBlock(state.getData(), state.getSize()); !direct.empty())
        return direct;
    // Hosts keep the block in JUCE's base-64 form ("<size>.<digits>"): VST3 as the text of an element of the
    // host's XML, LV2 as a quoted literal of the state's Turtle.
    juce::StringArray candidates;
    if (auto xml = juce::AudioProcessor::getXmlFromBinary(state.getData(), int(state.getSize())))
        for (auto* child : xml->getChildIterator())
            candidates.add(child->getAllSubText());
    const auto text = state.toString();
    for (int quote = text.indexOfChar('"'); quote >= 0;)
    {
        const int close = text.indexOfChar(quote + 1, '"');
        if (close < 0)
            break;
        candidates.add(text.substring(quote + 1, close));
        quote = text.indexOfChar(close + 1, '"');
    }
    for (const auto& candidate : candidates)
    {
        juce::MemoryBlock decoded;
        if (candidate.containsChar('.') && decoded.fromBase64Encoding(candidate.trim()))
            if (auto inner = fromBlock(decoded.getData(), decoded.getSize()); !inner.empty())
                return inner;
    }
    return {};
}

class HostTest : public testing::TestWithParam<Format>
{
};
} // namespace

TEST_P(HostTest, ListsTwentyFiveSlotsAndTheMasterBypassWithNamesRangesAndDefaults)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    const auto& parameters = plugin->getParameters();

    int slotsSeen = 0;
    for (int i = 0; i < 25; ++i)
    {
        auto* p = parameterNamed(*plugin, qor::test::hostSlotNames[i]);
        if (p == nullptr)
            continue;
        ++slotsSeen;
        // VST3 ids are numbers (hashes of ours); LV2 keeps the key in the parameter's URI.
        if (auto* withId = dynamic_cast<juce::HostedAudioProcessorParameter*>(p);
            withId && GetParam() == Format::lv2)
        {
            EXPECT_TRUE(withId->getParameterID().contains(qor::test::hostSlotKeys[i]))
                << withId->getParameterID() << " for " << qor::test::hostSlotKeys[i];
        }
    }
    EXPECT_EQ(slotsSeen, 25);
    EXPECT_GE(parameters.size(), 26);
    bool hasBypass = false;
    for (auto* p : parameters)
        hasBypass = hasBypass || p->getName(100) == "Master Bypass";
    EXPECT_TRUE(hasBypass);

    // Defaults and ends of the ranges, read back as the plug-in's own texts.
    auto* decay = parameterNamed(*plugin, "Decay");
    auto* material = parameterNamed(*plugin, "Material");
    auto* eq = parameterNamed(*plugin, "Enable EQ");
    auto* mix = parameterNamed(*plugin, "Mix");
    ASSERT_TRUE(decay != nullptr && material != nullptr && eq != nullptr && mix != nullptr);
    if (GetParam() == Format::vst3)
    {
        EXPECT_EQ(decay->getText(decay->getDefaultValue(), 100), "2.00 s");
        EXPECT_EQ(decay->getText(0.0f, 100), "200 ms");
        EXPECT_EQ(decay->getText(1.0f, 100), "+oo");
        EXPECT_NEAR(decay->getValue(), decay->getDefaultValue(), 1e-5f);
        EXPECT_EQ(material->getNumSteps(), 5);
        EXPECT_EQ(eq->getNumSteps(), 2);
        EXPECT_EQ(eq->getDefaultValue(), 1.0f);
        EXPECT_EQ(eq->getText(0.0f, 100), "off");
        EXPECT_NEAR(mix->getDefaultValue(), 0.3f, 1e-6f);
    }
    else
    {
        // LV2 carries real ranges; the host shows them on its own 0-to-1 scale.
        auto* ranged = dynamic_cast<juce::RangedAudioParameter*>(decay);
        if (ranged != nullptr)
        {
            EXPECT_FLOAT_EQ(ranged->getNormalisableRange().start, 0.2f);
            EXPECT_FLOAT_EQ(ranged->getNormalisableRange().end, 10000.0f);
        }
        EXPECT_NEAR(decay->getValue(), decay->getDefaultValue(), 1e-5f);
        EXPECT_NEAR(eq->getDefaultValue(), 1.0f, 1e-6f);
    }
}

TEST_P(HostTest, AnImpulseRingsAndAnAutomatedMixTakesEffectMidStream)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    auto* mix = parameterNamed(*plugin, "Mix");
    ASSERT_NE(mix, nullptr);

    constexpr int blocks = 60, switchAt = 40; // 0.43 s of tail before the switch
    auto out = render(*plugin, blocks,
                      [&](int b)
                      {
                          if (b == switchAt)
                              mix->setValueNotifyingHost(0.0f);
                      });
    // The impulse is on the left only: the right side holds nothing but the reverb.
    const auto early = rms(out[1], 2 * blockSize, 12 * blockSize);
    const auto beforeSwitch =
        rms(out[1], std::size_t(switchAt - 10) * blockSize, std::size_t(switchAt) * blockSize);
    const auto afterSwitch =
        rms(out[1], std::size_t(switchAt + 2) * blockSize, std::size_t(blocks) * blockSize);
    EXPECT_GT(early, 1e-4) << "the impulse must ring";
    EXPECT_GT(beforeSwitch, 1e-6) << "still ringing 0.3 s later";
    EXPECT_LT(beforeSwitch, early) << "and decaying";
    EXPECT_LT(afterSwitch, 1e-7) << "Mix at 0 leaves only the dry (silent) right input";
}

TEST_P(HostTest, SavedStateRestoresIntoASecondInstanceThatSavesTheSameXmlAndSoundsTheSame)
{
    auto first = load(GetParam());
    auto second = load(GetParam());
    ASSERT_TRUE(first != nullptr && second != nullptr);

    // Without the random perturbation and the modulation, two builds of one table are the same.
    const std::pair<const char*, float> settings[] = {
        {"Anisotropy", 0.0f}, {"Modulation", 0.0f}, {"Decay", 0.4f},     {"Area", 0.3f},
        {"Material", 0.5f},   {"Mix", 1.0f},        {"Enable EQ", 0.0f}, {"Pre Delay", 0.2f}};
    for (auto [name, value] : settings)
        if (auto* p = parameterNamed(*first, name))
            p->setValueNotifyingHost(value);
    // The host's writes reach the plug-in with a block; the rebuild they ask for waits out a 50 ms hold-off.
    render(*first, 10);

    juce::MemoryBlock state;
    first->getStateInformation(state);
    const auto xml = laminaXml(state);
    ASSERT_FALSE(xml.empty()) << "no state block found in " << state.getSize() << " bytes";
    EXPECT_NE(xml.find("Material=\"2\""), std::string::npos);

    second->setStateInformation(state.getData(), int(state.getSize()));
    juce::MemoryBlock secondState;
    second->getStateInformation(secondState);
    EXPECT_EQ(laminaXml(secondState), xml);

    // The first instance rings on from its earlier blocks: start both from rest.
    first->reset();
    second->reset();
    first->releaseResources();
    second->releaseResources();
    first->prepareToPlay(rate, blockSize);
    second->prepareToPlay(rate, blockSize);
    const auto a = render(*first, 40), b = render(*second, 40);
    double peak = 0.0, difference = 0.0;
    for (int c = 0; c < 2; ++c)
        for (std::size_t i = 0; i < a[size_t(c)].size(); ++i)
        {
            peak = std::max(peak, double(std::abs(a[size_t(c)][i])));
            difference = std::max(difference, double(std::abs(a[size_t(c)][i] - b[size_t(c)][i])));
        }
    EXPECT_GT(peak, 1e-3);

    // Some formats tell the host of restored values along with a block; a host that then wrote back stale
    // values would show here as a changed state.
    render(*second, 2);
    EXPECT_NEAR(parameterNamed(*second, "Decay")->getValue(), 0.4f, 1e-4f) << "the host sees restored values";
    second->getStateInformation(secondState);
    EXPECT_EQ(laminaXml(secondState), xml);
    EXPECT_LT(difference, 1e-4 * peak) << "beyond the summation-order noise of the bank";
}

TEST_P(HostTest, AnOlderStateRestoredOverValuesTheHostSetShowsAndSoundsAsSaved)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    const char* names[] = {"Decay", "Mix", "Material", "Enable EQ"};
    std::vector<juce::AudioProcessorParameter*> parameters;
    for (auto* name : names)
        parameters.push_back(parameterNamed(*plugin, name));
    ASSERT_EQ(std::count(parameters.begin(), parameters.end(), nullptr), 0);
    auto set = [&](const char* decay, float mix, float material, float eq)
    {
        parameters[0]->setValueNotifyingHost(parameters[0]->getValueForText(decay));
        parameters[1]->setValueNotifyingHost(mix);
        parameters[2]->setValueNotifyingHost(material);
        parameters[3]->setValueNotifyingHost(eq);
    };
    // The wet tail alone (Mix 1) from 0.2 to 0.6 s after the impulse; the host's writes reach the plug-in
    // with a block.
    auto tail = [&]
    {
        plugin->reset();
        const auto out = render(*plugin, 60);
        return rms(out[1], std::size_t(0.2 * rate), std::size_t(0.6 * rate));
    };

    // A new material rebuilds the modes after a hold-off; the blocks after a change wait for the new table.
    // Without the random perturbation and the modulation, two builds of one table are the same.
    constexpr int settle = 30;
    parameterNamed(*plugin, "Anisotropy")->setValueNotifyingHost(0.0f);
    parameterNamed(*plugin, "Modulation")->setValueNotifyingHost(0.0f);
    set("0.5", 1.0f, 0.5f, 0.0f);
    render(*plugin, settle, {}, false);
    std::vector<float> saved;
    for (auto* p : parameters)
        saved.push_back(p->getValue());
    const auto savedTail = tail();
    juce::MemoryBlock older;
    plugin->getStateInformation(older);

    set("8", 1.0f, 1.0f, 1.0f);
    render(*plugin, settle, {}, false);
    const auto laterTail = tail();
    EXPECT_GT(laterTail, 3.0 * savedTail) << "an 8 s decay rings longer than 0.5 s";

    plugin->setStateInformation(older.getData(), int(older.getSize()));
    // LV2 carries parameter values from the plug-in to the host only in run(): a host learns restored values
    // with the next block (the README's LV2 notes).
    if (GetParam() == Format::lv2)
        render(*plugin, 1, {}, false);
    for (std::size_t i = 0; i < parameters.size(); ++i)
        EXPECT_NEAR(parameters[i]->getValue(), saved[i], 1e-6f) << names[i] << " as the host shows it";
    EXPECT_NEAR(tail(), savedTail, 0.05 * savedTail) << "the restored decay";
    for (std::size_t i = 0; i < parameters.size(); ++i)
        EXPECT_NEAR(parameters[i]->getValue(), saved[i], 1e-6f) << names[i] << " after the plug-in ran";
}

// A host recalls a project with the bypass as it was. (In LV2 the bypass is the host's "enabled" port, which
// JUCE's wrapper copies into the Master Bypass at every block.)
TEST_P(HostTest, TheBypassComesBackWithTheState)
{
    auto first = load(GetParam());
    auto second = load(GetParam());
    ASSERT_TRUE(first != nullptr && second != nullptr);
    auto* bypass = first->getBypassParameter();
    ASSERT_NE(bypass, nullptr);
    bypass->setValueNotifyingHost(1.0f);
    render(*first, 2);
    juce::MemoryBlock state;
    first->getStateInformation(state);
    second->setStateInformation(state.getData(), int(state.getSize()));
    render(*second, 2); // LV2 tells the host its restored values from a block
    EXPECT_EQ(second->getBypassParameter()->getValue(), 1.0f);
}

// The factory library in the host's own preset menu: "Default", then "Category/Name" in browsing order.
TEST_P(HostTest, ListsTheFactoryLibraryAsProgramsAndProgramFiveLoadsItsPreset)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    ASSERT_EQ(plugin->getNumPrograms(), 53);
    for (int i = 0; i < plugin->getNumPrograms(); ++i)
        EXPECT_FALSE(plugin->getProgramName(i).isEmpty()) << "program " << i;
    if (GetParam() == Format::vst3)
    {
        EXPECT_EQ(plugin->getProgramName(0), "Default");
        EXPECT_EQ(plugin->getProgramName(1), "Classics/Broadcast Plate");
        EXPECT_EQ(plugin->getProgramName(5), "Classics/Studio Plate Short");
    }

    // LV2 lists presets in an order of its own: the host's number of a program is found by its name.
    int five = 5;
    for (int i = 0; i < plugin->getNumPrograms(); ++i)
        if (plugin->getProgramName(i) == "Classics/Studio Plate Short")
            five = i;
    plugin->setCurrentProgram(five);
    render(*plugin, 1, {}, false); // both formats tell the host their new values from a block
    // The preset holds Decay 1.4 s and Mix 0.25, against defaults of 2 s and 0.3.
    auto* decay = parameterNamed(*plugin, "Decay");
    auto* mix = parameterNamed(*plugin, "Mix");
    ASSERT_TRUE(decay != nullptr && mix != nullptr);
    if (GetParam() == Format::vst3)
    {
        // Without a run loop from the host, the plug-in's JUCE answers on a thread of its own, so the host's
        // copies of the values follow later; what the host saves shows the preset at once.
        EXPECT_EQ(plugin->getCurrentProgram(), five);
        juce::MemoryBlock state;
        plugin->getStateInformation(state);
        const auto xml = laminaXml(state);
        EXPECT_NE(xml.find("Decay=\"1.4\""), std::string::npos) << xml;
        EXPECT_NE(xml.find("Mix=\"0.25\""), std::string::npos);
        EXPECT_NE(xml.find("01-Classics/Studio Plate Short.preset"), std::string::npos);
    }
    else
    {
        EXPECT_NEAR(mix->getValue(), 0.25f, 1e-5f);
        EXPECT_NE(decay->getValue(), decay->getDefaultValue());
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, HostTest, testing::Values(Format::vst3, Format::lv2), formatName);

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // JUCE goes down before static destruction begins.
    auto h = std::make_unique<Hosting>();
    theHosting = h.get();
    const int result = RUN_ALL_TESTS();
    theHosting = nullptr;
    h.reset();
    return result;
}
