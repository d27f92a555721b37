#pragma once
// A display of the right panel on its own, bound to the test's plug-in through a context of its own.

#include "tests/ui/ui_test_support.h"
#include "ui/shell/editor_context.h"
#include "ui/widgets/audio_tap.h"

namespace qor::test
{

class DisplayTest : public EditorTest
{
protected:
    void SetUp() override
    {
        EditorTest::SetUp();
        // Offline, a block waits for the modes its parameters ask for: no new table lands in the middle of a
        // response and clears the resonators.
        sheet().setOffline(true);
        tap = std::make_unique<AudioTap>(*plugin->getEngineProxy(), "/Lamina");
        context = std::make_unique<EditorContext>(
            EditorContext{*plugin, *plugin->getEngineProxy(), settings(), *tap});
    }
    void TearDown() override
    {
        context.reset();
        tap.reset();
        EditorTest::TearDown();
    }
    /** Sets a parameter as the host would and delivers the change. */
    void set(const char* name, float normalised)
    {
        plugin->setParameterNormalised(slot(name), normalised);
        tick();
    }
    float get(const char* name) { return sheet().getParameter(id(name)); }

    std::unique_ptr<AudioTap> tap;
    std::unique_ptr<EditorContext> context;
};

inline juce::MouseEvent mouseEvent(juce::Component& target, juce::Point<float> position,
                                   juce::Point<float> downAt,
                                   juce::ModifierKeys mods = juce::ModifierKeys::leftButtonModifier)
{
    auto source = juce::Desktop::getInstance().getMainMouseSource();
    return juce::MouseEvent(source, position, mods, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, &target, &target,
                            juce::Time::getCurrentTime(), downAt, juce::Time::getCurrentTime(), 1, false);
}

/** A press at `from`, moves through each of `through` and a release at the last. */
template <typename Display>
void stroke(Display& display, juce::Point<float> from, std::initializer_list<juce::Point<float>> through)
{
    display.mouseDown(mouseEvent(display, from, from));
    auto last = from;
    for (auto p : through)
    {
        display.mouseDrag(mouseEvent(display, p, from));
        last = p;
    }
    display.mouseUp(mouseEvent(display, last, from, {}));
}

} // namespace qor::test
