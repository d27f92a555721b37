// The decay display: its axes against worked values, its curves against the model's damping functions, and
// the mouse: selection, painting the band curve, dragging a mechanism, the reset.
#include "tests/ui/displays/display_test_support.h"

#include "modal/lamina/damping.h"
#include "ui/displays/display_axes.h"
#include "ui/displays/lamina_decay_display.h"

#include <cmath>

namespace qor::test
{

namespace
{
constexpr float W = 486, H = 253;

/** The curve's y at x, read between its points. */
float curveYAt(const std::vector<juce::Point<float>>& points, float x)
{
    for (size_t i = 1; i < points.size(); ++i)
        if (points[i].x >= x)
        {
            const float t = (x - points[i - 1].x) / (points[i].x - points[i - 1].x);
            return points[i - 1].y + t * (points[i].y - points[i - 1].y);
        }
    return points.back().y;
}

float xOf(float hz)
{
    return displayAxes::xForFrequency(hz, W);
}

/** Energy between f1 and f2 in the Hann-windowed 4096 samples from `start`, summed over bins 4 Hz apart. */
double bandEnergy(const std::vector<float>& x, size_t start, double f1, double f2)
{
    constexpr int n = 4096;
    double total = 0;
    for (double f = f1; f <= f2; f += 4)
    {
        const double c = 2 * std::cos(6.283185307179586 * f / 48000);
        double s1 = 0, s2 = 0;
        for (int i = 0; i < n; ++i)
        {
            const double w = 0.5 - 0.5 * std::cos(6.283185307179586 * i / n);
            const double s0 = w * x[start + size_t(i)] + c * s1 - s2;
            s2 = s1;
            s1 = s0;
        }
        total += s1 * s1 + s2 * s2 - c * s1 * s2;
    }
    return total;
}

/** The 60 dB time of a band, from its energy fall between two moments of the response. */
double measuredDecay(const std::vector<float>& x, double t1, double t2, double f1, double f2)
{
    const double drop = 10 * std::log10(bandEnergy(x, size_t(t1 * 48000), f1, f2) /
                                        bandEnergy(x, size_t(t2 * 48000), f1, f2));
    return 60 * (t2 - t1) / drop;
}

class DecayDisplayTest : public DisplayTest
{
protected:
    void SetUp() override
    {
        DisplayTest::SetUp();
        display = std::make_unique<LaminaDecayDisplay>(*context);
        display->setSize(int(W), int(H));
    }
    void TearDown() override
    {
        display.reset();
        DisplayTest::TearDown();
    }
    std::array<float, 12> bandDecays()
    {
        std::array<float, 12> seconds{};
        for (int i = 0; i < 12; ++i)
            seconds[size_t(i)] = sheet().getParameter(sheet().getParameterId("BandDecay" + juce::String(i)));
        return seconds;
    }
    std::unique_ptr<LaminaDecayDisplay> display;
};
} // namespace

TEST(DecayDisplayAxes, FrequencyAndDecayMapsMeetTheirWorkedValues)
{
    EXPECT_NEAR(displayAxes::xForFrequency(20, W), 0.0f, 1e-4f);
    EXPECT_NEAR(displayAxes::xForFrequency(20000, W), W - 20, 1e-3f);
    EXPECT_NEAR(displayAxes::xForFrequency(632.4555f, W), (W - 20) / 2, 1e-3f) << "the geometric middle";
    EXPECT_NEAR(displayAxes::frequencyForX(W - 20, W), 20000.0f, 0.05f);
    EXPECT_NEAR(displayAxes::frequencyForX(displayAxes::xForFrequency(1234, W), W), 1234.0f, 0.01f);

    EXPECT_FLOAT_EQ(LaminaDecayDisplay::yForDecay(4, H), H / 2);
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::yForDecay(12, H), H / 4);
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::yForDecay(0, H), H);
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::decayForY(0, H), 10000.0f) << "the top clamps to no band damping";
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::decayForY(H, H), 0.1f);
    EXPECT_NEAR(LaminaDecayDisplay::decayForY(H / 2, H), 4.0f, 1e-5f);
    EXPECT_NEAR(LaminaDecayDisplay::decayForY(H / 4, H), 12.0f, 1e-4f);
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::decayForY(0, H, true), 0.1f) << "an infinite rate";
    EXPECT_FLOAT_EQ(LaminaDecayDisplay::decayForY(H, H, true), 10000.0f) << "no rate at all";
    EXPECT_NEAR(LaminaDecayDisplay::decayForY(H / 4, H, true), 6.9077554f / 9.0f, 1e-5f);

    EXPECT_EQ(bandOfFrequency(24.9f), 0);
    EXPECT_EQ(bandOfFrequency(25.0f), 1);
    EXPECT_EQ(bandOfFrequency(17888.0f), 10);
    EXPECT_EQ(bandOfFrequency(17890.0f), 11);
    EXPECT_EQ(bandOfFrequency(1000.0f), 6);
    EXPECT_EQ(bandOfFrequency(1414.0f), 6);
    EXPECT_EQ(bandOfFrequency(1415.0f), 7);

    EXPECT_EQ(displayAxes::paintedBands(3, 8), std::make_pair(4, 8));
    EXPECT_EQ(displayAxes::paintedBands(8, 3), std::make_pair(3, 7));
    EXPECT_EQ(displayAxes::paintedBands(5, 5), std::make_pair(5, 5));
}

