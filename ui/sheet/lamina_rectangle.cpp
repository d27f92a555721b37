#include "ui/sheet/lamina_rectangle.h"

namespace qor
{

LaminaRectangle::LaminaRectangle(const EditorContext& c) : context(c)
{
    setComponentID("LaminaRectangle");
    setInterceptsMouseClicks(false, false);
}

void LaminaRectangle::setTexture(const juce::String& path)
{
    texturePath = path;
    repaint();
}

} // namespace qor
