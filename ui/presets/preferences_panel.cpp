#include "ui/presets/preferences_panel.h"

#include "files/settings_store.h"
#include "ui/look/colours.h"
#include "ui/shell/editor_settings.h"

#include <cmath>

namespace qor
{

BoolProperty::BoolProperty(SettingsStore& s, const juce::String& k, const juce::String& name, bool d)
    : juce::BooleanPropertyComponent(name, "On", "Off"), settings(s), key(k), defaultValue(d)
{
    refresh();
}

void BoolProperty::setState(bool newState)
{
    if (newState == getState())
        return;
    settings.setValue(key, newState);
    refresh();
    if (onChange)
        onChange(newState);
}

bool BoolProperty::getState() const
{
    return settings.getBoolValue(key, defaultValue);
}

FloatProperty::FloatProperty(SettingsStore& s, const juce::String& k, const juce::String& name,
                             double minimum, double maximum, double interval, double d)
    : juce::SliderPropertyComponent(name, minimum, maximum, interval), settings(s), key(k), defaultValue(d)
{
    // A lit bar with its value on it, like the read-outs of the editor.
    slider.setSliderStyle(juce::Slider::LinearBar);
    slider.setColour(juce::Slider::trackColourId, colours::numericValue.withAlpha(0.3f));
    slider.setColour(juce::Slider::backgroundColourId, colours::panelRaised);
    slider.setColour(juce::Slider::textBoxTextColourId, colours::numericValue);
    slider.setColour(juce::Slider::textBoxOutlineColourId, colours::outline);
    refresh();
}

void FloatProperty::setValue(double newValue)
{
    const auto& range = slider.getRange();
    newValue = juce::jlimit(range.getStart(), range.getEnd(), newValue);
    if (std::abs(newValue - getValue()) < 1e-9)
        return;
    // Whole numbers stay whole: other readers of the key take it as an integer.
    settings.setValue(key, std::floor(newValue) == newValue ? juce::String(juce::roundToInt(newValue))
                                                            : juce::String(newValue));
    if (onChange)
        onChange(newValue);
}

double FloatProperty::getValue() const
{
    const auto text = settings.getValue(key);
    return text.isEmpty() ? defaultValue : text.getDoubleValue();
}

PreferencesPanel::PreferencesPanel(const EditorContext& c) : context(c)
{
    setName("PreferencesPanel");
    auto& settings = context.settings;
    auto* zoom = new FloatProperty(settings, settingsKeys::zoom, "Window zoom (%)", zoomChoices[0],
                                   zoomChoices[std::size(zoomChoices) - 1], 25.0, 100.0);
    zoom->onChange = [this](double percent)
    {
        if (onZoomChanged)
            onZoomChanged(int(std::lround(percent)));
    };
    panel.addSection("Window",
                     {zoom, new BoolProperty(settings, settingsKeys::expanded, "Open expanded", false)});
    const auto displayRow = [&](const juce::String& key, const char* name, bool defaultValue)
    {
        auto* row = new BoolProperty(settings, key, name, defaultValue);
        row->onChange = [this, key](bool value)
        {
            if (onDisplaysChanged)
                onDisplaysChanged(key, value);
        };
        return row;
    };
    panel.addSection("Displays", {displayRow(settingsKeys::showEQ, "Show band EQ", false),
                                  displayRow(settingsKeys::showControls, "Show damping controls", true),
                                  displayRow(settingsKeys::showRTA, "Show spectrum analyser", false)});
    addAndMakeVisible(panel);
    setSize(400, 300);
}

void PreferencesPanel::paint(juce::Graphics& g)
{
    g.fillAll(colours::panel);
}

void PreferencesPanel::resized()
{
    panel.setBounds(getLocalBounds().reduced(8));
}

} // namespace qor
