#include "ui/presets/module_preset_display.h"

#include "engine/engine.h"
#include "engine/engine_proxy.h"
#include "files/vfs_holder.h"
#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"
#include "ui/presets/preferences_panel.h"

namespace qor
{

namespace
{
const HeaderButton::Colours browseColours{colours::headerButton.withAlpha(0.4f), colours::headerButton,
                                          colours::toggleOn};

/** "01-Classics" shows as "Classics": the number only orders the folders. */
juce::String menuName(const VirtualFile& file)
{
    auto name = file.isDirectory() ? file.getFileName() : file.getFileNameWithoutExtension();
    if (name.length() > 3 && juce::CharacterFunctions::isDigit(name[0]) &&
        juce::CharacterFunctions::isDigit(name[1]) && name[2] == '-')
        name = name.substring(3);
    return name;
}

bool isPresetFile(const VirtualFile& file)
{
    return file.getExtension() == PresetFormat::presetExtension;
}

/** Folders become submenus and presets items; anything else in the tree (notes, dot-files) is left out. */
void addTree(juce::PopupMenu& menu, const VirtualFile& folder, std::map<int, VirtualFile>& files, int& nextId,
             const VirtualFile& current, int depth)
{
    // Far deeper than any preset library; only a loop of links gets here.
    if (depth > 16)
        return;
    for (const auto& entry : listOrdered(folder, true, true))
    {
        if (entry.getFileName().startsWith("."))
            continue;
        if (entry.isDirectory())
        {
            juce::PopupMenu sub;
            addTree(sub, entry, files, nextId, current, depth + 1);
            if (sub.getNumItems() > 0)
                menu.addSubMenu(menuName(entry), sub);
        }
        else if (isPresetFile(entry))
        {
            const int id = nextId++;
            files[id] = entry;
            menu.addItem(id, menuName(entry), true, entry.samePath(current));
        }
    }
}
} // namespace

juce::String PresetNamePropertyValueFormatter(const juce::String& presetPath)
{
    return presetPath.isEmpty() ? juce::String("Default")
                                : VirtualFile(presetPath).getFileNameWithoutExtension();
}

ModulePresetDisplay::ModulePresetDisplay(const EditorContext& c)
    : context(c), factoryFolder(PresetFormat::factoryFolder), userFolder(userPresetsFolder()),
      menuButton("MenuButton", "resource/svg/header_folder_off_35x26.svg", browseColours),
      prevButton("PrevButton", "resource/svg/header_bwd_26x26.svg", browseColours),
      nextButton("NextButton", "resource/svg/header_fwd_26x26.svg", browseColours)
{
    setName("PresetDisplay");
    showMenu = [](juce::PopupMenu menu, juce::Component& target, std::function<void(int)> done)
    { menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&target), std::move(done)); };
    chooseFile = [this](const FileRequest& request, std::function<void(const VirtualFile&)> done)
    {
        // JUCE's own dialogue rather than the desktop's: the same on every machine, and it runs under Xvfb.
        chooser = std::make_unique<juce::FileChooser>(request.title, juce::File(request.folder.getPath()),
                                                      request.wildcard, false);
        const int flags = juce::FileBrowserComponent::canSelectFiles |
                          (request.save ? juce::FileBrowserComponent::saveMode |
                                              juce::FileBrowserComponent::warnAboutOverwriting
                                        : juce::FileBrowserComponent::openMode);
        chooser->launchAsync(flags,
                             [done = std::move(done)](const juce::FileChooser& fc)
                             {
                                 const auto file = fc.getResult();
                                 done(file == juce::File() ? VirtualFile() : VirtualFile(file));
                             });
    };
    showError = [this](const juce::String& title, const juce::String& message)
    {
        juce::AlertWindow::showAsync(juce::MessageBoxOptions()
                                         .withIconType(juce::MessageBoxIconType::WarningIcon)
                                         .withTitle(title)
                                         .withMessage(message)
                                         .withButton("OK")
                                         .withAssociatedComponent(getTopLevelComponent()),
                                     nullptr);
    };
    openPreferences = [this] { showPreferences(); };

    presetName.setName("PresetName");
    presetName.setTooltip("PresetName: click to load/save presets");
    presetName.setColour(juce::Label::textColourId, colours::presetName);
    presetName.setJustificationType(juce::Justification::centred);
    presetName.setFont(TTFonts::instance().getFont(fontPaths::values, 15.0f));
    presetName.setMinimumHorizontalScale(0.6f);
    presetName.bind(context.proxy, context.elementPath, PresetFormat::presetPathProperty,
                    &PresetNamePropertyValueFormatter);
    presetName.addMouseListener(&nameClicks, false);
    addAndMakeVisible(presetName);

    menuButton.setTooltip("Load/Save presets");
    prevButton.setTooltip("Load the previous preset");
    nextButton.setTooltip("Load the next preset");
    menuButton.onClick = [this] { openFileMenu(); };
    prevButton.onClick = [this] { browse(false); };
    nextButton.onClick = [this] { browse(true); };
    addAndMakeVisible(prevButton);
    addAndMakeVisible(nextButton);
    addAndMakeVisible(menuButton);
}

