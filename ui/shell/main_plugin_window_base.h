#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

class DefaultPluginBase;
class EngineProxy;
class LaminaLookAndFeel;
class SettingsStore;

/** The window that a host embeds. It lays itself out in logical pixels and scales itself by the zoom of the
    application properties (75 % to 200 %); a host wrapper follows its bounds in the parent, which are its
   size times the zoom. While it is open it delivers the proxy's changes every 20 ms, so widgets follow the
   engine within a frame or two. */
class MainPluginWindowBase : public juce::Component, private juce::Timer
{
public:
    static constexpr int proxyIntervalMs = 20;

    explicit MainPluginWindowBase(DefaultPluginBase& plugin);
    ~MainPluginWindowBase() override;

    DefaultPluginBase& getPlugin() const { return plugin; }
    EngineProxy& getProxy() const;
    SettingsStore& getSettings() const;

    int getZoomPercent() const { return zoomPercent; }
    /** Limits to 75 to 200, stores the choice and scales the window. */
    void setZoomPercent(int percent);
    /** The size a host shows: the logical size times the zoom. */
    juce::Rectangle<int> getHostBounds() const { return getBoundsInParent(); }

private:
    void timerCallback() override;

    DefaultPluginBase& plugin;
    int zoomPercent = 100;
};

/** The window of the maker's plug-ins: it puts the product's look and feel in place as the default while any
    such window is open. */
class DefaultPluginWindow : public MainPluginWindowBase
{
public:
    explicit DefaultPluginWindow(DefaultPluginBase& plugin);
    ~DefaultPluginWindow() override;

    LaminaLookAndFeel& getLookAndFeelInUse() { return *lookAndFeel; }

private:
    juce::SharedResourcePointer<LaminaLookAndFeel> lookAndFeel;
};

} // namespace qor
