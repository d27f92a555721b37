#include "files/embedded_archive.h"
#include "files/resource_fs.h"
#include "files/vfs_holder.h"
#include "tests/files/test_archive.h"

#include <gtest/gtest.h>

namespace qor
{
namespace
{

juce::StringArray names(const std::vector<VirtualFile>& files)
{
    juce::StringArray out;
    for (const auto& f : files)
        out.add(f.getPath());
    return out;
}

// A small factory library, deliberately stored out of natural order.
class PresetArchive : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        auto volume =
            std::make_shared<ResourceFS>(test::makeZip({
                                             {"resource/presets/01-Classics/Preset 10.preset", "ten"},
                                             {"resource/presets/01-Classics/Preset 2.preset", "two"},
                                             {"resource/presets/01-Classics/.DS_Store", "junk"},
                                             {"resource/presets/01-Classics/Preset 1.preset", "one"},
                                             {"resource/presets/02-Rooms/Small.preset", "small"},
                                             {"resource/presets/02-Rooms/Sub/Deep.preset", "deep"},
                                             {"resource/presets/README.txt", "readme"},
                                             {"resource/images/knob.png", "png"},
                                         }),
                                         "PresetZip");
        ASSERT_TRUE(volume->valid);
        ASSERT_TRUE(VFSHolder::instance().mount(volume));
    }
    static void TearDownTestSuite() { VFSHolder::instance().unmount("PresetZip"); }

    const VirtualFile presets{"$PresetZip/resource/presets"};
    const VirtualFile classics{"$PresetZip/resource/presets/01-Classics"};
};

TEST_F(PresetArchive, StatusFromTheTree)
{
    EXPECT_EQ(classics.status(), (FileStatus{true, true, true, false}));
    EXPECT_EQ(VirtualFile("$PresetZip/resource/presets/README.txt").status(),
              (FileStatus{true, false, true, false}));
    EXPECT_EQ(VirtualFile("$PresetZip/resource/presets/Missing").status(), FileStatus{});
    EXPECT_EQ(VirtualFile("$PresetZip").status(), VirtualFile("$PresetZip/").status());
    EXPECT_TRUE(VirtualFile("$PresetZip\\resource\\presets\\02-Rooms").isDirectory());
    // Names are case-sensitive in the archive.
    EXPECT_FALSE(VirtualFile("$PresetZip/resource/presets/readme.txt").exists());
    EXPECT_EQ(VirtualFile("$presetzip/resource").getVolume(), nullptr);
}

TEST_F(PresetArchive, ListKeepsArchiveOrderAndFullPaths)
{
    std::vector<VirtualFile> items;
    ASSERT_TRUE(classics.list(items));
    EXPECT_EQ(names(items), juce::StringArray({"$PresetZip/resource/presets/01-Classics/Preset 10.preset",
                                               "$PresetZip/resource/presets/01-Classics/Preset 2.preset",
                                               "$PresetZip/resource/presets/01-Classics/.DS_Store",
                                               "$PresetZip/resource/presets/01-Classics/Preset 1.preset"}));

    std::vector<VirtualFile> top, topWithSlash;
    ASSERT_TRUE(VirtualFile("$PresetZip").list(top));
    ASSERT_TRUE(VirtualFile("$PresetZip/").list(topWithSlash));
    EXPECT_EQ(names(top), juce::StringArray({"$PresetZip/resource"}));
    EXPECT_EQ(names(top), names(topWithSlash));
}

TEST_F(PresetArchive, ReadsOneEntryAndRefusesWrites)
{
    EXPECT_EQ(
        test::readAll(VirtualFile("$PresetZip/resource/presets/02-Rooms/Sub/Deep.preset").openInput().get()),
        "deep");
    EXPECT_EQ(VirtualFile("$PresetZip/resource/presets/02-Rooms").openInput(), nullptr);
    EXPECT_EQ(VirtualFile("$PresetZip/resource/presets/02-Rooms/Small.preset").openOutput(), nullptr);
    EXPECT_FALSE(VirtualFile("$PresetZip/resource/new").createDirectory(false));
    EXPECT_FALSE(VirtualFile("$PresetZip/resource/presets/README.txt").remove());
}