TEST(DecayDisplayAxes, AnEarlierCurveWinsUnlessALaterOneIsMoreThanAPixelCloser)
{
    // Two level curves 4 pixels apart, tested in the order 3, 0.
    std::array<juce::Path, 4> paths;
    paths[3].startNewSubPath(0, 10);
    paths[3].lineTo(400, 10);
    paths[0].startNewSubPath(0, 14);
    paths[0].lineTo(400, 14);
    bool enabled[] = {true, true, true, true};
    const auto pick = [&](float y)
    {
        return displayAxes::pickCurve(
            {3, 0}, [&](int c) { return enabled[c]; },
            [&](int c) -> const juce::Path& { return paths[size_t(c)]; }, {200, y});
    };
    EXPECT_EQ(pick(11.0f), 3);
    EXPECT_EQ(pick(12.4f), 3) << "0.8 pixels closer is not enough";
    EXPECT_EQ(pick(12.6f), 0) << "1.2 pixels closer takes it";
    EXPECT_EQ(pick(23.9f), 0);
    EXPECT_EQ(pick(24.1f), -1) << "10 pixels away is too far";
    EXPECT_EQ(pick(0.5f), 3);
    enabled[3] = false;
    EXPECT_EQ(pick(10.0f), 0);
    enabled[0] = false;
    EXPECT_EQ(pick(14.0f), -1);
}

TEST_F(DecayDisplayTest, CurvesAreTheModelsDampingAtEveryPointAndFollowTheParameters)
{
    // The default sheet is steel, 2 by 1 m, with Decay 2 s and the damper at 1 kHz.
    const auto& damping = display->getDampingSettings();
    const auto& table = display->getBandDecayTable();
    const auto check = [&]
    {
        for (int c = 0; c < 4; ++c)
            for (auto p : display->getCurvePoints(c))
            {
                const float f = displayAxes::frequencyForX(p.x, W);
                const float rate =
                    c == 0   ? porousDamping(f, damping.decay, damping.porousFreq, damping.material)
                    : c == 1 ? viscousDamping(f, damping.thermalDampMult, damping.thermalFreqMult,
                                              damping.material)
                    : c == 2 ? radiationDamping(f, damping.radiationFreqMult, damping.radiationMult,
                                                damping.material, damping.dims)
                             : bandDamping(f, table);
                ASSERT_NEAR(p.y, LaminaDecayDisplay::yForDecay(6.9077554f / rate, H), 1e-3f)
                    << c << " at " << f;
            }
        for (auto p : display->getCombinedPoints())
        {
            const float f = displayAxes::frequencyForX(p.x, W);
            const float rate = dampingRate(
                f, damping.thermalDampMult, damping.decay, damping.thermalFreqMult, damping.radiationFreqMult,
                damping.radiationMult, damping.porousFreq, table, damping.viscousDepth, damping.porousDepth,
                damping.radiationDepth, damping.bandDepth, damping.material, damping.dims);
            ASSERT_NEAR(p.y, LaminaDecayDisplay::yForDecay(6.9077554f / rate, H), 1e-3f) << f;
        }
    };
    check();
    ASSERT_FALSE(display->getCurvePoints(0).empty());
    EXPECT_NEAR(display->getCurvePoints(0).front().x, 0.0f, 1e-6f);
    EXPECT_NEAR(display->getCurvePoints(0).back().x, W - 20, 1e-6f);

    // Worked rates of steel at 1 kHz and 100 Hz, read off the drawn curves.
    const auto timeAt = [&](int c, float hz)
    {
        const auto& points = c < 0 ? display->getCombinedPoints() : display->getCurvePoints(c);
        return LaminaDecayDisplay::decayForY(curveYAt(points, xOf(hz)), H);
    };
    EXPECT_NEAR(timeAt(1, 1000), 6.9077554f / 1.80029f, 0.02f);
    EXPECT_NEAR(timeAt(0, 1000), 6.9077554f / 1.89792f, 0.02f);
    EXPECT_NEAR(timeAt(2, 1000), 6.9077554f / 0.06213f, 2.0f);
    EXPECT_NEAR(timeAt(-1, 1000), 1.8367f, 0.01f);
    EXPECT_NEAR(timeAt(0, 100), 6.9077554f / 3.14303f, 0.02f);

    // A change of material and of the damper reaches the curves through the parameter callback.
    set("Material", 1.0f);
    set("Decay", 0.3f);
    EXPECT_EQ(damping.decay, get("Decay"));
    check();
    EXPECT_GT(std::abs(timeAt(0, 1000) - 6.9077554f / 1.89792f), 0.1f);
}

