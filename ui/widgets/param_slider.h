#pragma once

#include "ui/look/resource_images.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** A knob (or fader) bound to one parameter. The slider runs on the normalised value; what it sends and shows
    is in the parameter's own unit. A drag, a wheel step or a text entry is one change gesture for the host;
    Alt-click sets the default; the right button offers the parameter's menu when its description asks for
    one (flag 32), and never drags. */
class ParamSlider : public juce::Slider, public ParamBinding
{
public:
    /** The description flag that asks for the parameter's own right-button menu. */
    static constexpr uint8_t menuFlag = 32;

    ParamSlider();

    /** The ring drawn fixed and the line that turns with the value; the look and feel draws them. */
    void setKnobImages(const juce::String& ringPath, const juce::String& linePath);
    const ResourceImagePtr& getRingImage() const { return ringImage; }
    const ResourceImagePtr& getLineImage() const { return lineImage; }

    void setAllowsMenus(bool allows) { allowsMenus = allows; }
    bool getAllowsMenus() const { return allowsMenus; }
    /** The items of the parameter's menu; the default offers its default value. */
    virtual void addParameterMenuItems(juce::PopupMenu& menu);
    /** The menu for a right click, as it is shown; tests and hosts of the widget may replace how it opens. */
    std::function<void(juce::PopupMenu, juce::Component&)> showMenu;

    void valueChanged() override;
    void startedDragging() override;
    void stoppedDragging() override;
    juce::String getTextFromValue(double value) override;
    double getValueFromText(const juce::String& text) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseDrag(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;
    void mouseDoubleClick(const juce::MouseEvent& e) override;
    void mouseWheelMove(const juce::MouseEvent& e, const juce::MouseWheelDetails& wheel) override;

protected:
    void parameterValueChanged() override;

private:
    ResourceImagePtr ringImage;
    ResourceImagePtr lineImage;
    bool allowsMenus = true;
    bool updatingFromParameter = false;
    /** Set by a click that the slider must not see (Alt, right button) until the button is up. */
    bool swallowing = false;
};

/** A number that changes by vertical drag, in the colour its parent gives. It draws no knob. */
class ParamSpinnerLabel : public ParamSlider
{
public:
    ParamSpinnerLabel();

    void setTextColour(juce::Colour colour);
    void setFont(const juce::String& fontPath, float size, float height);
    void setJustification(juce::Justification j);

    void paint(juce::Graphics& g) override;

private:
    juce::Colour textColour;
    juce::String fontPath;
    juce::Font font;
    juce::Justification justification = juce::Justification::centredLeft;
};

} // namespace qor
