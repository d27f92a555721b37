// Whole-module and partial presets against a stand-in element: what is applied, what is kept, what is
// refused.
#include "files/presets/preset_formats.h"
#include "files/vfs_holder.h"
#include "tests/presets/preset_test_element.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace qor
{
namespace
{
using test::PresetTestElement;

class PresetFiles : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VFSHolder::instance().mountDrives();
        PresetTestElement::registerType();
        folder = juce::File::getSpecialLocation(juce::File::tempDirectory)
                     .getNonexistentChildFile("qor_presets_test", "");
        ASSERT_TRUE(folder.createDirectory());
    }
    void TearDown() override { folder.deleteRecursively(); }

    VirtualFile write(const juce::String& name, const juce::String& text)
    {
        auto file = folder.getChildFile(name);
        file.replaceWithText(text, false, false, "\n");
        return VirtualFile(file);
    }
    VirtualFile writeBytes(const juce::String& name, const juce::MemoryBlock& bytes)
    {
        auto file = folder.getChildFile(name);
        file.replaceWithData(bytes.getData(), bytes.getSize());
        return VirtualFile(file);
    }
    static juce::String preset(const juce::String& attributes, const char* type = "PresetTestSheet")
    {
        return juce::String("<ModulePreset>\n    <") + type + " Name=\"Other\" " + attributes +
               "/>\n</ModulePreset>\n";
    }
    juce::String read(const VirtualFile& file) const { return juce::File(file.getPath()).loadFileAsString(); }

    juce::File folder;
    PresetTestElement element;
    PresetOperations ops{&element};
};

TEST_F(PresetFiles, AppliesValuesClampsAndResetsWhatTheFileOmits)
{
    element.set("Tension", 700.0f);
    element.set("Mix", 0.9f);
    element.set("Backwards", 1.0f);
    element.setInt("Material", 3);
    element.setBool("EnableEQ", false);

    const auto file =
        write("a.preset", preset("Decay=\"99999\" Area=\"20.\" AspectRatio=\"oops\" Quality=\"9\" "
                                 "Material=\"-2\" EnableEQ=\"1\" EnableLowcut=\"-1\" "
                                 "Backwards=\"123.5\" BandDecay3=\"0.25\" BandGain2=\"-12.5\" "
                                 "TolCents=\"3\" DecayHigh=\"1\""));
    ASSERT_TRUE(ops.loadPreset(file));

    EXPECT_FLOAT_EQ(element.get("Decay"), 10000.0f);   // clamped to the maximum
    EXPECT_FLOAT_EQ(element.get("Area"), 6.0f);        // "20." parses, then clamps
    EXPECT_FLOAT_EQ(element.get("AspectRatio"), 2.0f); // unparsable: default
    EXPECT_FLOAT_EQ(element.get("Tension"), 1.0f);     // missing: default, not the old value
    EXPECT_FLOAT_EQ(element.get("Mix"), 0.3f);         // missing: default
    EXPECT_FLOAT_EQ(element.get("Backwards"), 123.5f); // backwards range: unclamped
    EXPECT_FLOAT_EQ(element.get("BandDecay3"), 0.25f);
    EXPECT_FLOAT_EQ(element.get("BandGain2"), -12.5f);
    EXPECT_EQ(element.getInt("Quality"), 5);
    EXPECT_EQ(element.getInt("Material"), 0);
    EXPECT_TRUE(element.getBool("EnableEQ"));
    EXPECT_FALSE(element.getBool("EnableLowcut")); // only a value above 0 is true
    EXPECT_EQ(element.getName(), "Lamina");        // never renamed by a preset
    EXPECT_EQ(element.getProperty("PresetPath"), file.getPath());
}

TEST_F(PresetFiles, ValuesReachTheAudioSideAtItsNextBlock)
{
    ASSERT_TRUE(ops.loadPreset(write("a.preset", preset("Decay=\"7.5\""))));
    auto& process = static_cast<PresetTestElement::State&>(*element.getProcessState());
    const auto decayIndex = 24;
    EXPECT_FLOAT_EQ(process.floats[decayIndex], 2.0f);
    element.syncParameters(element.getProcessState());
    EXPECT_FLOAT_EQ(process.floats[decayIndex], 7.5f);
}

