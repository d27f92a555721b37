#pragma once

#include "modal/lamina/band_table.h"
#include "ui/shell/editor_context.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <memory>
#include <vector>

namespace qor
{

/** The twelve-band gain curve and the low cut of the EQ page. The band curve is painted with the mouse, the
    low cut is dragged by its corner (frequency across, shelf gain up and down). It stands at 32, 23, 486, 253
    in the right panel, over the analyser. */
class LaminaEQDisplay : public juce::Component, public juce::SettableTooltipClient
{
public:
    enum Curve
    {
        lowCut = 0,
        bandEQ = 1,
        numCurves = 2
    };

    static constexpr float minGain = -40.0f, maxGain = 20.0f;
    static constexpr int resetEQItem = 1;

    explicit LaminaEQDisplay(const EditorContext& context);
    ~LaminaEQDisplay() override;

    /** A sine map of gain in dB: widest around 0 dB, -40 dB at the bottom and +20 dB at the top. */
    static float yForGain(float db, float height);
    static float gainForY(float y, float height);

    bool hasActiveCurve() const { return hasActive; }
    int getActiveCurve() const { return activeCurve; }
    bool isCurveEnabled(int curve) const;
    const juce::Path& getCurvePath(int curve) const { return curves[size_t(curve)]; }
    const std::vector<juce::Point<float>>& getCurvePoints(int curve) const { return points[size_t(curve)]; }

    juce::PopupMenu makeMenu() const;
    void menuItemChosen(int item);

    void paint(juce::Graphics& g) override;
    void resized() override;
    void mouseMove(const juce::MouseEvent& e) override;
    void mouseExit(const juce::MouseEvent& e) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseDrag(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

private:
    enum Binding
    {
        lowCutGain,
        lowCutFreq,
        enableEQ,
        enableLowcut,
        bandGain0,
        numBindings = bandGain0 + 12
    };

    float value(int b) const { return bindings[size_t(b)]->getParameterValue(); }
    ParamBinding& binding(int b) { return *bindings[size_t(b)]; }
    void parametersChanged();
    void rebuildCurves();
    void updateActive(juce::Point<float> point);
    void endGestures();

    EditorContext context;
    std::vector<std::unique_ptr<ParamFollower>> bindings;
    MonotoneCubicTable gainTable;
    std::array<juce::Path, numCurves> curves;
    std::array<std::vector<juce::Point<float>>, numCurves> points;

    int activeCurve = bandEQ;
    bool hasActive = false;
    float dragStart = 0;
    int lastBand = 0;
    std::vector<ParamBinding*> gestures;
};

} // namespace qor
