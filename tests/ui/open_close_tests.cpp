// The editor opened and closed again and again while the audio thread renders: no JUCE assertion (the test
// support fails on one), no report of the sanitizers that CI runs this under, and the audio runs on
// throughout.
#include "tests/ui/ui_test_support.h"

#include "ui/shell/editor_settings.h"

#include <atomic>
#include <thread>

// Every layout switch comes round at least twice in ten rounds; the default runs fifty.
#ifndef QOR_OPEN_CLOSE_ROUNDS
#define QOR_OPEN_CLOSE_ROUNDS 50
#endif

namespace qor::test
{

TEST_F(EditorTest, OpeningsAndClosingsWhileAudioRuns)
{
    // The lowest quality keeps the blocks short: what is tested is the editor, not the bank.
    sheet().setParameter(id("Quality"), int32_t(0));
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> blocks{0};
    std::thread audio(
        [&]
        {
            std::vector<float> left(256), right(256);
            float* channels[] = {left.data(), right.data()};
            PluginAudioBuffer buffer;
            buffer.setChannels(2, 256, channels);
            for (uint64_t n = 0; !stop.load(); ++n)
            {
                for (int i = 0; i < 256; ++i)
                    left[size_t(i)] = right[size_t(i)] = (n + uint64_t(i)) % 97 == 0 ? 0.5f : 0.0f;
                buffer.isSilent = false;
                buffer.setChannels(2, 256, channels);
                plugin->process(buffer);
                blocks.fetch_add(1);
            }
        });

    constexpr int rounds = QOR_OPEN_CLOSE_ROUNDS;
    for (int i = 0; i < rounds; ++i)
    {
        // Every other window opens expanded, and some switch while open: the panel comes and goes too.
        settings().setValue(settingsKeys::expanded, i % 2 == 1);
        auto window = open();
        window->setTopLeftPosition(0, 0);
        window->addToDesktop(0);
        window->setVisible(true);
        const auto before = blocks.load();
        // The timers run (proxy, tap, meters, footer) until the audio thread has moved on.
        while (blocks.load() < before + 2)
            pumpMessages(5);
        if (i % 5 == 0)
            window->getEditor().getExpandedValue().setValue(!window->getEditor().isExpanded());
        plugin->setParameterNormalised(0, float(i % 10) / 10.0f);
        pumpMessages(5);
        window.reset();
    }
    stop.store(true);
    audio.join();
    EXPECT_GE(blocks.load(), 2u * rounds) << "two blocks or more ran while each window was open";
}

} // namespace qor::test
