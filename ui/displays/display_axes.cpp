#include "ui/displays/display_axes.h"

#include <cmath>
#include <limits>

namespace qor::displayAxes
{

namespace
{
constexpr float inverseLn1000 = 0.14476483f;
constexpr float labelHeight = 12.0f;
// The page's switches cover the lowest 30 pixels of the display; the labels stand just above them.
constexpr float labelBottom = 33.0f;

juce::String frequencyLabel(int hz)
{
    return hz >= 1000 ? juce::String(hz / 1000) + "k" : juce::String(hz);
}
} // namespace

float xForFrequency(float f, float width)
{
    return (width - 20.0f) * std::log(f / 20.0f) * inverseLn1000;
}

float frequencyForX(float x, float width)
{
    return 20.0f * std::pow(1000.0f, x / (width - 20.0f));
}

void drawFrequencyGrid(juce::Graphics& g, float width, float height)
{
    const juce::Font font(labelHeight);
    g.setFont(font);
    float previousEnd = -std::numeric_limits<float>::infinity();
    for (int decade = 10; decade <= 10000; decade *= 10)
        for (int digit = 1; digit <= 9; ++digit)
        {
            const int hz = digit * decade;
            if (hz < 20 || hz > 20000)
                continue;
            const float x = xForFrequency(float(hz), width);
            g.setColour(gridColour.withAlpha(digit == 1 ? 0.55f : 0.25f));
            g.drawVerticalLine(juce::roundToInt(x), 0.0f, height);
            if (digit != 1 && digit != 2 && digit != 5)
                continue;
            const auto text = frequencyLabel(hz);
            const float textWidth = float(font.getStringWidthFloat(text));
            const float start = x + 2.0f;
            if (start <= previousEnd + 2.0f || start + textWidth >= width - 20.0f)
                continue;
            g.setColour(gridColour);
            g.drawText(
                text,
                juce::Rectangle<float>(start, height - labelBottom - labelHeight, textWidth, labelHeight),
                juce::Justification::centredLeft, false);
            previousEnd = start + textWidth;
        }
}

float distanceToPath(const juce::Path& path, juce::Point<float> point)
{
    if (path.isEmpty())
        return std::numeric_limits<float>::infinity();
    juce::Point<float> nearest;
    path.getNearestPoint(point, nearest, {}, 0.6f);
    return nearest.getDistanceFrom(point);
}

int pickCurve(const std::vector<int>& order, const std::function<bool(int)>& enabled,
              const std::function<const juce::Path&(int)>& path, juce::Point<float> point)
{
    int picked = -1;
    float best = std::numeric_limits<float>::infinity();
    for (int id : order)
    {
        if (!enabled(id))
            continue;
        const float d = distanceToPath(path(id), point);
        if (d < 10.0f && d < best - 1.0f)
        {
            best = d;
            picked = id;
        }
    }
    return picked;
}

std::pair<int, int> paintedBands(int lastBand, int band)
{
    if (band > lastBand)
        return {lastBand + 1, band};
    if (band < lastBand)
        return {band, lastBand - 1};
    return {band, band};
}

} // namespace qor::displayAxes
