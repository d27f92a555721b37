#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The preset's name with the menu, previous and next buttons, inside the toolbar. Empty for now. */
class ModulePresetDisplay : public juce::Component
{
public:
    explicit ModulePresetDisplay(const EditorContext& context);

private:
    EditorContext context;
};

} // namespace qor