TEST_F(DecayDisplayTest, APaintedStrokeFillsEveryBandItCrossedAndTheCurvesFollow)
{
    // All bands start at 10000 s: the band curve runs along the top.
    EXPECT_LT(display->getCurvePoints(3)[10].y, 0.5f);
    const float y4s = H / 2;
    // Press on the band curve at 125 Hz (band 3) and sweep fast to 4 kHz (band 8): two events only.
    stroke(*display, {xOf(125), 2.0f}, {{xOf(4000), y4s}});
    tick();
    auto bands = bandDecays();
    EXPECT_FLOAT_EQ(bands[3], 10000.0f) << "the band the stroke left stays";
    for (int b = 4; b <= 8; ++b)
        EXPECT_NEAR(bands[size_t(b)], 4.0f, 1e-4f) << b;
    EXPECT_FLOAT_EQ(bands[9], 10000.0f);
    EXPECT_NEAR(LaminaDecayDisplay::decayForY(curveYAt(display->getCurvePoints(3), xOf(1000)), H), 4.0f,
                0.01f);
    EXPECT_FALSE(display->hasActiveCurve()) << "released";

    // Back down to the bottom over the same bands, and then past the bottom edge, which clamps to 0.1 s.
    stroke(*display, {xOf(4000), y4s}, {{xOf(1000), H - 1}, {xOf(300), H + 40}});
    tick();
    bands = bandDecays();
    EXPECT_NEAR(bands[8], 4.0f, 1e-4f);
    for (int b = 5; b <= 7; ++b)
        EXPECT_FLOAT_EQ(bands[size_t(b)], 0.1f) << b;
    EXPECT_FLOAT_EQ(bands[4], 0.1f);

    // The combined decay of the painted bands is now shorter than the band curve allows.
    for (float hz : {500.0f, 1000.0f})
        EXPECT_LT(LaminaDecayDisplay::decayForY(curveYAt(display->getCombinedPoints(), xOf(hz)), H),
                  0.1f + 1e-3f);

    display->menuItemChosen(LaminaDecayDisplay::resetBandDecayItem);
    tick();
    for (float seconds : bandDecays())
        EXPECT_FLOAT_EQ(seconds, 10000.0f);
    EXPECT_LT(curveYAt(display->getCurvePoints(3), xOf(1000)), 0.5f) << "the reset curve lies at the top";
    EXPECT_EQ(display->makeMenu().getNumItems(), 1);
}