ModulePresetDisplay::~ModulePresetDisplay()
{
    presetName.removeMouseListener(&nameClicks);
    chooser.reset();
    // The dialogue reads the editor's settings: it goes with the editor.
    if (auto* dialogue = preferences.getComponent())
        delete dialogue;
}

void ModulePresetDisplay::resized()
{
    prevButton.setBounds(0, 0, 26, 26);
    nextButton.setBounds(26, 0, 26, 26);
    presetName.setBounds(54, 0, 238, 26);
    menuButton.setBounds(294, 0, 35, 26);
}

void ModulePresetDisplay::setFolders(const VirtualFile& factory, const VirtualFile& user)
{
    factoryFolder = factory;
    userFolder = user;
}

Element* ModulePresetDisplay::getElement() const
{
    auto* engine = context.proxy.getEngine();
    return engine != nullptr ? engine->findElement(context.elementPath) : nullptr;
}

PresetOperations ModulePresetDisplay::operations() const
{
    return PresetOperations(dynamic_cast<ProcessingElement*>(getElement()));
}

bool ModulePresetDisplay::browse(bool forward)
{
    auto* element = getElement();
    if (element == nullptr)
        return false;
    VirtualFile current(element->getProperty(PresetFormat::presetPathProperty));
    VirtualFile base;
    if (current.getPath().isNotEmpty() && current.getPath().contains(factoryFolder.getPath()))
        base = factoryFolder;
    else if (current.getPath().isNotEmpty() && current.getPath().contains(userFolder.getPath()))
        base = userFolder;
    else
    {
        // From "Default" or a file elsewhere both buttons step forward from the first factory preset, so they
        // land on the second one.
        base = factoryFolder;
        forward = true;
        current = factoryFolder;
        do
        {
            VirtualFile next;
            if (!current.findNext(next, base, true, true))
                return false;
            current = next;
        } while (!isPresetFile(current));
    }
    // Bounded by the size of any real tree; a walk that never ends would freeze the editor.
    for (int guard = 0; guard < 100000; ++guard)
    {
        VirtualFile next;
        const bool found =
            forward ? current.findNext(next, base, true, true) : current.findPrevious(next, base, true, true);
        if (!found || next.samePath(current))
            return false;
        if (isPresetFile(next))
        {
            const bool loaded = operations().loadPreset(next);
            presetName.refresh();
            if (!loaded)
                reportFailure(loadItem, next);
            return loaded;
        }
        current = next;
    }
    return false;
}

