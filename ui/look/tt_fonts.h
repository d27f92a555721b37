#pragma once

#include <juce_graphics/juce_graphics.h>

#include <map>

namespace qor
{

/** The archive's font files by role. */
namespace fontPaths
{
/** Values and captions. */
inline const juce::String values = "$Resource/resource/fonts/RobotoCondensed-Regular.ttf";
/** Handles and axis text. */
inline const juce::String handles = "$Resource/resource/fonts/RobotoCondensed-Medium.ttf";
/** Everything else: menus, tooltips, text boxes. */
inline const juce::String sans = "$Resource/resource/fonts/Inter-Regular.otf";
} // namespace fontPaths

/** The cache of typefaces read from the virtual file layer, by path. Entries are never dropped, so a Font
   made here stays valid for the life of the process. Message thread only. */
class TTFonts
{
public:
    static TTFonts& instance();

    /** The typeface of a font file, or null when the file is missing or not a font (the caller then draws
        nothing). */
    juce::Typeface::Ptr getTypeface(const juce::String& path);
    bool has(const juce::String& path) { return getTypeface(path) != nullptr; }

    /** A font of the file at this height with JUCE's style flags; JUCE's default face when the file is
        missing (check has() where a missing font must leave the text out). */
    juce::Font getFont(const juce::String& path, float height, int styleFlags = juce::Font::plain);

private:
    TTFonts() = default;
    std::map<juce::String, juce::Typeface::Ptr> typefaces;
};

} // namespace qor
