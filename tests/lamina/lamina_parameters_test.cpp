#include "modal/lamina/value_texts.h"
#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <memory>

namespace qor
{
namespace
{

using test::ids;

TEST(LaminaFormat, TimeRatioFrequencyAndPercentTexts)
{
    EXPECT_EQ(formatLaminaTime(0.5f), "500 ms");
    EXPECT_EQ(formatLaminaTime(0.1f), "100 ms");
    EXPECT_EQ(formatLaminaTime(2.0f), "2.00 s");
    EXPECT_EQ(formatLaminaTime(9.994f), "9.99 s");
    EXPECT_EQ(formatLaminaTime(15.0f), "15.0 s");
    EXPECT_EQ(formatLaminaTime(150.4f), "150 s");
    EXPECT_EQ(formatLaminaTime(150.5f), "151 s");
    EXPECT_EQ(formatLaminaTime(9999.4f), "9999 s");
    EXPECT_EQ(formatLaminaTime(9999.5f), "+oo");
    EXPECT_EQ(formatLaminaTime(10000.0f), "+oo");

    EXPECT_EQ(formatLaminaRatio(1.0f), "x 1.00");
    EXPECT_EQ(formatLaminaRatio(2.5f), "x 2.50");
    EXPECT_EQ(formatLaminaRatio(0.5f), "/ 2.00");
    EXPECT_EQ(formatLaminaRatio(0.01f), "/ 100.00");
    EXPECT_EQ(formatLaminaRatio(0.0f), "None");

    EXPECT_EQ(formatLaminaFrequency(440.0f), "440 Hz");
    EXPECT_EQ(formatLaminaFrequency(999.4f), "999 Hz");
    EXPECT_EQ(formatLaminaFrequency(1000.0f), "1.00 kHz");
    EXPECT_EQ(formatLaminaFrequency(20000.0f), "20.00 kHz");

    EXPECT_EQ(formatLaminaPlainPercent(0.0f), "0 %");
    EXPECT_EQ(formatLaminaPlainPercent(1.0f), "1 %");
    EXPECT_EQ(formatLaminaPlainPercent(0.2f), "0.20 %");
    EXPECT_EQ(formatLaminaPlainPercent(5.5f), "5.50 %");
    EXPECT_EQ(formatLaminaPlainPercent(12.34f), "12.3 %");
    EXPECT_EQ(formatLaminaPercent(0.3f), "30.0 %");
    EXPECT_EQ(formatLaminaPercent(0.0f), "0 %");
    EXPECT_EQ(formatLaminaPercent(0.055f), "5.50 %");

    EXPECT_EQ(formatTwoDecimals(2.0f), "2.00");
    EXPECT_EQ(formatNoDecimals(1.0f), "1");
    EXPECT_EQ(formatMaterialSymbol(0), "");
    EXPECT_EQ(formatMaterialSymbol(4), "Al");
    EXPECT_EQ(formatQualityLabel(0), "Low");
    EXPECT_EQ(formatQualityLabel(5), "Insane");
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

TEST(LaminaParameters, BandKeysAndNames)
{
    const char* decayNames[12] = {"Decay 0",  "Decay 31", "Decay 62", "Decay 125", "Decay 250", "Decay 500",
                                  "Decay 1k", "Decay 2k", "Decay 4k", "Decay 8k",  "Decay 16k", "Decay 20k"};
    const char* gainNames[12] = {"Gain 0",  "Gain 31", "Gain 62", "Gain 125", "Gain 250", "Gain 500",
                                 "Gain 1k", "Gain 2k", "Gain 4k", "Gain 8k",  "Gain 16k", "Gain 20k"};
    for (int i = 0; i < 12; ++i)
    {
        const auto* decay = ParameterDescriptions::find(ids().bandDecay[i]);
        const auto* gain = ParameterDescriptions::find(ids().bandGain[i]);
        ASSERT_NE(decay, nullptr);
        ASSERT_NE(gain, nullptr);
        EXPECT_EQ(decay->name, "BandDecay" + juce::String(i));
        EXPECT_EQ(decay->getDisplayName(), decayNames[i]);
        EXPECT_EQ(gain->name, "BandGain" + juce::String(i));
        EXPECT_EQ(gain->getDisplayName(), gainNames[i]);
    }
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

TEST(LaminaParameters, SavedInTableOrderWithVersion)
{
    Lamina lamina;
    tinyxml2::XMLDocument doc;
    const auto keys = savedKeys(lamina, doc);

    std::vector<juce::String> expected{"Name", "Bypass"};
    for (int i = 0; i < 12; ++i)
        expected.push_back("BandDecay" + juce::String(i));
    for (int i = 0; i < 12; ++i)
        expected.push_back("BandGain" + juce::String(i));
    for (const char* key : {"PreDelay",
                            "Decay",
                            "ThermalDampMult",
                            "ThermalFreqMult",
                            "Fmin",
                            "Fmax",
                            "ModesCutoff",
                            "ModeTruncationThreshold",
                            "Quality",
                            "Material",
                            "Area",
                            "AspectRatio",
                            "Tension",
                            "Gain",
                            "StereoWidth",
                            "Mix",
                            "LeftMicrophoneX",
                            "LeftMicrophoneY",
                            "RightMicrophoneX",
                            "RightMicrophoneY",
                            "LeftInputX",
                            "LeftInputY",
                            "RightInputX",
                            "RightInputY",
                            "ViscousDamp",
                            "PorousDamp",
                            "RadiationDamp",
                            "RadiationFreqMult",
                            "RadiationMult",
                            "PorousFreq",
                            "BandDamp",
                            "Anisotropy",
                            "Modulation",
                            "EnablePorousDamp",
                            "EnableViscousDamp",
                            "EnableRadiationDamp",
                            "EnableBandDamp",
                            "EnableEQ",
                            "EnableLowcut",
                            "Drive",
                            "LowCutGain",
                            "LowCutFreq",
                            "LaminaVersion"})
        expected.push_back(key);
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(doc.RootElement()->FirstChildElement("Lamina")->IntAttribute("LaminaVersion"), 2);
}

TEST(LaminaParameters, RangesDefaultsUnitsAndMappers)
{
    auto floatOf = [](uint32_t id)
    { return static_cast<const ParameterDescription<float>*>(ParameterDescriptions::find(id)); };

    const auto* decay = floatOf(ids().decay);
    EXPECT_EQ(decay->range.min, 0.2f);
    EXPECT_EQ(decay->range.max, 10000.0f);
    EXPECT_EQ(decay->defaultValue, 2.0f);
    EXPECT_EQ(decay->description, "Changes the decay time using the lamina's damper");
    // A conformal mapper puts its middle at the centre of the normalised range.
    EXPECT_NEAR(decay->denormalise(nullptr, 0.5f), 4.0f, 1e-4f);
    EXPECT_NEAR(floatOf(ids().bandDecay[3])->denormalise(nullptr, 0.5f), 4.0f, 1e-4f);
    EXPECT_NEAR(floatOf(ids().radiationMult)->denormalise(nullptr, 0.5f), 1.0f, 1e-5f);

    // Log mappers with an offset: Tension's 100 N offset puts the middle at sqrt(100 * 2100) - 100.
    EXPECT_NEAR(floatOf(ids().tension)->denormalise(nullptr, 0.5f), std::sqrt(100.0f * 2100.0f) - 100.0f,
                0.01f);
    EXPECT_NEAR(floatOf(ids().area)->denormalise(nullptr, 0.5f), std::sqrt(0.6f * 6.0f), 1e-4f);
    EXPECT_NEAR(floatOf(ids().preDelay)->denormalise(nullptr, 0.5f), std::sqrt(1001.0f) - 1.0f, 1e-3f);
    // Without a mapper the mapping is linear.
    EXPECT_NEAR(floatOf(ids().bandGain[0])->denormalise(nullptr, 0.5f), -10.0f, 1e-5f);

    EXPECT_EQ(floatOf(ids().preDelay)->unit, ParameterUnit::milliseconds);
    EXPECT_EQ(floatOf(ids().gain)->unit, ParameterUnit::decibels);
    EXPECT_EQ(floatOf(ids().anisotropy)->unit, ParameterUnit::plainPercent);
    EXPECT_EQ(floatOf(ids().mix)->defaultValue, 0.3f);
    EXPECT_EQ(floatOf(ids().lowCutFreq)->defaultValue, 50.0f);
    EXPECT_EQ(floatOf(ids().rightMicrophoneX)->defaultValue, 0.84f);
    EXPECT_EQ(ParameterDescriptions::find(ids().radiationDamp)->getDisplayName(), "Air damp");

    const auto* quality =
        static_cast<const ParameterDescription<int>*>(ParameterDescriptions::find(ids().quality));
    EXPECT_EQ(quality->range.min, 0);
    EXPECT_EQ(quality->range.max, 5);
    EXPECT_EQ(quality->defaultValue, 1);

    for (uint32_t id : {ids().geometryLock, ids().enableDecayCompensation, ids().enableSpatialAA})
        EXPECT_FALSE(ParameterDescriptions::find(id)->hasFlag(ParameterFlags::isSaved));
    EXPECT_TRUE(ParameterDescriptions::find(ids().enableEQ)->hasFlag(ParameterFlags::isSaved));
    // The element's own parameters follow the built-in Bypass.
    EXPECT_LT(ProcessingElement::bypassParameterId(), ids().bandDecay[0]);
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

    const std::vector<std::pair<uint32_t, F>> floats{{ids().bandDecay[5], damping},
                                                     {ids().bandGain[7], eq},
                                                     {ids().preDelay, none},
                                                     {ids().decay, damping},
                                                     {ids().fmin, modes},
                                                     {ids().fmax, modes},
                                                     {ids().area, modes},
                                                     {ids().gain, none},
                                                     {ids().mix, none},
                                                     {ids().stereoWidth, none},
                                                     {ids().rightInputY, modes},
                                                     {ids().porousFreq, damping},
                                                     {ids().bandDamp, damping},
                                                     {ids().anisotropy, modes},
                                                     {ids().modulation, none},
                                                     {ids().drive, none},
                                                     {ids().lowCutGain, lowCut},
                                                     {ids().lowCutFreq, lowCut},
                                                     {ids().modeTruncationThreshold, modes}};
    for (const auto& [id, expected] : floats)
    {
        clearAll();
        lamina.setParameter(id, 0.5f);
        EXPECT_EQ(flags(), expected) << ParameterDescriptions::find(id)->name;
    }
    for (const auto& [id, expected] :
         std::vector<std::pair<uint32_t, F>>{{ids().quality, modes}, {ids().material, modes}})
    {
        clearAll();
        lamina.setParameter(id, int32_t{1});
        EXPECT_EQ(flags(), expected) << ParameterDescriptions::find(id)->name;
    }
    for (const auto& [id, expected] :
         std::vector<std::pair<uint32_t, F>>{{ids().enableBandDamp, damping},
                                             {ids().enableEQ, eq},
                                             {ids().enableLowcut, none},
                                             {ids().geometryLock, none},
                                             {ids().enableDecayCompensation, gains},
                                             {ids().enableSpatialAA, modes}})
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
    EXPECT_EQ(lamina.resolveParameterId(base + 6), ids().material);
    EXPECT_EQ(lamina.resolveParameterId(base + 17), ids().decay);
    EXPECT_EQ(lamina.resolveParameterId(base + 40), ids().quality);
    EXPECT_EQ(lamina.resolveParameterId(base + 44), ids().enableSpatialAA);
    EXPECT_EQ(lamina.resolveParameterId(base + 45), ids().bandDecay[0]);
    EXPECT_EQ(lamina.resolveParameterId(base + 68), ids().bandGain[11]);
    EXPECT_EQ(Lamina::parameterOrder().size(), 69u);
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
