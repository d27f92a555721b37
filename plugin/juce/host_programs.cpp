#include "plugin/juce/host_programs.h"

#include "files/presets/preset_formats.h"
#include "modal/lamina/lamina.h"
#include "plugin/lamina_plugin.h"

namespace qor
{

void HostPrograms::scan()
{
    names.clear();
    files.clear();
    names.add("Default");
    files.emplace_back();
    for (const auto& file : listFactoryPresets())
    {
        const auto name = factoryPresetShortName(file);
        // A program without a name is one that hosts cannot show or LV2 cannot list.
        if (name.isEmpty())
            continue;
        names.add(name);
        files.push_back(file);
    }
}

bool HostPrograms::load(LaminaPlugin& plugin, int index)
{
    auto* sheet = plugin.getLamina();
    if (sheet == nullptr || index < 0 || index >= size())
        return false;
    PresetOperations operations(sheet);
    const bool loaded = index == 0 ? operations.loadDefault() : operations.loadPreset(files[size_t(index)]);
    if (loaded)
        lastChosen = index;
    return loaded;
}

int HostPrograms::current(const LaminaPlugin& plugin) const
{
    const auto* sheet = plugin.getLamina();
    if (sheet == nullptr)
        return lastChosen;
    const VirtualFile path(sheet->getProperty(PresetFormat::presetPathProperty));
    if (path.isEmpty())
        return 0;
    for (size_t i = 1; i < files.size(); ++i)
        if (files[i] == path)
            return int(i);
    return lastChosen;
}

} // namespace qor
