#include "ui/displays/lamina_eq_display.h"

#include "modal/lamina/lamina.h"
#include "modal/lamina/signal_blocks.h"
#include "ui/displays/display_axes.h"

#include <cmath>
#include <complex>

namespace qor
{

namespace
{
constexpr double sineScale = 0.05 * 0.6283185307179586;
constexpr double sineOffset = 0.9510565162951535;
constexpr double sineSpan = 0.6498393924658127;
constexpr double inverseSineSpan = 1.5388417685876266;
constexpr float pointSpacing = 2.0f;

const juce::Colour lowCutDim{0xff99571d}, lowCutBright{0xfffd913d};
const juce::Colour bandDim{0xff0e6662}, bandBright{0xff2ac2b9};

const char* const bindingNames[] = {"LowCutGain", "LowCutFreq", "EnableEQ", "EnableLowcut"};

/** The gain of the sheet's low shelf at f, in dB. */
float lowShelfDb(float f, float corner, float gainDb, double sampleRate)
{
    const auto c = designLowShelf(double(corner) / sampleRate, gainDb, 0.0, 0.7071067811865476);
    const auto z = std::polar(1.0, -2.0 * 3.141592653589793 * double(f) / sampleRate);
    const auto h = (double(c.b0) + double(c.b1) * z + double(c.b2) * z * z) /
                   (1.0 + double(c.a1) * z + double(c.a2) * z * z);
    return float(20.0 * std::log10(std::max(std::abs(h), 1e-12)));
}

juce::StringArray parameterNames()
{
    juce::StringArray names(bindingNames, int(std::size(bindingNames)));
    for (int b = 0; b < 12; ++b)
        names.add("BandGain" + juce::String(b));
    return names;
}
} // namespace

LaminaEQDisplay::LaminaEQDisplay(const EditorContext& c)
    : CurveDisplay(c, parameterNames(), numCurves, {bandEQ, lowCut}, bandEQ)
{
    static_assert(std::size(bindingNames) == size_t(bandGain0));
    setComponentID("LaminaEQDisplay");
    rebuildCurves();
}

LaminaEQDisplay::~LaminaEQDisplay() = default;

float LaminaEQDisplay::yForGain(float db, float height)
{
    return float((1.0 - (std::sin(double(db) * sineScale) + sineOffset) * sineSpan) * double(height));
}

float LaminaEQDisplay::gainForY(float y, float height)
{
    const double s =
        juce::jlimit(-1.0, 1.0, (1.0 - double(y) / double(height)) * inverseSineSpan - sineOffset);
    return float(std::asin(s) / sineScale);
}

bool LaminaEQDisplay::isCurveEnabled(int curve) const
{
    if (curve == lowCut)
        return value(enableLowcut) > 0.5f;
    return curve == bandEQ && value(enableEQ) > 0.5f;
}

void LaminaEQDisplay::rebuildCurves()
{
    std::array<float, 12> gains{};
    for (size_t i = 0; i < 12; ++i)
        gains[i] = value(bandGain0 + int(i));
    setBandGainTable(gainTable, gains);

    const float w = float(getWidth()), h = float(getHeight());
    for (auto& p : points)
        p.clear();
    if (w <= 20.0f || h <= 0.0f)
        return;
    auto* sheet = dynamic_cast<Lamina*>(bindings.front()->getElement());
    const double sampleRate =
        sheet != nullptr && sheet->getSampleRate() > 0 ? sheet->getSampleRate() : 48000.0;
    const float corner = value(lowCutFreq), shelf = value(lowCutGain);
    for (float x = 0.0f;; x += pointSpacing)
    {
        x = std::min(x, w - 20.0f);
        const float f = displayAxes::frequencyForX(x, w);
        const float lowCutDb = corner > 0 ? lowShelfDb(f, corner, shelf, sampleRate) : 0.0f;
        points[lowCut].push_back({x, yForGain(juce::jlimit(minGain, maxGain, lowCutDb), h)});
        points[bandEQ].push_back({x, yForGain(juce::jlimit(minGain, maxGain, bandValueAt(f, gainTable)), h)});
        if (x >= w - 20.0f)
            break;
    }
    pathsFromPoints(h);
}

void LaminaEQDisplay::paint(juce::Graphics& g)
{
    const float w = float(getWidth()), h = float(getHeight());
    g.setFont(juce::Font(11.0f));
    for (int db = -40; db <= 20; db += 10)
    {
        const float y = yForGain(float(db), h);
        g.setColour(displayAxes::gridColour.withAlpha(db == 0 ? 0.6f : 0.3f));
        g.drawHorizontalLine(juce::roundToInt(y), 0.0f, w - 20.0f);
        g.setColour(displayAxes::gridColour);
        g.drawText(juce::String(db),
                   juce::Rectangle<float>(w - 30.0f, juce::jlimit(0.0f, h - 16.0f, y - 8.0f), 30.0f, 16.0f),
                   juce::Justification::right, false);
    }
    displayAxes::drawFrequencyGrid(g, w, h);
    for (int c : {lowCut, bandEQ})
    {
        if (!isCurveEnabled(c) || points[size_t(c)].empty())
            continue;
        const bool bright = hasActive && activeCurve == c;
        const auto colour =
            c == lowCut ? (bright ? lowCutBright : lowCutDim) : (bright ? bandBright : bandDim);
        juce::Path area(curves[size_t(c)]);
        const float zero = yForGain(0.0f, h);
        area.lineTo(points[size_t(c)].back().x, zero);
        area.lineTo(0.0f, zero);
        area.closeSubPath();
        g.setColour(colour.withAlpha(0.18f));
        g.fillPath(area);
        strokeCurve(g, curves[size_t(c)], colour, bright);
    }
}

juce::PopupMenu LaminaEQDisplay::makeMenu() const
{
    juce::PopupMenu menu;
    menu.addItem(resetEQItem, "Reset EQ curve");
    return menu;
}

void LaminaEQDisplay::menuItemChosen(int item)
{
    if (item == resetEQItem)
        resetBands(bandGain0, 0.0f);
}

void LaminaEQDisplay::mouseDown(const juce::MouseEvent& e)
{
    if (openMenuFor(e))
        return;
    updateActive(e.position);
    if (hasActive && activeCurve == lowCut)
    {
        dragStart = binding(lowCutFreq).getNormalisedValue();
        beginGestures({lowCutFreq, lowCutGain});
    }
    startPainting(e.position.x);
    juce::Component::mouseDown(e);
}

void LaminaEQDisplay::mouseDrag(const juce::MouseEvent& e)
{
    if (!hasActive || e.mods.isPopupMenu())
        return;
    const float w = float(getWidth()), h = float(getHeight());
    if (activeCurve == lowCut)
    {
        auto& frequency = binding(lowCutFreq);
        const float x =
            juce::jlimit(0.0f, 1.0f, dragStart + (e.position.x - e.mouseDownPosition.x) / (w - 20.0f));
        if (frequency.getNormalisedValue() != x)
            frequency.setNormalisedValue(x);
        const float gain = gainForY(juce::jlimit(0.0f, h, e.position.y), h);
        if (binding(lowCutGain).getParameterValue() != gain)
            binding(lowCutGain).setParameterValue(gain);
    }
    else
        paintBands(bandGain0, e.position.x, gainForY(juce::jlimit(1.0f, h - 1.0f, e.position.y), h));
    parametersChanged();
}

} // namespace qor
