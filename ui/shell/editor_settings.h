#pragma once

#include <juce_core/juce_core.h>

namespace qor
{

class SettingsStore;

/** Keys of the editor in the application properties. */
namespace settingsKeys
{
inline const juce::String expanded = "ui.expanded";
inline const juce::String zoom = "ui.zoom";
inline const juce::String showEQ = "editor.showEQ";
inline const juce::String showControls = "editor.showControls";
inline const juce::String showRTA = "editor.showRTA";
} // namespace settingsKeys

/** The editor's zoom choices, in percent. */
inline constexpr int zoomChoices[] = {75, 100, 125, 150, 175, 200};

/** The stored zoom, limited to 75 to 200 percent; 100 when none is stored. */
int readZoomPercent(const SettingsStore& settings);

} // namespace qor
