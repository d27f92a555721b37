#include "files/settings_store.h"
#include "tests/files/test_archive.h"

#include <gtest/gtest.h>

namespace qor
{
namespace
{

class Settings : public ::testing::Test
{
protected:
    void SetUp() override { SettingsStore::setRootFolder(temp.folder); }
    void TearDown() override { SettingsStore::setRootFolder({}); }

    test::TempFolder temp;
};

TEST_F(Settings, KeyPathsMapToFilesUnderTheRoot)
{
    EXPECT_EQ(SettingsStore::fileForKey("SOFTWARE\\QOR\\Lamina\\VST3"),
              temp.folder.getChildFile("QOR/Lamina/VST3.settings"));
    // Parts that would climb out of the root are neutralised.
    EXPECT_TRUE(SettingsStore::fileForKey("SOFTWARE\\..\\..\\x").isAChildOf(temp.folder));
    SettingsStore::setRootFolder({});
    EXPECT_TRUE(SettingsStore::fileForKey("SOFTWARE\\QOR\\Lamina\\LV2")
                    .isAChildOf(juce::File::getSpecialLocation(juce::File::userApplicationDataDirectory)));
}

TEST_F(Settings, ValuesSurviveAReopen)
{
    {
        SettingsStore store("SOFTWARE\\QOR\\Lamina\\VST3");
        EXPECT_TRUE(store.getAllValues().size() == 0);
        EXPECT_TRUE(store.setValue("ui.expanded", true));
        EXPECT_TRUE(store.setValue("editor.width", 812));
        EXPECT_TRUE(store.setValue("lastPreset", juce::String("$Resource/resource/presets/a & <b>.preset")));
        EXPECT_TRUE(store.setValue("gone", juce::String("x")));
        EXPECT_TRUE(store.removeValue("gone"));
    }
    SettingsStore again("SOFTWARE\\QOR\\Lamina\\VST3");
    EXPECT_TRUE(again.getBoolValue("ui.expanded"));
    EXPECT_EQ(again.getIntValue("editor.width"), 812);
    EXPECT_EQ(again.getValue("lastPreset"), "$Resource/resource/presets/a & <b>.preset");
    EXPECT_FALSE(again.containsKey("gone"));
    EXPECT_EQ(again.getValue("missing", "fallback"), "fallback");
    // Only the store itself is left in the folder: the temporary file was renamed over it.
    EXPECT_EQ(again.getFile().getParentDirectory().getNumberOfChildFiles(juce::File::findFiles), 1);
}

TEST_F(Settings, CorruptOrForeignFileGivesAnEmptyStoreThatCanBeRewritten)
{
    const auto file = SettingsStore::fileForKey("SOFTWARE\\QOR\\Lamina\\SA");
    file.getParentDirectory().createDirectory();
    for (const juce::String content : {"<Settings><VALUE name=\"a\" val=\"1\"", "\x01\x02garbage\xff",
                                       "<Other><VALUE name=\"a\" val=\"1\"/></Other>", ""})
    {
        file.replaceWithText(content);
        SettingsStore store("SOFTWARE\\QOR\\Lamina\\SA");
        EXPECT_FALSE(store.containsKey("a"));
        EXPECT_TRUE(store.setValue("b", juce::String("2")));
        SettingsStore reread(file);
        EXPECT_EQ(reread.getValue("b"), "2");
    }
}

TEST_F(Settings, UnwritableLocationKeepsValuesInMemory)
{
    temp.folder.getChildFile("blocker").replaceWithText("a file where a folder should be");
    SettingsStore store(temp.folder.getChildFile("blocker/inner.settings"));
    EXPECT_FALSE(store.setValue("k", juce::String("v")));
    EXPECT_EQ(store.getValue("k"), "v");
}

} // namespace
} // namespace qor
