#pragma once

#include <juce_core/juce_core.h>

namespace qor
{
class Element;
}

namespace qor::render
{

/** Sets the parameter `key` of `element` from text, before the first block. The text is what --list-params
    shows: a bare number in the parameter's own units, a number with the unit of its shown value ("3.5s",
    "350ms", "2kHz", "-3dB", "30%", "x 2", "+oo"), a choice's number or label, on/off for a switch. Answers an
    empty string, or the message that says why the key or the value was refused (unknown key, not a number, a
    unit the parameter does not take, outside the range, which is named). */
juce::String applySetting(Element& element, const juce::String& key, const juce::String& valueText);

/** What a user should know of a parameter beyond its range: that the sound ignores it, or when it acts. Empty
    for most. */
juce::String parameterNote(const juce::String& key);

/** The current value of `key` as the editor shows it ("3.50 s", "Gold"); empty for an unknown key. */
juce::String shownValue(const Element& element, const juce::String& key);

/** One line per parameter: key, display name, range, default, the current value as the user sees it, and the
    parameter's note where it has one. */
juce::String describeParameters(const Element& element);

} // namespace qor::render
