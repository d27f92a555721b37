#include "modal/lamina/value_texts.h"
#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <algorithm>
#include <memory>

namespace qor
{
namespace
{

using test::ids;

// The boundaries of the value texts; the texts of the parameters at their defaults follow below.
TEST(LaminaFormat, TimeRatioFrequencyAndPercentTexts)
{
    EXPECT_EQ(formatLaminaTime(0.5f), "500 ms");
    EXPECT_EQ(formatLaminaTime(9.994f), "9.99 s");
    EXPECT_EQ(formatLaminaTime(15.0f), "15.0 s");
    EXPECT_EQ(formatLaminaTime(150.5f), "151 s");
    EXPECT_EQ(formatLaminaTime(9999.4f), "9999 s");
    EXPECT_EQ(formatLaminaTime(9999.5f), "+oo");

    EXPECT_EQ(formatLaminaRatio(2.5f), "x 2.50");
    EXPECT_EQ(formatLaminaRatio(0.01f), "/ 100.00");

    EXPECT_EQ(formatLaminaFrequency(999.4f), "999 Hz");
    EXPECT_EQ(formatLaminaFrequency(1000.0f), "1.00 kHz");

    EXPECT_EQ(formatLaminaPlainPercent(1.0f), "1 %");
    EXPECT_EQ(formatLaminaPlainPercent(5.5f), "5.50 %");
    EXPECT_EQ(formatLaminaPlainPercent(12.34f), "12.3 %");
    EXPECT_EQ(formatLaminaPercent(0.0f), "0 %");
    EXPECT_EQ(formatLaminaPercent(0.055f), "5.50 %");
}

TEST(LaminaFormat, ElementValueTextsAtTheDefaults)
{
    Lamina lamina;
    EXPECT_EQ(lamina.getParameterValueText(ids().anisotropy), "0.20 %");
    EXPECT_EQ(lamina.getParameterValueText(ids().bandDecay[0]), "+oo");
    EXPECT_EQ(lamina.getParameterValueText(ids().decay), "2.00 s");
    EXPECT_EQ(lamina.getParameterValueText(ids().thermalDampMult), "x 1.00");
    EXPECT_EQ(lamina.getParameterValueText(ids().area), "2.00");
    EXPECT_EQ(lamina.getParameterValueText(ids().tension), "1");
    EXPECT_EQ(lamina.getParameterValueText(ids().mix), "30.0 %");
    EXPECT_EQ(lamina.getParameterValueText(ids().porousFreq), "1.00 kHz");
    EXPECT_EQ(lamina.getParameterValueText(ids().lowCutFreq), "50 Hz");
    EXPECT_EQ(lamina.getParameterValueText(ids().material), "");
    EXPECT_EQ(lamina.getParameterValueText(ids().quality), "Medium");
    EXPECT_EQ(lamina.getParameterValueText(ids().enableEQ), "on");
    lamina.setParameter(ids().radiationMult, 0.0f);
    EXPECT_EQ(lamina.getParameterValueText(ids().radiationMult), "None");
}

// Band names truncate the centre frequency (31.25 Hz reads 31) and the two ends are named 0 and 20k.
TEST(LaminaParameters, BandKeysAndNames)
{
    auto displayName = [](uint32_t id) { return ParameterDescriptions::find(id)->getDisplayName(); };
    EXPECT_EQ(ParameterDescriptions::find(ids().bandDecay[3])->name, "BandDecay3");
    EXPECT_EQ(displayName(ids().bandDecay[0]), "Decay 0");
    EXPECT_EQ(displayName(ids().bandDecay[1]), "Decay 31");
    EXPECT_EQ(displayName(ids().bandDecay[2]), "Decay 62");
    EXPECT_EQ(displayName(ids().bandGain[6]), "Gain 1k");
    EXPECT_EQ(displayName(ids().bandGain[10]), "Gain 16k");
    EXPECT_EQ(displayName(ids().bandGain[11]), "Gain 20k");
}

/** The attribute names of a saved element, in order. */
std::vector<juce::String> savedKeys(Lamina& lamina, tinyxml2::XMLDocument& doc)
{
    auto* root = doc.NewElement("Root");
    doc.InsertEndChild(root);
    auto* xml = lamina.saveToXml(root, SaveContext{});
    std::vector<juce::String> keys;
    for (auto* a = xml->FirstAttribute(); a != nullptr; a = a->Next())
        keys.push_back(a->Name());
    return keys;
}

// Every saved parameter once, the session settings not at all, the version last.
TEST(LaminaParameters, SavedWithVersionAndWithoutTheSessionSettings)
{
    Lamina lamina;
    tinyxml2::XMLDocument doc;
    const auto keys = savedKeys(lamina, doc);
    ASSERT_EQ(keys.size(), 2u + 24u + 42u + 1u);
    EXPECT_EQ(keys[0], "Name");
    EXPECT_EQ(keys[1], "Bypass");
    EXPECT_EQ(keys[2], "BandDecay0");
    EXPECT_EQ(keys.back(), "LaminaVersion");
    for (const char* session : {"GeometryLock", "EnableDecayCompensation", "EnableSpatialAA"})
        EXPECT_EQ(std::count(keys.begin(), keys.end(), juce::String(session)), 0) << session;
    EXPECT_EQ(doc.RootElement()->FirstChildElement("Lamina")->IntAttribute("LaminaVersion"), 2);
}

// The mappers the host and the editor move through: a conformal middle, log mappers with and without an
// offset, linear where the table gives none.
TEST(LaminaParameters, MappersPutTheirMiddlesWhereTheTableSays)
{
    auto middle = [](uint32_t id)
    {
        return static_cast<const ParameterDescription<float>*>(ParameterDescriptions::find(id))
            ->denormalise(nullptr, 0.5f);
    };
    EXPECT_NEAR(middle(ids().decay), 4.0f, 1e-4f);
    EXPECT_NEAR(middle(ids().bandDecay[3]), 4.0f, 1e-4f);
    EXPECT_NEAR(middle(ids().radiationMult), 1.0f, 1e-5f);
    EXPECT_NEAR(middle(ids().tension), std::sqrt(100.0f * 2100.0f) - 100.0f, 0.01f);
    EXPECT_NEAR(middle(ids().area), std::sqrt(0.6f * 6.0f), 1e-4f);
    EXPECT_NEAR(middle(ids().preDelay), std::sqrt(1001.0f) - 1.0f, 1e-3f);
    EXPECT_NEAR(middle(ids().bandGain[0]), -10.0f, 1e-5f);
}

TEST(LaminaParameters, SettersRaiseTheFlagsOfTheirTable)
{
    Lamina lamina;
    auto& s = LaminaProbe::processState(lamina);
    auto clearAll = [&s] { LaminaProbe::clearDirtyFlags(s); };
    auto flags = [&s] { return LaminaProbe::dirtyFlags(s); };
    using F = std::array<int, 5>;
    const F modes{1, 0, 0, 0, 0}, damping{0, 1, 0, 0, 0}, eq{0, 0, 1, 0, 0}, gains{0, 0, 0, 1, 0},
        lowCut{0, 0, 0, 0, 1}, none{0, 0, 0, 0, 0};

    const std::vector<std::pair<uint32_t, F>> floats{
        {ids().bandDecay[5], damping}, {ids().bandGain[7], eq},    {ids().decay, damping},
        {ids().area, modes},           {ids().rightInputY, modes}, {ids().mix, none},
        {ids().drive, none},           {ids().lowCutFreq, lowCut}, {ids().modeTruncationThreshold, modes}};
    for (const auto& [id, expected] : floats)
    {
        clearAll();
        lamina.setParameter(id, 0.5f);
        EXPECT_EQ(flags(), expected) << ParameterDescriptions::find(id)->name;
    }
    clearAll();
    lamina.setParameter(ids().material, int32_t{1});
    EXPECT_EQ(flags(), modes);
    for (const auto& [id, expected] : std::vector<std::pair<uint32_t, F>>{
             {ids().enableEQ, eq}, {ids().geometryLock, none}, {ids().enableDecayCompensation, gains}})
    {
        clearAll();
        lamina.setParameter(id, false);
        EXPECT_EQ(flags(), expected) << ParameterDescriptions::find(id)->name;
    }
    // An immediate set reaches both states.
    EXPECT_EQ(LaminaProbe::value<float>(lamina, LaminaProbe::controlState(lamina), ids().area), 0.5f);
    EXPECT_EQ(LaminaProbe::value<float>(lamina, s, ids().area), 0.5f);
}

TEST(LaminaParameters, ResolvesRunningIndices)
{
    Lamina lamina;
    const auto base = Lamina::firstIndexedId;
    EXPECT_EQ(lamina.resolveParameterId(base), ids().area);
    EXPECT_EQ(lamina.resolveParameterId(base + 17), ids().decay);
    EXPECT_EQ(lamina.resolveParameterId(base + 68), ids().bandGain[11]);
    // Past the list, and every real id, pass unchanged.
    EXPECT_EQ(lamina.resolveParameterId(base + 69), base + 69);
    EXPECT_EQ(lamina.resolveParameterId(ids().mix), ids().mix);
    EXPECT_EQ(lamina.resolveParameterId(ProcessingElement::bypassParameterId()),
              ProcessingElement::bypassParameterId());
    // Lookups go through it.
    lamina.setParameter(ids().aspectRatio, 1.5f);
    EXPECT_EQ(lamina.getParameter(base + 1), 1.5f);
    EXPECT_NE(lamina.hasIntParameter(base + 40), nullptr);
}

/** Loads a fresh element from one XML text. */
std::unique_ptr<Lamina> loadFrom(const char* text)
{
    tinyxml2::XMLDocument doc;
    EXPECT_EQ(doc.Parse(text), tinyxml2::XML_SUCCESS);
    auto lamina = std::make_unique<Lamina>();
    lamina->loadFromXml(doc.RootElement(), LoadContext{}, 0);
    return lamina;
}

TEST(LaminaParameters, UpgradesOldFiles)
{
    // Version 0 kept width and height.
    auto v0 = loadFrom(R"(<Lamina Name="Lamina" Width="1.5" Height="2" Quality="4"/>)");
    EXPECT_FLOAT_EQ(v0->getParameter(ids().area), 3.0f);
    EXPECT_FLOAT_EQ(v0->getParameter(ids().aspectRatio), 0.75f);
    EXPECT_EQ(v0->getIntParameter(ids().quality), 0);
    EXPECT_EQ(v0->getName(), "Lamina");

    auto big = loadFrom(R"(<Lamina Width="10" Height="10"/>)");
    EXPECT_FLOAT_EQ(big->getParameter(ids().area), 6.0f);
    EXPECT_FLOAT_EQ(big->getParameter(ids().aspectRatio), 1.0f);

    auto thin = loadFrom(R"(<Lamina Width="0.1" Height="20"/>)");
    EXPECT_FLOAT_EQ(thin->getParameter(ids().area), 2.0f);
    EXPECT_FLOAT_EQ(thin->getParameter(ids().aspectRatio), 0.05f);

    // Without them the old defaults of 2 by 1 apply.
    auto bare = loadFrom(R"(<Lamina Area="5" AspectRatio="7"/>)");
    EXPECT_FLOAT_EQ(bare->getParameter(ids().area), 2.0f);
    EXPECT_FLOAT_EQ(bare->getParameter(ids().aspectRatio), 2.0f);

    // Version 1 kept a mode count; the first row at or under it wins, so the usual counts land on "Low".
    auto v1 = loadFrom(R"(<Lamina LaminaVersion="1" Area="3" Quality="5"/>)");
    EXPECT_EQ(v1->getIntParameter(ids().quality), 0);
    EXPECT_FLOAT_EQ(v1->getParameter(ids().area), 3.0f);
    EXPECT_EQ(loadFrom(R"(<Lamina LaminaVersion="1" NumModes="20000"/>)")->getIntParameter(ids().quality), 0);
    EXPECT_EQ(loadFrom(R"(<Lamina LaminaVersion="1" NumModes="2999"/>)")->getIntParameter(ids().quality), 1);

    // The current version keeps what it says.
    auto v2 = loadFrom(R"(<Lamina LaminaVersion="2" Quality="4" Area="3.5" Width="1" Height="1"/>)");
    EXPECT_EQ(v2->getIntParameter(ids().quality), 4);
    EXPECT_FLOAT_EQ(v2->getParameter(ids().area), 3.5f);

    // The upgrade reaches the process state at the next block, like every load.
    v2->syncParameters(v2->getControlState());
    EXPECT_EQ(LaminaProbe::value<int32_t>(*v2, LaminaProbe::processState(*v2), ids().quality), 4);
}

TEST(LaminaParameters, SessionSettingsSurviveAPresetLoad)
{
    Lamina lamina;
    lamina.setParameter(ids().geometryLock, true);
    lamina.setParameter(ids().enableDecayCompensation, false);
    lamina.setParameter(ids().enableSpatialAA, true);
    lamina.setParameter(ids().mix, 0.9f);

    tinyxml2::XMLDocument doc;
    doc.Parse(
        R"(<Lamina LaminaVersion="2" GeometryLock="0" EnableDecayCompensation="1" EnableSpatialAA="0"/>)");
    lamina.loadFromXml(doc.RootElement(), LoadContext{}, 0);
    EXPECT_TRUE(lamina.getBoolParameter(ids().geometryLock));
    EXPECT_FALSE(lamina.getBoolParameter(ids().enableDecayCompensation));
    EXPECT_TRUE(lamina.getBoolParameter(ids().enableSpatialAA));
    // Saved values take the file's word or the default.
    EXPECT_FLOAT_EQ(lamina.getParameter(ids().mix), 0.3f);
}

} // namespace
} // namespace qor
