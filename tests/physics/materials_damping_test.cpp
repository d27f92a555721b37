#include "modal/lamina/damping.h"
#include "modal/lamina/materials.h"
#include "modal/lamina/mode_synthesis.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qor
{
namespace
{

MonotoneCubicTable longBandDecay()
{
    MonotoneCubicTable table;
    std::array<float, 12> times;
    times.fill(10000);
    setBandDecayTable(table, times);
    return table;
}

TEST(Materials, StiffnessAndScaleOfEachMaterial)
{
    EXPECT_DOUBLE_EQ(laminaStiffness(materialAt(0)), 0.5832808380579081);
    EXPECT_NEAR(laminaScale(materialAt(0)), 1.0, 1e-12);
    EXPECT_NEAR(laminaScale(materialAt(1)), 0.0150189, 5e-8);
    EXPECT_NEAR(laminaScale(materialAt(2)), 0.0286109, 5e-8);
    EXPECT_NEAR(laminaScale(materialAt(3)), 1.0121212, 5e-8);
    // The row's constants give 0.02054538; the often quoted 0.0205448 does not follow from them.
    EXPECT_NEAR(laminaScale(materialAt(4)), 0.0205454, 5e-8);
    EXPECT_STREQ(materialAt(9).name, "Aluminium");
}

TEST(Materials, QualityFromOldModeCountWalksTheTableFromTheTop)
{
    EXPECT_EQ(qualityForModeCount(6000), 0);
    EXPECT_EQ(qualityForModeCount(3000), 0);
    EXPECT_EQ(qualityForModeCount(50000), 0);
    EXPECT_EQ(qualityForModeCount(2999), 1);
    EXPECT_EQ(qualityForModeCount(0), 1);
    EXPECT_EQ(qualityForModeCount(-5), 1);
}

// Figures of the damping model for a 2 m x 1 m sheet with every multiplier at 1, Decay 2 s, damper at 1 kHz.
TEST(Damping, SteelTermsAtThreeFrequencies)
{
    const LaminaMaterial steel = materialAt(0);
    const LaminaDimensions dims{2, 1};
    EXPECT_NEAR(viscousDamping(100, 1, 1, steel), 0.44026, 5e-6);
    EXPECT_NEAR(porousDamping(100, 2, 1000, steel), 3.14303, 5e-6);
    EXPECT_NEAR(radiationDamping(100, 1, 1, steel, dims), 0.01899, 5e-6);
    EXPECT_NEAR(viscousDamping(1000, 1, 1, steel), 1.80029, 5e-6);
    EXPECT_NEAR(porousDamping(1000, 2, 1000, steel), 1.89792, 5e-6);
    EXPECT_NEAR(radiationDamping(1000, 1, 1, steel, dims), 0.06213, 5e-6);
    EXPECT_NEAR(viscousDamping(10000, 1, 1, steel), 3.64566, 5e-6);
    EXPECT_NEAR(porousDamping(10000, 2, 1000, steel), 0.62792, 5e-6);
    EXPECT_NEAR(radiationDamping(10000, 1, 1, steel, dims), 0.29718, 5e-6);
}

TEST(Damping, AluminiumTermsAt1kHz)
{
    const LaminaMaterial aluminium = materialAt(4);
    EXPECT_NEAR(viscousDamping(1000, 1, 1, aluminium), 0.24020, 5e-6);
    EXPECT_NEAR(porousDamping(1000, 2, 1000, aluminium), 1.84984, 5e-6);
    EXPECT_NEAR(radiationDamping(1000, 1, 1, aluminium, {2, 1}), 0.00367, 5e-6);
}

TEST(Damping, SteelTotalAt1kHzGivesItsDecayTime)
{
    const MonotoneCubicTable band = longBandDecay();
    EXPECT_NEAR(bandDamping(1000, band), 0.00069, 5e-6);
    const float rate = dampingRate(1000, 1, 2, 1, 1, 1, 1000, band, 1, 1, 1, 1, materialAt(0), {2, 1});
    EXPECT_NEAR(rate, 3.76103, 5e-5);
    EXPECT_NEAR(ln1000 / rate, 1.8367, 5e-5);

    DampingSettings settings;
    EXPECT_EQ(settings.rateAt(1000, band), rate);

    settings.bandDepth = 0;
    EXPECT_FLOAT_EQ(settings.rateAt(1000, band), rate - bandDamping(1000, band));
    settings.viscousDepth = settings.porousDepth = settings.radiationDepth = 0;
    EXPECT_EQ(settings.rateAt(1000, band), 0.0f);
}

TEST(Damping, CoincidencePeakIsHighButFinite)
{
    // 1 / q lies at 31542.8 Hz for steel; halving the multiplier brings it to 15771.4 Hz.
    const LaminaMaterial steel = materialAt(0);
    const float atPeak = radiationDamping(15771.4f, 0.5f, 1, steel, {2, 1});
    EXPECT_TRUE(std::isfinite(atPeak));
    EXPECT_GT(atPeak, 1000.0f);
    EXPECT_LT(radiationDamping(8000, 0.5f, 1, steel, {2, 1}), 10.0f);
}

TEST(Damping, ThermalFreqMultMovesTheCornerButNotTheLevelAbove)
{
    // Far above both corners and with the viscous slope taken out by a tiny frequency ratio, only the
    // thermoelastic plateau 0.5 * t * coupling * relaxation / h^2 remains.
    LaminaMaterial m = materialAt(0);
    m.viscousFrequency = 1e30;
    const double plateau = 0.5 * m.thermalCoupling * m.thermalRelaxation / (m.thickness * m.thickness);
    EXPECT_NEAR(viscousDamping(20000, 1, 1, m), plateau, plateau * 1e-3);
    EXPECT_NEAR(viscousDamping(20000, 1, 0.5f, m), plateau, plateau * 1e-3);
    EXPECT_LT(viscousDamping(100, 1, 2, m), viscousDamping(100, 1, 1, m));
}

TEST(Damping, BandOfAFrequencyTurnsHalfwayBetweenCentres)
{
    EXPECT_EQ(bandOfFrequency(24.9f), 0);
    EXPECT_EQ(bandOfFrequency(30), 1);
    EXPECT_EQ(bandOfFrequency(1000), 6);
    EXPECT_EQ(bandOfFrequency(1410), 6);
    EXPECT_EQ(bandOfFrequency(1420), 7);
    EXPECT_EQ(bandOfFrequency(17000), 10);
    EXPECT_EQ(bandOfFrequency(17889), 11);
}

TEST(Damping, BandValueHoldsItsEndsAndHitsItsPoints)
{
    MonotoneCubicTable table;
    std::array<float, 12> gains{};
    for (int i = 0; i < 12; ++i)
        gains[static_cast<size_t>(i)] = static_cast<float>(i * i) - 20;
    setBandGainTable(table, gains);
    EXPECT_FLOAT_EQ(bandValueAt(1000, table), 16);
    EXPECT_FLOAT_EQ(bandValueAt(15.625f, table), -20);
    EXPECT_FLOAT_EQ(bandValueAt(1, table), -20);
    EXPECT_FLOAT_EQ(bandValueAt(32000, table), 101);
    EXPECT_FLOAT_EQ(bandValueAt(96000, table), 101);
}

// A flat curve must read exactly its value: the bank load skips the EQ look-up on a flat 0 dB curve.
TEST(MonotoneCubicTable, FlatTableIsFlatEverywhere)
{
    MonotoneCubicTable table;
    setBandGainTable(table, {});
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(table.tangent(i), 0.0f);
    for (float p = 0; p <= 11; p += 0.37f)
        EXPECT_EQ(table.valueAt(p), 0.0f);
}

TEST(MonotoneCubicTable, LastPointAndOutsideReadTheEnds)
{
    MonotoneCubicTable table;
    for (int i = 0; i < 12; ++i)
        table.setValue(i, static_cast<float>(3 * i + 1));
    table.buildTangents();
    EXPECT_EQ(table.valueAt(11), 34.0f);
    EXPECT_EQ(table.valueAt(50), 34.0f);
    EXPECT_EQ(table.valueAt(0), 1.0f);
    EXPECT_EQ(table.valueAt(-3), 1.0f);
    EXPECT_EQ(table.valueAt(NAN), 1.0f);
    // A straight line stays straight.
    EXPECT_FLOAT_EQ(table.valueAt(4.5f), 14.5f);
}

TEST(MonotoneCubicTable, StepDoesNotOvershootUnlessTheFlagIsOff)
{
    MonotoneCubicTable table;
    for (int i = 0; i < 12; ++i)
        table.setValue(i, i < 6 ? 0.0f : 1.0f);
    table.buildTangents();
    for (float p = 0; p <= 11; p += 0.05f)
    {
        const float v = table.valueAt(p);
        EXPECT_GE(v, 0.0f) << p;
        EXPECT_LE(v, 1.0f) << p;
    }
    EXPECT_FLOAT_EQ(table.valueAt(5.5f), 0.5f);

    // Without the limit the plain cubic rings past the step.
    table.setMonotone(false);
    table.buildTangents();
    float lowest = 0;
    for (float p = 0; p <= 11; p += 0.05f)
        lowest = std::min(lowest, table.valueAt(p));
    EXPECT_LT(lowest, 0.0f);
}

TEST(MonotoneCubicTable, RisingDataGivesRisingCurve)
{
    MonotoneCubicTable table;
    const float points[12] = {0, 0.1f, 0.1f, 0.5f, 0.9f, 0.91f, 0.92f, 2, 2, 2, 5, 6};
    for (int i = 0; i < 12; ++i)
        table.setValue(i, points[i]);
    table.buildTangents();
    float previous = table.valueAt(0);
    for (float p = 0.01f; p <= 11; p += 0.01f)
    {
        const float v = table.valueAt(p);
        EXPECT_GE(v, previous - 1e-6f) << p;
        previous = v;
    }
}

} // namespace
} // namespace qor
