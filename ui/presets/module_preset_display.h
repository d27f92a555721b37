#pragma once

#include "files/presets/preset_formats.h"
#include "files/virtual_file.h"
#include "ui/presets/header_button.h"
#include "ui/shell/editor_context.h"
#include "ui/widgets/param_label.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <map>
#include <memory>

namespace qor
{

class Element;

/** The preset's name from its "PresetPath": the file name without its extension, "Default" when empty. */
juce::String PresetNamePropertyValueFormatter(const juce::String& presetPath);

/** The preset's name with the menu, previous and next buttons, inside the toolbar. A click on the name opens
    the factory and user trees; the menu button loads and saves whole and partial presets; previous and next
    walk the tree of the preset loaded now, without wrapping around. */
class ModulePresetDisplay : public juce::Component
{
public:
    /** Where the display stands in the toolbar. */
    static juce::Rectangle<int> placeInToolBar() { return {64, 10, 329, 26}; }

    /** The items of the menu button's menu. */
    enum FileMenuItem
    {
        loadItem = 1,
        saveItem,
        loadDecayItem,
        saveDecayItem,
        loadEQItem,
        saveEQItem,
        loadIOItem,
        saveIOItem,
        settingsItem
    };
    static constexpr int defaultItem = 1;

    /** What a file dialogue asks for. */
    struct FileRequest
    {
        juce::String title;
        VirtualFile folder;
        juce::String wildcard;
        bool save = false;
    };
    using ShowMenu = std::function<void(juce::PopupMenu, juce::Component&, std::function<void(int)>)>;
    /** Asks for a file and calls back with it, or with an empty path on cancel. */
    using ChooseFile = std::function<void(const FileRequest&, std::function<void(const VirtualFile&)>)>;

    explicit ModulePresetDisplay(const EditorContext& context);
    ~ModulePresetDisplay() override;

    /** The two trees browsed (tests point them at temporary folders). */
    void setFolders(const VirtualFile& factoryFolder, const VirtualFile& userFolder);
    const VirtualFile& getFactoryFolder() const { return factoryFolder; }
    const VirtualFile& getUserFolder() const { return userFolder; }

    /** The element at the editor's path now, or none. */
    Element* getElement() const;
    /** The preset operations bound to that element. */
    PresetOperations operations() const;

    /** Previous or next preset. Answers whether one was loaded. */
    bool browse(bool forward);

    /** The preset menu, built from the folders as they are now; `files` maps its ids to the presets. */
    struct PresetMenu
    {
        juce::PopupMenu menu;
        std::map<int, VirtualFile> files;
    };
    PresetMenu makePresetMenu() const;
    /** Acts on a choice of the preset menu: "Default", or the file of the id. */
    bool applyPresetMenu(const PresetMenu& menu, int itemId);
    static juce::PopupMenu makeFileMenu();
    /** Acts on a choice of the menu button's menu: a file dialogue, or the preferences. */
    void applyFileMenu(int itemId);

    /** The folder of each dialogue: the user folder, or one of its partial siblings. */
    VirtualFile folderFor(int itemId) const;

    void openPresetMenu();
    void openFileMenu();

    /** How menus and file dialogues are shown; tests put recorders in their place. */
    ShowMenu showMenu;
    ChooseFile chooseFile;
    /** Tells the user that a file could not be loaded or saved; by default an alert window. */
    std::function<void(const juce::String& title, const juce::String& message)> showError;
    /** Opens the preferences; by default the "Lamina Preferences" dialogue. */
    std::function<void()> openPreferences;
    /** Told when the preferences change the zoom, so that the open window follows. */
    std::function<void(int percent)> onZoomChanged;
    /** Told when the preferences change what the displays show. */
    std::function<void(const juce::String& key, bool value)> onDisplaysChanged;

    ElementPropertyLabel& getNameLabel() { return presetName; }
    HeaderButton& getMenuButton() { return menuButton; }
    HeaderButton& getPrevButton() { return prevButton; }
    HeaderButton& getNextButton() { return nextButton; }

    void resized() override;

private:
    struct NameClicks : public juce::MouseListener
    {
        explicit NameClicks(ModulePresetDisplay& d) : display(d) {}
        void mouseUp(const juce::MouseEvent& e) override;
        ModulePresetDisplay& display;
    };

    void chooseAndRun(int itemId);
    void reportFailure(int itemId, const VirtualFile& file);
    void showPreferences();

    EditorContext context;
    VirtualFile factoryFolder;
    VirtualFile userFolder;
    ElementPropertyLabel presetName;
    HeaderButton menuButton;
    HeaderButton prevButton;
    HeaderButton nextButton;
    NameClicks nameClicks{*this};
    std::unique_ptr<juce::FileChooser> chooser;
    juce::Component::SafePointer<juce::DialogWindow> preferences;
};

} // namespace qor