TEST_F(PresetFiles, RefusedFilesLeaveEveryValueAsItWas)
{
    element.set("Decay", 5.0f);
    const std::pair<const char*, juce::String> cases[] = {
        {"unknown type", preset("Decay=\"9\"", "Reverb")},
        {"other root", "<Preset>\n    <PresetTestSheet Decay=\"9\"/>\n</Preset>\n"},
        {"root case", "<modulepreset>\n    <PresetTestSheet Decay=\"9\"/>\n</modulepreset>\n"},
        {"no child", "<ModulePreset Decay=\"9\"/>\n"},
        {"empty", ""},
        {"truncated", "<ModulePreset>\n    <PresetTestSheet Decay=\"9\"/>\n"},
        {"cut in a tag", "<ModulePreset>\n    <PresetTestSheet Decay=\"9"},
        {"two roots", "<ModulePreset/><ModulePreset><PresetTestSheet Decay=\"9\"/></ModulePreset>"},
    };
    for (const auto& [what, text] : cases)
    {
        SCOPED_TRACE(what);
        EXPECT_FALSE(ops.loadPreset(write("x.preset", text)));
        EXPECT_FLOAT_EQ(element.get("Decay"), 5.0f);
        EXPECT_FALSE(element.hasProperty("PresetPath"));
    }
    EXPECT_FALSE(ops.loadPreset(VirtualFile(folder.getChildFile("missing.preset"))));
    EXPECT_FALSE(ops.loadPreset(VirtualFile()));
    EXPECT_FALSE(PresetOperations().loadPreset(write("ok.preset", preset("Decay=\"9\""))));
}

TEST_F(PresetFiles, HostileFilesFailCleanly)
{
    element.set("Decay", 5.0f);

    juce::MemoryBlock garbage(65536);
    juce::Random random(42);
    for (size_t i = 0; i < garbage.getSize(); ++i)
        garbage[i] = static_cast<char>(random.nextInt(256));
    EXPECT_FALSE(ops.loadPreset(writeBytes("garbage.preset", garbage)));

    juce::MemoryBlock withNul;
    const char head[] = "<ModulePreset>\n    <PresetTestSheet Decay=\"9\"\0/>\n</ModulePreset>\n";
    withNul.append(head, sizeof(head) - 1);
    EXPECT_FALSE(ops.loadPreset(writeBytes("nul.preset", withNul)));

    juce::String deep = "<ModulePreset>";
    for (int i = 0; i < 5000; ++i)
        deep << "<PresetTestSheet>";
    EXPECT_FALSE(ops.loadPreset(write("deep.preset", deep)));

    // A well-formed file just above the size limit is refused unread.
    juce::String big = preset("Decay=\"9\"");
    big << "<!--" << juce::String::repeatedString("x", static_cast<int>(PresetFormat::maxFileSize)) << "-->";
    EXPECT_FALSE(ops.loadPreset(write("big.preset", big)));
    EXPECT_FLOAT_EQ(element.get("Decay"), 5.0f);

    // The parser compares each new attribute of an element with all earlier ones: 100,000 of them would take
    // it half a minute. They are refused before it sees them.
    std::string many = "<ModulePreset><PresetTestSheet Decay=\"9\"";
    for (int i = 0; i < 100000; ++i)
        many += " a" + std::to_string(i) + "=\"\"";
    many += "/></ModulePreset>";
    EXPECT_FALSE(ops.loadPreset(write("many.preset", juce::String(many))));
    EXPECT_FLOAT_EQ(element.get("Decay"), 5.0f);

    // A huge number below the limit parses to infinity and falls back to the default.
    const auto digits = juce::String::repeatedString("9", 1 << 20);
    ASSERT_TRUE(ops.loadPreset(write("huge.preset", preset("Decay=\"" + digits + "\" Area=\"nan\""))));
    EXPECT_FLOAT_EQ(element.get("Decay"), 2.0f);
    EXPECT_FLOAT_EQ(element.get("Area"), 2.0f);

    // A preset is one element, named or not: the first sheet of a thousand is the one applied.
    juce::String sheets = "<ModulePreset>";
    for (int i = 0; i < 1000; ++i)
        sheets << "<PresetTestSheet Decay=\"" << (i == 0 ? 7 : 3) << "\"/>";
    sheets << "</ModulePreset>";
    ASSERT_TRUE(ops.loadPreset(write("sheets.preset", sheets)));
    EXPECT_FLOAT_EQ(element.get("Decay"), 7.0f);
}

