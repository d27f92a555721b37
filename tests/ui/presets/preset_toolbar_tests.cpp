// The top bar against a real plug-in: A/B memories, browsing and the preset menu over temporary factory and
// user trees, the file menu's dialogues (answered by a recorder), locks through a load, and the preferences.
// Pictures of the open preset menu and of the preferences dialogue are kept beside the test program
// (screenshots/preset_menu.png, screenshots/preferences.png).
#include "tests/ui/ui_test_support.h"

#include "files/presets/preset_formats.h"
#include "ui/presets/ab_tool_bar.h"
#include "ui/presets/preferences_panel.h"
#include "ui/shell/editor_settings.h"
#include "ui/shell/lock_menu.h"
#include "ui/shell/right_panel.h"

#include <cmath>

namespace qor::test
{

namespace
{
/** A preset that differs from the default in its Decay alone. */
void writePreset(const juce::File& file, float decay)
{
    file.getParentDirectory().createDirectory();
    ASSERT_TRUE(file.replaceWithText("<ModulePreset>\n    <Lamina Name=\"Lamina\" Decay=\"" +
                                     juce::String(decay) + "\" Mix=\"0.9\"/>\n</ModulePreset>\n"));
}

juce::StringArray itemTexts(const juce::PopupMenu& menu, const juce::String& indent = {})
{
    juce::StringArray texts;
    for (juce::PopupMenu::MenuItemIterator items(menu); items.next();)
    {
        const auto& item = items.getItem();
        texts.add(indent + (item.isSeparator ? "--" : item.text) + (item.isTicked ? " *" : ""));
        if (item.subMenu != nullptr)
            texts.addArray(itemTexts(*item.subMenu, indent + "  "));
    }
    return texts;
}

int idOf(const juce::PopupMenu& menu, const juce::String& text)
{
    for (juce::PopupMenu::MenuItemIterator items(menu, true); items.next();)
        if (items.getItem().text == text)
            return items.getItem().itemID;
    return 0;
}

/** A factory tree of two categories (one with a note beside its presets) and a user tree with a subfolder. */
class PresetTreeTest : public EditorTest
{
protected:
    void SetUp() override
    {
        EditorTest::SetUp();
        root = juce::File::createTempFile("lamina-preset-tree");
        factory = root.getChildFile("factory");
        user = root.getChildFile("Qor/Lamina/User Presets");
        writePreset(factory.getChildFile("01-Alpha/a1.preset"), 3.0f);
        writePreset(factory.getChildFile("01-Alpha/a2.preset"), 4.0f);
        ASSERT_TRUE(factory.getChildFile("01-Alpha/notes.txt").replaceWithText("not a preset"));
        writePreset(factory.getChildFile("02-Beta/b1.preset"), 5.0f);
        writePreset(user.getChildFile("u1.preset"), 6.0f);
        writePreset(user.getChildFile("Sub/u2.preset"), 7.0f);
        window = open();
        display().setFolders(VirtualFile(factory), VirtualFile(user));
    }
    void TearDown() override
    {
        window.reset();
        root.deleteRecursively();
        EditorTest::TearDown();
    }
    ModulePresetDisplay& display() { return window->getToolBar().getPresetDisplay(); }
    juce::String presetPath() { return sheet().getProperty("PresetPath"); }
    juce::String path(const juce::File& f) { return f.getFullPathName(); }
    float decay() { return sheet().getParameter(id("Decay")); }

