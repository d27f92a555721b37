// The analyser: sines land in their bin at their level once the tilt is taken out, the running sheet's output
// reaches the view through the tap while the audio thread writes, and the view follows the element.
#include "tests/ui/displays/display_test_support.h"

#include "ui/displays/spectrum_display.h"

#include <atomic>
#include <cmath>
#include <thread>

namespace qor::test
{

namespace
{
constexpr double rate = 48000;
constexpr double binWidth = rate / 4096;

std::vector<float> sine(double hz, float amplitude, int count, int offset = 0)
{
    std::vector<float> samples(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        samples[size_t(i)] = amplitude * float(std::sin(6.283185307179586 * hz * (i + offset) / rate));
    return samples;
}

/** The loudest point of the view, as frequency and level with the tilt taken out. */
std::pair<float, float> peakOf(const SpectrumAnalyzerView2& view)
{
    juce::Point<float> top(0, 1e9f);
    for (auto p : view.getPoints())
        if (p.y < top.y)
            top = p;
    const float f = view.frequencyForX(top.x);
    return {f, view.dbForY(top.y) - view.tiltAt(f)};
}

/** A sine of amplitude a, in its own bin, read through the window with unit sum of squares. */
float expectedDb(float amplitude)
{
    double sum = 0, squares = 0;
    for (int n = 0; n < 4096; ++n)
    {
        const double a = 6.283185307179586 * n / 4096;
        const double w =
            0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a);
        sum += w;
        squares += w * w;
    }
    return float(20 * std::log10(amplitude / 2 * sum / std::sqrt(squares)));
}

void renderSine(LaminaPlugin& plugin, double hz, int blocks, int& offset)
{
    for (int b = 0; b < blocks; ++b, offset += 256)
    {
        auto left = sine(hz, 0.25f, 256, offset), right = left;
        float* channels[] = {left.data(), right.data()};
        PluginAudioBuffer buffer;
        buffer.setChannels(2, 256, channels);
        plugin.process(buffer);
    }
}
} // namespace

TEST(SpectrumAnalyzerView, SinesShowInTheirBinAtTheirLevelOnceTheTiltIsTakenOut)
{
    for (double hz : {100.0, 1000.0, 10000.0})
    {
        SpectrumAnalyzerView2 view(4096, 8, rate, 8192);
        view.setRange(20, 20000, -60, 30);
        view.setBounds(0, 0, 486, 253);
        const auto samples = sine(hz, 0.1f, 6000);
        view.pushSamples(samples.data(), int(samples.size()));
        ASSERT_TRUE(view.analyse());
        EXPECT_FALSE(view.analyse()) << "nothing new came";
        const auto [f, db] = peakOf(view);
        EXPECT_NEAR(f, hz, binWidth) << hz;
        EXPECT_NEAR(db, expectedDb(0.1f), 1.0f) << hz;
        // The path closes along the bottom from the left to the right end of the axis.
        const auto bounds = view.getPath().getBounds();
        EXPECT_FLOAT_EQ(bounds.getBottom(), 253.0f);
        EXPECT_NEAR(bounds.getX(), 0.0f, 1e-4f);
        EXPECT_NEAR(bounds.getRight(), 466.0f, 1e-3f);
    }
    // The tilt is 4.5 dB per octave about the middle of the axis (632 Hz).
    SpectrumAnalyzerView2 view(4096, 8, rate, 8192);
    view.setBounds(0, 0, 486, 253);
    EXPECT_NEAR(view.tiltAt(632.4555f), 0.0f, 1e-3f);
    EXPECT_NEAR(view.tiltAt(2 * 632.4555f), 4.5f, 1e-3f);
    EXPECT_NEAR(view.tiltAt(20000) - view.tiltAt(20), 4.5f * std::log2(1000.0f), 1e-3f);
}

TEST_F(DisplayTest, TheRunningSheetsOutputReachesTheViewWhileTheAudioThreadWritesAndGoesWithTheElement)
{
    SpectrumDisplay display(*context);
    display.setBounds(0, 0, 486, 253);
    display.setVisible(true);
    ASSERT_NE(display.getView(), nullptr);
    EXPECT_EQ(display.getView()->getSampleRate(), rate);
    EXPECT_EQ(display.getView()->getBounds(), display.getLocalBounds());
    set("Mix", 1.0f);

    // The audio thread renders a 1 kHz sine while this thread reads the tap and analyses, as the timers do.
    std::atomic<bool> done{false};
    int offset = 0;
    std::thread audio(
        [&]
        {
            renderSine(*plugin, 1000.0, 120, offset);
            done = true;
        });
    while (!done)
    {
        tap->poll();
        display.refresh();
    }
    audio.join();
    tap->poll();
    display.refresh();
    const auto [f, db] = peakOf(*display.getView());
    EXPECT_NEAR(f, 1000.0f, binWidth);
    EXPECT_GT(db, -50.0f);

    // The element goes away: the view goes with it and the display is blank; a new one brings a new view.
    auto& proxy = *plugin->getEngineProxy();
    auto* engine = proxy.getEngine();
    proxy.setEngine(nullptr);
    display.refresh();
    EXPECT_EQ(display.getView(), nullptr);
    proxy.setEngine(engine);
    display.refresh();
    EXPECT_NE(display.getView(), nullptr);
}

class SineThroughTheSheet : public DisplayTest, public testing::WithParamInterface<double>
{
};

TEST_P(SineThroughTheSheet, PeaksInItsBin)
{
    SpectrumDisplay display(*context);
    display.setBounds(0, 0, 486, 253);
    display.setVisible(true);
    set("Mix", 1.0f);
    int offset = 0;
    for (int tick = 0; tick < 15; ++tick)
    {
        renderSine(*plugin, GetParam(), 8, offset);
        tap->poll();
        display.refresh();
    }
    ASSERT_NE(display.getView(), nullptr);
    EXPECT_NEAR(peakOf(*display.getView()).first, GetParam(), binWidth);
}

INSTANTIATE_TEST_SUITE_P(Frequencies, SineThroughTheSheet, testing::Values(100.0, 1000.0, 10000.0));

} // namespace qor::test
