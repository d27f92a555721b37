#include "ui/widgets/param_button.h"

#include "ui/look/colours.h"
#include "ui/widgets/param_slider.h"

namespace qor
{

ParamButton::ParamButton(const juce::String& name) : juce::Button(name)
{
    setComponentID("ParamButton");
    setClickingTogglesState(false);
    showMenu = [](juce::PopupMenu menu, juce::Component& target)
    { menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&target)); };
}

void ParamButton::setImages(const juce::String& onPath, const juce::String& offPath)
{
    onImage = ResourceImage::load(onPath);
    offImage = ResourceImage::load(offPath);
    repaint();
}

void ParamButton::parameterValueChanged()
{
    const bool on =
        radioIndex >= 0 ? juce::roundToInt(getParameterValue()) == radioIndex : getParameterValue() > 0.5f;
    setToggleState(on, juce::dontSendNotification);
    repaint();
}

void ParamButton::clicked()
{
    if (getElement() == nullptr)
        return;
    beginGesture();
    if (radioIndex >= 0)
        setParameterValue(float(radioIndex));
    else
        setParameterValue(getParameterValue() > 0.5f ? 0.0f : 1.0f);
    endGesture();
    parameterValueChanged();
}

void ParamButton::paintButton(juce::Graphics& g, bool highlighted, bool)
{
    const auto& image = getToggleState() ? onImage : offImage;
    if (image == nullptr)
        return;
    const float opacity = !isEnabled() ? 0.4f : (highlighted && !getToggleState() ? 0.85f : 1.0f);
    image->draw(g, getLocalBounds().toFloat(), opacity);
}

void ParamButton::mouseDown(const juce::MouseEvent& e)
{
    swallowing = e.mods.isPopupMenu();
    if (!swallowing)
    {
        juce::Button::mouseDown(e);
        return;
    }
    if (allowsMenus && hasFlag(ParamSlider::menuFlag) && showMenu)
    {
        juce::PopupMenu menu;
        menu.addSectionHeader(getParameterDescription()->getDisplayName());
        menu.addItem("Set to default (" + formatValue(getDefaultValue()) + ")", [this] { resetToDefault(); });
        showMenu(std::move(menu), *this);
    }
}

void ParamButton::mouseUp(const juce::MouseEvent& e)
{
    if (!std::exchange(swallowing, false))
        juce::Button::mouseUp(e);
}

ImageToggleButton::ImageToggleButton(const juce::String& name, const juce::String& imagePath,
                                     const juce::String& onImagePath)
    : juce::Button(name), image(ResourceImage::load(imagePath)),
      onImage(onImagePath.isNotEmpty() ? ResourceImage::load(onImagePath) : nullptr)
{
    setClickingTogglesState(true);
}

void ImageToggleButton::paintButton(juce::Graphics& g, bool highlighted, bool)
{
    const auto& drawn = getToggleState() && onImage != nullptr ? onImage : image;
    if (drawn == nullptr)
        return;
    const auto area = getLocalBounds();
    const float opacity = !isEnabled() ? 0.4f : highlighted ? 1.0f : 0.85f;
    drawn->draw(g, area.toFloat(), onImage != nullptr ? opacity : 1.0f);
    if (onImage != nullptr)
        return;
    // With one drawing for both states, its own pixels are the mask that the state's colour fills.
    const float scale = juce::Component::getApproximateScaleFactorForComponent(this);
    const auto mask = drawn->render(area, scale);
    const auto tint = getToggleState() ? colours::toggleOn
                      : highlighted    ? colours::toggleOver
                                       : colours::toggleOff;
    const juce::Graphics::ScopedSaveState state(g);
    g.reduceClipRegion(mask, juce::AffineTransform::scale(1.0f / scale));
    g.setColour(tint.withAlpha(0.55f));
    g.fillRect(area);
}

} // namespace qor
