#include "ui/presets/ab_tool_bar.h"

namespace qor
{

ABToolBar::ABToolBar(const EditorContext& c) : context(c)
{
    setComponentID("ABToolBar");
    setInterceptsMouseClicks(false, false);
}

} // namespace qor
