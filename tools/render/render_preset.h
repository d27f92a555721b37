#pragma once

#include <juce_core/juce_core.h>

namespace qor
{
class ProcessingElement;
}

namespace qor::render
{

/** Applies a preset to the element through the preset loader, as the editor would: values missing from the
    file return to their defaults, each value is limited to its range, and bypass stays as it is. `preset` is
   a
    ".preset" file (relative to `workingFolder`) or, when no such file exists, a factory preset by name
    ("Classics/Studio Plate Short"). Answers an empty string, or why the preset was refused; the element is
    untouched then. */
juce::String applyPreset(ProcessingElement& element, const juce::String& preset,
                         const juce::File& workingFolder);

/** The names of the factory presets, one for each, in browsing order ("Classics/Studio Plate Short"). */
juce::StringArray factoryPresetNames();

} // namespace qor::render
