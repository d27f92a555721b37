#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <functional>

namespace qor::displayAxes
{

/** Grid and label colour of the right panel's displays. */
inline const juce::Colour gridColour{0xff737373};

/** The plot's frequency axis: 20 Hz at x = 0 to 20 kHz at width - 20, logarithmic. */
float xForFrequency(float f, float width);
float frequencyForX(float x, float width);

/** Vertical lines at 1..9 times the powers of ten from 20 Hz to 20 kHz, labelled at the digits 1, 2 and 5;
    a label that would touch the previous one or run past width - 20 is left out. */
void drawFrequencyGrid(juce::Graphics& g, float width, float height);

/** Where the pointer lies from a path, walked with a flatness of 0.6. */
float distanceToPath(const juce::Path& path, juce::Point<float> point);

/** The curve a pointer selects: the first of `order` whose distance is under 10 pixels, unless a later one is
    more than a pixel closer. Curves for which `enabled` is false never win. -1 when none. */
int pickCurve(const std::vector<int>& order, const std::function<bool(int)>& enabled,
              const std::function<const juce::Path&(int)>& path, juce::Point<float> point);

/** The bands a painting stroke fills when it moves from lastBand to band: the ones it entered, without the
    one it left, or band alone when it stayed. */
std::pair<int, int> paintedBands(int lastBand, int band);

} // namespace qor::displayAxes
