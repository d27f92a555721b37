#include "ui/displays/spectrum_display.h"

namespace qor
{

SpectrumDisplay::SpectrumDisplay(const EditorContext& c) : context(c)
{
    setComponentID("SpectrumDisplay");
    setInterceptsMouseClicks(false, false);
}

} // namespace qor
