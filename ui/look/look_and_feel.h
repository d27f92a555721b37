#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The drawing shared by the maker's editors: dark menus and tooltips, the bubble, knobs drawn from a ring
   and a rotating line, and the default sans face taken from the archive. */
class QorLookAndFeel : public juce::LookAndFeel_V4
{
public:
    QorLookAndFeel();

    /** The pointer angle of a knob for a normalised value: 0 points up, the knob sweeps 240 degrees. */
    static float knobAngle(float normalised);

    /** The corner size of the bubble for a body of this size. */
    static float bubbleCornerSize(juce::Rectangle<float> body);
    /** The bubble's outline: a rounded box with an arrow towards `tip` (5 long when the tip is inside). */
    static juce::Path bubblePath(juce::Rectangle<float> body, juce::Point<float> tip);

    juce::Typeface::Ptr getTypefaceForFont(const juce::Font& font) override;
    void drawRotarySlider(juce::Graphics&, int x, int y, int width, int height, float sliderPos,
                          float rotaryStartAngle, float rotaryEndAngle, juce::Slider&) override;
    void drawBubble(juce::Graphics&, juce::BubbleComponent&, const juce::Point<float>& tip,
                    const juce::Rectangle<float>& body) override;
    juce::Font getSliderPopupFont(juce::Slider&) override;
    int getSliderPopupPlacement(juce::Slider&) override;
    /** Text on buttons stands at 0.65 of the button's height. */
    juce::Font getTextButtonFont(juce::TextButton&, int buttonHeight) override;
    juce::Font getPopupMenuFont() override;
    juce::Rectangle<int> getTooltipBounds(const juce::String& tipText, juce::Point<int> screenPos,
                                          juce::Rectangle<int> parentArea) override;
    void drawTooltip(juce::Graphics&, const juce::String& text, int width, int height) override;
    juce::Font getLabelFont(juce::Label&) override;
};

/** The editor's look. */
class LaminaLookAndFeel : public QorLookAndFeel
{
public:
    LaminaLookAndFeel();
};

/** Combo boxes: text and arrow in the combo colour on the dark panel. */
class ComboLnF : public QorLookAndFeel
{
public:
    ComboLnF();

    void drawComboBox(juce::Graphics&, int width, int height, bool isButtonDown, int buttonX, int buttonY,
                      int buttonW, int buttonH, juce::ComboBox&) override;
    juce::Font getComboBoxFont(juce::ComboBox&) override;
    void positionComboBoxText(juce::ComboBox&, juce::Label&) override;
};

/** The windows of the plug-in base (dialogues such as the preferences). */
class LnF : public QorLookAndFeel
{
public:
    LnF();
};

} // namespace qor
