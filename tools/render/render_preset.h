#pragma once

#include <juce_core/juce_core.h>

namespace qor
{
class Element;
}

namespace qor::render
{

/** Applies a ".preset" file (root ModulePreset, one child named after the element's type) to the element by
    parameter key, each value limited to its range. Attributes that name no parameter are passed over.
    Answers an empty string, or why the file was refused; the element is untouched then. */
juce::String applyPresetFile(Element& element, const juce::File& file);

} // namespace qor::render
