#pragma once

#include <juce_core/juce_core.h>

namespace qor
{

class AudioTap;
class EngineProxy;
class LaminaPlugin;
class SettingsStore;

/** What every part of the editor may need, handed down from the window: the plug-in, its proxy, the path of
    the sheet element, the application properties and the editor's one audio tap. */
struct EditorContext
{
    LaminaPlugin& plugin;
    EngineProxy& proxy;
    SettingsStore& settings;
    AudioTap& tap;
    juce::String elementPath = "/Lamina";
};

} // namespace qor