TEST_F(PresetArchive, ParentReferencesDoNotResolve)
{
    const VirtualFile climbing("$PresetZip/resource/images/../presets/README.txt");
    EXPECT_FALSE(climbing.exists());
    EXPECT_EQ(climbing.openInput(), nullptr);
    EXPECT_FALSE(VirtualFile("$PresetZip/..").exists());
}

TEST_F(PresetArchive, SiblingsSkipDotFilesAndSortNaturally)
{
    VirtualFile next;
    const VirtualFile two = classics.getChild("Preset 2.preset");
    // Archive order: the dot-file after "Preset 2" is stepped over.
    ASSERT_TRUE(two.nextSibling(next, false, false));
    EXPECT_EQ(next.getFileName(), "Preset 1.preset");
    ASSERT_TRUE(two.nextSibling(next, true, false));
    EXPECT_EQ(next.getFileName(), "Preset 10.preset");

    VirtualFile previous;
    EXPECT_FALSE(classics.getChild("Preset 1.preset").previousSibling(previous, true, false));
    ASSERT_TRUE(classics.getChild("Preset 10.preset").previousSibling(previous, true, false));
    EXPECT_EQ(previous.getFileName(), "Preset 2.preset");

    EXPECT_FALSE(classics.getChild("Preset 10.preset").nextSibling(next, true, false));
    EXPECT_FALSE(classics.getChild("Not There.preset").nextSibling(next, true, false));

    // Folders first moves README.txt behind the two folders.
    ASSERT_TRUE(classics.nextSibling(next, true, true));
    EXPECT_EQ(next.getFileName(), "02-Rooms");
    ASSERT_TRUE(next.nextSibling(next, true, true));
    EXPECT_EQ(next.getFileName(), "README.txt");
}

TEST_F(PresetArchive, FindNextWalksTheWholeTreeInOrder)
{
    const juce::StringArray expected{"01-Classics/Preset 1.preset",  "01-Classics/Preset 2.preset",
                                     "01-Classics/Preset 10.preset", "02-Rooms/Sub/Deep.preset",
                                     "02-Rooms/Small.preset",        "README.txt"};
    juce::StringArray forward;
    VirtualFile current = presets;
    while (current.findNext(current, presets, true, true))
        forward.add(current.getPath().fromFirstOccurrenceOf("presets/", false, false));
    EXPECT_EQ(forward, expected);
    // The failed step leaves the caller's file as it was.
    EXPECT_EQ(current.getPath(), "$PresetZip/resource/presets/README.txt");

    juce::StringArray backward;
    while (current.findPrevious(current, presets, true, true))
        backward.add(current.getPath().fromFirstOccurrenceOf("presets/", false, false));
    juce::StringArray reversed;
    for (int i = expected.size() - 2; i >= 0; --i)
        reversed.add(expected[i]);
    EXPECT_EQ(backward, reversed);
    EXPECT_EQ(current.getFileName(), "Preset 1.preset");
}

TEST_F(PresetArchive, FindNextStopsAtTheGivenFolder)
{
    VirtualFile out;
    const VirtualFile last = classics.getChild("Preset 10.preset");
    EXPECT_FALSE(last.findNext(out, classics, true, false));
    EXPECT_TRUE(out.samePath(last));
    // One level higher the walk climbs out into the next category.
    ASSERT_TRUE(last.findNext(out, presets, true, false));
    EXPECT_EQ(out.getPath(), "$PresetZip/resource/presets/02-Rooms/Small.preset");
}

