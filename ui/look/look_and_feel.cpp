#include "ui/look/look_and_feel.h"

#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"
#include "ui/widgets/param_slider.h"

#include <cmath>

namespace qor
{

QorLookAndFeel::QorLookAndFeel()
{
    setColour(juce::PopupMenu::backgroundColourId, colours::panel);
    setColour(juce::PopupMenu::textColourId, colours::text);
    setColour(juce::PopupMenu::headerTextColourId, colours::caption);
    setColour(juce::PopupMenu::highlightedBackgroundColourId, colours::panelRaised.brighter(0.15f));
    setColour(juce::PopupMenu::highlightedTextColourId, colours::numericValue);
    setColour(juce::TooltipWindow::backgroundColourId, colours::panelRaised);
    setColour(juce::TooltipWindow::textColourId, colours::text);
    setColour(juce::TooltipWindow::outlineColourId, colours::outline);
    setColour(juce::BubbleComponent::backgroundColourId, colours::panelRaised);
    setColour(juce::BubbleComponent::outlineColourId, colours::outline);
    setColour(juce::Label::textColourId, colours::text);
    setColour(juce::Label::textWhenEditingColourId, colours::numericValue);
    setColour(juce::Label::backgroundWhenEditingColourId, colours::panel);
    setColour(juce::Label::outlineWhenEditingColourId, colours::outline);
    setColour(juce::TextEditor::backgroundColourId, colours::panel);
    setColour(juce::TextEditor::textColourId, colours::numericValue);
    setColour(juce::TextEditor::highlightColourId, colours::numericValue.withAlpha(0.3f));
    setColour(juce::TextEditor::outlineColourId, colours::outline);
    setColour(juce::TextEditor::focusedOutlineColourId, colours::numericValue.withAlpha(0.6f));
    setColour(juce::CaretComponent::caretColourId, colours::numericValue);
    setColour(juce::Slider::textBoxTextColourId, colours::numericValue);
    setColour(juce::Slider::textBoxBackgroundColourId, juce::Colours::transparentBlack);
    setColour(juce::Slider::textBoxOutlineColourId, juce::Colours::transparentBlack);
    setColour(juce::ComboBox::backgroundColourId, colours::panel);
    setColour(juce::ComboBox::textColourId, colours::comboText);
    setColour(juce::ComboBox::arrowColourId, colours::comboText);
    setColour(juce::ComboBox::outlineColourId, colours::outline);
    setColour(juce::TextButton::buttonColourId, colours::toggleOff);
    setColour(juce::TextButton::buttonOnColourId, colours::toggleOn);
    setColour(juce::TextButton::textColourOffId, colours::text);
    setColour(juce::TextButton::textColourOnId, colours::panel);
    setColour(juce::ResizableWindow::backgroundColourId, colours::panel);
    setColour(juce::DocumentWindow::textColourId, colours::text);
    setColour(juce::AlertWindow::backgroundColourId, colours::panel);
    setColour(juce::AlertWindow::textColourId, colours::text);
    setColour(juce::AlertWindow::outlineColourId, colours::outline);
    setColour(juce::PropertyComponent::backgroundColourId, colours::panelRaised);
    setColour(juce::PropertyComponent::labelTextColourId, colours::text);
}

float QorLookAndFeel::knobAngle(float normalised)
{
    return (normalised * 2.0f * juce::MathConstants<float>::pi - juce::MathConstants<float>::pi) * 2.0f /
           3.0f;
}

juce::Typeface::Ptr QorLookAndFeel::getTypefaceForFont(const juce::Font& font)
{
    if (font.getTypefaceName() == juce::Font::getDefaultSansSerifFontName())
        if (auto typeface = TTFonts::instance().getTypeface(fontPaths::sans))
            return typeface;
    return LookAndFeel_V4::getTypefaceForFont(font);
}

void QorLookAndFeel::drawRotarySlider(juce::Graphics& g, int x, int y, int width, int height, float sliderPos,
                                      float rotaryStartAngle, float rotaryEndAngle, juce::Slider& slider)
{
    auto* knob = dynamic_cast<ParamSlider*>(&slider);
    if (knob == nullptr)
    {
        LookAndFeel_V4::drawRotarySlider(g, x, y, width, height, sliderPos, rotaryStartAngle, rotaryEndAngle,
                                         slider);
        return;
    }
    // The 46-pixel drawings sit in a 56-pixel knob; smaller knobs scale them alike.
    const auto area = juce::Rectangle<int>(x, y, width, height).toFloat();
    const auto inner = area.reduced(area.getWidth() * 5.0f / 56.0f, area.getHeight() * 5.0f / 56.0f);
    const float opacity = slider.isEnabled() ? 1.0f : 0.35f;
    if (const auto& ring = knob->getRingImage())
        ring->draw(g, inner, opacity);
    if (const auto& line = knob->getLineImage())
    {
        const juce::Graphics::ScopedSaveState state(g);
        g.addTransform(
            juce::AffineTransform::rotation(knobAngle(sliderPos), area.getCentreX(), area.getCentreY()));
        line->draw(g, inner, opacity);
    }
}

float QorLookAndFeel::bubbleCornerSize(juce::Rectangle<float> body)
{
    return juce::jlimit(1.0f, 3.0f, std::min(body.getWidth(), body.getHeight()) * 0.15f);
}

juce::Path QorLookAndFeel::bubblePath(juce::Rectangle<float> body, juce::Point<float> tip)
{
    const float distance = body.contains(tip) ? 5.0f : body.getConstrainedPoint(tip).getDistanceFrom(tip);
    const float arrowBase = 2.0f * distance * 0.57735026f;
    juce::Path p;
    p.addBubble(body, body.getUnion({tip.x, tip.y, 1.0f, 1.0f}), tip, bubbleCornerSize(body), arrowBase);
    return p;
}

void QorLookAndFeel::drawBubble(juce::Graphics& g, juce::BubbleComponent& bubble,
                                const juce::Point<float>& tip, const juce::Rectangle<float>& body)
{
    const auto path = bubblePath(body.reduced(0.5f), tip);
    const auto base = bubble.findColour(juce::BubbleComponent::backgroundColourId);
    g.setGradientFill(juce::ColourGradient(base.withMultipliedAlpha(0.4f), 0.0f, body.getY(),
                                           base.withAlpha(base.getFloatAlpha()), 0.0f, body.getBottom(),
                                           false));
    g.fillPath(path);

    g.setColour(juce::Colours::white.withAlpha(0.1f));
    const auto top = body.reduced(bubbleCornerSize(body), 0.0f).withHeight(1.0f).translated(0.0f, 1.5f);
    g.fillRect(top);

    const auto outline = bubble.findColour(juce::BubbleComponent::outlineColourId);
    g.setColour(outline);
    g.strokePath(path, juce::PathStrokeType(1.0f));
    g.setColour(outline.withMultipliedAlpha(0.5f));
    g.strokePath(path, juce::PathStrokeType(1.33f));
}

juce::Font QorLookAndFeel::getSliderPopupFont(juce::Slider&)
{
    return TTFonts::instance().getFont(fontPaths::values, 15.0f);
}

int QorLookAndFeel::getSliderPopupPlacement(juce::Slider&)
{
    return juce::BubbleComponent::above;
}

juce::Font QorLookAndFeel::getTextButtonFont(juce::TextButton&, int buttonHeight)
{
    return juce::Font(float(buttonHeight) * 0.65f);
}

juce::Font QorLookAndFeel::getPopupMenuFont()
{
    return juce::Font(15.0f);
}

juce::Rectangle<int> QorLookAndFeel::getTooltipBounds(const juce::String& tipText, juce::Point<int> screenPos,
                                                      juce::Rectangle<int> parentArea)
{
    juce::AttributedString text;
    text.append(tipText, juce::Font(13.0f), colours::text);
    juce::TextLayout layout;
    layout.createLayoutWithBalancedLineLengths(text, 320.0f);
    const int w = int(layout.getWidth() + 16.0f), h = int(layout.getHeight() + 10.0f);
    return juce::Rectangle<int>(
               screenPos.x > parentArea.getCentreX() ? screenPos.x - (w + 12) : screenPos.x + 16,
               screenPos.y > parentArea.getCentreY() ? screenPos.y - (h + 6) : screenPos.y + 8, w, h)
        .constrainedWithin(parentArea);
}

void QorLookAndFeel::drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height)
{
    const juce::Rectangle<float> area(0.0f, 0.0f, float(width), float(height));
    g.setColour(findColour(juce::TooltipWindow::backgroundColourId));
    g.fillRoundedRectangle(area, 3.0f);
    g.setColour(findColour(juce::TooltipWindow::outlineColourId));
    g.drawRoundedRectangle(area.reduced(0.5f), 3.0f, 1.0f);
    juce::AttributedString s;
    s.append(text, juce::Font(13.0f), findColour(juce::TooltipWindow::textColourId));
    s.setJustification(juce::Justification::centredLeft);
    juce::TextLayout layout;
    layout.createLayoutWithBalancedLineLengths(s, 320.0f);
    layout.draw(g, area.reduced(8.0f, 5.0f));
}

