#pragma once

#include <juce_core/juce_core.h>

namespace qor
{

// The value texts of the sheet's parameters.
juce::String formatLaminaTime(float seconds);
juce::String formatLaminaRatio(float value);
juce::String formatLaminaFrequency(float hertz);
/** value * 100 through formatLaminaPlainPercent. */
juce::String formatLaminaPercent(float value);
/** "%1 %" of the value as it stands: whole at exactly 0 or 1, one decimal from 10, else two. */
juce::String formatLaminaPlainPercent(float value);
juce::String formatTwoDecimals(float value);
juce::String formatNoDecimals(float value);
/** The material row's symbol: empty for "Steel". */
juce::String formatMaterialSymbol(int index);
juce::String formatQualityLabel(int index);
/** prefix + " 0", " 31", ... " 16k", " 20k" for the bands i = 0 to 11. */
juce::String laminaBandName(const juce::String& prefix, int i);

} // namespace qor