    juce::File root, factory, user;
    std::unique_ptr<LaminaPluginUIv2> window;
};
} // namespace

TEST_F(PresetTreeTest, BrowsingWalksTheTreeInOrderSkipsOtherFilesAndNeverWraps)
{
    const auto a2 = path(factory.getChildFile("01-Alpha/a2.preset"));
    const auto b1 = path(factory.getChildFile("02-Beta/b1.preset"));

    // From "Default" both buttons step forward from the first factory preset.
    EXPECT_EQ(display().getNameLabel().getText(), "Default");
    display().getPrevButton().onClick();
    ASSERT_EQ(presetPath(), a2);
    EXPECT_FLOAT_EQ(decay(), 4.0f);
    EXPECT_EQ(display().getNameLabel().getText(), "a2");

    EXPECT_TRUE(display().browse(true)) << "the note beside a2 is passed over";
    EXPECT_EQ(presetPath(), b1);
    EXPECT_FALSE(display().browse(true)) << "no wrap at the end";
    EXPECT_EQ(presetPath(), b1);
    EXPECT_TRUE(display().browse(false));
    EXPECT_EQ(presetPath(), a2);
    EXPECT_TRUE(display().browse(false));
    EXPECT_FALSE(display().browse(false)) << "no wrap at the start";
    EXPECT_EQ(presetPath(), path(factory.getChildFile("01-Alpha/a1.preset")));

    // A path in neither tree starts over at the first factory preset and goes forward.
    sheet().setProperty("PresetPath", path(root.getChildFile("elsewhere/x.preset")));
    EXPECT_TRUE(display().browse(false));
    EXPECT_EQ(presetPath(), a2);

    // In the user tree folders come first, so the walk back from u1 enters Sub.
    sheet().setProperty("PresetPath", path(user.getChildFile("u1.preset")));
    EXPECT_FALSE(display().browse(true));
    EXPECT_TRUE(display().browse(false));
    EXPECT_EQ(presetPath(), path(user.getChildFile("Sub/u2.preset")));
    EXPECT_FLOAT_EQ(decay(), 7.0f);
}

TEST_F(PresetTreeTest, ThePresetMenuListsBothTreesAndALockedMixSurvivesWhatItLoads)
{
    auto menu = display().makePresetMenu();
    EXPECT_EQ(itemTexts(menu.menu).joinIntoString("|"),
              "Factory Presets|Default *|Alpha|  a1|  a2|Beta|  b1|User Presets|Sub|  u2|u1|--");
    EXPECT_EQ(menu.files.size(), 5u);

    setLocked(sheet(), "Mix", true);
    window->getEditor().getKnob("Mix").setValue(0.1, juce::sendNotificationSync);
    const float mix = sheet().getParameter(id("Mix"));
    ASSERT_TRUE(display().applyPresetMenu(menu, idOf(menu.menu, "b1")));
    EXPECT_EQ(presetPath(), path(factory.getChildFile("02-Beta/b1.preset")));
    EXPECT_FLOAT_EQ(decay(), 5.0f);
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Mix")), mix) << "the file holds Mix 0.9";
    EXPECT_EQ(display().getNameLabel().getText(), "b1");

    // The next menu is built anew and ticks the preset loaded; "Default" honours the lock too.
    menu = display().makePresetMenu();
    EXPECT_TRUE(itemTexts(menu.menu).contains("  b1 *"));
    ASSERT_TRUE(display().applyPresetMenu(menu, ModulePresetDisplay::defaultItem));
    EXPECT_EQ(presetPath(), "");
    EXPECT_FLOAT_EQ(decay(), 2.0f);
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Mix")), mix);

    // Alt-click still resets the locked knob: locks bind the loader alone.
    auto& knob = window->getEditor().getKnob("Mix");
    const auto alt =
        juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier);
    knob.mouseDown(mouseAt(knob, {28.0f, 28.0f}, alt));
    knob.mouseUp(mouseAt(knob, {28.0f, 28.0f}, juce::ModifierKeys()));
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Mix")), 0.3f);

    // Without a factory folder the menu offers "Default" and the user tree; an emptied user tree drops out.
    factory.deleteRecursively();
    user.deleteRecursively();
    menu = display().makePresetMenu();
    EXPECT_EQ(itemTexts(menu.menu).joinIntoString("|"), "Default *|--");
    EXPECT_TRUE(user.isDirectory()) << "the user folder is made when missing";
}

