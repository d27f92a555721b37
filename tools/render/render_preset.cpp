#include "tools/render/render_preset.h"

#include "engine/processing_element.h"
#include "files/presets/preset_formats.h"

#include <tinyxml2.h>

namespace qor::render
{

juce::String applyPreset(ProcessingElement& element, const juce::String& preset,
                         const juce::File& workingFolder)
{
    VirtualFile file;
    const auto onDisk = workingFolder.getChildFile(preset);
    if (onDisk.existsAsFile())
        file = VirtualFile(onDisk);
    else
        file = findFactoryPreset(preset);
    if (file.isEmpty())
        return "preset file not found: " + onDisk.getFullPathName() +
               ", and no factory preset has that name (see --list-presets)";

    // The loader reports only success; look first, so that a refusal can say why.
    tinyxml2::XMLDocument document;
    if (!readPresetDocument(file, document))
        return "not a preset file (empty, unreadable, too large or not XML): " + file.getPath();
    const auto* root = document.RootElement();
    if (juce::String(root->Name()) != PresetFormat::moduleRoot)
        return "not a preset file (no ModulePreset root): " + file.getPath();

    PresetOperations operations(&element);
    if (!operations.applyPresetElement(root->FirstChildElement(), file))
        return "the preset holds no " + element.getTypeName().toString() + " settings: " + file.getPath();
    return {};
}

juce::StringArray factoryPresetNames()
{
    juce::StringArray names;
    for (const auto& file : listFactoryPresets())
        names.add(factoryPresetShortName(file));
    return names;
}

} // namespace qor::render
