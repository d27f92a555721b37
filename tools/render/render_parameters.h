#pragma once

#include <juce_core/juce_core.h>

namespace qor
{
class Element;
}

namespace qor::render
{

/** Sets the parameter `key` of `element` from text in the parameter's own units, before the first block.
    Answers an empty string, or the message that says why the key or the value was refused (unknown key,
    not a number, outside the range, which is named). */
juce::String applySetting(Element& element, const juce::String& key, const juce::String& valueText);

/** One line per parameter: key, display name, range, default and the current value as the user sees it. */
juce::String describeParameters(const Element& element);

} // namespace qor::render
