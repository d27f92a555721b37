#include "ui/look/tt_fonts.h"

#include "files/virtual_file.h"

namespace qor
{

TTFonts& TTFonts::instance()
{
    static TTFonts fonts;
    return fonts;
}

juce::Typeface::Ptr TTFonts::getTypeface(const juce::String& path)
{
    if (auto it = typefaces.find(path); it != typefaces.end())
        return it->second;
    juce::Typeface::Ptr typeface;
    if (auto in = VirtualFile(path).openInput())
    {
        juce::MemoryBlock data;
        in->readIntoMemoryBlock(data);
        if (data.getSize() > 0)
            typeface = juce::Typeface::createSystemTypefaceFor(data.getData(), data.getSize());
    }
    // FreeType answers an unnamed face for bytes that are not a font.
    if (typeface != nullptr && typeface->getName().isEmpty())
        typeface = nullptr;
    // A miss is remembered too: the archive does not change while the process runs.
    typefaces[path] = typeface;
    return typeface;
}

juce::Font TTFonts::getFont(const juce::String& path, float height, int styleFlags)
{
    if (auto typeface = getTypeface(path))
        return juce::Font(typeface).withHeight(height).withStyle(styleFlags);
    return juce::Font(height, styleFlags);
}

} // namespace qor
