#include "ui/shell/knob_scales.h"

#include "ui/look/colours.h"
#include "ui/look/look_and_feel.h"

namespace qor::knobScales
{

juce::Point<float> point(juce::Point<float> centre, float y, float normalised)
{
    return juce::Point<float>(centre.x, y)
        .transformedBy(
            juce::AffineTransform::rotation(QorLookAndFeel::knobAngle(normalised), centre.x, centre.y));
}

juce::Line<float> tick(juce::Point<float> centre, float y0, float y1, float normalised)
{
    return {point(centre, y0, normalised), point(centre, y1, normalised)};
}

KnobScale decay(const ScaleNormaliser& normalise)
{
    KnobScale scale;
    const std::pair<float, const char*> labelled[] = {{0.2f, ".2"},  {0.5f, ".5"},  {1.0f, "1"},
                                                      {2.0f, "2"},   {4.0f, "4"},   {8.0f, "8"},
                                                      {16.0f, "16"}, {32.0f, "32"}, {10000.0f, "oo"}};
    for (auto [value, text] : labelled)
    {
        const float x = normalise(value);
        scale.labels.push_back(
            {juce::Rectangle<float>(16.0f, 16.0f).withCentre(point(decayCentre, 445.0f, x)), text});
        scale.ticks.push_back(tick(decayCentre, 458.0f, 453.0f, x));
    }
    for (int i = 3; i <= 19; ++i)
        scale.ticks.push_back(
            tick(decayCentre, 458.0f, 457.0f - 0.15f * float(i), normalise(float(i) * 0.1f)));
    for (int v = 3; v <= 15; ++v)
        scale.ticks.push_back(tick(decayCentre, 458.0f, 457.0f - 0.2f * float(v), normalise(float(v))));
    for (float v : {20.0f, 60.0f})
        scale.ticks.push_back(tick(decayCentre, 458.0f, 456.0f, normalise(v)));
    return scale;
}

KnobScale mix(const ScaleNormaliser& normalise)
{
    KnobScale scale;
    for (int i = 0; i <= 20; ++i)
    {
        const float length = i % 10 == 0 ? 8.0f : i % 2 == 0 ? 4.0f : 2.0f;
        scale.ticks.push_back(tick(mixCentre, 458.0f, 458.0f - length, normalise(float(i) * 0.05f)));
    }
    return scale;
}

KnobScale lowCutGain(const ScaleNormaliser& normalise)
{
    KnobScale scale;
    for (int i = 0; i <= 40; ++i)
    {
        const float length = i % 10 == 0 ? 8.0f : i % 3 == 0 ? 4.0f : 2.0f;
        scale.ticks.push_back(tick(lowCutGainCentre, 458.0f, 458.0f - length, normalise(-float(i))));
    }
    return scale;
}

void paint(juce::Graphics& g, const KnobScale& scale, const juce::Font& font, bool drawLabels)
{
    g.setColour(juce::Colours::white.withAlpha(colours::scaleAlpha));
    for (const auto& line : scale.ticks)
        g.drawLine(line, 1.0f);
    if (!drawLabels)
        return;
    g.setFont(font);
    for (const auto& label : scale.labels)
        g.drawText(label.text, label.box, juce::Justification::centred, false);
}

} // namespace qor::knobScales
