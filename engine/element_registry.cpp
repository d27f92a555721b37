#include "engine/element_registry.h"

#include "engine/element.h"

#include <map>
#include <mutex>

namespace qor
{

namespace
{
struct Registry
{
    std::mutex mutex;
    std::map<juce::String, ElementRegistry::Entry> entries;
};

Registry& registry()
{
    static Registry r;
    return r;
}
} // namespace

bool ElementRegistry::add(Entry entry)
{
    auto& r = registry();
    const std::lock_guard<std::mutex> l(r.mutex);
    return r.entries.emplace(entry.typeName, std::move(entry)).second;
}

bool ElementRegistry::contains(const juce::String& typeName)
{
    auto& r = registry();
    const std::lock_guard<std::mutex> l(r.mutex);
    return r.entries.count(mapOldTypeName(typeName)) != 0;
}

juce::String ElementRegistry::mapOldTypeName(const juce::String& typeName)
{
    return typeName;
}

std::unique_ptr<Element> ElementRegistry::makeElement(const juce::String& typeName, const juce::String& name)
{
    std::function<std::unique_ptr<Element>(const juce::String&)> make;
    {
        auto& r = registry();
        const std::lock_guard<std::mutex> l(r.mutex);
        auto it = r.entries.find(mapOldTypeName(typeName));
        if (it == r.entries.end())
            return nullptr;
        make = it->second.make;
    }
    return make ? make(name) : nullptr;
}

} // namespace qor
