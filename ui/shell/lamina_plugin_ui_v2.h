#pragma once

#include "ui/shell/editor_context.h"
#include "ui/shell/footer.h"
#include "ui/shell/lamina_editor_v2.h"
#include "ui/shell/lock_overlay.h"
#include "ui/shell/main_plugin_window_base.h"
#include "ui/widgets/audio_tap.h"

#include <memory>

namespace qor
{

class ABToolBar;
class LaminaPlugin;

/** The product's window: the editor with the toolbar and the footer over it and the padlocks on top. It takes
    the editor's size in both layouts, and the right button on a lockable widget opens the lock menu. */
class LaminaPluginUIv2 : public DefaultPluginWindow
{
public:
    explicit LaminaPluginUIv2(LaminaPlugin& plugin);
    ~LaminaPluginUIv2() override;

    LaminaEditorv2& getEditor() { return *editor; }
    ABToolBar& getToolBar() { return *toolBar; }
    Footer& getFooter() { return *footer; }
    LockOverlay& getLockOverlay() { return *lockOverlay; }
    AudioTap& getAudioTap() { return tap; }
    const EditorContext& getContext() const { return context; }

    /** How a menu is shown (asynchronously at its target); tests put a recorder in its place. */
    std::function<void(juce::PopupMenu, juce::Component&, std::function<void(int)>)> showMenu;

    void resized() override;

    /** The shell's answer to a right click anywhere in the editor. */
    void rightClicked(const juce::MouseEvent& e);

private:
    struct RightClicks : public juce::MouseListener
    {
        explicit RightClicks(LaminaPluginUIv2& w) : window(w) {}
        void mouseDown(const juce::MouseEvent& e) override
        {
            if (e.mods.isPopupMenu())
                window.rightClicked(e);
        }
        LaminaPluginUIv2& window;
    };

    AudioTap tap;
    EditorContext context;
    std::unique_ptr<LaminaEditorv2> editor;
    std::unique_ptr<ABToolBar> toolBar;
    std::unique_ptr<LockOverlay> lockOverlay;
    std::unique_ptr<Footer> footer;
    RightClicks rightClicks{*this};
    juce::TooltipWindow tooltips{this, 700};
};

/** Lets LaminaPlugin::createEditor make this window; a program that links the editor calls it once. */
void installLaminaEditor();

} // namespace qor
