#pragma once

#include "modal/lamina/band_table.h"
#include "ui/displays/curve_display.h"

namespace qor
{

/** The twelve-band gain curve and the low cut of the EQ page. The band curve is painted with the mouse, the
    low cut is dragged by its corner (frequency across, shelf gain up and down). It stands at 32, 23, 486, 253
    in the right panel, over the analyser. */
class LaminaEQDisplay : public CurveDisplay
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

    bool isCurveEnabled(int curve) const override;

    juce::PopupMenu makeMenu() const override;
    void menuItemChosen(int item) override;

    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseDrag(const juce::MouseEvent& e) override;

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

    void rebuildCurves() override;

    MonotoneCubicTable gainTable;
    float dragStart = 0;
};

} // namespace qor
