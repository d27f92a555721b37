// The window: its two layouts and the settings they keep, the zoom and the "@2x" art, the lock menu, the knob
// scales against their numbers, the switches that enable knobs, the meters and the footer.
#include "tests/ui/ui_test_support.h"

#include "ui/displays/lamina_decay_display.h"
#include "ui/displays/lamina_eq_display.h"
#include "ui/displays/spectrum_display.h"
#include "ui/look/look_and_feel.h"
#include "ui/look/material_look.h"
#include "ui/presets/ab_tool_bar.h"
#include "ui/sheet/lamina_rectangle.h"
#include "ui/shell/editor_settings.h"
#include "ui/shell/knob_scales.h"
#include "ui/shell/lock_menu.h"
#include "ui/shell/right_panel.h"
#include "ui/widgets/image_display.h"

#include <cmath>

namespace qor::test
{

namespace
{
void click(juce::Button& button)
{
    juce::Component& target = button;
    target.mouseDown(mouseAt(button, {3.0f, 3.0f}));
    target.mouseUp(mouseAt(button, {3.0f, 3.0f}, juce::ModifierKeys()));
}

/** Every widget bound to a parameter under `root`. */
void collectBindings(juce::Component& root, std::vector<std::pair<juce::Component*, ParamBinding*>>& out)
{
    for (auto* child : root.getChildren())
    {
        if (auto* binding = dynamic_cast<ParamBinding*>(child))
            out.emplace_back(child, binding);
        collectBindings(*child, out);
    }
}

struct MenuRecorder
{
    int opened = 0;
    juce::PopupMenu menu;
    std::function<void(int)> done;

