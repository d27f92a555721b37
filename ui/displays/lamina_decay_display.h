#pragma once

#include "modal/lamina/damping.h"
#include "ui/displays/curve_display.h"

#include <vector>

namespace qor
{

/** The damping curves of the decay page: the 60 dB time against frequency of each mechanism and of all of
   them together, evaluated with the model's own damping functions. The damper, friction and air curves are
   dragged by a point (frequency across, damping up and down); the octave band curve is painted. It stands at
   32, 23, 486, 253 in the right panel, over the analyser. */
class LaminaDecayDisplay : public CurveDisplay
{
public:
    enum Curve
    {
        damper = 0,
        friction = 1,
        air = 2,
        octaveBand = 3,
        numCurves = 4
    };

    static constexpr float minDecay = 0.1f, maxDecay = 10000.0f;
    static constexpr int resetBandDecayItem = 3;

    explicit LaminaDecayDisplay(const EditorContext& context);
    ~LaminaDecayDisplay() override;

    /** y of a 60 dB time in seconds: 4 s in the middle, long times towards the top. */
    static float yForDecay(float seconds, float height);
    /** The 60 dB time at y, clamped to [0.1, 10000]. */
    static float decayForY(float y, float height, bool logY = false);
    /** A rate in 1/s as a 60 dB time; 0 for an infinite rate. */
    static float decayOfRate(float rate);

    bool isCurveEnabled(int curve) const override;
    const std::vector<juce::Point<float>>& getCombinedPoints() const { return combinedPoints; }
    /** The arguments the curves were last evaluated with. */
    const DampingSettings& getDampingSettings() const { return damping; }
    const MonotoneCubicTable& getBandDecayTable() const { return bandTable; }

    /** What a context menu item does (the right button's menu). */
    void menuItemChosen(int item) override;
    juce::PopupMenu makeMenu() const override;

    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseDrag(const juce::MouseEvent& e) override;

private:
    enum Binding
    {
        viscousDamp,
        porousDamp,
        radiationDamp,
        bandDamp,
        area,
        aspectRatio,
        material,
        tension,
        decay,
        porousFreq,
        thermalDampMult,
        thermalFreqMult,
        radiationMult,
        radiationFreqMult,
        enablePorousDamp,
        enableViscousDamp,
        enableRadiationDamp,
        enableBandDamp,
        bandDecay0,
        numBindings = bandDecay0 + 12
    };

    /** The frequency and damping parameters that a drag of a curve moves. */
    std::pair<int, int> pairOf(int curve) const;
    void rebuildCurves() override;
    void activeCurveChanged() override;

    DampingSettings damping;
    MonotoneCubicTable bandTable;
    std::vector<juce::Point<float>> combinedPoints;
    juce::Path combined;

    float dragStartX = 0, dragStartY = 0;
    bool logY = false;
};

} // namespace qor
