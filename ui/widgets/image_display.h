#pragma once

#include "ui/look/resource_images.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** One picture of the archive stretched over the component. Above a display scale of 1 (a dense screen or the
    editor's zoom) it shows the "@2x" file; a missing file leaves it blank. It takes no mouse clicks. */
class ImageDisplay : public juce::Component
{
public:
    explicit ImageDisplay(const juce::String& path = {});

    void setImage(const juce::String& path);
    const juce::String& getImagePath() const { return path; }
    /** The file shown at the last paint (empty before it, or when missing). */
    juce::String getShownFile() const { return image != nullptr ? image->getFile() : juce::String(); }

    void paint(juce::Graphics& g) override;

private:
    juce::String path;
    ResourceImagePtr image;
    float loadedScale = 0.0f;
};

} // namespace qor