TEST_F(PresetFiles, BypassIsNeverChangedByAPreset)
{
    const auto bypass = ProcessingElement::bypassParameterId();
    ASSERT_TRUE(ops.loadPreset(write("on.preset", preset("Bypass=\"1\""))));
    EXPECT_FALSE(element.getBoolParameter(bypass));

    element.setParameter(bypass, true);
    ASSERT_TRUE(ops.loadPreset(write("off.preset", preset("Bypass=\"0\""))));
    EXPECT_TRUE(element.getBoolParameter(bypass));
    ASSERT_TRUE(ops.loadDefault());
    EXPECT_TRUE(element.getBoolParameter(bypass));
}

TEST_F(PresetFiles, OldGeometryAndModeCountAreAppliedLast)
{
    ASSERT_TRUE(
        ops.loadPreset(write("wh.preset", preset("Area=\"1\" AspectRatio=\"4\" Width=\"3\" Height=\"2\""))));
    EXPECT_FLOAT_EQ(element.get("Area"), 6.0f);
    EXPECT_FLOAT_EQ(element.get("AspectRatio"), 1.5f);

    ASSERT_TRUE(ops.loadPreset(write("w.preset", preset("Area=\"1\" AspectRatio=\"4\" Width=\"3\""))));
    EXPECT_FLOAT_EQ(element.get("Area"), 1.0f);
    EXPECT_FLOAT_EQ(element.get("AspectRatio"), 4.0f);
    ASSERT_TRUE(ops.loadPreset(write("h.preset", preset("Height=\"3\""))));
    EXPECT_FLOAT_EQ(element.get("Area"), 2.0f);

    // Out of range results land on the nearest limit; a zero height is ignored.
    ASSERT_TRUE(ops.loadPreset(write("big.preset", preset("Width=\"10\" Height=\"10\""))));
    EXPECT_FLOAT_EQ(element.get("Area"), 6.0f);
    EXPECT_FLOAT_EQ(element.get("AspectRatio"), 1.0f);
    ASSERT_TRUE(ops.loadPreset(write("zero.preset", preset("Area=\"3\" Width=\"1\" Height=\"0\""))));
    EXPECT_FLOAT_EQ(element.get("Area"), 3.0f);

    // A mode count picks the first quality row at or below it, and the rows ascend.
    const std::pair<const char*, int> counts[] = {{"6000", 0}, {"3000", 0},  {"2999.9", 1},
                                                  {"-5", 1},   {"20000", 0}, {"x", 4}};
    for (const auto& [numModes, quality] : counts)
    {
        SCOPED_TRACE(numModes);
        ASSERT_TRUE(ops.loadPreset(
            write("n.preset", preset("Quality=\"4\" NumModes=\"" + juce::String(numModes) + "\""))));
        EXPECT_EQ(element.getInt("Quality"), quality);
    }
}

TEST_F(PresetFiles, LocksHoldAgainstPresetsAndDefaultButNotPartialFiles)
{
    element.set("Decay", 30.0f);
    element.set("BandDecay3", 4.0f);
    element.set("LeftInputX", 0.25f);
    ops.setLocked("Decay", true);
    ops.setLocked("BandDecay3", true);
    ops.setLocked("LeftInputX", true);
    ops.setLocked("Mix", false); // "0" is not a lock

    ASSERT_TRUE(ops.loadPreset(
        write("a.preset", preset("Decay=\"3\" BandDecay3=\"1\" LeftInputX=\"0.5\" Mix=\"0.75\""))));
    EXPECT_FLOAT_EQ(element.get("Decay"), 30.0f);
    EXPECT_FLOAT_EQ(element.get("BandDecay3"), 4.0f);
    EXPECT_FLOAT_EQ(element.get("LeftInputX"), 0.25f);
    EXPECT_FLOAT_EQ(element.get("Mix"), 0.75f);

    ASSERT_TRUE(ops.loadDefault());
    EXPECT_FLOAT_EQ(element.get("Decay"), 30.0f);
    EXPECT_FLOAT_EQ(element.get("Mix"), 0.3f);

    ASSERT_TRUE(ops.loadDecay(write("a.decay", "<LaminaDecay Decay3=\"1.5\"/>\n")));
    EXPECT_FLOAT_EQ(element.get("BandDecay3"), 1.5f);
    ASSERT_TRUE(ops.loadIO(write("a.io", "<LaminaIO LeftInputX=\"0.75\"/>\n")));
    EXPECT_FLOAT_EQ(element.get("LeftInputX"), 0.75f);
}

