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
    ("Classics/Studio Plate Short"), or by its bare name when no other factory preset carries it ("Studio
   Plate Short"). Answers an empty string, or why the preset was refused; the element is untouched then. */
juce::String applyPreset(ProcessingElement& element, const juce::String& preset,
                         const juce::File& workingFolder);

/** Writes the element's settings with the preset saver to `path` (relative to `workingFolder`, ".preset"
   added when missing, missing folders created). Answers an empty string and sets `written`, or says why
   nothing was written. */
juce::String savePreset(ProcessingElement& element, const juce::String& path, const juce::File& workingFolder,
                        juce::File& written);

/** The names of the factory presets, one for each, in browsing order ("Classics/Studio Plate Short"). */
juce::StringArray factoryPresetNames();

} // namespace qor::render
