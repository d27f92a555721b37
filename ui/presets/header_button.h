#pragma once

#include "ui/look/resource_images.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** A button of the top bar: an SVG of the archive whose own pixels are filled with the colour of the button's
    state (normal, under the mouse, held down). */
class HeaderButton : public juce::Button
{
public:
    struct Colours
    {
        juce::Colour normal, over, down;
    };

    HeaderButton(const juce::String& name, const juce::String& imagePath, Colours colours);

    void setImage(const juce::String& imagePath);
    const juce::String& getImagePath() const { return imagePath; }
    const Colours& getColours() const { return colours; }

    void paintButton(juce::Graphics& g, bool highlighted, bool down) override;

private:
    juce::String imagePath;
    ResourceImagePtr image;
    Colours colours;
};

} // namespace qor