TEST_F(PresetFiles, DefaultRestoresAFreshElementAndAnEmptyPath)
{
    element.set("Decay", 30.0f);
    element.set("BandGain4", -6.0f);
    element.setInt("Material", 2);
    element.setBool("EnableLowcut", false);
    element.setBool("GeometryLock", true);
    element.setProperty("PresetPath", "/somewhere/old.preset", true);

    ASSERT_TRUE(ops.loadDefault());
    EXPECT_FLOAT_EQ(element.get("Decay"), 2.0f);
    EXPECT_FLOAT_EQ(element.get("BandGain4"), 0.0f);
    EXPECT_EQ(element.getInt("Material"), 0);
    EXPECT_TRUE(element.getBool("EnableLowcut"));
    EXPECT_TRUE(element.getBool("GeometryLock")); // not saved, so not a preset's business
    EXPECT_TRUE(element.hasProperty("PresetPath"));
    EXPECT_EQ(element.getProperty("PresetPath"), "");
    EXPECT_EQ(element.getName(), "Lamina");

    // A type the registry does not know has no "Default".
    struct Unregistered final : BasicProcessingElement
    {
        Unregistered() : BasicProcessingElement("NoSuchType", "x") {}
        void renderInPlace(ProcessContext&, ProcessingElementState&, uint32_t, float* const*, bool&) override
        {
        }
    } orphan;
    EXPECT_FALSE(PresetOperations(&orphan).loadDefault());
}

TEST_F(PresetFiles, SaveWritesTheDocumentAndLoadReadsItBack)
{
    element.set("Decay", 0.1f * 3.0f); // made by arithmetic: printed with all eight digits
    element.set("Mix", 0.25f);
    element.set("BandGain11", -3.5f);
    element.setInt("Quality", 3);
    element.setBool("EnableEQ", false);
    element.setProperty("PresetPath", "$Resource/resource/presets/01-Classics/Old.preset", true);

    const auto typed = VirtualFile(folder.getChildFile("Mine"));
    ASSERT_TRUE(ops.savePreset(typed));
    const VirtualFile stored(typed.getPath() + ".preset");
    ASSERT_TRUE(juce::File(stored.getPath()).existsAsFile());
    EXPECT_EQ(element.getProperty("PresetPath"), stored.getPath());

    const auto text = read(stored);
    EXPECT_TRUE(text.startsWith(
        "<ModulePreset>\n    <PresetTestSheet Name=\"Lamina\" Bypass=\"0\" BandDecay0=\"10000\""));
    EXPECT_TRUE(text.contains(" Decay=\"0.30000001\"")) << text; // "%.8g" of a float made by arithmetic
    EXPECT_TRUE(text.contains(" Mix=\"0.25\" "));
    EXPECT_TRUE(text.contains(" LeftInputY=\"0.58499998\""));
    EXPECT_TRUE(
        text.contains(" Quality=\"3\" Material=\"0\" EnableEQ=\"0\" EnableLowcut=\"1\" Stateless=\"0\">\n"))
        << text;
    EXPECT_FALSE(text.contains("GeometryLock"));
    // The path that stands in the file is the one from before the save.
    EXPECT_TRUE(text.endsWith(
        "        <Properties PresetPath=\"$Resource/resource/presets/01-Classics/Old.preset\"/>\n"
        "    </PresetTestSheet>\n</ModulePreset>\n"))
        << text;

    // Load into another element and save again: the same document, but for the path it now holds.
    PresetTestElement other("Lamina");
    PresetOperations otherOps(&other);
    ASSERT_TRUE(otherOps.loadPreset(stored));
    const auto again = VirtualFile(folder.getChildFile("Again.preset"));
    ASSERT_TRUE(otherOps.savePreset(again));
    EXPECT_EQ(read(again),
              text.replace("$Resource/resource/presets/01-Classics/Old.preset", stored.getPath()));
    EXPECT_FALSE(juce::File(again.getPath() + ".preset").exists()); // the extension is not doubled
}

TEST_F(PresetFiles, SavesStayInsideTheirFolder)
{
    const VirtualFile base(folder.getChildFile("User Presets"));
    ASSERT_TRUE(ops.savePreset(base, "Plates/Big"));
    EXPECT_TRUE(folder.getChildFile("User Presets/Plates/Big.preset").existsAsFile());

    for (const char* name :
         {"../Escaped", "Plates/../../Escaped", "..\\Escaped", "/tmp/Escaped", "$Resource/x", "", "   "})
    {
        SCOPED_TRACE(name);
        EXPECT_FALSE(ops.savePreset(base, name));
    }
    EXPECT_FALSE(
        ops.savePreset(VirtualFile(folder.getChildFile("a/../Escaped.preset").getFullPathName() + "/../b")));
    EXPECT_FALSE(folder.getChildFile("Escaped.preset").exists());
    EXPECT_FALSE(folder.getParentDirectory().getChildFile("Escaped.preset").exists());

    // A save that cannot be written fails and keeps the old path.
    element.setProperty("PresetPath", "before", true);
    EXPECT_FALSE(ops.savePreset(VirtualFile("/proc/qor-no-such-place/x.preset")));
    EXPECT_FALSE(ops.savePreset(VirtualFile("$Resource/resource/presets/x.preset")));
    EXPECT_EQ(element.getProperty("PresetPath"), "before");
}