juce::Font QorLookAndFeel::getLabelFont(juce::Label& label)
{
    return label.getFont();
}

LaminaLookAndFeel::LaminaLookAndFeel() = default;

ComboLnF::ComboLnF()
{
    setColour(juce::ComboBox::textColourId, colours::comboText);
    setColour(juce::ComboBox::arrowColourId, colours::comboText);
}

void ComboLnF::drawComboBox(juce::Graphics& g, int width, int height, bool, int, int, int, int,
                            juce::ComboBox& box)
{
    const juce::Rectangle<float> area(0.0f, 0.0f, float(width), float(height));
    g.setColour(box.findColour(juce::ComboBox::backgroundColourId));
    g.fillRoundedRectangle(area, 3.0f);
    g.setColour(
        box.findColour(juce::ComboBox::outlineColourId).withMultipliedAlpha(box.isMouseOver() ? 1.0f : 0.6f));
    g.drawRoundedRectangle(area.reduced(0.5f), 3.0f, 1.0f);

    const float size = std::min(8.0f, float(height) * 0.3f);
    const juce::Point<float> centre(float(width) - float(height) * 0.5f, float(height) * 0.5f);
    juce::Path arrow;
    arrow.addTriangle(centre.x - size * 0.5f, centre.y - size * 0.25f, centre.x + size * 0.5f,
                      centre.y - size * 0.25f, centre.x, centre.y + size * 0.35f);
    g.setColour(
        box.findColour(juce::ComboBox::arrowColourId).withMultipliedAlpha(box.isEnabled() ? 1.0f : 0.4f));
    g.fillPath(arrow);
}

juce::Font ComboLnF::getComboBoxFont(juce::ComboBox& box)
{
    return TTFonts::instance().getFont(fontPaths::values, float(box.getHeight()) * 0.65f);
}

void ComboLnF::positionComboBoxText(juce::ComboBox& box, juce::Label& label)
{
    label.setBounds(1, 1, box.getWidth() - box.getHeight(), box.getHeight() - 2);
    label.setFont(getComboBoxFont(box));
}

LnF::LnF() = default;

} // namespace qor
