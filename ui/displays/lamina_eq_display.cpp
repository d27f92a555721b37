#include "ui/displays/lamina_eq_display.h"

namespace qor
{

LaminaEQDisplay::LaminaEQDisplay(const EditorContext& c) : context(c)
{
    setComponentID("LaminaEQDisplay");
    setInterceptsMouseClicks(false, false);
}

} // namespace qor