// A full disk, played by a limit on the size of the files this process may write: the save fails, and the
// file saved before stays whole, PresetPath with it. Nothing is left behind under another name.
TEST_F(PresetFiles, ASaveThatCannotBeWrittenWholeLeavesTheOldFileAndPathAsTheyWere)
{
    const VirtualFile file(folder.getChildFile("Keep.preset"));
    element.set("Decay", 4.0f);
    ASSERT_TRUE(ops.savePreset(file));
    const auto saved = read(file);
    const auto path = element.getProperty("PresetPath");
    ASSERT_GT(saved.length(), 64);

    element.set("Decay", 6.0f);
    bool presetSaved = true, decaySaved = true;
    {
        // No output inside: the limit holds for every file this process writes, a test log included.
        const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit tight = before;
        tight.rlim_cur = 64;
        setrlimit(RLIMIT_FSIZE, &tight);
        presetSaved = ops.savePreset(file);
        decaySaved = ops.saveDecay(VirtualFile(folder.getChildFile("Keep.decay")));
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, ignored);
    }
    EXPECT_FALSE(presetSaved);
    EXPECT_FALSE(decaySaved);
    EXPECT_EQ(read(file), saved);
    EXPECT_EQ(element.getProperty("PresetPath"), path);
    EXPECT_EQ(folder.getNumberOfChildFiles(
                  juce::File::findFilesAndDirectories | juce::File::ignoreHiddenFiles, "*"),
              1);
    EXPECT_EQ(folder.getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 1)
        << "no temporary file";
}

// A pipe (or a device) named like a preset would hold the loader until something writes to it.
TEST_F(PresetFiles, APresetThatIsNoRegularFileIsRefusedUnopened)
{
    const auto pipe = folder.getChildFile("pipe.preset");
    const std::string pipePath = pipe.getFullPathName().toStdString();
    ASSERT_EQ(mkfifo(pipePath.c_str(), 0600), 0);
    element.set("Decay", 5.0f);
    // A writer that waits for a reader and hands it a good preset: a loader that opened the pipe would load
    // it.
    const std::string text = preset("Decay=\"9\"").toStdString();
    std::thread writer(
        [&]
        {
            const int fd = open(pipePath.c_str(), O_WRONLY);
            if (fd >= 0)
            {
                [[maybe_unused]] const auto written = ::write(fd, text.data(), text.size());
                close(fd);
            }
        });
    const bool loaded = ops.loadPreset(VirtualFile(pipe));
    const auto status = VirtualFile(pipe).status();
    // Let the writer go: open the reading end without waiting, and close it only once the writer is done.
    const int reader = open(pipePath.c_str(), O_RDONLY | O_NONBLOCK);
    writer.join();
    close(reader);

    EXPECT_FALSE(loaded);
    EXPECT_TRUE(status.exists);
    EXPECT_FALSE(status.isFile);
    EXPECT_FLOAT_EQ(element.get("Decay"), 5.0f);
}