TEST(ResourceArchive, HostileArchivesGiveAnEmptyTree)
{
    juce::MemoryBlock garbage;
    juce::Random random(7);
    for (int i = 0; i < 5000; ++i)
        garbage.append("\x50\x4b\x05\x06" + (random.nextInt(4)), 1); // sprinkled with end-record bytes
    const auto good = test::makeZip({{"a/b.txt", "payload payload payload"}, {"a/c.txt", "more"}});
    juce::MemoryBlock truncated(good.getData(), good.getSize() - 10);
    juce::MemoryBlock cut(good.getData(), good.getSize() / 2);

    for (const auto& bytes : {garbage, truncated, cut, juce::MemoryBlock()})
    {
        ResourceFS volume(bytes, "Hostile");
        std::vector<VirtualFile> items;
        EXPECT_TRUE(volume.list(VirtualFile("$Hostile"), items));
        EXPECT_TRUE(items.empty());
        EXPECT_FALSE(volume.status(VirtualFile("$Hostile/a/b.txt")).exists);
        EXPECT_EQ(volume.openInput(VirtualFile("$Hostile/a/b.txt")), nullptr);
    }
}

TEST(ResourceArchive, ClimbingEntryNamesStayOutOfTheTree)
{
    ResourceFS volume(test::makeZip({{"../evil.txt", "x"}, {"a/./b.txt", "y"}, {"a/ok.txt", "z"}}), "Climb");
    std::vector<VirtualFile> items;
    ASSERT_TRUE(volume.list(VirtualFile("$Climb/a"), items));
    EXPECT_EQ(names(items), juce::StringArray({"$Climb/a/ok.txt"}));
    items.clear();
    ASSERT_TRUE(volume.list(VirtualFile("$Climb"), items));
    EXPECT_EQ(names(items), juce::StringArray({"$Climb/a"}));
}

TEST(ResourceArchive, StreamsOutliveTheirVolume)
{
    std::unique_ptr<juce::InputStream> stream;
    {
        ResourceFS volume(test::makeZip({{"x.txt", juce::String::repeatedString("abc", 1000)}}), "Short");
        stream = volume.openInput(VirtualFile("$Short/x.txt"));
    }
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->readEntireStreamAsString(), juce::String::repeatedString("abc", 1000));
}

TEST(EmbeddedArchive, IsLinkedAndMountedAsResource)
{
    const auto archive = getEmbeddedArchive();
    ASSERT_GT(archive.size, 22u); // at least an end-of-directory record
    EXPECT_EQ(std::memcmp(archive.data, "PK\x03\x04", 4), 0);

    auto& holder = VFSHolder::instance();
    std::vector<Volume*> announced;
    const int listener = holder.addMountListener([&](Volume* v) { announced.push_back(v); });
    const bool first = holder.mountArchive("VST3", true, juce::File("/nowhere"));
    const bool second = holder.mountArchive("VST3", true, juce::File("/nowhere"));
    holder.removeMountListener(listener);
    EXPECT_TRUE(first);
    EXPECT_FALSE(second); // a second plug-in instance finds it mounted
    ASSERT_EQ(announced.size(), 1u);
    EXPECT_EQ(announced[0], holder.getVolume("$Resource/x"));

    ASSERT_NE(holder.getVolume("$Resource"), nullptr);
    EXPECT_TRUE(VirtualFile("$Resource/resource/presets").isDirectory());
    std::vector<VirtualFile> a, b;
    ASSERT_TRUE(VirtualFile("$Resource").list(a));
    ASSERT_TRUE(VirtualFile("$Resource/").list(b));
    EXPECT_EQ(names(a), names(b));
    EXPECT_EQ(names(a), juce::StringArray({"$Resource/resource"}));

    // Every file the tree shows can be read.
    VirtualFile current("$Resource/resource");
    int files = 0;
    while (current.findNext(current, VirtualFile("$Resource"), false, false))
    {
        EXPECT_NE(current.openInput(), nullptr) << current.getPath();
        ++files;
    }
    EXPECT_GT(files, 0);
}

TEST(EmbeddedArchive, UnzippedFormIsRefused)
{
    ResourceFS volume(false, juce::File());
    EXPECT_FALSE(volume.valid);
    EXPECT_EQ(volume.error, "Windows must use zipped resource");
    EXPECT_FALSE(VFSHolder::instance().mount(std::make_shared<ResourceFS>(false, juce::File())));
}

} // namespace
} // namespace qor
