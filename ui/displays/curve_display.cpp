#include "ui/displays/curve_display.h"

#include "modal/lamina/band_table.h"
#include "ui/displays/display_axes.h"

namespace qor
{

CurveDisplay::CurveDisplay(const EditorContext& c, const juce::StringArray& parameterNames, int numCurves,
                           std::vector<int> order, int firstActiveCurve)
    : context(c), curves(size_t(numCurves)), points(size_t(numCurves)), activeCurve(firstActiveCurve),
      pickOrder(std::move(order))
{
    for (const auto& name : parameterNames)
    {
        auto follower = std::make_unique<ParamFollower>();
        follower->bind(context.proxy, context.elementPath, name);
        bindings.push_back(std::move(follower));
    }
    for (auto& follower : bindings)
        follower->onChange = [this](float) { parametersChanged(); };
}

CurveDisplay::~CurveDisplay()
{
    endGestures();
}

void CurveDisplay::resized()
{
    rebuildCurves();
}

void CurveDisplay::activeCurveChanged()
{
    repaint();
}

void CurveDisplay::parametersChanged()
{
    if (hasActive && !isCurveEnabled(activeCurve))
    {
        hasActive = false;
        activeCurveChanged();
    }
    rebuildCurves();
    repaint();
}

void CurveDisplay::updateActive(juce::Point<float> point)
{
    const int picked = displayAxes::pickCurve(
        pickOrder, [this](int c) { return isCurveEnabled(c); },
        [this](int c) -> const juce::Path& { return curves[size_t(c)]; }, point);
    const bool changed = (picked >= 0) != hasActive || (picked >= 0 && picked != activeCurve);
    hasActive = picked >= 0;
    if (hasActive)
        activeCurve = picked;
    if (changed)
        activeCurveChanged();
}

void CurveDisplay::pathsFromPoints(float h)
{
    const auto inside = [h](juce::Point<float> p) { return p.withY(juce::jlimit(1.0f, h - 1.0f, p.y)); };
    for (size_t c = 0; c < curves.size(); ++c)
    {
        curves[c].clear();
        if (points[c].empty())
            continue;
        curves[c].startNewSubPath(inside(points[c].front()));
        for (size_t i = 1; i < points[c].size(); ++i)
            curves[c].lineTo(inside(points[c][i]));
    }
}

void CurveDisplay::mouseMove(const juce::MouseEvent& e)
{
    updateActive(e.position);
}

void CurveDisplay::mouseExit(const juce::MouseEvent&)
{
    if (hasActive)
    {
        hasActive = false;
        activeCurveChanged();
    }
}

void CurveDisplay::mouseUp(const juce::MouseEvent&)
{
    endGestures();
    hasActive = false;
    activeCurveChanged();
}

bool CurveDisplay::openMenuFor(const juce::MouseEvent& e)
{
    if (!e.mods.isPopupMenu())
        return false;
    juce::Component::SafePointer<CurveDisplay> safe(this);
    makeMenu().showMenuAsync(juce::PopupMenu::Options().withTargetComponent(this),
                             [safe](int item)
                             {
                                 if (safe != nullptr)
                                     safe->menuItemChosen(item);
                             });
    return true;
}

void CurveDisplay::beginGestures(std::initializer_list<int> bs)
{
    for (int b : bs)
    {
        binding(b).beginGesture();
        gestures.push_back(&binding(b));
    }
}

void CurveDisplay::startPainting(float x)
{
    lastBand = bandOfFrequency(displayAxes::frequencyForX(x, float(getWidth())));
}

void CurveDisplay::paintBands(int firstBand, float x, float v)
{
    const int band = bandOfFrequency(displayAxes::frequencyForX(x, float(getWidth())));
    const auto [first, last] = displayAxes::paintedBands(lastBand, band);
    for (int b = first; b <= last; ++b)
    {
        auto& target = binding(firstBand + b);
        if (!target.isInGesture())
        {
            target.beginGesture();
            gestures.push_back(&target);
        }
        target.setParameterValue(v);
    }
    lastBand = band;
}

void CurveDisplay::resetBands(int firstBand, float v)
{
    for (int b = 0; b < 12; ++b)
    {
        auto& band = binding(firstBand + b);
        band.beginGesture();
        band.setParameterValue(v);
        band.endGesture();
    }
    parametersChanged();
}

void CurveDisplay::endGestures()
{
    for (auto* b : gestures)
        b->endGesture();
    gestures.clear();
}

void CurveDisplay::strokeCurve(juce::Graphics& g, const juce::Path& path, juce::Colour colour, bool bright)
{
    g.setColour(colour.withAlpha(0.2f));
    g.strokePath(path, juce::PathStrokeType(6.0f, juce::PathStrokeType::curved));
    g.setColour(colour);
    g.strokePath(path, juce::PathStrokeType(bright ? 2.5f : 1.8f, juce::PathStrokeType::curved,
                                            juce::PathStrokeType::rounded));
}

} // namespace qor
