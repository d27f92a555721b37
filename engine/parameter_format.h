#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>

namespace qor
{

/** Codes of `ParameterDescription<float>::unit`: they decide how a value is shown when no formatter is set.
 */
namespace ParameterUnit
{
constexpr int32_t none = 0;
constexpr int32_t plainPercent = 1;
constexpr int32_t percent = 2;
constexpr int32_t seconds = 3;
constexpr int32_t syncSeconds = 4;
constexpr int32_t milliseconds = 5;
constexpr int32_t syncMilliseconds = 6;
constexpr int32_t frequency = 7;
constexpr int32_t sync = 8;
constexpr int32_t decibels = 9;
constexpr int32_t lowPass = 10;
constexpr int32_t highPass = 11;
constexpr int32_t pan = 12;
constexpr int32_t cents = 13;
constexpr int32_t semitones = 14;
constexpr int32_t megabytes = 15;
} // namespace ParameterUnit

/** Units whose mapper follows the sync table while "SyncToHost" is on. */
constexpr bool isTempoSyncUnit(int32_t unit)
{
    return unit == ParameterUnit::syncSeconds || unit == ParameterUnit::syncMilliseconds ||
           unit == ParameterUnit::sync;
}

/** Levels at or below this, and -infinity or NaN, read "-oo dB": the floor of 24-bit audio, under which
    nothing a level parameter sets is audible. */
constexpr float silenceDecibels = -144.0f;

/** `value` with exactly `decimals` decimals (none at 0), '.' as the decimal point, never "-0". */
juce::String formatDecimals(double value, int decimals);
/** Up to six significant digits, trailing zeros dropped. */
juce::String formatPlain(double value);
/** Seconds scaled to "s", "ms" or "us" with three significant digits; `zeroText` for 0. */
juce::String formatScaledSeconds(double seconds, const juce::String& zeroText);
/** The label of a row of the sync table: its length as a fraction of a whole note, "1/4" for a quarter. */
juce::String formatSyncRow(int row);

/** The text of `value` in `unit`. With `syncToHost`, the tempo-synced units show the nearest sync row. */
juce::String formatUnitValue(int32_t unit, float value, bool syncToHost = false);

/** The inverse of formatUnitValue; accepts the unit texts and bare numbers in the unit's own scale.
    Empty when the text holds no number. "-oo" reads as -infinity. */
std::optional<float> parseUnitValue(int32_t unit, const juce::String& text, bool syncToHost = false);

/** What a value text says once its unit words are read. */
struct ParsedValueText
{
    enum class Kind
    {
        plain,
        percent,
        seconds,
        frequency
    };
    double value = 0.0;
    Kind kind = Kind::plain;
};
/** Reads a number with any of the unit words of formatUnitValue and of the shared formatters. Times come back
    in seconds, frequencies in hertz, percentages as the number written. */
std::optional<ParsedValueText> parseValueText(const juce::String& text);

/** "%1 %" of the value: 0 and 1 as whole numbers, others with 1 decimal. */
juce::String formatPercent(float value);
/** "x 2.00" from 1 up, "/ 2.00" below, "None" at 0 or less. */
juce::String formatRatio(float value);
/** Seconds: "%1 ms" below 1 s, else "%1 s" with 2 decimals, none from 10000 s. */
juce::String formatTime(float value);
/** "%1 kHz" with 2 decimals from 1000 Hz, else "%1 Hz" with none. */
juce::String formatFrequency(float value);

} // namespace qor