    auto shower()
    {
        return [this](juce::PopupMenu m, juce::Component&, std::function<void(int)> d)
        {
            ++opened;
            menu = std::move(m);
            done = std::move(d);
        };
    }
};
} // namespace

TEST_F(EditorTest, TheLayoutSwitchResizesTheWindowAndMakesOrDropsTheRightPanel)
{
    auto window = open();
    auto& editor = window->getEditor();
    EXPECT_EQ(window->getBounds(), juce::Rectangle<int>(0, 0, 508, 555));
    EXPECT_EQ(editor.getRightPanel(), nullptr);
    EXPECT_TRUE(editor.getBackground()->getImagePath().endsWith("/_bkg_cnd.png"));
    EXPECT_TRUE(editor.getOverlay()->getImagePath().endsWith("/_overlay_cnd.png"));
    EXPECT_EQ(editor.getInputMeter().getBounds(), juce::Rectangle<int>(465, 67, 8, 301));
    EXPECT_EQ(editor.getOutputMeter().getBounds(), juce::Rectangle<int>(481, 67, 8, 301));
    EXPECT_EQ(editor.getRectangle().getBounds(), juce::Rectangle<int>(10, 92, 456, 296));
    EXPECT_EQ(window->getToolBar().getBounds(), juce::Rectangle<int>(0, 0, 508, 45));
    EXPECT_EQ(window->getFooter().getBounds(), juce::Rectangle<int>(0, 535, 508, 20));
    // Backgrounds lie behind everything else.
    EXPECT_EQ(editor.getIndexOfChildComponent(editor.getBackground()), 0);
    EXPECT_EQ(editor.getIndexOfChildComponent(editor.getOverlay()), 1);

    click(editor.getExpandButton());
    EXPECT_EQ(window->getBounds(), juce::Rectangle<int>(0, 0, 1058, 555));
    ASSERT_NE(editor.getRightPanel(), nullptr);
    EXPECT_EQ(editor.getRightPanel()->getBounds(), juce::Rectangle<int>(482, 45, 576, 510));
    EXPECT_TRUE(editor.getBackground()->getImagePath().endsWith("/_bkg_exp.png"));
    EXPECT_EQ(editor.getInputMeter().getBounds(), juce::Rectangle<int>(1015, 67, 8, 360));
    EXPECT_EQ(editor.getOutputMeter().getBounds(), juce::Rectangle<int>(1031, 67, 8, 360));
    EXPECT_EQ(window->getFooter().getBounds(), juce::Rectangle<int>(0, 535, 1058, 20));
    EXPECT_EQ(editor.getIndexOfChildComponent(editor.getBackground()), 0);
    EXPECT_TRUE(settings().getBoolValue(settingsKeys::expanded)) << "written at once";
    // The button and the meters stand within the panel's area and must still take the mouse.
    const auto buttonCentre = editor.getExpandButton().getBounds().getCentre();
    EXPECT_EQ(editor.getComponentAt(buttonCentre), &editor.getExpandButton());

    // The next window opens as the last one was left.
    window.reset();
    window = open();
    EXPECT_EQ(window->getWidth(), 1058);
    click(window->getEditor().getExpandButton());
    EXPECT_EQ(window->getWidth(), 508);
    EXPECT_EQ(window->getEditor().getRightPanel(), nullptr);
    EXPECT_FALSE(settings().getBoolValue(settingsKeys::expanded, true));
}

TEST_F(EditorTest, TheRightPanelKeepsItsPagesInTheSettingsAndACondensedWindowLeavesThemAlone)
{
    open().reset();
    for (const auto& key : {settingsKeys::showEQ, settingsKeys::showControls, settingsKeys::showRTA})
        EXPECT_FALSE(settings().containsKey(key)) << key;

    settings().setValue(settingsKeys::expanded, true);
    {
        auto window = open();
        auto* panel = window->getEditor().getRightPanel();
        ASSERT_NE(panel, nullptr);
        EXPECT_FALSE(panel->isShowingEQ());
        EXPECT_TRUE(panel->getDecayDisplay().isVisible());
        EXPECT_FALSE(panel->getSpectrumDisplay().isVisible());
        EXPECT_EQ(panel->getDecayDisplay().getBounds(), juce::Rectangle<int>(32, 23, 486, 253));
        click(panel->getEQButton());
        click(panel->getRTAButton());
        EXPECT_TRUE(panel->getEQDisplay().isVisible());
        EXPECT_FALSE(panel->getDecayDisplay().isVisible());
        EXPECT_TRUE(panel->getSpectrumDisplay().isVisible());
        EXPECT_FALSE(settings().containsKey(settingsKeys::showEQ)) << "written when the panel goes";
    }
    EXPECT_TRUE(settings().getBoolValue(settingsKeys::showEQ));
    EXPECT_TRUE(settings().getBoolValue(settingsKeys::showRTA));
    EXPECT_TRUE(settings().getBoolValue(settingsKeys::showControls));

    auto window = open();
    EXPECT_TRUE(window->getEditor().getRightPanel()->isShowingEQ());
    EXPECT_TRUE(window->getEditor().getRightPanel()->getEQDisplay().isVisible());
}

TEST_F(EditorTest, TheZoomScalesTheWindowForTheHostAndPicksTheDoubleSizedArt)
{
    settings().setValue(settingsKeys::zoom, 150);
    auto window = open();
    EXPECT_EQ(window->getWidth(), 508) << "laid out in logical pixels";
    EXPECT_EQ(window->getHostBounds().getWidth(), 762);
    EXPECT_EQ(window->getHostBounds().getHeight(), 833);
    window->setZoomPercent(300);
    EXPECT_EQ(window->getZoomPercent(), 200);
    EXPECT_EQ(window->getHostBounds(), juce::Rectangle<int>(0, 0, 1016, 1110));
    EXPECT_EQ(settings().getIntValue(settingsKeys::zoom), 200);
    settings().setValue(settingsKeys::zoom, 20);
    EXPECT_EQ(readZoomPercent(settings()), 75);

    // An image with its "@2x" twin, on the disk through the virtual file layer.
    const auto folder = juce::File::createTempFile("lamina-art");
    folder.createDirectory();
    juce::Image small(juce::Image::RGB, 4, 2, true), large(juce::Image::RGB, 8, 4, true);
    for (auto [image, name] : {std::pair{&small, "pic.png"}, std::pair{&large, "pic@2x.png"}})
    {
        juce::FileOutputStream out(folder.getChildFile(name));
        juce::PNGImageFormat().writeImageToStream(*image, out);
    }
    const auto path = folder.getChildFile("pic.png").getFullPathName();
    EXPECT_EQ(ResourceImage::resolve(path, 1.0f), path);
    EXPECT_TRUE(ResourceImage::resolve(path, 1.25f).endsWith("pic@2x.png"));
    EXPECT_TRUE(ResourceImage::resolve(path, 3.0f).endsWith("pic@2x.png")) << "no @3x: the largest there is";
    EXPECT_EQ(ResourceImage::resolve(folder.getChildFile("none.png").getFullPathName(), 2.0f),
              folder.getChildFile("none.png").getFullPathName());
    EXPECT_EQ(ResourceImage::load(path, 2.0f)->getLogicalBounds(), juce::Rectangle<float>(4.0f, 2.0f))
        << "twice the pixels for the same size";
    EXPECT_EQ(ResourceImage::sizeFromName("$Resource/resource/svg/knob_common-ring_46x46.svg"),
              juce::Rectangle<float>(46.0f, 46.0f));
    EXPECT_TRUE(ResourceImage::sizeFromName("resource/images/_bkg_exp.png").isEmpty());

    juce::Component zoomed;
    zoomed.setTransform(juce::AffineTransform::scale(1.5f));
    ImageDisplay display(path);
    display.setBounds(0, 0, 4, 2);
    zoomed.setBounds(0, 0, 4, 2);
    zoomed.addAndMakeVisible(display);
    juce::Image canvas(juce::Image::ARGB, 8, 4, true);
    juce::Graphics g(canvas);
    display.paintEntireComponent(g, false);
    EXPECT_TRUE(display.getShownFile().endsWith("pic@2x.png"));
    display.setImage(folder.getChildFile("missing.png").getFullPathName());
    display.paintEntireComponent(g, false);
    EXPECT_EQ(display.getShownFile(), "") << "a missing file leaves it blank";
    folder.deleteRecursively();
}

TEST_F(EditorTest, TheRightButtonOpensTheLockMenuOnTheLockableWidgetsAlone)
{
    settings().setValue(settingsKeys::expanded, true);
    auto window = open();
    MenuRecorder recorder;
    window->showMenu = recorder.shower();

    std::vector<std::pair<juce::Component*, ParamBinding*>> widgets;
    collectBindings(window->getEditor(), widgets);
    ASSERT_GT(widgets.size(), 30u);
    int lockable = 0;
    for (auto [component, binding] : widgets)
    {
        if (binding->getElement() == nullptr)
            continue; // followers without a widget of their own
        const int before = recorder.opened;
        window->rightClicked(mouseAt(*component, {2.0f, 2.0f}, juce::ModifierKeys::rightButtonModifier));
        const bool opened = recorder.opened > before;
        EXPECT_EQ(opened, isLockable(binding->getParameterName())) << binding->getParameterName();
        lockable += opened ? 1 : 0;
    }
    // Knobs, value labels and read-outs of the 12 lockable parameters; Decay and LowCutGain twice more.
    EXPECT_EQ(lockable, 17);
    window->rightClicked(
        mouseAt(*window->getEditor().getBackground(), {2.0f, 2.0f}, juce::ModifierKeys::rightButtonModifier));
    EXPECT_EQ(recorder.opened, 17) << "nothing on the background";

    // The menu on the Mix knob: "Locked" toggles, "Unlock all Parameters" clears the table.
    window->rightClicked(
        mouseAt(window->getEditor().getKnob("Mix"), {2.0f, 2.0f}, juce::ModifierKeys::rightButtonModifier));
    juce::PopupMenu::MenuItemIterator items(recorder.menu);
    ASSERT_TRUE(items.next());
    EXPECT_EQ(items.getItem().text, "Locked");
    EXPECT_FALSE(items.getItem().isTicked);
    ASSERT_TRUE(items.next());
    EXPECT_EQ(items.getItem().text, "Unlock all Parameters");
    recorder.done(lockMenu::lockedItem);
    EXPECT_EQ(sheet().getProperty("MixLocked"), "1");
    setLocked(sheet(), "Gain", true);
    const auto areas = window->getLockOverlay().lockedAreas();
    EXPECT_EQ(areas, (std::vector<juce::Rectangle<int>>{{280, 475, 7, 10}, {1032, 489, 7, 10}}));

    std::vector<uint8_t> state;
    plugin->getState(state);
    recorder.done(lockMenu::unlockAllItem);
    EXPECT_EQ(sheet().getProperty("MixLocked"), "0");
    EXPECT_EQ(sheet().getProperty("GainLocked"), "0");
    EXPECT_TRUE(window->getLockOverlay().lockedAreas().empty());
    EXPECT_EQ(lockMenu::make(sheet(), "Mix").getNumItems(), 2);
}

TEST_F(EditorTest, KnobAnglesAndScaleTicksStandWhereTheirNumbersSay)
{
    constexpr float pi = juce::MathConstants<float>::pi;
    EXPECT_FLOAT_EQ(QorLookAndFeel::knobAngle(0.0f), -2.0f * pi / 3.0f);
    EXPECT_FLOAT_EQ(QorLookAndFeel::knobAngle(0.5f), 0.0f);
    EXPECT_FLOAT_EQ(QorLookAndFeel::knobAngle(1.0f), 2.0f * pi / 3.0f);

    auto expectNear = [](juce::Point<float> a, juce::Point<float> b)
    {
        EXPECT_NEAR(a.x, b.x, 1e-3f);
        EXPECT_NEAR(a.y, b.y, 1e-3f);
    };
    // A point 43 above the centre, turned 120 degrees either way.
    const float dx = 43.0f * std::sin(2.0f * pi / 3.0f), dy = 43.0f * std::cos(2.0f * pi / 3.0f);
    expectNear(knobScales::point({62.0f, 488.0f}, 445.0f, 0.0f), {62.0f - dx, 488.0f - dy});
    expectNear(knobScales::point({62.0f, 488.0f}, 445.0f, 1.0f), {62.0f + dx, 488.0f - dy});
    expectNear(knobScales::point({62.0f, 488.0f}, 445.0f, 0.5f), {62.0f, 445.0f});

    auto window = open();
    auto& decayKnob = window->getEditor().getKnob("Decay");
    const auto decay = knobScales::decay([&](float v) { return decayKnob.normalise(v); });
    ASSERT_EQ(decay.labels.size(), 9u);
    EXPECT_EQ(decay.labels.front().text, ".2");
    EXPECT_EQ(decay.labels[1].text, ".5");
    EXPECT_EQ(decay.labels.back().text, "oo");
    expectNear(decay.labels.front().box.getCentre(), {62.0f - dx, 488.0f - dy}); // 0.2 s is the knob's start
    expectNear(decay.labels.back().box.getCentre(), {62.0f + dx, 488.0f - dy});  // 10000 s its end
    EXPECT_EQ(decay.labels.front().box.getWidth(), 16.0f);
    const auto twoSeconds = decay.labels[3];
    expectNear(twoSeconds.box.getCentre(),
               knobScales::point({62.0f, 488.0f}, 445.0f, decayKnob.normalise(2.0f)));
    ASSERT_EQ(decay.ticks.size(), 9u + 17u + 13u + 2u);
    // The major tick at 2 s runs from radius 30 to 35; the minor one at 1.9 s ends at 457 - 0.15 * 19.
    const auto major = decay.ticks[3];
    expectNear(major.getStart(), knobScales::point({62.0f, 488.0f}, 458.0f, decayKnob.normalise(2.0f)));
    EXPECT_NEAR(major.getLength(), 5.0f, 1e-3f);
    EXPECT_NEAR(decay.ticks[9 + 16].getLength(), 1.0f + 0.15f * 19.0f, 1e-3f);
    EXPECT_NEAR(decay.ticks[9 + 17 + 12].getLength(), 1.0f + 0.2f * 15.0f, 1e-3f);
    EXPECT_NEAR(decay.ticks.back().getLength(), 2.0f, 1e-3f);

    auto& mixKnob = window->getEditor().getKnob("Mix");
    const auto mix = knobScales::mix([&](float v) { return mixKnob.normalise(v); });
    ASSERT_EQ(mix.ticks.size(), 21u);
    const float mixLengths[] = {8, 2, 4, 2, 4, 2, 4, 2, 4, 2, 8};
    for (int i = 0; i <= 10; ++i)
        EXPECT_NEAR(mix.ticks[size_t(i)].getLength(), mixLengths[i], 1e-3f) << i;
    expectNear(mix.ticks[10].getStart(), {210.0f, 458.0f}); // 50 % points straight up

    auto& lowCut = window->getEditor().getKnob("LowCutGain");
    const auto cut = knobScales::lowCutGain([&](float v) { return lowCut.normalise(v); });
    ASSERT_EQ(cut.ticks.size(), 41u);
    EXPECT_NEAR(cut.ticks[0].getLength(), 8.0f, 1e-3f);
    EXPECT_NEAR(cut.ticks[3].getLength(), 4.0f, 1e-3f);
    EXPECT_NEAR(cut.ticks[4].getLength(), 2.0f, 1e-3f);
    EXPECT_NEAR(cut.ticks[30].getLength(), 8.0f, 1e-3f);
    expectNear(cut.ticks[40].getStart(),
               knobScales::point({347.0f, 488.0f}, 458.0f, lowCut.normalise(-40.0f)));
}

TEST_F(EditorTest, SwitchesEnableTheirKnobsAndTheMaterialDressesTheOutputMeter)
{
    settings().setValue(settingsKeys::expanded, true);
    auto window = open();
    auto* panel = window->getEditor().getRightPanel();
    ASSERT_NE(panel, nullptr);
    auto knobsEnabledBy = [&](const char* parameter)
    {
        std::vector<bool> states;
        for (auto* knob : panel->getKnobs())
            if (int(knob->getProperties().getWithDefault("enabledByParamId", 0)) == int(id(parameter)))
                states.push_back(knob->isEnabled());
        return states;
    };
    EXPECT_EQ(knobsEnabledBy("EnablePorousDamp"), (std::vector<bool>{true, true}));
    plugin->setParameterNormalised(slot("EnablePorousDamp"), 0.0f);
    tick();
    EXPECT_EQ(knobsEnabledBy("EnablePorousDamp"), (std::vector<bool>{false, false}));
    EXPECT_EQ(knobsEnabledBy("EnableViscousDamp"), (std::vector<bool>{true, true}));
    EXPECT_EQ(knobsEnabledBy("EnableLowcut"), (std::vector<bool>{true, true}));

    auto& meter = window->getEditor().getOutputMeter();
    EXPECT_EQ(meter.getImagePath(), "resource/svg/VU_out_steel_8x18.svg");
    plugin->setParameterNormalised(slot("Material"), 0.25f);
    tick();
    EXPECT_EQ(meter.getImagePath(), "resource/svg/VU_out_gold_8x18.svg");
    EXPECT_EQ(meter.getTint(), juce::Colour(0xffedb418));
    EXPECT_EQ(window->getEditor().getRectangle().getTexturePath(), "resource/textures/lamina_tex_gold.png");
}

TEST_F(EditorTest, MetersFollowTheAudioWithTheirBallisticsAndTheFooterShowsLoadAndVersion)
{
    auto window = open();
    auto& in = window->getEditor().getInputMeter();
    auto& out = window->getEditor().getOutputMeter();
    in.advance(1.0);
    EXPECT_EQ(in.getLevelDb(), AudioMeter::floorDb);

    // Half scale on both inputs: the input meter reads -6 dB at once; the reverb rings on the output.
    std::vector<float> left(256, 0.5f), right(256, 0.5f);
    float* channels[] = {left.data(), right.data()};
    PluginAudioBuffer buffer;
    buffer.setChannels(2, 256, channels);
    plugin->process(buffer);
    window->getAudioTap().poll();
    in.advance(0.0);
    out.advance(0.0);
    EXPECT_NEAR(in.getLevelDb(), -6.02f, 0.01f);
    EXPECT_GT(out.getLevelDb(), AudioMeter::floorDb);
    in.advance(0.25);
    EXPECT_NEAR(in.getLevelDb(), -6.02f - 0.25f * AudioMeter::releaseDbPerSecond, 0.01f);

    EXPECT_EQ(CpuLoadUI::textFor(0.1234), "CPU: 12.3%");
    EXPECT_EQ(CpuLoadUI::textFor(0.0), "CPU: 0.0%");
    EXPECT_EQ(Footer::versionText(), "1.0.0_x64");
    EXPECT_EQ(Footer::versionFontHeight(20), 13.0f);
    EXPECT_EQ(Footer::versionFontHeight(30), 15.0f);
    EXPECT_EQ(Footer::versionFontHeight(60), 18.0f);
    window->getFooter().getCpuLoadUI().refresh();
    EXPECT_TRUE(window->getFooter().getCpuLoadUI().getText().startsWith("CPU: "));
    const auto zoomMenu = window->getFooter().makeZoomMenu();
    int ticked = 0;
    for (juce::PopupMenu::MenuItemIterator it(zoomMenu); it.next();)
        ticked += it.getItem().isTicked ? it.getItem().itemID : 0;
    EXPECT_EQ(ticked, 100);
}

TEST(LookAndFeel, BubbleCornersTextHeightAndTheArrowLength)
{
    EXPECT_FLOAT_EQ(QorLookAndFeel::bubbleCornerSize({0.0f, 0.0f, 100.0f, 10.0f}), 1.5f);
    EXPECT_FLOAT_EQ(QorLookAndFeel::bubbleCornerSize({0.0f, 0.0f, 100.0f, 100.0f}), 3.0f);
    EXPECT_FLOAT_EQ(QorLookAndFeel::bubbleCornerSize({0.0f, 0.0f, 4.0f, 4.0f}), 1.0f);
    // The arrow reaches the tip below the body; inside the body it is 5 long.
    const juce::Rectangle<float> body(0.0f, 0.0f, 60.0f, 20.0f);
    EXPECT_NEAR(QorLookAndFeel::bubblePath(body, {30.0f, 32.0f}).getBounds().getBottom(), 32.0f, 0.5f);
    EXPECT_NEAR(QorLookAndFeel::bubblePath(body, {30.0f, 10.0f}).getBounds().getHeight(), 20.0f, 0.5f);

    LaminaLookAndFeel look;
    juce::TextButton button;
    EXPECT_FLOAT_EQ(look.getTextButtonFont(button, 20).getHeight(), 13.0f);
}

} // namespace qor::test