ModulePresetDisplay::PresetMenu ModulePresetDisplay::makePresetMenu() const
{
    PresetMenu result;
    userFolder.createDirectory(true);
    auto* element = getElement();
    const VirtualFile current(element != nullptr ? element->getProperty(PresetFormat::presetPathProperty)
                                                 : juce::String());
    int nextId = defaultItem + 1;
    if (!factoryFolder.isDirectory())
        result.menu.addItem(defaultItem, "Default", true, element != nullptr && current.isEmpty());
    else
    {
        result.menu.addSectionHeader("Factory Presets");
        result.menu.addItem(defaultItem, "Default", true, element != nullptr && current.isEmpty());
        addTree(result.menu, factoryFolder, result.files, nextId, current, 0);
    }
    juce::PopupMenu user;
    addTree(user, userFolder, result.files, nextId, current, 0);
    if (user.getNumItems() > 0)
    {
        result.menu.addSectionHeader("User Presets");
        for (juce::PopupMenu::MenuItemIterator items(user); items.next();)
            result.menu.addItem(items.getItem());
    }
    result.menu.addSeparator();
    return result;
}

bool ModulePresetDisplay::applyPresetMenu(const PresetMenu& menu, int itemId)
{
    bool loaded = false;
    if (itemId == defaultItem)
        loaded = operations().loadDefault();
    else if (const auto found = menu.files.find(itemId); found != menu.files.end())
    {
        const auto status = found->second.status();
        if (status.exists && !status.isDirectory)
            loaded = operations().loadPreset(found->second);
        if (!loaded)
            reportFailure(loadItem, found->second);
    }
    presetName.refresh();
    return loaded;
}

juce::PopupMenu ModulePresetDisplay::makeFileMenu()
{
    juce::PopupMenu menu;
    menu.addItem(loadItem, "Load");
    menu.addItem(saveItem, "Save");
    menu.addSeparator();
    menu.addItem(loadDecayItem, "Load Band Decay");
    menu.addItem(saveDecayItem, "Save Band Decay");
    menu.addSeparator();
    menu.addItem(loadEQItem, "Load Band EQ");
    menu.addItem(saveEQItem, "Save Band EQ");
    menu.addSeparator();
    menu.addItem(loadIOItem, "Load IO");
    menu.addItem(saveIOItem, "Save IO");
    // No licence layer on this platform: the settings are always offered.
    menu.addSeparator();
    menu.addItem(settingsItem, "Settings");
    return menu;
}

VirtualFile ModulePresetDisplay::folderFor(int itemId) const
{
    const auto beside = userFolder.getParent();
    switch (itemId)
    {
    case loadDecayItem:
    case saveDecayItem:
        return beside.getChild(PresetFormat::decayFolderName);
    case loadEQItem:
    case saveEQItem:
        return beside.getChild(PresetFormat::eqFolderName);
    case loadIOItem:
    case saveIOItem:
        return beside.getChild(PresetFormat::ioFolderName);
    default:
        return userFolder;
    }
}

void ModulePresetDisplay::applyFileMenu(int itemId)
{
    if (itemId == settingsItem)
    {
        if (openPreferences)
            openPreferences();
    }
    else if (itemId >= loadItem && itemId <= saveIOItem)
        chooseAndRun(itemId);
    presetName.refresh();
}

void ModulePresetDisplay::chooseAndRun(int itemId)
{
    struct Dialogue
    {
        const char* title;
        const char* extension;
    };
    static const std::map<int, Dialogue> dialogues = {
        {loadItem, {PresetFormat::loadPresetTitle, PresetFormat::presetExtension}},
        {saveItem, {PresetFormat::savePresetTitle, PresetFormat::presetExtension}},
        {loadDecayItem, {PresetFormat::loadDecayTitle, PresetFormat::decayExtension}},
        {saveDecayItem, {PresetFormat::saveDecayTitle, PresetFormat::decayExtension}},
        {loadEQItem, {PresetFormat::loadEQTitle, PresetFormat::eqExtension}},
        {saveEQItem, {PresetFormat::saveEQTitle, PresetFormat::eqExtension}},
        {loadIOItem, {PresetFormat::loadIOTitle, PresetFormat::ioExtension}},
        {saveIOItem, {PresetFormat::saveIOTitle, PresetFormat::ioExtension}},
    };
    const auto& dialogue = dialogues.at(itemId);
    const auto folder = folderFor(itemId);
    userFolder.createDirectory(true);
    folder.createDirectory(true);
    const FileRequest request{dialogue.title, folder, PresetFormat::wildcardFor(dialogue.extension),
                              itemId % 2 == 0};
    juce::Component::SafePointer<ModulePresetDisplay> self(this);
    chooseFile(request,
               [self, itemId](const VirtualFile& file)
               {
                   if (self == nullptr || file.isEmpty())
                       return;
                   auto ops = self->operations();
                   bool done = false;
                   switch (itemId)
                   {
                   case loadItem:
                       done = ops.loadPreset(file);
                       break;
                   case saveItem:
                       done = ops.savePreset(file);
                       break;
                   case loadDecayItem:
                       done = ops.loadDecay(file);
                       break;
                   case saveDecayItem:
                       done = ops.saveDecay(file);
                       break;
                   case loadEQItem:
                       done = ops.loadEQ(file);
                       break;
                   case saveEQItem:
                       done = ops.saveEQ(file);
                       break;
                   case loadIOItem:
                       done = ops.loadIO(file);
                       break;
                   case saveIOItem:
                       done = ops.saveIO(file);
                       break;
                   default:
                       break;
                   }
                   self->presetName.refresh();
                   if (!done)
                       self->reportFailure(itemId, file);
               });
}

