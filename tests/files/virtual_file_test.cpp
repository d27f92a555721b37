#include "files/vfs_holder.h"
#include "files/virtual_file.h"

#include <gtest/gtest.h>

namespace qor
{
namespace
{

TEST(VirtualFilePath, BackslashesBecomeSlashesInEveryConstructor)
{
    EXPECT_EQ(VirtualFile("$Resource\\resource\\presets").getPath(), "$Resource/resource/presets");
    EXPECT_EQ(VirtualFile(juce::String("a\\b\\")).getPath(), "a/b/");
    EXPECT_TRUE(
        VirtualFile("$Resource\\images\\knob.png").samePath(VirtualFile("$Resource/images/knob.png")));
    EXPECT_EQ(VirtualFile("$Resource").getChild("a\\b").getPath(), "$Resource/a/b");
}

TEST(VirtualFilePath, OneTrailingSlashDoesNotChangeTheFile)
{
    EXPECT_TRUE(VirtualFile("$Resource").samePath(VirtualFile("$Resource/")));
    EXPECT_TRUE(VirtualFile("/home/user/").samePath(VirtualFile("/home/user")));
    EXPECT_FALSE(VirtualFile("/home/user//").samePath(VirtualFile("/home/user")));
    EXPECT_FALSE(VirtualFile("/home/User").samePath(VirtualFile("/home/user")));
}

TEST(VirtualFilePath, ParentAndChild)
{
    EXPECT_EQ(VirtualFile("$Resource/resource/presets/").getParent().getPath(), "$Resource/resource");
    EXPECT_EQ(VirtualFile("$Resource/a").getParent().getPath(), "$Resource");
    EXPECT_EQ(VirtualFile("/home").getParent().getPath(), "/");
    EXPECT_TRUE(VirtualFile("$Resource").getParent().isEmpty());
    EXPECT_TRUE(VirtualFile("/").getParent().isEmpty());

    EXPECT_EQ(VirtualFile("$A/").getChild("/b").getPath(), "$A/b");
    EXPECT_EQ(VirtualFile("$A/").getChild("b").getPath(), "$A/b");
    EXPECT_EQ(VirtualFile("$A").getChild("/b").getPath(), "$A/b");
    EXPECT_EQ(VirtualFile("$A").getChild("b/c").getPath(), "$A/b/c");
    EXPECT_EQ(VirtualFile("/").getChild("tmp").getPath(), "/tmp");
}

TEST(VirtualFilePath, NameAndExtension)
{
    const VirtualFile file("$Resource/resource/presets/01-Classics/Big Hall.v2.preset");
    EXPECT_EQ(file.getFileName(), "Big Hall.v2.preset");
    EXPECT_EQ(file.getFileNameWithoutExtension(), "Big Hall.v2");
    EXPECT_EQ(file.getExtension(), ".preset");
    EXPECT_EQ(VirtualFile("/a/folder/").getFileName(), "folder");
    EXPECT_EQ(VirtualFile("/a/Makefile").getExtension(), "");
    EXPECT_EQ(VirtualFile("/a/.hidden").getFileNameWithoutExtension(), "");
}

TEST(VirtualFilePath, PathsWithoutAVolumeGiveEmptyResults)
{
    const VirtualFile nowhere("$NoSuchVolume/x");
    EXPECT_EQ(nowhere.getVolume(), nullptr);
    EXPECT_EQ(nowhere.status(), FileStatus{});
    std::vector<VirtualFile> items;
    EXPECT_FALSE(nowhere.list(items));
    EXPECT_EQ(nowhere.openInput(), nullptr);
    EXPECT_EQ(nowhere.openOutput(), nullptr);
    EXPECT_FALSE(nowhere.createDirectory(true));
    EXPECT_EQ(VirtualFile().status(), FileStatus{});

    // The root of all volumes answers every question with yes.
    EXPECT_EQ(VirtualFile("$").status(), (FileStatus{true, true, true, true}));
}

TEST(NaturalOrder, NumbersCompareByValue)
{
    EXPECT_LT(naturalCompare("Preset 2", "Preset 10"), 0);
    EXPECT_GT(naturalCompare("Preset 10", "Preset 9"), 0);
    EXPECT_LT(naturalCompare("Hall 2b", "Hall 10a"), 0);
    EXPECT_EQ(naturalCompare("Preset 12", "Preset 12"), 0);
    // Equal lengths: the first differing digit decides, not the last.
    EXPECT_LT(naturalCompare("x 19", "x 21"), 0);
}

TEST(NaturalOrder, LeadingZerosCompareDigitByDigit)
{
    EXPECT_LT(naturalCompare("01-Classics", "02-Rooms"), 0);
    EXPECT_LT(naturalCompare("a 007", "a 07"), 0);
    EXPECT_LT(naturalCompare("v 0123", "v 02"), 0); // as fractions: .0123 < .02
    EXPECT_GT(naturalCompare("v 02", "v 0123"), 0);
}

TEST(NaturalOrder, WhiteSpaceIsSkippedAndTextIsBytes)
{
    EXPECT_EQ(naturalCompare("Preset 1", "Preset1"), 0);
    EXPECT_EQ(naturalCompare("  Plate", "Plate"), 0);
    EXPECT_LT(naturalCompare("B", "a"), 0); // byte order, so upper case first
    EXPECT_LT(naturalCompare("Plate", "Plates"), 0);
    EXPECT_LT(naturalCompare(".hidden", "Preset"), 0);
}

TEST(UserPresets, FolderIsUnderTheDocuments)
{
    const auto folder = userPresetsFolder();
    const auto documents = juce::File::getSpecialLocation(juce::File::userDocumentsDirectory);
    EXPECT_EQ(folder.getPath(), documents.getFullPathName() + "/Qor/Lamina/User Presets/");
    EXPECT_EQ(folder.getFileName(), "User Presets");
}

} // namespace
} // namespace qor