TEST_F(PresetTreeTest, EachFileMenuItemRoundTripsThroughItsDialoguesCodePath)
{
    std::vector<ModulePresetDisplay::FileRequest> requests;
    juce::File answer;
    display().chooseFile =
        [&](const ModulePresetDisplay::FileRequest& request, std::function<void(const VirtualFile&)> done)
    {
        requests.push_back(request);
        done(answer == juce::File() ? VirtualFile() : VirtualFile(answer));
    };
    const auto file = [&](int item, const juce::String& name)
    { return juce::File(display().folderFor(item).getPath()).getChildFile(name); };

    // A whole preset: the typed name gets its extension, and PresetPath follows the save.
    window->getEditor().getKnob("Decay").setValue(0.8, juce::sendNotificationSync);
    const float saved = decay();
    answer = file(ModulePresetDisplay::saveItem, "Mine");
    display().applyFileMenu(ModulePresetDisplay::saveItem);
    const auto mine = user.getChildFile("Mine.preset");
    ASSERT_TRUE(mine.existsAsFile());
    EXPECT_EQ(presetPath(), path(mine));
    EXPECT_EQ(display().getNameLabel().getText(), "Mine");
    EXPECT_FALSE(mine.loadFileAsString().contains("ABFxState"));

    display().browse(false); // away to u2
    ASSERT_NE(decay(), saved);
    answer = mine;
    display().applyFileMenu(ModulePresetDisplay::loadItem);
    EXPECT_FLOAT_EQ(decay(), saved);

    // A failed save or load leaves PresetPath as it was and says so; a cancelled dialogue does nothing.
    juce::StringArray errors;
    display().showError = [&](const juce::String& title, const juce::String& message)
    { errors.add(title + ": " + message); };
    answer = root.getChildFile("not-a-folder").getChildFile("x.preset");
    ASSERT_TRUE(root.getChildFile("not-a-folder").replaceWithText("a file"));
    display().applyFileMenu(ModulePresetDisplay::saveItem);
    EXPECT_EQ(presetPath(), path(mine));
    answer = root.getChildFile("broken.eq");
    ASSERT_TRUE(answer.replaceWithText("<Lamina"));
    display().applyFileMenu(ModulePresetDisplay::loadEQItem);
    ASSERT_EQ(errors.size(), 2);
    EXPECT_TRUE(errors[0].startsWith("Could not save the preset: ")) << errors[0];
    EXPECT_TRUE(errors[0].contains(path(root.getChildFile("not-a-folder/x.preset")))) << errors[0];
    EXPECT_TRUE(errors[1].startsWith("Could not load the band EQ: ")) << errors[1];
    answer = juce::File();
    display().applyFileMenu(ModulePresetDisplay::loadItem);
    EXPECT_EQ(presetPath(), path(mine));
    EXPECT_EQ(errors.size(), 2);

    // The partial files, each through its own folder beside the user presets.
    struct Partial
    {
        int save, load;
        const char* parameter;
        const char* folder;
        const char* extension;
        const char* saveTitle;
    };
    for (const auto& p : {Partial{ModulePresetDisplay::saveDecayItem, ModulePresetDisplay::loadDecayItem,
                                  "BandDecay3", "Decay Presets", ".decay", "Save Band Decay as..."},
                          Partial{ModulePresetDisplay::saveEQItem, ModulePresetDisplay::loadEQItem,
                                  "BandGain3", "EQ Presets", ".eq", "Save Band EQ as..."},
                          Partial{ModulePresetDisplay::saveIOItem, ModulePresetDisplay::loadIOItem,
                                  "LeftInputX", "IO Presets", ".io", "Save input / output positions as..."}})
    {
        SCOPED_TRACE(p.parameter);
        const auto parameter = id(p.parameter);
        sheet().setParameter(parameter, 0.25f);
        const float value = sheet().getParameter(parameter);
        answer = file(p.save, "part");
        display().applyFileMenu(p.save);
        EXPECT_EQ(requests.back().title, p.saveTitle);
        EXPECT_EQ(requests.back().wildcard, juce::String("*") + p.extension);
        EXPECT_TRUE(requests.back().save);
        EXPECT_EQ(juce::File(requests.back().folder.getPath()),
                  root.getChildFile("Qor/Lamina").getChildFile(p.folder));
        const auto written = answer.withFileExtension(p.extension);
        ASSERT_TRUE(written.existsAsFile());

        sheet().setParameter(parameter, 0.75f);
        answer = written;
        display().applyFileMenu(p.load);
        EXPECT_FALSE(requests.back().save);
        EXPECT_FLOAT_EQ(sheet().getParameter(parameter), value);
    }
    EXPECT_EQ(presetPath(), path(mine)) << "partial files leave PresetPath alone";
}