void ModulePresetDisplay::reportFailure(int itemId, const VirtualFile& file)
{
    if (!showError)
        return;
    static const std::map<int, const char*> kinds = {
        {loadItem, "preset"},
        {saveItem, "preset"},
        {loadDecayItem, "band decay"},
        {saveDecayItem, "band decay"},
        {loadEQItem, "band EQ"},
        {saveEQItem, "band EQ"},
        {loadIOItem, "input / output positions"},
        {saveIOItem, "input / output positions"},
    };
    const auto kind = kinds.count(itemId) != 0 ? juce::String(kinds.at(itemId)) : juce::String("preset");
    const bool save = itemId % 2 == 0;
    const auto path = file.getPath().quoted();
    if (save)
        showError("Could not save the " + kind,
                  "Lamina could not write the " + kind + " to " + path +
                      ". The folder may be missing or read-only, or the disk full. Nothing was changed.");
    else
        showError("Could not load the " + kind, "Lamina could not read " + path +
                                                    ". It may be damaged, not a Lamina " + kind +
                                                    " file, or not a regular file. Nothing was changed.");
}

void ModulePresetDisplay::openPresetMenu()
{
    auto menu = std::make_shared<PresetMenu>(makePresetMenu());
    juce::Component::SafePointer<ModulePresetDisplay> self(this);
    showMenu(menu->menu, presetName,
             [self, menu](int itemId)
             {
                 if (self != nullptr && itemId != 0)
                     self->applyPresetMenu(*menu, itemId);
                 else if (self != nullptr)
                     self->presetName.refresh();
             });
}

void ModulePresetDisplay::openFileMenu()
{
    juce::Component::SafePointer<ModulePresetDisplay> self(this);
    showMenu(makeFileMenu(), menuButton,
             [self](int itemId)
             {
                 if (self != nullptr)
                     self->applyFileMenu(itemId);
             });
}

void ModulePresetDisplay::NameClicks::mouseUp(const juce::MouseEvent& e)
{
    if (!e.mods.isPopupMenu() && e.mouseWasClicked())
        display.openPresetMenu();
}

void ModulePresetDisplay::showPreferences()
{
    if (auto* open = preferences.getComponent())
    {
        open->toFront(true);
        return;
    }
    auto panel = std::make_unique<PreferencesPanel>(context);
    panel->onZoomChanged = onZoomChanged;
    panel->onDisplaysChanged = onDisplaysChanged;
    juce::DialogWindow::LaunchOptions options;
    options.content.setOwned(panel.release());
    options.dialogTitle = "Lamina Preferences";
    options.dialogBackgroundColour = colours::panel;
    options.componentToCentreAround = getTopLevelComponent();
    options.escapeKeyTriggersCloseButton = true;
    options.useNativeTitleBar = false;
    options.resizable = false;
    preferences = options.launchAsync();
}

} // namespace qor
