#pragma once

#include "ui/look/resource_images.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** A switch bound to a boolean parameter, or one button of a radio group bound to an integer parameter (the
    button is on while the parameter holds its index). Drawn from an SVG pair, the "on" drawing for the true
    state; a click is one change gesture. */
class ParamButton : public juce::Button, public ParamBinding
{
public:
    explicit ParamButton(const juce::String& name = {});

    void setImages(const juce::String& onPath, const juce::String& offPath);
    /** The index that this button sets in a radio group; -1 (the default) makes it a toggle. */
    void setRadioIndex(int index) { radioIndex = index; }
    int getRadioIndex() const { return radioIndex; }
    void setAllowsMenus(bool allows) { allowsMenus = allows; }
    std::function<void(juce::PopupMenu, juce::Component&)> showMenu;

    void clicked() override;
    void paintButton(juce::Graphics& g, bool highlighted, bool down) override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

protected:
    void parameterValueChanged() override;

private:
    ResourceImagePtr onImage;
    ResourceImagePtr offImage;
    int radioIndex = -1;
    bool allowsMenus = true;
    bool swallowing = false;
};

/** A button that is not a parameter (a page or a view switch): an SVG tinted by its state with the toggle
    colours. */
class ImageToggleButton : public juce::Button
{
public:
    ImageToggleButton(const juce::String& name, const juce::String& imagePath,
                      const juce::String& onImagePath = {});

    void paintButton(juce::Graphics& g, bool highlighted, bool down) override;

private:
    ResourceImagePtr image;
    ResourceImagePtr onImage;
};

} // namespace qor
