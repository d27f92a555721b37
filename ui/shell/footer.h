#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

namespace qor
{

/** "CPU: " and the share of real time that the blocks take, refreshed every second. */
class CpuLoadUI : public juce::Component, private juce::Timer
{
public:
    static constexpr int intervalMs = 1000;

    /** `load` answers the share of real time (1 is all of it). */
    explicit CpuLoadUI(std::function<double()> load);

    /** "CPU: 12.3%" for a load of 0.123. */
    static juce::String textFor(double load);
    const juce::String& getText() const { return text; }
    /** Reads the load now (the timer does it every second). */
    void refresh();

    void paint(juce::Graphics& g) override;

private:
    void timerCallback() override { refresh(); }

    std::function<double()> load;
    juce::String text;
};

/** The bar along the bottom: the load, the zoom choice and the version. */
class Footer : public juce::Component, private juce::Timer
{
public:
    static constexpr int intervalMs = 100;

    /** `zoom` answers the zoom in percent; `chooseZoom` is told a new choice. */
    Footer(std::function<double()> cpuLoad, std::function<int()> zoom, std::function<void(int)> chooseZoom);

    /** "1.0.0_x64". */
    static juce::String versionText();
    /** The version's font height for a footer of this height: half of it, within 13 to 18. */
    static float versionFontHeight(int footerHeight);

    CpuLoadUI& getCpuLoadUI() { return cpuLoad; }
    juce::Button& getZoomButton() { return zoomButton; }
    /** The zoom menu as the button opens it: one ticked item per choice, the id being the percentage. */
    juce::PopupMenu makeZoomMenu() const;

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    void timerCallback() override;

    CpuLoadUI cpuLoad;
    juce::TextButton zoomButton;
    std::function<int()> zoom;
    std::function<void(int)> chooseZoom;
};

} // namespace qor
