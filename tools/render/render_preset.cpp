#include "tools/render/render_preset.h"

#include "engine/processing_element.h"
#include "files/presets/preset_formats.h"

#include <tinyxml2.h>

namespace qor::render
{

namespace
{
/** The factory preset that `name` names: "Category/Name" as listed, or the bare name when exactly one preset
    carries it (compared as typed first, then ignoring case). Sets `error` when the bare name is ambiguous. */
VirtualFile findFactoryPresetByName(const juce::String& name, juce::String& error)
{
    if (auto exact = findFactoryPreset(name); !exact.isEmpty())
        return exact;
    const auto wanted = name.trim().trimCharactersAtEnd("/");
    for (bool ignoreCase : {false, true})
    {
        std::vector<VirtualFile> found;
        juce::StringArray names;
        for (const auto& file : listFactoryPresets())
        {
            const auto full = factoryPresetShortName(file);
            const auto bare = full.fromLastOccurrenceOf("/", false, false);
            const bool match = ignoreCase ? (bare.equalsIgnoreCase(wanted) || full.equalsIgnoreCase(wanted))
                                          : bare == wanted;
            if (match)
            {
                found.push_back(file);
                names.add("\"" + full + "\"");
            }
        }
        if (found.size() == 1)
            return found.front();
        if (found.size() > 1)
        {
            error = "the factory preset name '" + name + "' is not unique: " + names.joinIntoString(", ");
            return {};
        }
    }
    return {};
}
} // namespace

juce::String applyPreset(ProcessingElement& element, const juce::String& preset,
                         const juce::File& workingFolder)
{
    VirtualFile file;
    const auto onDisk = workingFolder.getChildFile(preset);
    juce::String ambiguity;
    if (onDisk.existsAsFile())
        file = VirtualFile(onDisk);
    else
        file = findFactoryPresetByName(preset, ambiguity);
    if (ambiguity.isNotEmpty())
        return ambiguity;
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

juce::String savePreset(ProcessingElement& element, const juce::String& path, const juce::File& workingFolder,
                        juce::File& written)
{
    auto file = workingFolder.getChildFile(path);
    if (!file.hasFileExtension(PresetFormat::presetExtension))
        file = file.getSiblingFile(file.getFileName() + PresetFormat::presetExtension);
    if (file.isDirectory())
        return "cannot save the preset as '" + file.getFullPathName() + "': it is a folder";
    const auto folder = file.getParentDirectory();
    if (folder.existsAsFile())
        return "cannot save the preset in '" + folder.getFullPathName() + "': it is a file, not a folder";
    if (!folder.isDirectory() && !folder.createDirectory().wasOk())
        return "cannot create the folder '" + folder.getFullPathName() + "' for the preset";

    PresetOperations operations(&element);
    if (!operations.savePreset(VirtualFile(file)))
        return "cannot write the preset '" + file.getFullPathName() + "'";
    written = file;
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
