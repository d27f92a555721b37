#pragma once

#include "ui/shell/editor_context.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace qor
{

/** What the decay and EQ displays share: the parameters they follow, the curve under the pointer, the right
    button's menu, painting of the twelve bands and the gestures a drag holds open until the button goes up.
 */
class CurveDisplay : public juce::Component, public juce::SettableTooltipClient
{
public:
    ~CurveDisplay() override;

    bool hasActiveCurve() const { return hasActive; }
    int getActiveCurve() const { return activeCurve; }
    virtual bool isCurveEnabled(int curve) const = 0;
    const juce::Path& getCurvePath(int curve) const { return curves[size_t(curve)]; }
    const std::vector<juce::Point<float>>& getCurvePoints(int curve) const { return points[size_t(curve)]; }

    /** The right button's menu, and what an item of it does. */
    virtual juce::PopupMenu makeMenu() const = 0;
    virtual void menuItemChosen(int item) = 0;

    void resized() override;
    void mouseMove(const juce::MouseEvent& e) override;
    void mouseExit(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

protected:
    /** Follows the named parameters of the editor's element, in the order of the display's own binding ids;
        `pickOrder` is the order in which curves are tried under the pointer. */
    CurveDisplay(const EditorContext& context, const juce::StringArray& parameterNames, int numCurves,
                 std::vector<int> pickOrder, int firstActiveCurve);

    float value(int b) const { return bindings[size_t(b)]->getParameterValue(); }
    ParamBinding& binding(int b) { return *bindings[size_t(b)]; }

    /** Recomputes `points` for the present size and values, then calls `pathsFromPoints`. */
    virtual void rebuildCurves() = 0;
    /** Told when the active curve comes or goes or changes; repaints. */
    virtual void activeCurveChanged();
    /** A followed value changed, or a drag set one: the bindings do not hear their own sends back. */
    void parametersChanged();
    void updateActive(juce::Point<float> point);
    /** Each curve's path through its points, kept a pixel inside the top and bottom so that a curve at its
        limit still shows whole. */
    void pathsFromPoints(float height);

    /** Opens the menu for a right-button press; false for any other press. */
    bool openMenuFor(const juce::MouseEvent& e);
    void beginGestures(std::initializer_list<int> bs);
    /** A painting stroke at x: the bands it entered since the last call (from `firstBand` on) take `v`. */
    void paintBands(int firstBand, float x, float v);
    void startPainting(float x);
    /** The twelve bands from `firstBand` on set to `v`, one gesture each. */
    void resetBands(int firstBand, float v);
    void endGestures();
    /** A curve's halo and line, brighter and thicker when active. */
    static void strokeCurve(juce::Graphics& g, const juce::Path& path, juce::Colour colour, bool bright);

    EditorContext context;
    std::vector<std::unique_ptr<ParamFollower>> bindings;
    std::vector<juce::Path> curves;
    std::vector<std::vector<juce::Point<float>>> points;
    int activeCurve;
    bool hasActive = false;

private:
    std::vector<int> pickOrder;
    int lastBand = 0;
    std::vector<ParamBinding*> gestures;
};

} // namespace qor
