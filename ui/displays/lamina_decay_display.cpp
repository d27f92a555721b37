#include "ui/displays/lamina_decay_display.h"

namespace qor
{

LaminaDecayDisplay::LaminaDecayDisplay(const EditorContext& c) : context(c)
{
    setComponentID("LaminaDecayDisplay");
    setInterceptsMouseClicks(false, false);
}

} // namespace qor
