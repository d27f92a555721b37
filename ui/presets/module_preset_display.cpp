#include "ui/presets/module_preset_display.h"

namespace qor
{

ModulePresetDisplay::ModulePresetDisplay(const EditorContext& c) : context(c)
{
    setName("PresetDisplay");
}

} // namespace qor
