#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace qor
{

/** One picture of the archive, bitmap or SVG, as the editor draws it: at its logical size, which an SVG takes
    from its name ("knob_common-ring_46x46.svg" is 46 x 46) and a bitmap from the plain file (an "@2x" file
    holds twice the pixels for the same size). Immutable and shared between the components that show it. */
class ResourceImage
{
public:
    /** The picture at `path` ("$Resource/resource/..." or "resource/..."), chosen for a display `scale`:
        above 1 the file with "@Nx" before the extension is tried first, N the scale rounded up, down to 2.
        Null when no file can be read: the caller then draws nothing. */
    static std::shared_ptr<const ResourceImage> load(const juce::String& path, float scale = 1.0f);

    /** "resource/x.png" and "$Resource/resource/x.png" name the same file. */
    static juce::String archivePath(const juce::String& path);
    /** The file that load() reads for this scale: the "@Nx" twin when it exists, else the path itself. */
    static juce::String resolve(const juce::String& path, float scale);
    /** The size written into an SVG's name as "_WxH.svg"; empty when there is none. */
    static juce::Rectangle<float> sizeFromName(const juce::String& path);

    /** Draws the picture stretched into `area`. */
    void draw(juce::Graphics& g, juce::Rectangle<float> area, float opacity = 1.0f) const;
    /** The picture as pixels for `area` at a display scale, e.g. as a clip mask. */
    juce::Image render(juce::Rectangle<int> area, float scale) const;

    juce::Rectangle<float> getLogicalBounds() const { return logicalBounds; }
    const juce::String& getFile() const { return file; }
    bool isVector() const { return drawable != nullptr; }
    /** The pixels of a bitmap picture (invalid for SVG), e.g. to tile it. */
    const juce::Image& getBitmap() const { return bitmap; }

private:
    juce::String file;
    juce::Rectangle<float> logicalBounds;
    std::unique_ptr<juce::Drawable> drawable;
    juce::Image bitmap;
};

using ResourceImagePtr = std::shared_ptr<const ResourceImage>;

} // namespace qor
