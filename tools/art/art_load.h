#pragma once

#include "files/virtual_file.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor::art
{

inline juce::MemoryBlock readAll(const VirtualFile& file)
{
    juce::MemoryBlock data;
    if (auto in = file.openInput())
        in->readIntoMemoryBlock(data);
    return data;
}

inline std::unique_ptr<juce::Drawable> loadSvg(const VirtualFile& file)
{
    const auto data = readAll(file);
    if (auto xml = juce::parseXML(data.toString()))
        return juce::Drawable::createFromSVG(*xml);
    return nullptr;
}

inline juce::Image loadImage(const VirtualFile& file)
{
    const auto data = readAll(file);
    return juce::ImageFileFormat::loadFrom(data.getData(), data.getSize());
}

inline juce::Typeface::Ptr loadTypeface(const VirtualFile& file)
{
    const auto data = readAll(file);
    if (data.isEmpty())
        return nullptr;
    return juce::Typeface::createSystemTypefaceFor(data.getData(), data.getSize());
}

} // namespace qor::art