TEST_F(PresetFiles, PartialFilesFillMissingBandsWithTheirConstant)
{
    for (int i = 0; i < 12; ++i)
    {
        element.set(("BandDecay" + juce::String(i)).toRawUTF8(), 3.0f);
        element.set(("BandGain" + juce::String(i)).toRawUTF8(), -3.0f);
    }
    ASSERT_TRUE(
        ops.loadDecay(write("a.decay", "<LaminaDecay Decay0=\"1.5\" Decay1=\"bad\" Decay2=\"0.01\"/>\n")));
    EXPECT_FLOAT_EQ(element.get("BandDecay0"), 1.5f);
    EXPECT_FLOAT_EQ(element.get("BandDecay1"), 10000.0f);
    EXPECT_FLOAT_EQ(element.get("BandDecay2"), 0.1f); // the setter's range still holds
    EXPECT_FLOAT_EQ(element.get("BandDecay3"), 10000.0f);
    EXPECT_FLOAT_EQ(element.get("BandGain3"), -3.0f);

    // The same constant for a missing gain, which the gain's range turns into its maximum.
    ASSERT_TRUE(ops.loadEQ(write("a.eq", "<LaminaEQ Gain0=\"-6\"/>\n")));
    EXPECT_FLOAT_EQ(element.get("BandGain0"), -6.0f);
    EXPECT_FLOAT_EQ(element.get("BandGain3"), 20.0f);

    element.set("RightInputY", 0.9f);
    ASSERT_TRUE(ops.loadIO(write("a.io", "<LaminaIO LeftMicrophoneX=\"0.2\"/>\n")));
    EXPECT_FLOAT_EQ(element.get("LeftMicrophoneX"), 0.2f);
    EXPECT_FLOAT_EQ(element.get("RightInputY"), 0.585f); // its own default

    // A root that does not fit changes nothing; PresetPath is never touched.
    EXPECT_FALSE(ops.loadEQ(write("b.eq", "<LaminaDecay Decay0=\"7\"/>\n")));
    EXPECT_FALSE(ops.loadDecay(write("b.decay", "<LaminaDecay Decay0=\"7\">")));
    EXPECT_FALSE(ops.loadIO(write("b.io", "")));
    EXPECT_FLOAT_EQ(element.get("BandDecay0"), 1.5f);
    EXPECT_FALSE(element.hasProperty("PresetPath"));
}

TEST_F(PresetFiles, PartialFilesRoundTrip)
{
    for (int i = 0; i < 12; ++i)
        element.set(("BandDecay" + juce::String(i)).toRawUTF8(), 0.5f + static_cast<float>(i));
    element.set("BandGain5", -7.25f);
    element.set("LeftInputX", 0.125f);

    const VirtualFile decay(folder.getChildFile("curve"));
    ASSERT_TRUE(ops.saveDecay(decay));
    const VirtualFile eq(folder.getChildFile("tilt.eq"));
    ASSERT_TRUE(ops.saveEQ(eq));
    const VirtualFile io(folder.getChildFile("spots"));
    ASSERT_TRUE(ops.saveIO(io));

    EXPECT_EQ(read(VirtualFile(decay.getPath() + ".decay")),
              "<LaminaDecay Decay0=\"0.5\" Decay1=\"1.5\" Decay2=\"2.5\" Decay3=\"3.5\" Decay4=\"4.5\" "
              "Decay5=\"5.5\" Decay6=\"6.5\" Decay7=\"7.5\" Decay8=\"8.5\" Decay9=\"9.5\" Decay10=\"10.5\" "
              "Decay11=\"11.5\"/>\n");
    EXPECT_EQ(
        read(VirtualFile(io.getPath() + ".io")),
        "<LaminaIO LeftMicrophoneX=\"0.1\" LeftMicrophoneY=\"0.55000001\" RightMicrophoneX=\"0.83999997\" "
        "RightMicrophoneY=\"0.55000001\" LeftInputX=\"0.125\" LeftInputY=\"0.58499998\" "
        "RightInputX=\"0.58999997\" RightInputY=\"0.58499998\"/>\n");

    PresetTestElement other;
    PresetOperations otherOps(&other);
    ASSERT_TRUE(otherOps.loadDecay(VirtualFile(decay.getPath() + ".decay")));
    ASSERT_TRUE(otherOps.loadEQ(eq));
    ASSERT_TRUE(otherOps.loadIO(VirtualFile(io.getPath() + ".io")));
    EXPECT_FLOAT_EQ(other.get("BandDecay7"), 7.5f);
    EXPECT_FLOAT_EQ(other.get("BandGain5"), -7.25f);
    EXPECT_FLOAT_EQ(other.get("LeftInputX"), 0.125f);
    EXPECT_FALSE(ops.saveIO(VirtualFile(folder.getFullPathName() + "/../spots.io")));
}

TEST(PresetFolders, PartialFoldersAreSiblingsOfTheUserFolder)
{
    const auto parent = userPresetsFolder().getParent();
    EXPECT_EQ(decayPresetsFolder().getPath(), parent.getPath() + "/Decay Presets");
    EXPECT_EQ(eqPresetsFolder().getPath(), parent.getPath() + "/EQ Presets");
    EXPECT_EQ(ioPresetsFolder().getPath(), parent.getPath() + "/IO Presets");
    EXPECT_EQ(PresetFormat::wildcardFor(PresetFormat::decayExtension), "*.decay");
}

} // namespace
} // namespace qor
