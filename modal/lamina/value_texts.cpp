#include "modal/lamina/value_texts.h"

#include "engine/parameter_format.h"
#include "modal/lamina/band_table.h"
#include "modal/lamina/materials.h"

#include <cmath>

namespace qor
{

juce::String formatLaminaTime(float seconds)
{
    if (seconds < 1.0f)
        return formatDecimals(static_cast<double>(seconds) * 1000.0, 0) + " ms";
    if (seconds < 10.0f)
        return formatDecimals(seconds, 2) + " s";
    if (seconds < 100.0f)
        return formatDecimals(seconds, 1) + " s";
    const double whole = std::floor(static_cast<double>(seconds) + 0.5);
    if (whole >= 10000.0)
        return "+oo";
    return formatDecimals(whole, 0) + " s";
}

juce::String formatLaminaRatio(float value)
{
    if (value > 0.0f)
        return value >= 1.0f ? "x " + formatDecimals(value, 2)
                             : "/ " + formatDecimals(1.0 / static_cast<double>(value), 2);
    return "None";
}

juce::String formatLaminaFrequency(float hertz)
{
    if (hertz >= 1000.0f)
        return formatDecimals(static_cast<double>(hertz) * 0.001, 2) + " kHz";
    return formatDecimals(hertz, 0) + " Hz";
}

juce::String formatLaminaPercent(float value)
{
    return formatLaminaPlainPercent(value * 100.0f);
}

juce::String formatLaminaPlainPercent(float value)
{
    if (value == 0.0f || value == 1.0f)
        return formatDecimals(value, 0) + " %";
    return formatDecimals(value, value >= 10.0f ? 1 : 2) + " %";
}

juce::String formatTwoDecimals(float value)
{
    return formatDecimals(value, 2);
}

juce::String formatNoDecimals(float value)
{
    return formatDecimals(value, 0);
}

juce::String formatMaterialSymbol(int index)
{
    return materialAt(index).symbol;
}

juce::String formatQualityLabel(int index)
{
    return qualityAt(index).label;
}

juce::String laminaBandName(const juce::String& prefix, int i)
{
    if (i <= 0)
        return prefix + " 0";
    if (i >= 11)
        return prefix + " 20k";
    const int c = static_cast<int>(std::trunc(bandFrequency(i)));
    return prefix + " " + (c < 1000 ? juce::String(c) : juce::String(c / 1000) + "k");
}

} // namespace qor
