#include "files/settings_store.h"
#include "files/vfs_holder.h"
#include "tests/files/test_archive.h"

#include <gtest/gtest.h>

namespace qor
{
namespace
{

class NativeVolume : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VFSHolder::instance().mountDrives();
        root = VirtualFile(temp.folder);
    }

    test::TempFolder temp;
    VirtualFile root;
};

TEST_F(NativeVolume, DrivesMountTheRootAndHome)
{
    auto* drive = VFSHolder::instance().getVolume("/usr/include");
    ASSERT_NE(drive, nullptr);
    EXPECT_EQ(drive->name, "/");
    EXPECT_EQ(drive->kind, Volume::native);
    EXPECT_EQ(drive->rootName().getPath(), "/");
    EXPECT_EQ(VirtualFile("/usr/include").getVolume()->relativePart(VirtualFile("/usr/include")),
              "usr/include");

    const auto home = juce::File::getSpecialLocation(juce::File::userHomeDirectory);
    EXPECT_TRUE(VirtualFile("$Home folder").resolveAlias().samePath(VirtualFile(home)));

    std::vector<VirtualFile> roots;
    ASSERT_TRUE(VirtualFile("$").list(roots));
    EXPECT_NE(std::find(roots.begin(), roots.end(), VirtualFile("/")), roots.end());
    EXPECT_NE(std::find(roots.begin(), roots.end(), VirtualFile("$Home folder")), roots.end());
}

TEST_F(NativeVolume, WriteReadAppendAndOverwrite)
{
    const auto file = root.getChild("a/b/c/data.bin");
    EXPECT_FALSE(root.getChild("a/b").createDirectory(false)); // parent missing
    ASSERT_TRUE(root.getChild("a/b/c").createDirectory(true));
    EXPECT_TRUE(root.getChild("a/b/c").isDirectory());
    EXPECT_TRUE(root.getChild("a/b/c").createDirectory(false)); // already there

    {
        auto out = file.openOutput();
        ASSERT_NE(out, nullptr);
        out->writeText("first version, long", false, false, nullptr);
    }
    {
        auto out = file.openOutput(true);
        ASSERT_NE(out, nullptr);
        out->writeText("+tail", false, false, nullptr);
    }
    EXPECT_EQ(test::readAll(file.openInput().get()), "first version, long+tail");
    {
        auto out = file.openOutput(false);
        ASSERT_NE(out, nullptr);
        out->writeText("short", false, false, nullptr);
    }
    EXPECT_EQ(test::readAll(file.openInput().get()), "short");
    EXPECT_EQ(file.status(), (FileStatus{true, false, true, true}));

    // A missing file only reports whether it could be written.
    const auto missing = root.getChild("nothing.txt").status();
    EXPECT_FALSE(missing.exists || missing.isDirectory || missing.isFile);
    EXPECT_TRUE(missing.isWritable);
    EXPECT_EQ(root.getChild("nothing.txt").openInput(), nullptr);
    EXPECT_EQ(root.getChild("a").openOutput(), nullptr); // a folder is not a file
}

TEST_F(NativeVolume, ListShowsHiddenFilesWithFullPaths)
{
    temp.folder.getChildFile(".hidden").replaceWithText("h");
    temp.folder.getChildFile("Preset 10.preset").replaceWithText("10");
    temp.folder.getChildFile("Preset 2.preset").replaceWithText("2");
    temp.folder.getChildFile("Sub").createDirectory();

    std::vector<VirtualFile> items;
    ASSERT_TRUE(root.list(items));
    juce::StringArray paths;
    for (const auto& f : items)
        paths.add(f.getPath());
    paths.sort(false);
    const auto base = temp.folder.getFullPathName();
    const juce::StringArray expected{base + "/.hidden", base + "/Preset 10.preset", base + "/Preset 2.preset",
                                     base + "/Sub"};
    EXPECT_EQ(paths, expected);

    // The walk sees folders first, then names in natural order, and never the dot-file.
    const auto ordered = listOrdered(root, true, true);
    ASSERT_EQ(ordered.size(), 4u);
    EXPECT_EQ(ordered[0].getFileName(), "Sub");
    VirtualFile next;
    ASSERT_TRUE(ordered[0].nextSibling(next, true, true));
    EXPECT_EQ(next.getFileName(), "Preset 2.preset");
    EXPECT_FALSE(root.getChild("Preset 10.preset").nextSibling(next, true, true));
    EXPECT_TRUE(root.getChild("Preset 2.preset").previousSibling(next, true, true));
    EXPECT_EQ(next.getFileName(), "Sub");
}

TEST_F(NativeVolume, CopyAndRemove)
{
    const auto source = root.getChild("src.txt");
    const juce::String text = juce::String::repeatedString("0123456789", 1000); // spans several blocks
    temp.folder.getChildFile("src.txt").replaceWithText(text);
    ASSERT_TRUE(source.copyTo(root.getChild("copy/dst.txt")));
    EXPECT_EQ(temp.folder.getChildFile("copy/dst.txt").loadFileAsString(), text);
    EXPECT_FALSE(root.getChild("copy").copyTo(root.getChild("x"))); // folders are not copied
    EXPECT_FALSE(root.getChild("none").copyTo(root.getChild("y")));

    EXPECT_FALSE(root.getChild("copy").remove(false));
    EXPECT_TRUE(root.getChild("copy").remove(true));
    EXPECT_FALSE(root.getChild("copy").exists());
}

