#pragma once

#include <juce_graphics/juce_graphics.h>

#include <functional>
#include <vector>

namespace qor
{

/** The scale painted around a main knob: tick lines and labelled boxes, in editor coordinates. */
struct KnobScale
{
    struct Label
    {
        juce::Rectangle<float> box;
        juce::String text;
    };
    std::vector<juce::Line<float>> ticks;
    std::vector<Label> labels;
};

/** Maps a value in the parameter's unit to the knob's normalised position. */
using ScaleNormaliser = std::function<float(float value)>;

namespace knobScales
{
/** The point at height `y` on the vertical through `centre`, turned about it by the knob angle of
    `normalised`. */
juce::Point<float> point(juce::Point<float> centre, float y, float normalised);
/** A tick from height y0 to y1 turned likewise. */
juce::Line<float> tick(juce::Point<float> centre, float y0, float y1, float normalised);

const juce::Point<float> decayCentre{62.0f, 488.0f};
const juce::Point<float> mixCentre{210.0f, 488.0f};
const juce::Point<float> lowCutGainCentre{347.0f, 488.0f};

/** Labels .2 to 32 and "oo" (10000 s) at y 445, major and minor ticks. */
KnobScale decay(const ScaleNormaliser& normalise);
/** 21 ticks at steps of 0.05. */
KnobScale mix(const ScaleNormaliser& normalise);
/** Ticks at 0 to -40 dB. */
KnobScale lowCutGain(const ScaleNormaliser& normalise);

/** Draws ticks and labels in white at the theme's alpha; the labels in `font` (height 10). */
void paint(juce::Graphics& g, const KnobScale& scale, const juce::Font& font, bool drawLabels);
} // namespace knobScales

} // namespace qor
