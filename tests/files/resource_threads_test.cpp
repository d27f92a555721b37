#include "files/resource_fs.h"
#include "files/vfs_holder.h"
#include "tests/files/test_archive.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qor
{
namespace
{

juce::String contentOf(int i)
{
    // Large enough to span many decompression blocks, different for every entry.
    juce::String s;
    for (int k = 0; k < 2000; ++k)
        s << i << ':' << k << ' ';
    return s;
}

TEST(ResourceThreads, ManyThreadsReadTheArchiveAtOnce)
{
    constexpr int numEntries = 12;
    std::vector<std::pair<juce::String, juce::String>> entries;
    for (int i = 0; i < numEntries; ++i)
        entries.emplace_back("data/entry" + juce::String(i) + ".txt", contentOf(i));
    ASSERT_TRUE(
        VFSHolder::instance().mount(std::make_shared<ResourceFS>(test::makeZip(entries), "ThreadZip")));

    std::atomic<int> failures{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back(
            [&, t]
            {
                while (!go.load())
                    std::this_thread::yield();
                for (int round = 0; round < 20; ++round)
                {
                    const int i = (t + round) % numEntries;
                    const VirtualFile file("$ThreadZip/data/entry" + juce::String(i) + ".txt");
                    if (!file.exists() || test::readAll(file.openInput().get()) != contentOf(i))
                        ++failures;
                    std::vector<VirtualFile> items;
                    if (!VirtualFile("$ThreadZip/data").list(items) || items.size() != (size_t)numEntries)
                        ++failures;
                }
            });

    // A stream opened here and read while the workers run shares this thread's reader with no one.
    auto held = VirtualFile("$ThreadZip/data/entry0.txt").openInput();
    go = true;
    // Mounting other volumes meanwhile must not disturb the look-ups.
    for (int m = 0; m < 20; ++m)
        VFSHolder::instance().mount(
            std::make_shared<Favorite>("ThreadFav" + juce::String(m), VirtualFile("/")));
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(test::readAll(held.get()), contentOf(0));

    VFSHolder::instance().unmount("ThreadZip");
    for (int m = 0; m < 20; ++m)
        VFSHolder::instance().unmount("ThreadFav" + juce::String(m));
}

} // namespace
} // namespace qor
