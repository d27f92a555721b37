// The parameter widgets bound to a real sheet through the engine proxy: values in both directions in the
// parameter's own unit, change gestures as the host sees them, booleans, Alt-click, and a widget whose
// element goes away.
#include "tests/ui/ui_test_support.h"

#include "engine/engine.h"
#include "modal/lamina/value_texts.h"
#include "tests/support/lamina_probe.h"
#include "ui/shell/lock_menu.h"
#include "ui/widgets/param_button.h"
#include "ui/widgets/param_label.h"
#include "ui/widgets/param_slider.h"

#include <cmath>

namespace qor::test
{

namespace
{
/** The host's view of one slot: begin ("b"), value ("v") and end ("e") in the order they came. */
struct HostLog : public Trackable
{
    HostLog(Plugin& plugin, uint32_t slot)
    {
        auto record = [this, slot](const char* what)
        {
            return std::function<void(uint32_t)>(
                [this, slot, what](uint32_t i)
                {
                    if (i == slot && (events.empty() || events.back() != *what || *what != 'v'))
                        events += what;
                });
        };
        plugin.parameterGestureBegin.connect(this, record("b"));
        plugin.parameterChanged.connect(this, record("v"));
        plugin.parameterGestureEnd.connect(this, record("e"));
    }
    std::string events;
};
} // namespace

TEST_F(EditorTest, AHostChangeTurnsTheKnobAndItsLabelWithoutAnEcho)
{
    auto window = open();
    auto& knob = window->getEditor().getKnob("Decay");
    auto& label = window->getEditor().getValueLabel("Decay");
    EXPECT_EQ(label.getText(), "2.00 s") << "opens on the current value";

    HostLog host(*plugin, slot("Decay"));
    plugin->setParameterNormalised(slot("Decay"), 0.75f);
    const float seconds = sheet().getParameter(id("Decay"));
    EXPECT_NE(knob.getValue(), 0.75) << "nothing moves before the proxy delivers";
    tick();
    EXPECT_NEAR(knob.getValue(), 0.75, 1e-4);
    EXPECT_EQ(label.getText(), formatLaminaTime(seconds));
    EXPECT_EQ(host.events, "") << "the widgets send nothing back";
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Decay")), seconds);

    // The read-outs and the radio group follow too.
    plugin->setParameterNormalised(slot("Material"), 1.0f);
    plugin->setParameterNormalised(slot("Area"), 1.0f);
    tick();
    const auto& materials = window->getEditor().getMaterialButtons();
    for (std::size_t i = 0; i < materials.size(); ++i)
        EXPECT_EQ(materials[i]->getToggleState(), i == 4) << "button " << i;
    EXPECT_EQ(window->getEditor().getReadout("Area").getValueText(), "6.00");
}

TEST_F(EditorTest, AKnobDragSendsSecondsToTheSheetAndIsOneGestureForTheHost)
{
    auto window = open();
    auto& knob = window->getEditor().getKnob("Decay");
    HostLog host(*plugin, slot("Decay"));

    drag(knob, {28.0f, 28.0f}, {28.0f, -40.0f});
    EXPECT_EQ(host.events, "bve") << "one begin, values, one end";
    const float seconds = sheet().getParameter(id("Decay"));
    EXPECT_GT(seconds, 2.0f) << "dragging up lengthens the decay";
    EXPECT_NEAR(knob.normalise(seconds), float(knob.getValue()), 1e-5f)
        << "the knob's position is the value's";
    EXPECT_NEAR(plugin->getParameterNormalised(slot("Decay")), float(knob.getValue()), 1e-4f);
    render();
    EXPECT_FLOAT_EQ(LaminaProbe::value<float>(sheet(), LaminaProbe::processState(sheet()), id("Decay")),
                    seconds)
        << "and the audio side takes it";

    // The echo of its own change moves nothing.
    const double position = knob.getValue();
    tick();
    EXPECT_EQ(knob.getValue(), position);

    // A click on a material button, a text entry in a value label: one gesture each.
    HostLog materialHost(*plugin, slot("Material"));
    auto& gold = *window->getEditor().getMaterialButtons()[1];
    gold.mouseDown(mouseAt(gold, {5.0f, 5.0f}));
    gold.mouseUp(mouseAt(gold, {5.0f, 5.0f}, juce::ModifierKeys()));
    EXPECT_EQ(materialHost.events, "bve");
    EXPECT_EQ(sheet().getIntParameter(id("Material")), 1);

    HostLog mixHost(*plugin, slot("Mix"));
    auto& mix = window->getEditor().getValueLabel("Mix");
    mix.setText("45 %", juce::dontSendNotification);
    mix.textWasEdited();
    EXPECT_EQ(mixHost.events, "bve");
    EXPECT_NEAR(sheet().getParameter(id("Mix")), 0.45f, 1e-6f);
    EXPECT_EQ(mix.getText(), formatLaminaPercent(0.45f));
}

TEST_F(EditorTest, ABooleanInASliderIsTrueAboveOneHalfAndIntegersSnapToTheirSteps)
{
    ParamSlider eq;
    eq.bind(*plugin->getEngineProxy(), "/Lamina", "EnableEQ");
    eq.setValue(0.6, juce::sendNotificationSync);
    EXPECT_TRUE(sheet().getBoolParameter(id("EnableEQ")));
    eq.setValue(0.5, juce::sendNotificationSync);
    EXPECT_FALSE(sheet().getBoolParameter(id("EnableEQ")));
    eq.setValue(0.51, juce::sendNotificationSync);
    EXPECT_TRUE(sheet().getBoolParameter(id("EnableEQ")));

    ParamSlider quality;
    quality.bind(*plugin->getEngineProxy(), "/Lamina", "Quality");
    quality.setValue(0.58, juce::sendNotificationSync); // 0 to 5: the nearest step is 3
    EXPECT_EQ(sheet().getIntParameter(id("Quality")), 3);
    EXPECT_EQ(quality.getTextFromValue(quality.getValue()), formatQualityLabel(3));
}

TEST_F(EditorTest, AltClickResetsALockedParameterAndTheRightButtonNeverDrags)
{
    auto window = open();
    auto& knob = window->getEditor().getKnob("Decay");
    knob.setValue(0.9, juce::sendNotificationSync);
    setLocked(sheet(), "Decay", true);
    ASSERT_GT(sheet().getParameter(id("Decay")), 2.0f);

    HostLog host(*plugin, slot("Decay"));
    knob.mouseDown(mouseAt(
        knob, {28.0f, 28.0f},
        juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier)));
    knob.mouseDrag(mouseAt(knob, {28.0f, -20.0f}));
    knob.mouseUp(mouseAt(knob, {28.0f, -20.0f}, juce::ModifierKeys()));
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Decay")), 2.0f) << "locks bind only the preset loader";
    EXPECT_TRUE(isLocked(sheet(), "Decay"));
    EXPECT_EQ(host.events, "bve");
    EXPECT_NEAR(knob.getValue(), knob.normalise(2.0f), 1e-6);

