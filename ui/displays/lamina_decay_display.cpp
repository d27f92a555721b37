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
} // namespace

LaminaDecayDisplay::LaminaDecayDisplay(const EditorContext& c) : context(c)
{
    setComponentID("LaminaDecayDisplay");
    setRepaintsOnMouseActivity(false);
    for (int b = 0; b < numBindings; ++b)
    {
        auto follower = std::make_unique<ParamFollower>();
        const juce::String name =
            b < bandDecay0 ? juce::String(bindingNames[b]) : "BandDecay" + juce::String(b - bandDecay0);
        follower->bind(context.proxy, context.elementPath, name);
        bindings.push_back(std::move(follower));
    }
    for (auto& follower : bindings)
        follower->onChange = [this](float) { parametersChanged(); };
    updateTooltip();
    rebuildCurves();
}

LaminaDecayDisplay::~LaminaDecayDisplay()
{
    endGestures();
}

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

void LaminaDecayDisplay::parametersChanged()
{
    if (!isCurveEnabled(activeCurve) && hasActive)
    {
        hasActive = false;
        updateTooltip();
    }
    rebuildCurves();
    repaint();
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

    for (size_t c = 0; c < numCurves; ++c)
    {
        curves[c].clear();
        // Kept a pixel inside the edges, so that a curve at its limit still shows whole.
        const auto inside = [h](juce::Point<float> p) { return p.withY(juce::jlimit(1.0f, h - 1.0f, p.y)); };
        curves[c].startNewSubPath(inside(points[c].front()));
        for (size_t i = 1; i < points[c].size(); ++i)
            curves[c].lineTo(inside(points[c][i]));
    }
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
        const auto colour = bright ? styles[c].bright : styles[c].dim;
        g.setColour(colour.withAlpha(0.2f));
        g.strokePath(curves[size_t(c)], juce::PathStrokeType(6.0f, juce::PathStrokeType::curved));
        g.setColour(colour);
        g.strokePath(curves[size_t(c)],
                     juce::PathStrokeType(bright ? 2.5f : 1.8f, juce::PathStrokeType::curved,
                                          juce::PathStrokeType::rounded));
    }
}

void LaminaDecayDisplay::resized()
{
    rebuildCurves();
}

void LaminaDecayDisplay::updateActive(juce::Point<float> point)
{
    const int picked = displayAxes::pickCurve(
        {octaveBand, damper, friction, air}, [this](int c) { return isCurveEnabled(c); },
        [this](int c) -> const juce::Path& { return curves[size_t(c)]; }, point);
    const bool had = hasActive;
    const int previous = activeCurve;
    hasActive = picked >= 0;
    if (hasActive)
        activeCurve = picked;
    if (had != hasActive || previous != activeCurve)
    {
        updateTooltip();
        repaint();
    }
}

void LaminaDecayDisplay::updateTooltip()
{
    setTooltip(hasActive ? styles[activeCurve].tooltip : noCurveTooltip);
}

void LaminaDecayDisplay::mouseMove(const juce::MouseEvent& e)
{
    updateActive(e.position);
}

void LaminaDecayDisplay::mouseExit(const juce::MouseEvent&)
{
    if (hasActive)
    {
        hasActive = false;
        updateTooltip();
        repaint();
    }
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
    if (item != resetBandDecayItem)
        return;
    for (int b = 0; b < 12; ++b)
    {
        auto& band = binding(bandDecay0 + b);
        band.beginGesture();
        band.setParameterValue(maxDecay);
        band.endGesture();
    }
    parametersChanged();
}

void LaminaDecayDisplay::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isPopupMenu())
    {
        juce::Component::SafePointer<LaminaDecayDisplay> safe(this);
        makeMenu().showMenuAsync(juce::PopupMenu::Options().withTargetComponent(this),
                                 [safe](int item)
                                 {
                                     if (safe != nullptr)
                                         safe->menuItemChosen(item);
                                 });
        return;
    }
    updateActive(e.position);
    if (hasActive && activeCurve != octaveBand)
    {
        const auto [frequency, damp] = pairOf(activeCurve);
        dragStartX = binding(frequency).getNormalisedValue();
        dragStartY = binding(damp).getNormalisedValue();
        for (int b : {frequency, damp})
        {
            binding(b).beginGesture();
            gestures.push_back(&binding(b));
        }
    }
    lastBand = bandOfFrequency(displayAxes::frequencyForX(e.position.x, float(getWidth())));
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
    const float y = juce::jlimit(1.0f, h - 1.0f, e.position.y);
    const float seconds = decayForY(y, h, logY);
    const int band = bandOfFrequency(displayAxes::frequencyForX(e.position.x, w));
    const auto [first, last] = displayAxes::paintedBands(lastBand, band);
    for (int b = first; b <= last; ++b)
    {
        auto& target = binding(bandDecay0 + b);
        if (!target.isInGesture())
        {
            target.beginGesture();
            gestures.push_back(&target);
        }
        target.setParameterValue(seconds);
    }
    lastBand = band;
    // The bindings do not hear their own sends back.
    parametersChanged();
}

void LaminaDecayDisplay::mouseUp(const juce::MouseEvent&)
{
    endGestures();
    hasActive = false;
    updateTooltip();
    repaint();
}

void LaminaDecayDisplay::endGestures()
{
    for (auto* b : gestures)
        b->endGesture();
    gestures.clear();
}

} // namespace qor
