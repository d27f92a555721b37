// The factory library in the archive against the real sheet: every file loads, stays inside the ranges,
// says something no other preset says, and is written exactly as the saver would write it.
#include "files/presets/preset_formats.h"
#include "files/vfs_holder.h"
#include "tests/support/lamina_rig.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <set>

namespace qor
{
namespace
{

class FactoryPresets : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        auto& vfs = VFSHolder::instance();
        vfs.mountArchive("presets_tests", true, juce::File());
        vfs.mountDrives();
        Lamina::registerType();
    }

    void SetUp() override
    {
        folder = juce::File::getSpecialLocation(juce::File::tempDirectory)
                     .getNonexistentChildFile("qor_factory_test", "");
        ASSERT_TRUE(folder.createDirectory());
    }
    void TearDown() override { folder.deleteRecursively(); }

    static juce::String readText(const VirtualFile& file)
    {
        auto stream = file.openInput();
        return stream != nullptr ? stream->readEntireStreamAsString() : juce::String();
    }

    /** Every saved value of the element, as the saver prints it, without name and properties. */
    static juce::String fingerprint(Lamina& lamina)
    {
        tinyxml2::XMLDocument doc;
        auto* root = doc.NewElement("Root");
        doc.InsertEndChild(root);
        auto* xml = lamina.saveToXml(root, {});
        xml->DeleteChildren();
        xml->DeleteAttribute("Name");
        tinyxml2::XMLPrinter printer;
        doc.Print(&printer);
        return printer.CStr();
    }

    juce::File folder;
};

TEST_F(FactoryPresets, TheLibraryIsLaidOutInNumberedCategories)
{
    const auto presets = listFactoryPresets();
    EXPECT_GE(presets.size(), 40u);

    std::set<juce::String> categories;
    for (const auto& file : presets)
        categories.insert(file.getParent().getFileName());
    const std::set<juce::String> expected{"01-Classics",  "02-Small Plates",    "03-Large Plates",
                                          "04-Materials", "05-Dark and Damped", "06-Bright and Long",
                                          "07-Modulated", "08-Special"};
    EXPECT_EQ(categories, expected);

    const auto first = presets.front();
    EXPECT_EQ(findFactoryPreset(factoryPresetShortName(first)), first);
    EXPECT_EQ(findFactoryPreset("Classics/Studio Plate Short").getPath(),
              "$Resource/resource/presets/01-Classics/Studio Plate Short.preset");
    EXPECT_EQ(findFactoryPreset("01-Classics/Studio Plate Short.preset").getPath(),
              "$Resource/resource/presets/01-Classics/Studio Plate Short.preset");
    EXPECT_TRUE(findFactoryPreset("Classics/No Such Plate").isEmpty());
    EXPECT_TRUE(findFactoryPreset("Studio Plate Short").isEmpty());
}

TEST_F(FactoryPresets, EveryPresetLoadsInRangeAndIsDistinct)
{
    // Attributes a file may hold besides the saved parameters.
    const std::set<juce::String> allowed{"Name",     "LaminaVersion", "Width",     "Height",
                                         "NumModes", "TolCents",      "DecayHigh", "DecayRolloff"};
    std::set<juce::String> fingerprints;
    int oldForms = 0;
    for (const auto& file : listFactoryPresets())
    {
        SCOPED_TRACE(file.getPath().toStdString());
        Lamina lamina;
        PresetOperations ops(&lamina);
        lamina.setParameter(Lamina::ids().geometryLock, true);
        lamina.setParameter(Lamina::ids().enableSpatialAA, true);
        ASSERT_TRUE(ops.loadPreset(file));
        EXPECT_EQ(lamina.getProperty("PresetPath"), file.getPath());
        EXPECT_TRUE(lamina.getBoolParameter(Lamina::ids().geometryLock));    // not a preset's business
        EXPECT_TRUE(lamina.getBoolParameter(Lamina::ids().enableSpatialAA)); // nor this

        tinyxml2::XMLDocument doc;
        ASSERT_TRUE(readPresetDocument(file, doc));
        const auto* xml = doc.RootElement()->FirstChildElement("Lamina");
        ASSERT_NE(xml, nullptr);
        for (auto* a = xml->FirstAttribute(); a != nullptr; a = a->Next())
        {
            const juce::String key(a->Name());
            const auto id = lamina.getParameterId(key);
            if (id == 0)
            {
                EXPECT_TRUE(allowed.count(key) != 0) << "unknown attribute " << key;
                continue;
            }
            // A value the loader had to clamp would show here as a difference.
            if (lamina.hasFloatParameter(id) != nullptr && !xml->Attribute("Width"))
            {
                EXPECT_EQ(lamina.getParameter(id), a->FloatValue()) << key;
            }
            else if (lamina.hasIntParameter(id) != nullptr && !xml->Attribute("NumModes"))
            {
                EXPECT_EQ(lamina.getIntParameter(id), a->IntValue()) << key;
            }
        }

        const bool old = xml->IntAttribute("LaminaVersion", 0) < Lamina::version;
        oldForms += old ? 1 : 0;
        if (!old)
        {
            // The generator writes what the saver writes, byte for byte.
            const VirtualFile copy(folder.getChildFile("copy.preset"));
            lamina.setProperty("PresetPath", file.getPath(), true);
            ASSERT_TRUE(ops.savePreset(copy));
            EXPECT_EQ(juce::File(copy.getPath()).loadFileAsString(), readText(file));
        }
        EXPECT_TRUE(fingerprints.insert(fingerprint(lamina)).second) << "same values as another preset";
    }
    EXPECT_GE(oldForms, 3);
}

