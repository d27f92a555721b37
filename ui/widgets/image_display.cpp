#include "ui/widgets/image_display.h"

namespace qor
{

ImageDisplay::ImageDisplay(const juce::String& p)
{
    setComponentID("ImageDisplay");
    setInterceptsMouseClicks(false, false);
    setImage(p);
}

void ImageDisplay::setImage(const juce::String& newPath)
{
    path = newPath;
    image = nullptr;
    loadedScale = 0.0f;
    repaint();
}

void ImageDisplay::paint(juce::Graphics& g)
{
    if (path.isEmpty())
        return;
    const float scale = juce::Component::getApproximateScaleFactorForComponent(this);
    if (image == nullptr || scale != loadedScale)
    {
        image = ResourceImage::load(path, scale);
        loadedScale = scale;
    }
    if (image != nullptr)
        image->draw(g, getLocalBounds().toFloat());
}

} // namespace qor