TEST_F(EditorTest, TheFirstABClickOnlyStoresTwoClicksRestoreAndNoMemoryIsSaved)
{
    sheet().setOffline(true);
    auto window = open();
    auto& bar = window->getToolBar();
    auto& button = bar.getABButton();
    EXPECT_EQ(button.getTooltip(), "Store Current State to Memory A");

    // An impulse rings; a click halfway through its tail must not disturb it (a rebuilt table would cut it).
    std::vector<float> left(256), right(256);
    float* channels[] = {left.data(), right.data()};
    auto block = [&](bool impulse)
    {
        double sum = 0.0;
        for (int b = 0; b < 4; ++b)
        {
            std::fill(left.begin(), left.end(), 0.0f);
            std::fill(right.begin(), right.end(), 0.0f);
            left[0] = impulse && b == 0 ? 1.0f : 0.0f;
            PluginAudioBuffer buffer;
            buffer.setChannels(2, 256, channels);
            buffer.isSilent = false;
            plugin->process(buffer);
            for (float x : left)
                sum += double(x) * x;
        }
        return std::sqrt(sum / 1024.0);
    };
    block(true);
    const double before = block(false);
    const auto changes = sheet().getChangeCount();
    button.onClick();
    EXPECT_EQ(bar.getABState(), 1);
    const double after = block(false);
    EXPECT_GT(before, 1e-6);
    EXPECT_GT(after, 0.8 * before) << "the tail rings on through the first click";
    EXPECT_EQ(sheet().getChangeCount(), changes);
    EXPECT_EQ(button.getImagePath(), "resource/svg/header_a-b_off_39x26.svg");
    EXPECT_EQ(button.getTooltip(), "Store Current State to Memory B and restore Memory A");

    // A holds Decay 2 s; B gets 5 s and a preset path; each click swaps them.
    sheet().setParameter(id("Decay"), 5.0f);
    sheet().setProperty("PresetPath", "/somewhere/B.preset");
    bar.clickAB();
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Decay")), 2.0f);
    EXPECT_EQ(sheet().getProperty("PresetPath"), "");
    EXPECT_EQ(bar.getABState(), 2);
    EXPECT_EQ(button.getImagePath(), "resource/svg/header_a-to-b_off_39x26.svg");
    EXPECT_EQ(button.getTooltip(), "Store Current State to Memory A and restore Memory B");
    bar.clickAB();
    EXPECT_FLOAT_EQ(sheet().getParameter(id("Decay")), 5.0f);
    EXPECT_EQ(sheet().getProperty("PresetPath"), "/somewhere/B.preset");
    EXPECT_EQ(bar.getABState(), 1);
    EXPECT_EQ(button.getImagePath(), "resource/svg/header_b-to-a_off_39x26.svg");
    EXPECT_EQ(window->getToolBar().getPresetDisplay().getNameLabel().getText(), "B");

    // The memory is in neither the host's state nor a saved preset.
    ASSERT_TRUE(sheet().getProperty(ABToolBar::memoryProperty).isNotEmpty());
    std::vector<uint8_t> state;
    plugin->getState(state);
    auto copy = std::make_unique<LaminaPlugin>(int32_t(PluginFormat::vst3));
    ASSERT_TRUE(copy->setState(state, {}));
    EXPECT_FALSE(copy->getLamina()->hasProperty(ABToolBar::memoryProperty));
    EXPECT_FLOAT_EQ(copy->getLamina()->getParameter(id("Decay")), 5.0f);
    const auto file = juce::File::createTempFile(".preset");
    ASSERT_TRUE(PresetOperations(&sheet()).savePreset(VirtualFile(file)));
    EXPECT_FALSE(file.loadFileAsString().contains("ABFxState"));
    EXPECT_TRUE(file.loadFileAsString().contains("Decay=\"5\""));
    file.deleteFile();
}