    host.events.clear();
    window->showMenu = [](juce::PopupMenu, juce::Component&, std::function<void(int)>) {};
    drag(knob, {28.0f, 28.0f}, {28.0f, -40.0f}, juce::ModifierKeys::rightButtonModifier);
    EXPECT_EQ(host.events, "");
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Decay")), 2.0f);
}

TEST_F(EditorTest, AWidgetWhoseElementGoesAwayKeepsItsValueSendsNothingAndFollowsTheNextOne)
{
    auto window = open();
    auto& knob = window->getEditor().getKnob("Decay");
    auto& label = window->getEditor().getValueLabel("Decay");
    knob.setValue(0.8, juce::sendNotificationSync);
    const auto shown = label.getText();
    std::vector<uint8_t> saved;
    plugin->getState(saved);

    // The proxy pointed at a tree without a sheet (the plug-in refuses such a state): "/Lamina" names
    // nothing.
    Engine bare;
    plugin->getEngineProxy()->setEngine(&bare);
    tick();
    EXPECT_EQ(knob.getElement(), nullptr);
    EXPECT_EQ(label.getText(), shown);
    EXPECT_NEAR(knob.getValue(), 0.8, 1e-6);

    SlotLog changes(plugin->parameterChanged), begins(plugin->parameterGestureBegin);
    drag(knob, {28.0f, 28.0f}, {28.0f, 0.0f});
    knob.mouseDown(mouseAt(
        knob, {28.0f, 28.0f},
        juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier)));
    knob.mouseUp(mouseAt(knob, {28.0f, 28.0f}, juce::ModifierKeys()));
    auto& gold = *window->getEditor().getMaterialButtons()[1];
    gold.mouseDown(mouseAt(gold, {5.0f, 5.0f}));
    gold.mouseUp(mouseAt(gold, {5.0f, 5.0f}, juce::ModifierKeys()));
    render(2);
    EXPECT_TRUE(changes.calls.empty());
    EXPECT_TRUE(begins.calls.empty());

    // A load that brings a sheet back binds every widget to the new element.
    ASSERT_TRUE(plugin->setState(saved, {}));
    tick();
    EXPECT_EQ(knob.getElement(), plugin->getLamina());
    EXPECT_NEAR(knob.getValue(), 0.8, 1e-4);
    knob.setValue(0.2, juce::sendNotificationSync);
    EXPECT_NEAR(knob.normalise(plugin->getLamina()->getParameter(id("Decay"))), 0.2f, 1e-5f);
}

} // namespace qor::test
