#include "tools/render/render_preset.h"

#include "engine/element.h"

#include <tinyxml2.h>

namespace qor::render
{

juce::String applyPresetFile(Element& element, const juce::File& file)
{
    if (!file.existsAsFile())
        return "preset file not found: " + file.getFullPathName();
    juce::MemoryBlock bytes;
    if (!file.loadFileAsData(bytes) || bytes.isEmpty())
        return "cannot read the preset file (empty or unreadable): " + file.getFullPathName();

    tinyxml2::XMLDocument document;
    document.Parse(static_cast<const char*>(bytes.getData()), bytes.getSize());
    const auto* root = document.RootElement();
    if (root == nullptr || juce::String(root->Name()) != "ModulePreset")
        return "not a preset file (no ModulePreset root): " + file.getFullPathName();
    const auto* child = root->FirstChildElement();
    const auto typeName = element.getTypeName().toString();
    if (child == nullptr || juce::String(child->Name()) != typeName)
        return "the preset holds no " + typeName + " settings: " + file.getFullPathName();

    const juce::ScopedLock lock(element.getLock());
    for (std::size_t i = 0; i < element.getNumParameters(); ++i)
    {
        // Only what a preset stores; bypass stays as it is, as when a host loads a preset.
        const auto& d = element.getParameterInfo(i)->getDescription();
        if (!d.hasFlag(ParameterFlags::isSaved) || d.hasFlag(ParameterFlags::noState) || d.name == "Bypass")
            continue;
        const auto id = d.id;
        const char* key = d.name.toRawUTF8();
        if (auto* f = element.hasFloatParameter(id))
        {
            float value = 0.0f;
            if (child->QueryFloatAttribute(key, &value) == tinyxml2::XML_SUCCESS)
                element.setParameterDeferred(id, f->getTypedDescription().clamp(value), false);
        }
        else if (auto* n = element.hasIntParameter(id))
        {
            int value = 0;
            if (child->QueryIntAttribute(key, &value) == tinyxml2::XML_SUCCESS)
                element.setParameterDeferred(id, n->getTypedDescription().clamp(value), false);
        }
        else if (element.hasBoolParameter(id) != nullptr)
        {
            int value = 0;
            if (child->QueryIntAttribute(key, &value) == tinyxml2::XML_SUCCESS)
                element.setParameterDeferred(id, value > 0, false);
        }
    }
    return {};
}

} // namespace qor::render