TEST_F(EditorTest, SettingsOpensThePreferencesWhoseRowsWriteTheApplicationProperties)
{
    auto window = open();
    window->getEditor().setExpanded(true);
    auto* right = window->getEditor().getRightPanel();
    ASSERT_NE(right, nullptr);
    auto& display = window->getToolBar().getPresetDisplay();
    juce::PopupMenu menu;
    std::function<void(int)> done;
    display.showMenu = [&](juce::PopupMenu m, juce::Component&, std::function<void(int)> d)
    {
        menu = std::move(m);
        done = std::move(d);
    };
    display.getMenuButton().onClick();
    EXPECT_EQ(
        itemTexts(menu).joinIntoString("|"),
        "Load|Save|--|Load Band Decay|Save Band Decay|--|Load Band EQ|Save Band EQ|--|Load IO|Save IO|--|"
        "Settings");
    ASSERT_TRUE(done != nullptr);
    done(ModulePresetDisplay::settingsItem);

    juce::DialogWindow* dialogue = nullptr;
    for (int i = 0; i < juce::Desktop::getInstance().getNumComponents(); ++i)
        if (auto* d = dynamic_cast<juce::DialogWindow*>(juce::Desktop::getInstance().getComponent(i)))
            dialogue = d;
    ASSERT_NE(dialogue, nullptr);
    EXPECT_EQ(dialogue->getName(), "Lamina Preferences");
    auto* panel = dynamic_cast<PreferencesPanel*>(dialogue->getContentComponent());
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->getBounds().getWidth(), 400);
    EXPECT_EQ(panel->getBounds().getHeight(), 300);

    BoolProperty* showEQ = nullptr;
    BoolProperty* showControls = nullptr;
    FloatProperty* zoom = nullptr;
    std::function<void(juce::Component&)> find = [&](juce::Component& c)
    {
        if (auto* b = dynamic_cast<BoolProperty*>(&c); b != nullptr && b->getName() == "Show band EQ")
            showEQ = b;
        if (auto* b = dynamic_cast<BoolProperty*>(&c);
            b != nullptr && b->getName() == "Show damping controls")
            showControls = b;
        if (auto* f = dynamic_cast<FloatProperty*>(&c))
            zoom = f;
        for (auto* child : c.getChildren())
            find(*child);
    };
    find(*panel);
    ASSERT_TRUE(showEQ != nullptr && showControls != nullptr && zoom != nullptr);
    EXPECT_FALSE(showEQ->getState());
    showEQ->setState(true);
    EXPECT_TRUE(settings().getBoolValue(settingsKeys::showEQ));
    // The open window shows the rows at once; closing it would otherwise write its own view back over them.
    EXPECT_TRUE(right->isShowingEQ());
    EXPECT_TRUE(right->getEQButton().getToggleState());
    right->setShowRTA(true); // the analyser's button, then another row: both hold
    showControls->setState(false);
    EXPECT_TRUE(right->isShowingRTA());
    EXPECT_FALSE(right->getKnobs().front()->isVisible());
    showControls->setState(true);
    EXPECT_TRUE(right->getKnobs().front()->isVisible());
    zoom->setValue(150.0);
    EXPECT_EQ(settings().getValue(settingsKeys::zoom), "150");
    EXPECT_EQ(window->getZoomPercent(), 150) << "the open window follows";

    // The picture of the dialogue, to look at.
    const auto folder = juce::File::getSpecialLocation(juce::File::currentExecutableFile)
                            .getParentDirectory()
                            .getChildFile("screenshots");
    folder.createDirectory();
    zoom->setValue(100.0);
    {
        juce::FileOutputStream out(folder.getChildFile("preferences.png"));
        out.setPosition(0);
        out.truncate();
        juce::PNGImageFormat().writeImageToStream(
            dialogue->createComponentSnapshot(dialogue->getLocalBounds()), out);
    }
    juce::Component::SafePointer<juce::DialogWindow> open(dialogue);
    window.reset();
    EXPECT_EQ(open.getComponent(), nullptr) << "the dialogue goes with the editor";
}

TEST_F(PresetTreeTest, ThePictureOfTheOpenPresetMenu)
{
    // The real factory library, as a user sees it.
    display().setFolders(VirtualFile(PresetFormat::factoryFolder), VirtualFile(user));
    window->setVisible(true);
    window->addToDesktop(0);
    display().openPresetMenu();
    juce::Component* menu = nullptr;
    for (int i = 0; i < juce::Desktop::getInstance().getNumComponents(); ++i)
        if (auto* c = juce::Desktop::getInstance().getComponent(i); c != window.get())
            menu = c;
    ASSERT_NE(menu, nullptr);
    EXPECT_GT(menu->getHeight(), 200);

#ifndef __SANITIZE_THREAD__
    // The editor with the menu drawn where it opened; a picture for people, left out of the slow
    // ThreadSanitizer run.
    auto picture = window->createComponentSnapshot(window->getLocalBounds());
    {
        juce::Graphics g(picture);
        const auto at = menu->getScreenPosition() - window->getScreenPosition();
        g.drawImageAt(menu->createComponentSnapshot(menu->getLocalBounds()), at.x, at.y);
    }
    const auto folder = juce::File::getSpecialLocation(juce::File::currentExecutableFile)
                            .getParentDirectory()
                            .getChildFile("screenshots");
    folder.createDirectory();
    juce::FileOutputStream out(folder.getChildFile("preset_menu.png"));
    out.setPosition(0);
    out.truncate();
    juce::PNGImageFormat().writeImageToStream(picture, out);
#endif
    juce::PopupMenu::dismissAllActiveMenus();
}

} // namespace qor::test
