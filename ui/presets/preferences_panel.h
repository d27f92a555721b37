#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

namespace qor
{

class SettingsStore;

/** A switch over one key of the application properties ("1" or "0"). */
class BoolProperty : public juce::BooleanPropertyComponent
{
public:
    BoolProperty(SettingsStore& settings, const juce::String& key, const juce::String& name,
                 bool defaultValue);
    void setState(bool newState) override;
    bool getState() const override;

    std::function<void(bool)> onChange;

private:
    SettingsStore& settings;
    juce::String key;
    bool defaultValue;
};

/** A slider over one key of the application properties. */
class FloatProperty : public juce::SliderPropertyComponent
{
public:
    FloatProperty(SettingsStore& settings, const juce::String& key, const juce::String& name, double minimum,
                  double maximum, double interval, double defaultValue);
    void setValue(double newValue) override;
    double getValue() const override;

    std::function<void(double)> onChange;

private:
    SettingsStore& settings;
    juce::String key;
    double defaultValue;
};

/** The rows of the application properties shown in the "Lamina Preferences" dialogue (400 x 300). */
class PreferencesPanel : public juce::Component
{
public:
    explicit PreferencesPanel(const EditorContext& context);

    juce::PropertyPanel& getPanel() { return panel; }
    /** Told when the zoom row moves, so that an open window follows. */
    std::function<void(int percent)> onZoomChanged;
    /** Told when a row of the displays changes, so that an open window shows it at once. */
    std::function<void(const juce::String& key, bool value)> onDisplaysChanged;

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    EditorContext context;
    juce::PropertyPanel panel;
};

} // namespace qor