TEST_F(NativeVolume, LongerRootWins)
{
    auto& holder = VFSHolder::instance();
    const auto folderPath = temp.folder.getFullPathName();
    ASSERT_TRUE(holder.mount(std::make_shared<NativeFS>(folderPath, "Temp", temp.folder)));
    const auto file = root.getChild("in.txt");
    auto* owner = holder.getVolume(file.getPath());
    ASSERT_NE(owner, nullptr);
    EXPECT_EQ(owner->name, folderPath);
    EXPECT_EQ(holder.getVolume(folderPath)->name, folderPath); // exact name
    EXPECT_EQ(holder.getVolume("/usr/include")->name, "/");
    // Native names compare without case.
    EXPECT_EQ(holder.getVolume(folderPath.toUpperCase() + "/x")->name, folderPath);

    // The same file through either volume.
    ASSERT_NE(file.openOutput(), nullptr);
    EXPECT_TRUE(temp.folder.getChildFile("in.txt").existsAsFile());

    // Upper case sorts first in the map: length decides, not map order; of equal lengths the first stays.
    const auto sub = temp.folder.getChildFile("sub");
    sub.createDirectory();
    const auto upperSub = sub.getFullPathName().toUpperCase();
    ASSERT_TRUE(holder.mount(std::make_shared<NativeFS>(upperSub, "Sub", sub)));
    EXPECT_EQ(holder.getVolume(sub.getFullPathName() + "/f.txt")->name, upperSub);
    ASSERT_TRUE(holder.mount(std::make_shared<NativeFS>(folderPath.toUpperCase(), "Upper", temp.folder)));
    EXPECT_EQ(holder.getVolume(folderPath + "/f.txt")->name, folderPath.toUpperCase());
    EXPECT_EQ(holder.getVolume(folderPath)->name, folderPath); // an exact name comes before all that
    holder.unmount(upperSub);
    holder.unmount(folderPath.toUpperCase());
    EXPECT_TRUE(holder.unmount(folderPath));
}

TEST_F(NativeVolume, MountRefusesDuplicatesAndInvalidVolumes)
{
    auto& holder = VFSHolder::instance();
    int announced = 0;
    const int id = holder.addMountListener([&](Volume*) { ++announced; });
    EXPECT_TRUE(holder.mount(std::make_shared<Favorite>("Twice", root)));
    EXPECT_FALSE(holder.mount(std::make_shared<Favorite>("Twice", VirtualFile("/usr"))));
    EXPECT_FALSE(holder.mount(std::make_shared<NativeFS>("/no/such", "x", juce::File("/no/such/folder"))));
    EXPECT_FALSE(holder.mount(nullptr));
    holder.removeMountListener(id);
    EXPECT_EQ(announced, 1);
    EXPECT_TRUE(VirtualFile("$Twice").resolveAlias().samePath(root)); // the first one stays
    holder.unmount("Twice");
}

TEST_F(NativeVolume, FavoritesForwardAndStayInsideTheirFolder)
{
    auto& holder = VFSHolder::instance();
    temp.folder.getChildFile("inner").createDirectory();
    temp.folder.getChildFile("inner/x.preset").replaceWithText("x");
    temp.folder.getChildFile("secret.txt").replaceWithText("s");
    ASSERT_TRUE(holder.mount(std::make_shared<Favorite>("FavInner", root.getChild("inner"))));
    ASSERT_TRUE(holder.mount(std::make_shared<Favorite>("FavChain", VirtualFile("$FavInner"))));

    EXPECT_EQ(test::readAll(VirtualFile("$FavChain/x.preset").openInput().get()), "x");
    EXPECT_TRUE(VirtualFile("$FavChain/x.preset").resolveAlias().samePath(root.getChild("inner/x.preset")));
    std::vector<VirtualFile> items;
    ASSERT_TRUE(VirtualFile("$FavChain").list(items));
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].getPath(), "$FavChain/x.preset");

    ASSERT_NE(VirtualFile("$FavInner/new.txt").openOutput(), nullptr);
    EXPECT_TRUE(temp.folder.getChildFile("inner/new.txt").existsAsFile());

    EXPECT_FALSE(VirtualFile("$FavInner/../secret.txt").exists());
    EXPECT_EQ(VirtualFile("$FavInner/../secret.txt").openInput(), nullptr);
    EXPECT_EQ(VirtualFile("$FavInner/../evil.txt").openOutput(), nullptr);
    EXPECT_FALSE(temp.folder.getChildFile("evil.txt").exists());

    holder.unmount("FavChain");
    holder.unmount("FavInner");
}

TEST_F(NativeVolume, StandardPlacesAreAddedOnce)
{
    SettingsStore::setRootFolder(temp.folder.getChildFile("settings"));
    auto& holder = VFSHolder::instance();
    holder.mountStandardPlaces("QorTest", "Places");
    SettingsStore settings("SOFTWARE\\QorTest\\Places");
    EXPECT_TRUE(settings.getBoolValue("standardPlaces.mounted"));
    const auto folders = juce::parseXML(settings.getValue("Folders"));
    ASSERT_NE(folders, nullptr);
    for (auto* element : folders->getChildIterator())
    {
        EXPECT_TRUE(juce::File(element->getStringAttribute("Path")).isDirectory());
        EXPECT_NE(holder.getVolume("$" + element->getStringAttribute("Name")), nullptr);
    }
    // A user who removed the standard places does not get them back.
    settings.setValue("Folders", juce::String("<Folders/>"));
    holder.mountStandardPlaces("QorTest", "Places");
    settings.reload();
    EXPECT_EQ(settings.getValue("Folders"), "<Folders/>");
    SettingsStore::setRootFolder({});
}

} // namespace
} // namespace qor