TEST_F(FactoryPresets, OldFormsUpgradeThroughTheLoader)
{
    Lamina lamina;
    PresetOperations ops(&lamina);
    const auto& ids = Lamina::ids();

    // Version 0: the sides 2.2 m x 1.1 m.
    ASSERT_TRUE(ops.loadPreset(findFactoryPreset("Classics/Broadcast Plate")));
    EXPECT_NEAR(lamina.getParameter(ids.area), 2.42f, 1e-5f);
    EXPECT_NEAR(lamina.getParameter(ids.aspectRatio), 2.0f, 1e-5f);

    // Version 1: 2000 modes lie below every quality row, so the fallback "Medium" applies.
    lamina.setParameter(ids.quality, 4);
    ASSERT_TRUE(ops.loadPreset(findFactoryPreset("Small Plates/Compact Plate")));
    EXPECT_EQ(lamina.getIntParameter(ids.quality), 1);
    EXPECT_FLOAT_EQ(lamina.getParameter(ids.area), 1.2f);
}

TEST_F(FactoryPresets, DefaultOfTheSheetIsAFreshSheet)
{
    Lamina lamina, fresh;
    PresetOperations ops(&lamina);
    ASSERT_TRUE(ops.loadPreset(findFactoryPreset("Bright and Long/Frozen Aluminium")));
    ops.setLocked("Mix", true);
    ASSERT_TRUE(ops.loadDefault());
    EXPECT_EQ(lamina.getProperty("PresetPath"), "");
    EXPECT_FLOAT_EQ(lamina.getParameter(Lamina::ids().mix), 0.35f); // locked
    lamina.setParameter(Lamina::ids().mix, 0.3f);
    EXPECT_EQ(fingerprint(lamina), fingerprint(fresh));
}

/** Renders a preset the way a host would: values in before prepare, then blocks of 512 at 44.1 kHz, offline
   so that each rebuild of the modes is taken over in the block that asks for it (rendered faster than real
   time, a live hand-over could land after the input has stopped and clear the tail). The input is a 0.2 s
   noise burst at -6 dBFS followed by silence. */
std::vector<std::vector<float>> renderPreset(const VirtualFile& file, double seconds)
{
    bool loaded = false;
    test::LaminaRig::Options options;
    options.sampleRate = 44100;
    options.offline = true;
    options.configure = [&](Lamina& lamina) { loaded = PresetOperations(&lamina).loadPreset(file); };
    test::LaminaRig rig(options);
    if (!loaded)
        return {};
    const auto length = static_cast<size_t>(seconds * options.sampleRate);
    std::vector<std::vector<float>> input{test::noise(length, 0.5f, 1), test::noise(length, 0.5f, 2)};
    for (auto& channel : input)
        std::fill(channel.begin() + static_cast<long>(0.2 * options.sampleRate), channel.end(), 0.0f);
    return rig.render(input, 512);
}

TEST(FactoryPresetAudio, EveryPresetRingsWithoutBlowingUp)
{
    VFSHolder::instance().mountArchive("presets_tests", true, juce::File());
    Lamina::registerType();
    const float limit = juce::Decibels::decibelsToGain(24.0f);
    for (const auto& file : listFactoryPresets())
    {
        SCOPED_TRACE(file.getPath().toStdString());
        const auto out = renderPreset(file, 0.6);
        ASSERT_EQ(out.size(), 2u);
        double tail = 0.0;
        for (const auto& channel : out)
            for (size_t i = 0; i < channel.size(); ++i)
            {
                ASSERT_TRUE(std::isfinite(channel[i])) << "sample " << i;
                ASSERT_LE(std::abs(channel[i]), limit) << "sample " << i;
                if (i >= static_cast<size_t>(0.22 * 44100.0) && i < static_cast<size_t>(0.3 * 44100.0))
                    tail += channel[i] * channel[i];
            }
        EXPECT_GT(tail, 1e-6) << "no reverb after the input stopped";
    }
}

} // namespace
} // namespace qor
