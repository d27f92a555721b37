#pragma once
// A real plug-in with its editor for the editor's tests: JUCE's GUI runs on this thread, settings go to a
// temporary folder, and a JUCE assertion anywhere fails the running test.

#include "engine/engine_proxy.h"
#include "files/settings_store.h"
#include "modal/lamina/lamina.h"
#include "plugin/lamina_plugin.h"
#include "ui/shell/lamina_plugin_ui_v2.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <gtest/gtest.h>

#include <memory>

namespace qor::test
{

/** A prepared plug-in (VST3 format) whose editor a test may open. */
class EditorTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /** Opens the editor as a host would. */
    std::unique_ptr<LaminaPluginUIv2> open();
    /** Delivers the proxy's queued changes, as the window's timer does. */
    void tick() { plugin->getEngineProxy()->tick(); }
    /** Runs blocks of silence, so that values set off the audio thread reach the process state. */
    void render(int blocks = 1);
    Lamina& sheet() { return *plugin->getLamina(); }
    uint32_t id(const char* name) { return sheet().getParameterId(name); }
    /** The host slot of a parameter key. */
    uint32_t slot(const char* key);
    SettingsStore& settings() { return plugin->getApplicationProperties(); }

    std::unique_ptr<LaminaPlugin> plugin;
};

/** A mouse event on `target` at `position` (in its coordinates). */
juce::MouseEvent mouseAt(juce::Component& target, juce::Point<float> position,
                         juce::ModifierKeys mods = juce::ModifierKeys::leftButtonModifier, int clicks = 1);

/** Presses at `from`, drags through `to` and releases there. */
void drag(juce::Component& target, juce::Point<float> from, juce::Point<float> to,
          juce::ModifierKeys mods = juce::ModifierKeys::leftButtonModifier);

/** Counts calls of a plug-in signal with a slot index. */
struct SlotLog : public Trackable
{
    explicit SlotLog(Signal<uint32_t>& signal);
    int count(uint32_t slot) const;
    std::vector<uint32_t> calls;
};

/** Pumps the message loop for `ms` milliseconds of wall time (only where a real window must paint). */
void pumpMessages(int ms);

} // namespace qor::test
