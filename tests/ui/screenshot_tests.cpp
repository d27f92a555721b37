// The window as the X server shows it, in both layouts: opened on the screen, captured with ImageMagick's
// import, and checked region by region for blank areas and wrong colours. The captures are kept beside the
// test program (screenshots/condensed.png, screenshots/expanded.png).
#include "tests/ui/ui_test_support.h"

#include "ui/shell/editor_settings.h"

#include <cmath>
#include <random>

namespace qor::test
{

namespace
{
struct Region
{
    const char* name;
    juce::Rectangle<int> area;
    /** Pixels close to this colour must be there (transparent: no colour asked for). */
    juce::Colour colour;
    /** The region must not be a flat fill. */
    bool detailed;
    /** Its mean brightness must stay below this (the dark panel). */
    float maxBrightness = 1.0f;
};

struct Verdict
{
    bool ok = true;
    std::string why;
};

float distance(juce::Colour a, juce::Colour b)
{
    return std::abs(a.getFloatRed() - b.getFloatRed()) + std::abs(a.getFloatGreen() - b.getFloatGreen()) +
           std::abs(a.getFloatBlue() - b.getFloatBlue());
}

Verdict check(const juce::Image& shot, const Region& region)
{
    Verdict v;
    if (!shot.getBounds().contains(region.area))
        return {false, std::string(region.name) + ": outside the capture"};
    double sum = 0.0, sumSquares = 0.0;
    int near = 0;
    const int count = region.area.getWidth() * region.area.getHeight();
    for (int y = region.area.getY(); y < region.area.getBottom(); ++y)
        for (int x = region.area.getX(); x < region.area.getRight(); ++x)
        {
            const auto pixel = shot.getPixelAt(x, y);
            const double luma =
                0.2126 * pixel.getFloatRed() + 0.7152 * pixel.getFloatGreen() + 0.0722 * pixel.getFloatBlue();
            sum += luma;
            sumSquares += luma * luma;
            if (!region.colour.isTransparent() && distance(pixel, region.colour) < 0.25f)
                ++near;
        }
    const double mean = sum / count, deviation = std::sqrt(std::max(0.0, sumSquares / count - mean * mean));
    auto fail = [&](const std::string& text)
    {
        v.ok = false;
        v.why += std::string(region.name) + ": " + text + "; ";
    };
    if (region.detailed && deviation < 0.01)
        fail("blank (brightness deviation " + std::to_string(deviation) + ")");
    if (!region.colour.isTransparent() && near < 4)
        fail("no pixel of " + region.colour.toDisplayString(false).toStdString());
    if (mean > region.maxBrightness)
        fail("too bright (" + std::to_string(mean) + ")");
    return v;
}

juce::Image capture(juce::Rectangle<int> area, const juce::File& file)
{
    juce::ChildProcess import;
    const juce::String geometry = juce::String(area.getWidth()) + "x" + juce::String(area.getHeight()) + "+" +
                                  juce::String(area.getX()) + "+" + juce::String(area.getY());
    if (!import.start(juce::StringArray{"import", "-window", "root", "-crop", geometry, "+repage",
                                        file.getFullPathName()}))
        return {};
    import.waitForProcessToFinish(60000);
    return juce::ImageFileFormat::loadFrom(file);
}

const std::vector<Region>& commonRegions()
{
    static const std::vector<Region> regions = {
        {"panel below the sheet", {20, 400, 90, 50}, {}, true, 0.45f},
        {"material buttons", {54, 63, 370, 23}, {}, true},
        {"read-outs", {35, 372, 415, 20}, juce::Colour(0xff00c9af), true},
        {"Decay knob", {34, 460, 56, 56}, {}, true},
        {"Decay scale", {22, 436, 80, 26}, {}, true},
        {"Decay caption", {120, 467, 50, 21}, {}, true},
        {"Decay value", {120, 490, 50, 17}, juce::Colour(0xff00c9af), true},
        {"Mix value", {253, 490, 66, 17}, juce::Colour(0xff00c9af), true},
        {"Low Cut knob", {319, 460, 56, 56}, {}, true},
        {"preset name", {118, 10, 238, 26}, juce::Colour(0xff999999), true},
        {"A/B and browse buttons", {12, 10, 104, 26}, {}, true},
    };
    return regions;
}

class ScreenshotTest : public EditorTest
{
protected:
    /** Opens the window on the screen with some audio through it, and captures it until every region passes
        (the X server shows the window a moment after it is mapped) or a generous number of tries is spent. */
    void captureAndCheck(bool expanded, const std::vector<Region>& extra, const char* fileName,
                         bool eq = false, bool analyser = false)
    {
        settings().setValue(settingsKeys::expanded, expanded);
        settings().setValue(settingsKeys::showEQ, eq);
        settings().setValue(settingsKeys::showRTA, analyser);
        auto window = open();
        window->setTopLeftPosition(0, 0);
        window->addToDesktop(0);
        window->setVisible(true);

        std::mt19937 random(7);
        std::normal_distribution<float> noise(0.0f, 0.1f);
        std::vector<float> left(256), right(256);
        float* channels[] = {left.data(), right.data()};
        PluginAudioBuffer buffer;

        auto regions = commonRegions();
        regions.insert(regions.end(), extra.begin(), extra.end());
        const int width = expanded ? 1058 : 508;
        regions.push_back({"footer version", {width - 128, 536, 120, 18}, juce::Colour(0xff646464), true});
        regions.push_back({"footer CPU load", {0, 536, 110, 18}, juce::Colour(0xff9a9a9a), true});
        const auto folder =
            juce::File::getSpecialLocation(juce::File::currentExecutableFile).getSiblingFile("screenshots");
        folder.createDirectory();
        const auto file = folder.getChildFile(fileName);
        std::string failures;
        for (int attempt = 0; attempt < 40; ++attempt)
        {
            for (int b = 0; b < 8; ++b)
            {
                for (int i = 0; i < 256; ++i)
                    left[size_t(i)] = right[size_t(i)] = noise(random);
                buffer.isSilent = false;
                buffer.setChannels(2, 256, channels);
                plugin->process(buffer);
            }
            pumpMessages(100);
            const auto shot = capture(window->getBounds(), file);
            ASSERT_TRUE(shot.isValid()) << "import wrote no picture";
            ASSERT_EQ(shot.getWidth(), width);
            failures.clear();
            for (const auto& region : regions)
                failures += check(shot, region).why;
            if (failures.empty())
                break;
        }
        EXPECT_EQ(failures, "") << "see " << file.getFullPathName();
    }
};
} // namespace

TEST_F(ScreenshotTest, TheCondensedWindowShowsEveryPartInItsColours)
{
    captureAndCheck(false, {{"input meter", {465, 67, 8, 301}, {}, true}}, "condensed.png");
}

TEST_F(ScreenshotTest, TheExpandedWindowShowsThePanelInItsColours)
{
    captureAndCheck(true,
                    {{"meters", {1015, 67, 24, 360}, {}, true},
                     {"Damper switch", {514, 292, 98, 30}, {}, true},
                     {"decay page knobs", {509, 327, 100, 76}, {}, true},
                     {"Drive knob", {514, 475, 33, 33}, {}, true},
                     {"lower captions", {570, 481, 60, 21}, {}, true},
                     {"right panel below the knobs", {600, 410, 300, 50}, {}, true, 0.45f}},
                    "expanded.png");
}

TEST_F(ScreenshotTest, TheDecayAndEQPagesDrawTheirCurvesOverTheSpectrumOfTheNoise)
{
    // The display stands at 514, 68; the spectrum of the noise fills its lower part in amber.
    const juce::Rectangle<int> display(514, 68, 486, 253);
    // A painted band curve: the top four bands ring for 1.5 s, and the combined decay dips with them.
    for (int band = 8; band < 12; ++band)
        sheet().setParameter(sheet().getParameterId("BandDecay" + juce::String(band)), 1.5f);
    const float gains[] = {0, 0, -3, -4, -2, 0, 0, 1, 4, 6, 3, 0};
    for (int band = 0; band < 12; ++band)
        sheet().setParameter(sheet().getParameterId("BandGain" + juce::String(band)), gains[band]);
    sheet().setParameter(id("LowCutGain"), -15.0f);
    sheet().setParameter(id("LowCutFreq"), 150.0f);
    tick();
    captureAndCheck(true,
                    {{"decay display", display, juce::Colour(0xff0e6662), true},
                     {"damper curve", display, juce::Colour(0xff99589e), true},
                     {"analyser", display.withTrimmedTop(150), juce::Colour(0xff887a5c), true}},
                    "decay_page.png", false, true);
    captureAndCheck(true,
                    {{"EQ display", display, juce::Colour(0xff0e6662), true},
                     {"low cut curve", display, juce::Colour(0xff99571d), true},
                     {"analyser", display.withTrimmedTop(150), juce::Colour(0xff887a5c), true}},
                    "eq_page.png", true, true);
}

} // namespace qor::test
