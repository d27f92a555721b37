#include "ui/shell/footer.h"

#include "ui/look/colours.h"
#include "ui/shell/editor_settings.h"

namespace qor
{

CpuLoadUI::CpuLoadUI(std::function<double()> source) : load(std::move(source))
{
    setInterceptsMouseClicks(false, false);
    refresh();
    startTimer(intervalMs);
}

juce::String CpuLoadUI::textFor(double share)
{
    return "CPU: " + juce::String(share * 100.0, 1) + "%";
}

void CpuLoadUI::refresh()
{
    auto next = textFor(load ? load() : 0.0);
    if (next != text)
    {
        text = std::move(next);
        repaint();
    }
}

void CpuLoadUI::paint(juce::Graphics& g)
{
    g.setColour(juce::Colours::white.withAlpha(0.5f));
    g.setFont(juce::Font(12.0f));
    g.drawText(text, getLocalBounds(), juce::Justification::centredLeft, false);
}

Footer::Footer(std::function<double()> cpuLoadSource, std::function<int()> zoomSource,
               std::function<void(int)> chooser)
    : cpuLoad(std::move(cpuLoadSource)), zoom(std::move(zoomSource)), chooseZoom(std::move(chooser))
{
    addAndMakeVisible(cpuLoad);
    zoomButton.setTooltip("Changes the size of the window");
    zoomButton.setColour(juce::TextButton::buttonColourId, juce::Colours::transparentBlack);
    zoomButton.setColour(juce::TextButton::textColourOffId, colours::footerText.brighter(0.3f));
    zoomButton.onClick = [this]
    {
        juce::Component::SafePointer<Footer> safe(this);
        makeZoomMenu().showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&zoomButton),
                                     [safe](int percent)
                                     {
                                         if (safe != nullptr && percent > 0 && safe->chooseZoom)
                                             safe->chooseZoom(percent);
                                     });
    };
    addAndMakeVisible(zoomButton);
    timerCallback();
    startTimer(intervalMs);
}

juce::String Footer::versionText()
{
    return juce::String("1.0.0") + "_x64";
}

float Footer::versionFontHeight(int footerHeight)
{
    return juce::jlimit(13.0f, 18.0f, float(footerHeight) / 2.0f);
}

juce::PopupMenu Footer::makeZoomMenu() const
{
    juce::PopupMenu menu;
    menu.addSectionHeader("Window size");
    const int current = zoom ? zoom() : 100;
    for (int percent : zoomChoices)
        menu.addItem(percent, juce::String(percent) + " %", true, percent == current);
    return menu;
}

void Footer::timerCallback()
{
    const auto text = juce::String(zoom ? zoom() : 100) + " %";
    if (zoomButton.getButtonText() != text)
        zoomButton.setButtonText(text);
}

void Footer::resized()
{
    cpuLoad.setBounds(8, 0, 110, getHeight());
    zoomButton.setBounds(getWidth() / 2 - 30, 1, 60, getHeight() - 2);
}

void Footer::paint(juce::Graphics& g)
{
    g.setColour(colours::footerText);
    g.setFont(juce::Font(versionFontHeight(getHeight())));
    g.drawText(versionText(), getLocalBounds().withTrimmedRight(8), juce::Justification::centredRight, false);
}

} // namespace qor
