#include "ui/displays/lamina_decay_display.h"

#include "modal/lamina/mode_synthesis.h"
#include "ui/displays/display_axes.h"

#include <cmath>

namespace qor
{

namespace
{
struct CurveStyle
{
    juce::Colour dim, bright;
    const char* tooltip;
};

const CurveStyle styles[] = {
    {juce::Colour(0xff99589e), juce::Colour(0xff985a9d), "Edit the Lamina's damper curve"},
    {juce::Colour(0xff99571d), juce::Colour(0xfffd913d), "Edit the Lamina's viscoelastic damping curve"},
    {juce::Colour(0xff99241f), juce::Colour(0xfff23c3b), "Edit the Lamina's air radiation curve"},
    {juce::Colour(0xff0e6662), juce::Colour(0xff2ac2b9), "Edit the Lamina's octave band decay curve"}};

const char* const noCurveTooltip = "Select or mouse over a curve to edit the lamina's decay behaviour";

const char* const bindingNames[] = {"ViscousDamp",
                                    "PorousDamp",
                                    "RadiationDamp",
                                    "BandDamp",
                                    "Area",
                                    "AspectRatio",
                                    "Material",
                                    "Tension",
                                    "Decay",
                                    "PorousFreq",
                                    "ThermalDampMult",
                                    "ThermalFreqMult",
                                    "RadiationMult",
                                    "RadiationFreqMult",
                                    "EnablePorousDamp",
                                    "EnableViscousDamp",
                                    "EnableRadiationDamp",
                                    "EnableBandDamp"};

// Curves are evaluated every other pixel; the model functions are cheap enough for that on every change.
constexpr float pointSpacing = 2.0f;

juce::StringArray parameterNames()
{
    juce::StringArray names(bindingNames, int(std::size(bindingNames)));
    for (int b = 0; b < 12; ++b)
        names.add("BandDecay" + juce::String(b));
    return names;
}
} // namespace

LaminaDecayDisplay::LaminaDecayDisplay(const EditorContext& c)
    : CurveDisplay(c, parameterNames(), numCurves, {octaveBand, damper, friction, air}, octaveBand)
{
    static_assert(std::size(bindingNames) == size_t(bandDecay0));
    setComponentID("LaminaDecayDisplay");
    setRepaintsOnMouseActivity(false);
    setTooltip(noCurveTooltip);
    rebuildCurves();
}

LaminaDecayDisplay::~LaminaDecayDisplay() = default;

float LaminaDecayDisplay::yForDecay(float seconds, float height)
{
    if (std::isinf(seconds))
        return 0.0f;
    const float q = seconds / 4.0f;
    return (1.0f - q / (q + 1.0f)) * height;
}

float LaminaDecayDisplay::decayForY(float y, float height, bool useLogY)
{
    float seconds;
    if (useLogY)
    {
        const float rate = (height / y - 1.0f) * 3.0f;
        seconds = std::isinf(rate) ? 0.0f : 6.9077554f / rate;
    }
    else
    {
        const float v = 1.0f - y / height;
        seconds = (v / (1.0f - v)) * 4.0f;
    }
    if (std::isnan(seconds))
        seconds = maxDecay;
    return juce::jlimit(minDecay, maxDecay, seconds);
}

float LaminaDecayDisplay::decayOfRate(float rate)
{
    return std::isinf(rate) ? 0.0f : 6.9077554f / rate;
}

bool LaminaDecayDisplay::isCurveEnabled(int curve) const
{
    static constexpr int switches[] = {enablePorousDamp, enableViscousDamp, enableRadiationDamp,
                                       enableBandDamp};
    return curve >= 0 && curve < numCurves && value(switches[curve]) > 0.5f;
}

std::pair<int, int> LaminaDecayDisplay::pairOf(int curve) const
{
    switch (curve)
    {
    case damper:
        return {porousFreq, decay};
    case friction:
        return {thermalFreqMult, thermalDampMult};
    default:
        return {radiationFreqMult, radiationMult};
    }
}

void LaminaDecayDisplay::rebuildCurves()
{
    ModeSynthesisInputs inputs;
    inputs.area = value(area);
    inputs.aspectRatio = value(aspectRatio);
    inputs.tension = value(tension);
    inputs.material = juce::roundToInt(value(material));
    inputs.thermalDampMult = value(thermalDampMult);
    inputs.decay = value(decay);
    inputs.thermalFreqMult = value(thermalFreqMult);
    inputs.radiationFreqMult = value(radiationFreqMult);
    inputs.radiationMult = value(radiationMult);
    inputs.porousFreq = value(porousFreq);
    inputs.enableViscousDamp = value(enableViscousDamp) > 0.5f;
    inputs.enablePorousDamp = value(enablePorousDamp) > 0.5f;
    inputs.enableRadiationDamp = value(enableRadiationDamp) > 0.5f;
    inputs.enableBandDamp = value(enableBandDamp) > 0.5f;
    inputs.viscousDamp = value(viscousDamp);
    inputs.porousDamp = value(porousDamp);
    inputs.radiationDamp = value(radiationDamp);
    inputs.bandDamp = value(bandDamp);
    for (size_t i = 0; i < 12; ++i)
        inputs.bandDecay[i] = value(bandDecay0 + int(i));
    // A parameter not yet read (no element) holds 0, which the model divides by; keep the last good curves.
    if (inputs.decay <= 0 || inputs.porousFreq <= 0 || inputs.thermalFreqMult <= 0 ||
        inputs.radiationFreqMult <= 0 || inputs.area <= 0 || inputs.aspectRatio <= 0)
        return;
    damping = makeDampingSettings(inputs);
    setBandDecayTable(bandTable, inputs.bandDecay);

    const float w = float(getWidth()), h = float(getHeight());
    for (auto& p : points)
        p.clear();
    combinedPoints.clear();
    if (w <= 20.0f || h <= 0.0f)
        return;

    const auto& m = damping.material;
    for (float x = 0.0f;; x += pointSpacing)
    {
        x = std::min(x, w - 20.0f);
        const float f = displayAxes::frequencyForX(x, w);
        const float rates[] = {
            porousDamping(f, damping.decay, damping.porousFreq, m) * inputs.porousDamp,
            viscousDamping(f, damping.thermalDampMult, damping.thermalFreqMult, m) * inputs.viscousDamp,
            radiationDamping(f, damping.radiationFreqMult, damping.radiationMult, m, damping.dims) *
                inputs.radiationDamp,
            bandDamping(f, bandTable)};
        for (size_t c = 0; c < numCurves; ++c)
            points[c].push_back({x, yForDecay(decayOfRate(rates[c]), h)});
        combinedPoints.push_back({x, yForDecay(decayOfRate(damping.rateAt(f, bandTable)), h)});
        if (x >= w - 20.0f)
            break;
    }

    pathsFromPoints(h);
    combined.clear();
    combined.startNewSubPath(0.0f, h);
    for (const auto& p : combinedPoints)
        combined.lineTo(p);
    combined.lineTo(combinedPoints.back().x, h);
    combined.closeSubPath();
}

void LaminaDecayDisplay::paint(juce::Graphics& g)
{
    const float w = float(getWidth()), h = float(getHeight());
    const juce::Font font(11.0f);
    g.setFont(font);
    for (float t = 0.03125f; t <= 128.0f; t *= 2.0f)
    {
        const float y = yForDecay(t, h);
        g.setColour(displayAxes::gridColour.withAlpha(0.35f));
        g.drawHorizontalLine(juce::roundToInt(y), 0.0f, w - 20.0f);
        if (t < 0.5f || t > 64.0f)
            continue;
        g.setColour(displayAxes::gridColour);
        g.drawText(t < 1.0f ? juce::String(t, 1) : juce::String(int(t)),
                   juce::Rectangle<float>(w - 30.0f, y - 10.0f - 6.0f, 28.0f, 12.0f),
                   juce::Justification::right, false);
    }
    displayAxes::drawFrequencyGrid(g, w, h);

    if (combinedPoints.empty())
        return;
    g.setGradientFill(
        juce::ColourGradient(juce::Colour(0x60d8e6e4), 0.0f, 0.0f, juce::Colour(0x10d8e6e4), 0.0f, h, false));
    g.fillPath(combined);
    g.setColour(juce::Colour(0x90e8f0ee));
    g.strokePath(combined, juce::PathStrokeType(1.0f));

    for (int c : {damper, friction, air, octaveBand})
    {
        if (!isCurveEnabled(c))
            continue;
        const bool bright = hasActive && activeCurve == c;
        strokeCurve(g, curves[size_t(c)], bright ? styles[c].bright : styles[c].dim, bright);
    }
}

void LaminaDecayDisplay::activeCurveChanged()
{
    setTooltip(hasActive ? styles[activeCurve].tooltip : noCurveTooltip);
    repaint();
}

juce::PopupMenu LaminaDecayDisplay::makeMenu() const
{
    juce::PopupMenu menu;
    menu.addItem(resetBandDecayItem, "Reset band decay curve");
    return menu;
}

void LaminaDecayDisplay::menuItemChosen(int item)
{
    if (item == 1 || item == 2)
        logY = item == 1;
    if (item == resetBandDecayItem)
        resetBands(bandDecay0, maxDecay);
}

void LaminaDecayDisplay::mouseDown(const juce::MouseEvent& e)
{
    if (openMenuFor(e))
        return;
    updateActive(e.position);
    if (hasActive && activeCurve != octaveBand)
    {
        const auto [frequency, damp] = pairOf(activeCurve);
        dragStartX = binding(frequency).getNormalisedValue();
        dragStartY = binding(damp).getNormalisedValue();
        beginGestures({frequency, damp});
    }
    startPainting(e.position.x);
    juce::Component::mouseDown(e);
}

void LaminaDecayDisplay::mouseDrag(const juce::MouseEvent& e)
{
    if (!hasActive || e.mods.isPopupMenu())
        return;
    const float w = float(getWidth()), h = float(getHeight());
    if (activeCurve != octaveBand)
    {
        const auto [frequency, damp] = pairOf(activeCurve);
        const auto moved = e.position - e.mouseDownPosition;
        const float dx = moved.x / (w - 20.0f);
        const float dy = moved.y / h;
        // Up lengthens the decay: the damper's parameter is a time, the other two scale a rate.
        const float x = juce::jlimit(0.0f, 1.0f, dragStartX + dx);
        const float y = juce::jlimit(0.0f, 1.0f, activeCurve == damper ? dragStartY - dy : dragStartY + dy);
        for (auto [b, v] : {std::pair{frequency, x}, std::pair{damp, y}})
            if (binding(b).getNormalisedValue() != v)
                binding(b).setNormalisedValue(v);
        parametersChanged();
        return;
    }
    paintBands(bandDecay0, e.position.x, decayForY(juce::jlimit(1.0f, h - 1.0f, e.position.y), h, logY));
    parametersChanged();
}

} // namespace qor
