#pragma once

#include "ui/shell/editor_context.h"
#include "ui/widgets/audio_meter.h"
#include "ui/widgets/image_display.h"
#include "ui/widgets/param_button.h"
#include "ui/widgets/param_label.h"
#include "ui/widgets/param_slider.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace qor
{

class LaminaRectangle;
class RightPanel;
class GeometryParamSpinner;

/** The editor proper: background and overlay, the material buttons, the numeric read-outs, the three main
    knobs with their scales, captions and values, the sheet, the meters, the expand button and, expanded, the
    right panel. "ui.expanded" is a value it holds: every change is written to the application properties and
    switches the layout. */
class LaminaEditorv2 : public juce::Component, private juce::Value::Listener
{
public:
    static constexpr int expandedWidth = 1058, condensedWidth = 508, windowHeight = 555;

    explicit LaminaEditorv2(const EditorContext& context);
    ~LaminaEditorv2() override;

    juce::Value& getExpandedValue() { return expanded; }
    bool isExpanded() const { return bool(expanded.getValue()); }
    /** Switches the layout now (a change of the value alone switches it a moment later). */
    void setExpanded(bool shouldBeExpanded);
    /** The window size of the present layout. */
    juce::Rectangle<int> getLayoutBounds() const;
    /** Told after a layout switch with the new window size. */
    std::function<void(int width, int height)> onLayoutChanged;

    // The parts, for the shell and the tests.
    RightPanel* getRightPanel() const { return rightPanel.get(); }
    LaminaRectangle& getRectangle() const { return *rectangle; }
    ParamSlider& getKnob(const juce::String& parameter) const;
    ParamLabel& getValueLabel(const juce::String& parameter) const;
    ParamSpinnerLabel& getReadout(const juce::String& parameter) const;
    const std::vector<std::unique_ptr<ParamButton>>& getMaterialButtons() const { return materialButtons; }
    AudioMeterVU& getInputMeter() { return *inputMeter; }
    AudioMeterVU& getOutputMeter() { return *outputMeter; }
    ImageDisplay* getBackground() const { return background.get(); }
    ImageDisplay* getOverlay() const { return overlay.get(); }
    juce::Button& getExpandButton() { return expandButton; }

    void resized() override;
    void paintOverChildren(juce::Graphics& g) override;

private:
    void valueChanged(juce::Value& value) override;
    void applyLayout();
    void placeMeters();
    void setMaterial(int index);

    EditorContext context;
    juce::Value expanded;
    std::unique_ptr<ImageDisplay> background;
    std::unique_ptr<ImageDisplay> overlay;
    std::vector<std::unique_ptr<ParamButton>> materialButtons;
    std::vector<std::unique_ptr<ParamSpinnerLabel>> readouts;
    std::vector<std::unique_ptr<ParamSlider>> knobs;
    std::vector<std::unique_ptr<Caption>> captions;
    std::vector<std::unique_ptr<ParamLabel>> valueLabels;
    std::unique_ptr<LaminaRectangle> rectangle;
    std::unique_ptr<RightPanel> rightPanel;
    std::unique_ptr<AudioMeterVU> inputMeter;
    std::unique_ptr<AudioMeterVU> outputMeter;
    ImageToggleButton expandButton;
    ParamFollower material;
};

} // namespace qor
