// The EQ display: the sine map of gain, the band curve through the gains, painting, the low cut drag and the
// reset.
#include "tests/ui/displays/display_test_support.h"

#include "ui/displays/display_axes.h"
#include "ui/displays/lamina_eq_display.h"

#include <cmath>

namespace qor::test
{

namespace
{
constexpr float W = 486, H = 253;

class EQDisplayTest : public DisplayTest
{
protected:
    void SetUp() override
    {
        DisplayTest::SetUp();
        display = std::make_unique<LaminaEQDisplay>(*context);
        display->setSize(int(W), int(H));
    }
    void TearDown() override
    {
        display.reset();
        DisplayTest::TearDown();
    }
    float gain(int band)
    {
        return sheet().getParameter(sheet().getParameterId("BandGain" + juce::String(band)));
    }
    std::unique_ptr<LaminaEQDisplay> display;
};

float xOf(float hz)
{
    return displayAxes::xForFrequency(hz, W);
}
} // namespace

TEST(EQDisplayAxes, TheSineMapPutsMinusFortyAtTheBottomAndTwentyAtTheTop)
{
    EXPECT_NEAR(LaminaEQDisplay::yForGain(-40, H), H, 1e-3f);
    EXPECT_NEAR(LaminaEQDisplay::yForGain(20, H), 0.0f, 1e-3f);
    // sin(0) = 0: 0 dB sits at (1 - 0.95106 * 0.64984) of the height, a little above the middle.
    EXPECT_NEAR(LaminaEQDisplay::yForGain(0, H), H * 0.3819660f, 1e-3f);
    // Wider around 0 dB than at the ends.
    EXPECT_GT(LaminaEQDisplay::yForGain(-10, H) - LaminaEQDisplay::yForGain(0, H),
              LaminaEQDisplay::yForGain(-40, H) - LaminaEQDisplay::yForGain(-30, H));
    for (float db : {-40.0f, -12.5f, 0.0f, 3.0f, 20.0f})
        EXPECT_NEAR(LaminaEQDisplay::gainForY(LaminaEQDisplay::yForGain(db, H), H), db, 1e-3f) << db;
}

TEST_F(EQDisplayTest, FlatGainsLieOnTheZeroLineAndAPaintedStrokeSetsEveryBandItCrossed)
{
    const float zero = LaminaEQDisplay::yForGain(0, H);
    for (auto p : display->getCurvePoints(LaminaEQDisplay::bandEQ))
        ASSERT_NEAR(p.y, zero, 1e-3f) << p.x;

    // Press on the curve at 250 Hz (band 4), sweep fast to 8 kHz (band 9) at +6 dB.
    const float y6 = LaminaEQDisplay::yForGain(6, H);
    stroke(*display, {xOf(250), zero}, {{xOf(8000), y6}});
    tick();
    EXPECT_FLOAT_EQ(gain(4), 0.0f);
    for (int b = 5; b <= 9; ++b)
        EXPECT_NEAR(gain(b), 6.0f, 1e-3f) << b;
    EXPECT_FLOAT_EQ(gain(10), 0.0f);
    // The curve passes through the band points and never overshoots the step between them.
    const auto& curve = display->getCurvePoints(LaminaEQDisplay::bandEQ);
    float top = H;
    for (auto p : curve)
        top = std::min(top, p.y);
    EXPECT_NEAR(top, y6, 1e-3f);

    display->menuItemChosen(LaminaEQDisplay::resetEQItem);
    tick();
    for (int b = 0; b < 12; ++b)
        EXPECT_FLOAT_EQ(gain(b), 0.0f) << b;
    EXPECT_EQ(display->makeMenu().getNumItems(), 1);
}

TEST_F(EQDisplayTest, TheLowCutIsDraggedByFrequencyAndGainAndTheBandCurveWinsTies)
{
    set("LowCutGain", 0.5f);
    const auto& shelf = display->getCurvePoints(LaminaEQDisplay::lowCut);
    const auto onShelf = shelf[20];
    display->mouseMove(mouseEvent(*display, onShelf, onShelf));
    ASSERT_TRUE(display->hasActiveCurve());
    EXPECT_EQ(display->getActiveCurve(), LaminaEQDisplay::lowCut);
    // Where the shelf has risen to 0 dB both curves meet: the band curve is tested first and keeps it.
    const auto high = display->getCurvePoints(LaminaEQDisplay::bandEQ).back();
    display->mouseMove(mouseEvent(*display, high, high));
    EXPECT_EQ(display->getActiveCurve(), LaminaEQDisplay::bandEQ);

    const float before = plugin->getParameterNormalised(slot("LowCutFreq"));
    const float y = LaminaEQDisplay::yForGain(-12, H);
    stroke(*display, onShelf, {{onShelf.x + (W - 20) * 0.1f, y}});
    tick();
    EXPECT_NEAR(plugin->getParameterNormalised(slot("LowCutFreq")), std::min(1.0f, before + 0.1f), 2e-3f);
    EXPECT_NEAR(get("LowCutGain"), -12.0f, 0.01f);

    set("EnableLowcut", 0.0f);
    set("EnableEQ", 0.0f);
    for (int c : {0, 1})
        for (auto p : display->getCurvePoints(c))
        {
            display->mouseMove(mouseEvent(*display, p, p));
            ASSERT_FALSE(display->hasActiveCurve()) << c << " at " << p.x;
        }
}

} // namespace qor::test
