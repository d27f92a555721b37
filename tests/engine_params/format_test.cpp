#include "engine/parameter_format.h"
#include "engine/parameter_mapper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qor
{
namespace
{

std::string text(int32_t unit, float value, bool sync = false)
{
    return formatUnitValue(unit, value, sync).toStdString();
}

TEST(FormatTest, Decibels)
{
    EXPECT_EQ(text(ParameterUnit::decibels, -6.0f), "-6.00 dB");
    EXPECT_EQ(text(ParameterUnit::decibels, -0.001f), "0.00 dB");
    EXPECT_EQ(text(ParameterUnit::decibels, silenceDecibels), "-oo dB");
    EXPECT_EQ(text(ParameterUnit::decibels, -std::numeric_limits<float>::infinity()), "-oo dB");
    EXPECT_EQ(text(ParameterUnit::decibels, std::numeric_limits<float>::quiet_NaN()), "-oo dB");
}

TEST(FormatTest, ScaledSeconds)
{
    EXPECT_EQ(text(ParameterUnit::seconds, 0.0f), "0 s");
    EXPECT_EQ(text(ParameterUnit::seconds, 12.34f), "12.3 s");
    EXPECT_EQ(text(ParameterUnit::seconds, 0.5f), "500 ms");
    EXPECT_EQ(text(ParameterUnit::seconds, 0.00123f), "1.23 ms");
    EXPECT_EQ(text(ParameterUnit::seconds, 0.000123f), "123 us");
    // Rounding decides the scale: no "1000 ms".
    EXPECT_EQ(text(ParameterUnit::seconds, 0.9996f), "1.00 s");
    EXPECT_EQ(text(ParameterUnit::seconds, -0.25f), "-250 ms");

    EXPECT_EQ(text(ParameterUnit::milliseconds, 0.0f), "0 ms");
    EXPECT_EQ(text(ParameterUnit::milliseconds, 1500.0f), "1.50 s");
    EXPECT_EQ(text(ParameterUnit::milliseconds, 0.5f), "500 us");
    EXPECT_EQ(text(ParameterUnit::syncMilliseconds, 20.0f), "20.0 ms");
}

TEST(FormatTest, SyncedUnitsShowTheRow)
{
    EXPECT_EQ(text(ParameterUnit::syncSeconds, 1.0f, true), "1/4");
    EXPECT_EQ(text(ParameterUnit::sync, 8.0f / 3.0f, true), "2/3");
    EXPECT_EQ(text(ParameterUnit::syncSeconds, 0.8f, true), "3/16");
    // Not a tempo-synced unit: the flag changes nothing.
    EXPECT_EQ(text(ParameterUnit::seconds, 1.0f, true), "1.00 s");
}

TEST(FormatTest, OtherUnits)
{
    EXPECT_EQ(text(ParameterUnit::plainPercent, 20.0f), "20%");
    EXPECT_EQ(text(ParameterUnit::plainPercent, 0.2f), "0.2%");
    EXPECT_EQ(text(ParameterUnit::percent, 0.3f), "30.00%");
    EXPECT_EQ(text(ParameterUnit::frequency, 440.0f), "440 Hz");
    EXPECT_EQ(text(ParameterUnit::lowPass, 2500.0f), "2.50 kHz LPF");
    EXPECT_EQ(text(ParameterUnit::highPass, 80.0f), "80 Hz HPF");
    EXPECT_EQ(text(ParameterUnit::pan, -0.25f), "Left 25");
    EXPECT_EQ(text(ParameterUnit::pan, 0.004f), "Center");
    EXPECT_EQ(text(ParameterUnit::cents, -12.4f), "-12 Cents");
    EXPECT_EQ(text(ParameterUnit::semitones, 0.5f), "0.50 Semitones");
    EXPECT_EQ(text(ParameterUnit::megabytes, 12.5f), "12.5 MB");
    EXPECT_EQ(text(ParameterUnit::megabytes, 512.0f), "512");
    EXPECT_EQ(text(ParameterUnit::none, 10000.0f), "10000");
}

TEST(FormatTest, SharedFormatters)
{
    EXPECT_EQ(formatRatio(4.0f), "x 4.00");
    EXPECT_EQ(formatRatio(0.5f), "/ 2.00");
    EXPECT_EQ(formatRatio(-1.0f), "None");

    EXPECT_EQ(formatPercent(1.0f), "1 %");
    EXPECT_EQ(formatPercent(0.5f), "0.5 %");
    EXPECT_EQ(formatPercent(42.26f), "42.3 %");

    EXPECT_EQ(formatTime(0.0f), "0 ms");
    EXPECT_EQ(formatTime(2.0f), "2.00 s");
    EXPECT_EQ(formatTime(12345.6f), "12346 s");

    EXPECT_EQ(formatFrequency(999.0f), "999 Hz");
    EXPECT_EQ(formatFrequency(20000.0f), "20.00 kHz");
}

// Halves round away from zero, and a negative value that rounds to zero loses its sign.
TEST(FormatTest, DecimalsRoundHalvesAwayFromZeroAndShowNoNegativeZero)
{
    EXPECT_EQ(formatDecimals(1.5, 2), "1.50");
    EXPECT_EQ(formatDecimals(-0.004, 2), "0.00");
    EXPECT_EQ(formatDecimals(2.5, 0), "3");
    EXPECT_EQ(formatDecimals(-2.5, 0), "-3");
}

/** Parsing the text of a value gives back the value, to the precision the text keeps. */
void expectRoundTrip(int32_t unit, float value, double relative, bool sync = false)
{
    const juce::String shown = formatUnitValue(unit, value, sync);
    const auto back = parseUnitValue(unit, shown, sync);
    ASSERT_TRUE(back.has_value()) << shown;
    EXPECT_NEAR(*back, value, 1.0e-6 + std::fabs(value) * relative) << "unit " << unit << " text " << shown;
}

TEST(FormatTest, ParseInvertsFormat)
{
    for (float v : {0.0f, 1.0e-6f, 0.000123f, 0.0123f, 0.5f, 1.0f, 12.3f, 456.0f})
        expectRoundTrip(ParameterUnit::seconds, v, 5.0e-3);
    for (float v : {0.0f, 0.5f, 20.0f, 250.0f, 1500.0f})
        expectRoundTrip(ParameterUnit::milliseconds, v, 5.0e-3);
    for (float v : {0.0f, 0.2f, 0.33f, 1.0f})
        expectRoundTrip(ParameterUnit::percent, v, 1.0e-4);
    for (float v : {0.0f, 0.2f, 20.0f})
        expectRoundTrip(ParameterUnit::plainPercent, v, 1.0e-6);
    for (float v : {10.0f, 440.0f, 1200.0f, 20000.0f})
        expectRoundTrip(ParameterUnit::frequency, v, 5.0e-3);
    for (float v : {-40.0f, -6.5f, 0.0f, 12.25f})
        expectRoundTrip(ParameterUnit::decibels, v, 1.0e-3);
    for (float v : {-1.0f, -0.25f, 0.0f, 0.5f})
        expectRoundTrip(ParameterUnit::pan, v, 1.0e-6);
    for (float v : {-12.0f, 7.0f})
    {
        expectRoundTrip(ParameterUnit::cents, v, 1.0e-6);
        expectRoundTrip(ParameterUnit::semitones, v, 1.0e-6);
    }
    expectRoundTrip(ParameterUnit::lowPass, 2500.0f, 1.0e-6);
    expectRoundTrip(ParameterUnit::megabytes, 12.5f, 1.0e-6);
    expectRoundTrip(ParameterUnit::none, 0.125f, 1.0e-6);
    for (int row = 0; row < 30; ++row)
        expectRoundTrip(ParameterUnit::syncSeconds, syncTableValue(row), 1.0e-6, true);
}

TEST(FormatTest, ParseAcceptsUnitWordsAndRejectsJunk)
{
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::seconds, "250 ms"), 0.25f);
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::seconds, "2"), 2.0f);
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::milliseconds, "2 s"), 2000.0f);
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::milliseconds, "35"), 35.0f);
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::frequency, "1,5 kHz"), 1500.0f);
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::percent, "30"), 0.3f);
    EXPECT_EQ(*parseUnitValue(ParameterUnit::decibels, "-oo dB"), -std::numeric_limits<float>::infinity());
    EXPECT_FLOAT_EQ(*parseUnitValue(ParameterUnit::cents, "-12 Cents"), -12.0f);
    EXPECT_FALSE(parseUnitValue(ParameterUnit::seconds, "").has_value());
    EXPECT_FALSE(parseUnitValue(ParameterUnit::seconds, "fast").has_value());
    EXPECT_FALSE(parseUnitValue(ParameterUnit::seconds, "12 parsecs").has_value());

    EXPECT_DOUBLE_EQ(parseValueText("x 1.00")->value, 1.0);
    EXPECT_DOUBLE_EQ(parseValueText("/ 2.00")->value, 0.5);
    EXPECT_DOUBLE_EQ(parseValueText("None")->value, 0.0);
    EXPECT_EQ(parseValueText("+oo")->value, std::numeric_limits<double>::infinity());
}

} // namespace
} // namespace qor
