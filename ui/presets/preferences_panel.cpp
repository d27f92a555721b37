#include "ui/presets/preferences_panel.h"

namespace qor
{

PreferencesPanel::PreferencesPanel(const EditorContext& c) : context(c)
{
    setSize(400, 300);
}

} // namespace qor
