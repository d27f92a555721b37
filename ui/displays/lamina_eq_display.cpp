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
} // namespace

LaminaEQDisplay::LaminaEQDisplay(const EditorContext& c) : context(c)
{
    setComponentID("LaminaEQDisplay");
    for (int b = 0; b < numBindings; ++b)
    {
        auto follower = std::make_unique<ParamFollower>();
        follower->bind(context.proxy, context.elementPath,
                       b < bandGain0 ? juce::String(bindingNames[b])
                                     : "BandGain" + juce::String(b - bandGain0));
        bindings.push_back(std::move(follower));
    }
    for (auto& follower : bindings)
        follower->onChange = [this](float) { parametersChanged(); };
    setTooltip({});
    rebuildCurves();
}

LaminaEQDisplay::~LaminaEQDisplay()
{
    endGestures();
}

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

void LaminaEQDisplay::parametersChanged()
{
    if (hasActive && !isCurveEnabled(activeCurve))
        hasActive = false;
    rebuildCurves();
    repaint();
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
    for (size_t c = 0; c < numCurves; ++c)
    {
        curves[c].clear();
        // Kept a pixel inside the edges, so that a curve at its limit still shows whole.
        const auto inside = [h](juce::Point<float> p) { return p.withY(juce::jlimit(1.0f, h - 1.0f, p.y)); };
        curves[c].startNewSubPath(inside(points[c].front()));
        for (size_t i = 1; i < points[c].size(); ++i)
            curves[c].lineTo(inside(points[c][i]));
    }
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
        g.setColour(colour.withAlpha(0.2f));
        g.strokePath(curves[size_t(c)], juce::PathStrokeType(6.0f, juce::PathStrokeType::curved));
        g.setColour(colour);
        g.strokePath(curves[size_t(c)],
                     juce::PathStrokeType(bright ? 2.5f : 1.8f, juce::PathStrokeType::curved,
                                          juce::PathStrokeType::rounded));
    }
}

void LaminaEQDisplay::resized()
{
    rebuildCurves();
}

void LaminaEQDisplay::updateActive(juce::Point<float> point)
{
    const int picked = displayAxes::pickCurve(
        {bandEQ, lowCut}, [this](int c) { return isCurveEnabled(c); },
        [this](int c) -> const juce::Path& { return curves[size_t(c)]; }, point);
    const bool changed = (picked >= 0) != hasActive || (picked >= 0 && picked != activeCurve);
    hasActive = picked >= 0;
    if (hasActive)
        activeCurve = picked;
    if (changed)
        repaint();
}

void LaminaEQDisplay::mouseMove(const juce::MouseEvent& e)
{
    updateActive(e.position);
}

void LaminaEQDisplay::mouseExit(const juce::MouseEvent&)
{
    if (hasActive)
    {
        hasActive = false;
        repaint();
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
    if (item != resetEQItem)
        return;
    for (int b = 0; b < 12; ++b)
    {
        auto& band = binding(bandGain0 + b);
        band.beginGesture();
        band.setParameterValue(0.0f);
        band.endGesture();
    }
    parametersChanged();
}

void LaminaEQDisplay::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isPopupMenu())
    {
        juce::Component::SafePointer<LaminaEQDisplay> safe(this);
        makeMenu().showMenuAsync(juce::PopupMenu::Options().withTargetComponent(this),
                                 [safe](int item)
                                 {
                                     if (safe != nullptr)
                                         safe->menuItemChosen(item);
                                 });
        return;
    }
    updateActive(e.position);
    if (hasActive && activeCurve == lowCut)
    {
        dragStart = binding(lowCutFreq).getNormalisedValue();
        for (int b : {lowCutFreq, lowCutGain})
        {
            binding(b).beginGesture();
            gestures.push_back(&binding(b));
        }
    }
    lastBand = bandOfFrequency(displayAxes::frequencyForX(e.position.x, float(getWidth())));
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
    {
        const float gain = gainForY(juce::jlimit(1.0f, h - 1.0f, e.position.y), h);
        const int band = bandOfFrequency(displayAxes::frequencyForX(e.position.x, w));
        const auto [first, last] = displayAxes::paintedBands(lastBand, band);
        for (int b = first; b <= last; ++b)
        {
            auto& target = binding(bandGain0 + b);
            if (!target.isInGesture())
            {
                target.beginGesture();
                gestures.push_back(&target);
            }
            target.setParameterValue(gain);
        }
        lastBand = band;
    }
    // The bindings do not hear their own sends back.
    parametersChanged();
}

void LaminaEQDisplay::mouseUp(const juce::MouseEvent&)
{
    endGestures();
    hasActive = false;
    repaint();
}

void LaminaEQDisplay::endGestures()
{
    for (auto* b : gestures)
        b->endGesture();
    gestures.clear();
}

} // namespace qor
