#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace qor
{

class Element;

/** Process-wide table of element types. */
class ElementRegistry
{
public:
    struct Entry
    {
        juce::String typeName;
        juce::String displayName;
        std::function<std::unique_ptr<Element>(const juce::String& name)> make;
        int32_t category = 0;
        uint32_t flags = 0;
        uint32_t options = 0;
        bool hidden = false;
        bool deprecated = false;
    };

    /** Adds the entry once; a second entry of the same type name is ignored. */
    static bool add(Entry entry);
    static bool contains(const juce::String& typeName);
    /** A new element of the type, or none for an unknown name. Old type names map through mapOldTypeName. */
    static std::unique_ptr<Element> makeElement(const juce::String& typeName, const juce::String& name = {});
    static juce::String mapOldTypeName(const juce::String& typeName);
};

} // namespace qor
