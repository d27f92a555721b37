#include "ui/presets/header_button.h"

namespace qor
{

HeaderButton::HeaderButton(const juce::String& name, const juce::String& path, Colours c)
    : juce::Button(name), colours(c)
{
    setImage(path);
}

void HeaderButton::setImage(const juce::String& path)
{
    imagePath = path;
    image = ResourceImage::load(path);
    repaint();
}

void HeaderButton::paintButton(juce::Graphics& g, bool highlighted, bool down)
{
    if (image == nullptr)
        return;
    const auto area = getLocalBounds();
    const float scale = juce::Component::getApproximateScaleFactorForComponent(this);
    const auto mask = image->render(area, scale);
    const juce::Graphics::ScopedSaveState state(g);
    g.reduceClipRegion(mask, juce::AffineTransform::scale(1.0f / scale));
    g.setColour(down ? colours.down : highlighted ? colours.over : colours.normal);
    g.fillRect(area);
}

} // namespace qor
