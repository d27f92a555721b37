#include "engine/parameter_format.h"

#include "engine/parameter_mapper.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace qor
{

namespace
{

constexpr const char* syncLabels[syncTableSize] = {
    "32/1", "16/1", "8/1",  "7/1",  "6/1",  "5/1",  "4/1",   "3/1",  "2/1",  "3/2",
    "1/1",  "3/4",  "2/3",  "1/2",  "3/8",  "1/3",  "1/4",   "3/16", "1/6",  "1/8",
    "3/32", "1/12", "1/16", "3/64", "1/24", "1/32", "3/128", "1/48", "1/64", "1/96"};

/** Three significant digits for a number already scaled into 1..1000 (or below 1 at the smallest scale). */
juce::String threeDigits(double value)
{
    const double a = std::fabs(value);
    const int decimals = a >= 99.95 ? 0 : (a >= 9.995 ? 1 : 2);
    return formatDecimals(value, decimals);
}

double roundToSignificant(double magnitude, int digits)
{
    if (magnitude <= 0.0 || !std::isfinite(magnitude))
        return magnitude;
    const double scale = std::pow(10.0, digits - 1 - int(std::floor(std::log10(magnitude))));
    return std::round(magnitude * scale) / scale;
}

bool startsWithWord(const juce::String& text, const char* word)
{
    return text.startsWithIgnoreCase(word);
}

std::optional<double> parseNumber(juce::String text)
{
    text = text.trim().replaceCharacter(',', '.');
    if (text.startsWithChar('+'))
        text = text.substring(1).trimStart();
    if (text.isEmpty())
        return std::nullopt;
    const std::string s = text.toStdString();
    double value = 0.0;
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    if (error != std::errc() || end == s.data())
        return std::nullopt;
    // Whatever follows the number must be space: the unit words have been removed by now.
    for (const char* p = end; p != s.data() + s.size(); ++p)
        if (*p != ' ')
            return std::nullopt;
    return value;
}

bool isInfinityWord(const juce::String& t)
{
    return t == "oo" || t.equalsIgnoreCase("inf") || t.equalsIgnoreCase("infinity");
}

/** Removes `suffix` (case-insensitive) from the end of `text`; true when it was there. */
bool takeSuffix(juce::String& text, const char* suffix)
{
    if (!text.endsWithIgnoreCase(suffix))
        return false;
    text = text.dropLastCharacters(int(std::strlen(suffix))).trimEnd();
    return true;
}

} // namespace

juce::String formatDecimals(double value, int decimals)
{
    if (!std::isfinite(value))
        return std::isnan(value) ? juce::String("nan") : juce::String(value > 0 ? "+oo" : "-oo");
    if (decimals <= 0)
    {
        const double r = std::round(value);
        return juce::String(static_cast<juce::int64>(r == 0.0 ? 0.0 : r));
    }
    juce::String text(value, decimals);
    // A negative value that rounds to zero prints as "-0.00": drop the sign.
    if (text.startsWithChar('-') && text.containsOnly("-0."))
        text = text.substring(1);
    return text;
}

juce::String formatPlain(double value)
{
    if (!std::isfinite(value))
        return formatDecimals(value, 0);
    if (value == 0.0)
        return "0";
    return juce::String(value);
}

juce::String formatScaledSeconds(double seconds, const juce::String& zeroText)
{
    if (seconds == 0.0)
        return zeroText;
    if (!std::isfinite(seconds))
        return formatDecimals(seconds, 0) + " s";
    // Choose the scale on the rounded value, so that 0.9996 s reads "1.00 s" and not "1000 ms".
    const double rounded = roundToSignificant(std::fabs(seconds), 3);
    if (rounded >= 1.0)
        return threeDigits(seconds) + " s";
    if (rounded >= 1.0e-3)
        return threeDigits(seconds * 1.0e3) + " ms";
    return threeDigits(seconds * 1.0e6) + " us";
}

juce::String formatSyncRow(int row)
{
    if (row < 0)
        row = 0;
    if (row >= int(syncTableSize))
        row = int(syncTableSize) - 1;
    return syncLabels[row];
}

juce::String formatUnitValue(int32_t unit, float value, bool syncToHost)
{
    if (syncToHost && isTempoSyncUnit(unit))
        return formatSyncRow(nearestSyncRow(value));

    const double v = double(value);
    switch (unit)
    {
    case ParameterUnit::plainPercent:
        return formatPlain(v) + "%";
    case ParameterUnit::percent:
        return formatDecimals(v * 100.0, 2) + "%";
    case ParameterUnit::seconds:
    case ParameterUnit::syncSeconds:
        return formatScaledSeconds(v, "0 s");
    case ParameterUnit::milliseconds:
    case ParameterUnit::syncMilliseconds:
        return formatScaledSeconds(v / 1000.0, "0 ms");
    case ParameterUnit::frequency:
        return formatFrequency(value);
    case ParameterUnit::decibels:
        if (std::isnan(value) || value <= silenceDecibels)
            return "-oo dB";
        return formatDecimals(v, 2) + " dB";
    case ParameterUnit::lowPass:
        return formatFrequency(value) + " LPF";
    case ParameterUnit::highPass:
        return formatFrequency(value) + " HPF";
    case ParameterUnit::pan:
    {
        const double percent = std::round(v * 100.0);
        if (percent == 0.0)
            return "Center";
        return (percent < 0.0 ? "Left " : "Right ") + formatDecimals(std::fabs(percent), 0);
    }
    case ParameterUnit::cents:
        return formatDecimals(v, 0) + " Cents";
    case ParameterUnit::semitones:
        return formatDecimals(v, v == std::round(v) ? 0 : 2) + " Semitones";
    case ParameterUnit::megabytes:
        if (v < 100.0)
            return formatDecimals(v, 1) + " MB";
        return formatDecimals(v, 0);
    default:
        return formatPlain(v);
    }
}

std::optional<ParsedValueText> parseValueText(const juce::String& input)
{
    juce::String text = input.trim();
    if (text.isEmpty())
        return std::nullopt;

    if (text.equalsIgnoreCase("None"))
        return ParsedValueText{0.0, ParsedValueText::Kind::plain};
    if (text.equalsIgnoreCase("Center") || text.equalsIgnoreCase("Centre"))
        return ParsedValueText{0.0, ParsedValueText::Kind::percent};
    for (const auto* side : {"Left", "Right"})
    {
        if (startsWithWord(text, side))
        {
            const auto n = parseNumber(text.substring(int(std::strlen(side))));
            if (!n)
                return std::nullopt;
            const double sign = side[0] == 'L' ? -1.0 : 1.0;
            return ParsedValueText{sign * *n, ParsedValueText::Kind::percent};
        }
    }
    if (text.startsWithChar('x') || text.startsWithChar('X'))
    {
        const auto n = parseNumber(text.substring(1));
        if (!n)
            return std::nullopt;
        return ParsedValueText{*n, ParsedValueText::Kind::plain};
    }
    if (text.startsWithChar('/'))
    {
        const auto n = parseNumber(text.substring(1));
        if (!n || *n == 0.0)
            return std::nullopt;
        return ParsedValueText{1.0 / *n, ParsedValueText::Kind::plain};
    }

    // Filter cut-offs carry their frequency text in front.
    if (!takeSuffix(text, "LPF"))
        takeSuffix(text, "HPF");

    // Words that only name the unit go first: "Cents" would otherwise pass for seconds.
    const bool namedUnit = takeSuffix(text, "dB") || takeSuffix(text, "Cents") ||
                           takeSuffix(text, "Semitones") || takeSuffix(text, "MB");

    ParsedValueText result;
    double scale = 1.0;
    if (namedUnit)
    {
        // The number stands as it is.
    }
    else if (takeSuffix(text, "kHz"))
    {
        result.kind = ParsedValueText::Kind::frequency;
        scale = 1000.0;
    }
    else if (takeSuffix(text, "Hz"))
    {
        result.kind = ParsedValueText::Kind::frequency;
    }
    else if (takeSuffix(text, "us"))
    {
        result.kind = ParsedValueText::Kind::seconds;
        scale = 1.0e-6;
    }
    else if (takeSuffix(text, "ms"))
    {
        result.kind = ParsedValueText::Kind::seconds;
        scale = 1.0e-3;
    }
    else if (takeSuffix(text, "sec") || takeSuffix(text, "s"))
    {
        result.kind = ParsedValueText::Kind::seconds;
    }
    else if (takeSuffix(text, "%"))
    {
        result.kind = ParsedValueText::Kind::percent;
    }

    const juce::String number = text.trim();
    if (number.startsWithChar('-') && isInfinityWord(number.substring(1).trim()))
        result.value = -std::numeric_limits<double>::infinity();
    else if (isInfinityWord(number) ||
             (number.startsWithChar('+') && isInfinityWord(number.substring(1).trim())))
        result.value = std::numeric_limits<double>::infinity();
    else if (const auto n = parseNumber(number))
        result.value = *n * scale;
    else
        return std::nullopt;
    return result;
}

std::optional<float> parseUnitValue(int32_t unit, const juce::String& text, bool syncToHost)
{
    if (isTempoSyncUnit(unit) && syncToHost)
    {
        const juce::String t = text.trim();
        for (int row = 0; row < int(syncTableSize); ++row)
            if (t == syncLabels[row])
                return syncTableValue(row);
    }

    const auto parsed = parseValueText(text);
    if (!parsed)
        return std::nullopt;
    double v = parsed->value;
    const bool inMilliseconds =
        unit == ParameterUnit::milliseconds || unit == ParameterUnit::syncMilliseconds;
    switch (parsed->kind)
    {
    case ParsedValueText::Kind::seconds:
        if (inMilliseconds)
            v *= 1000.0;
        break;
    case ParsedValueText::Kind::percent:
        if (unit != ParameterUnit::plainPercent)
            v /= 100.0;
        break;
    case ParsedValueText::Kind::plain:
        // A bare number on a pan or percent scale is read as the number shown.
        if (unit == ParameterUnit::pan || unit == ParameterUnit::percent)
            v /= 100.0;
        break;
    case ParsedValueText::Kind::frequency:
        break;
    }
    return float(v);
}

juce::String formatPercent(float value)
{
    if (value == 0.0f || value == 1.0f)
        return formatDecimals(value, 0) + " %";
    return formatDecimals(value, 1) + " %";
}

juce::String formatRatio(float value)
{
    if (!(value > 0.0f))
        return "None";
    if (value >= 1.0f)
        return "x " + formatDecimals(value, 2);
    return "/ " + formatDecimals(1.0 / double(value), 2);
}

juce::String formatTime(float value)
{
    if (value < 1.0f)
        return formatDecimals(double(value) * 1000.0, 0) + " ms";
    return formatDecimals(value, value >= 10000.0f ? 0 : 2) + " s";
}

juce::String formatFrequency(float value)
{
    if (value >= 1000.0f)
        return formatDecimals(double(value) / 1000.0, 2) + " kHz";
    return formatDecimals(value, 0) + " Hz";
}

} // namespace qor
