#include "ui/widgets/param_slider.h"

#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"

namespace qor
{

ParamSlider::ParamSlider()
{
    setComponentID("ParamSlider");
    setSliderStyle(juce::Slider::RotaryVerticalDrag);
    setTextBoxStyle(juce::Slider::NoTextBox, true, 0, 0);
    setRange(0.0, 1.0);
    setMouseDragSensitivity(200);
    setScrollWheelEnabled(true);
    setPopupDisplayEnabled(true, false, nullptr);
    setRotaryParameters(juce::MathConstants<float>::pi * 4.0f / 3.0f,
                        juce::MathConstants<float>::pi * 8.0f / 3.0f, true);
    showMenu = [](juce::PopupMenu menu, juce::Component& target)
    { menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&target)); };
}

void ParamSlider::setKnobImages(const juce::String& ringPath, const juce::String& linePath)
{
    ringImage = ResourceImage::load(ringPath);
    lineImage = ResourceImage::load(linePath);
    repaint();
}

void ParamSlider::parameterValueChanged()
{
    const juce::ScopedValueSetter<bool> guard(updatingFromParameter, true);
    if (getKind() == Kind::integer)
    {
        const auto* d = static_cast<const ParameterDescription<int>*>(getParameterDescription());
        const int steps = std::max(1, d->range.max - d->range.min);
        setRange(0.0, 1.0, 1.0 / steps);
    }
    juce::Slider::setValue(getNormalisedValue(), juce::dontSendNotification);
    repaint();
}

void ParamSlider::valueChanged()
{
    if (updatingFromParameter)
        return;
    setNormalisedValue(float(juce::Slider::getValue()));
}

void ParamSlider::startedDragging()
{
    beginGesture();
}

void ParamSlider::stoppedDragging()
{
    endGesture();
    // Show what the parameter holds, which may differ from where the drag left the slider (steps, ranges).
    parameterValueChanged();
}

juce::String ParamSlider::getTextFromValue(double value)
{
    return formatValue(denormalise(float(value)));
}

double ParamSlider::getValueFromText(const juce::String& text)
{
    // The slider sends the value itself, inside a gesture of its own.
    return normalise(parseValue(text));
}

void ParamSlider::addParameterMenuItems(juce::PopupMenu& menu)
{
    menu.addSectionHeader(getParameterDescription() != nullptr ? getParameterDescription()->getDisplayName()
                                                               : getName());
    menu.addItem("Set to default (" + formatValue(getDefaultValue()) + ")", [this] { resetToDefault(); });
}

void ParamSlider::mouseDown(const juce::MouseEvent& e)
{
    swallowing = false;
    if (e.mods.isAltDown() && !e.mods.isRightButtonDown())
    {
        swallowing = true;
        resetToDefault();
        return;
    }
    if (e.mods.isPopupMenu())
    {
        swallowing = true;
        if (allowsMenus && hasFlag(menuFlag) && showMenu)
        {
            juce::PopupMenu menu;
            addParameterMenuItems(menu);
            showMenu(std::move(menu), *this);
        }
        return;
    }
    juce::Slider::mouseDown(e);
}

void ParamSlider::mouseDrag(const juce::MouseEvent& e)
{
    if (!swallowing)
        juce::Slider::mouseDrag(e);
}

void ParamSlider::mouseUp(const juce::MouseEvent& e)
{
    if (std::exchange(swallowing, false))
        return;
    juce::Slider::mouseUp(e);
}

void ParamSlider::mouseDoubleClick(const juce::MouseEvent& e)
{
    if (!swallowing)
        juce::Slider::mouseDoubleClick(e);
}

void ParamSlider::mouseWheelMove(const juce::MouseEvent& e, const juce::MouseWheelDetails& wheel)
{
    if (getElement() != nullptr)
        juce::Slider::mouseWheelMove(e, wheel);
}

ParamSpinnerLabel::ParamSpinnerLabel() : textColour(colours::numericValue)
{
    setPopupDisplayEnabled(false, false, nullptr);
    setMouseDragSensitivity(300);
    setMouseCursor(juce::MouseCursor::UpDownResizeCursor);
    setFont(fontPaths::values, 17.0f, 18.7f);
}

void ParamSpinnerLabel::setTextColour(juce::Colour colour)
{
    textColour = colour;
    repaint();
}

void ParamSpinnerLabel::setFont(const juce::String& path, float size, float height)
{
    fontPath = path;
    font = TTFonts::instance().getFont(path, size).withHeight(height);
    repaint();
}

void ParamSpinnerLabel::setJustification(juce::Justification j)
{
    justification = j;
    repaint();
}

void ParamSpinnerLabel::paint(juce::Graphics& g)
{
    if (!TTFonts::instance().has(fontPath))
        return;
    g.setColour(isEnabled() ? textColour : textColour.withMultipliedAlpha(0.4f));
    g.setFont(font);
    g.drawFittedText(getValueText(), getLocalBounds(), justification, 1, 0.8f);
}

} // namespace qor