TEST_F(DecayDisplayTest, APaintedBandRingsAsLongInTheAudioAsTheCombinedCurveSays)
{
    set("Mix", 1.0f);
    // Paint the bands from 4 kHz up to 0.2 s.
    const float y = LaminaDecayDisplay::yForDecay(0.2f, H);
    stroke(*display, {xOf(2000), 1.0f}, {{xOf(4000), y}, {xOf(19000), y}});
    tick();
    ASSERT_NEAR(sheet().getParameter(id("BandDecay8")), 0.2f, 1e-3f);
    ASSERT_NEAR(sheet().getParameter(id("BandDecay11")), 0.2f, 1e-3f);

    // The sheet's answer to an impulse, wet only.
    std::vector<float> response;
    std::vector<float> left(256), right(256);
    float* channels[] = {left.data(), right.data()};
    for (int b = 0; b < 160; ++b)
    {
        std::fill(left.begin(), left.end(), 0.0f);
        std::fill(right.begin(), right.end(), 0.0f);
        if (b == 0)
            left[0] = right[0] = 1.0f;
        PluginAudioBuffer buffer;
        buffer.setChannels(2, 256, channels);
        buffer.isSilent = false;
        plugin->process(buffer);
        response.insert(response.end(), left.begin(), left.end());
    }
    const auto curveDecay = [&](float hz)
    { return LaminaDecayDisplay::decayForY(curveYAt(display->getCombinedPoints(), xOf(hz)), H); };
    const double high = measuredDecay(response, 0.1, 0.2, 6000, 10000);
    const double low = measuredDecay(response, 0.1, 0.6, 300, 700);
    EXPECT_NEAR(high, curveDecay(8000), 0.2 * curveDecay(8000));
    EXPECT_NEAR(low, curveDecay(500), 0.2 * curveDecay(500));
    EXPECT_LT(curveDecay(8000), 0.2f);
    EXPECT_GT(curveDecay(500), 1.0f) << "the bands below were left alone";
}

TEST_F(DecayDisplayTest, SelectionFollowsTheOrderAndTheSwitchesAndADragMovesThePairInNormalisedUnits)
{
    const auto& damperPoints = display->getCurvePoints(0);
    const auto onDamper = damperPoints[damperPoints.size() / 2];
    display->mouseMove(mouseEvent(*display, onDamper, onDamper));
    ASSERT_TRUE(display->hasActiveCurve());
    EXPECT_EQ(display->getActiveCurve(), 0);
    EXPECT_EQ(display->getTooltip(), "Edit the Lamina's damper curve");

    // Far from every curve: nothing is active.
    display->mouseMove(mouseEvent(*display, {5, H / 2 + 100}, {5, H / 2 + 100}));
    EXPECT_FALSE(display->hasActiveCurve());
    EXPECT_EQ(display->getTooltip(), "Select or mouse over a curve to edit the lamina's decay behaviour");

    // Dragging the damper up by a tenth of the height and right by a tenth of the axis.
    const float decayBefore = sheet().getParameter(id("Decay"));
    plugin->setParameterNormalised(slot("Decay"), 0.5f);
    plugin->setParameterNormalised(slot("PorousFreq"), 0.5f);
    tick();
    ASSERT_NE(get("Decay"), decayBefore);
    const auto start = display->getCurvePoints(0)[display->getCurvePoints(0).size() / 2];
    stroke(*display, start, {start + juce::Point<float>((W - 20) * 0.1f, -H * 0.1f)});
    tick();
    EXPECT_NEAR(plugin->getParameterNormalised(slot("Decay")), 0.6f, 1e-3f);
    EXPECT_NEAR(plugin->getParameterNormalised(slot("PorousFreq")), 0.6f, 1e-3f);

    // A switched-off curve is never active, wherever the pointer is, and a stroke over it paints nothing.
    set("EnableBandDamp", 0.0f);
    set("EnablePorousDamp", 0.0f);
    for (int c : {3, 0})
        for (auto p : display->getCurvePoints(c))
        {
            display->mouseMove(mouseEvent(*display, p, p));
            ASSERT_TRUE(!display->hasActiveCurve() ||
                        (display->getActiveCurve() != 3 && display->getActiveCurve() != 0))
                << c << " at " << p.x;
        }
    stroke(*display, {xOf(125), 0.5f}, {{xOf(4000), H / 2}});
    tick();
    for (float seconds : bandDecays())
        EXPECT_FLOAT_EQ(seconds, 10000.0f);
}

} // namespace qor::test
