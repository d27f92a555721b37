#include "ui/shell/lamina_plugin_ui_v2.h"

#include "plugin/lamina_plugin.h"
#include "ui/presets/ab_tool_bar.h"
#include "ui/shell/lock_menu.h"
#include "ui/shell/right_panel.h"
#include "ui/widgets/param_binding.h"

namespace qor
{

LaminaPluginUIv2::LaminaPluginUIv2(LaminaPlugin& plugin)
    : DefaultPluginWindow(plugin),
      tap(getProxy(), "/Lamina"), context{plugin, getProxy(), getSettings(), tap, "/Lamina"}
{
    setComponentID("LaminaPluginUIv2");
    showMenu = &lockMenu::showAsync;

    editor = std::make_unique<LaminaEditorv2>(context);
    addAndMakeVisible(*editor);
    toolBar = std::make_unique<ABToolBar>(context);
    toolBar->getPresetDisplay().onZoomChanged = [this](int percent) { setZoomPercent(percent); };
    toolBar->getPresetDisplay().onDisplaysChanged = [this](const juce::String& key, bool value)
    {
        if (auto* panel = editor->getRightPanel())
            panel->applySetting(key, value);
    };
    addAndMakeVisible(*toolBar);
    lockOverlay = std::make_unique<LockOverlay>(getProxy(), context.elementPath);
    addAndMakeVisible(*lockOverlay);
    footer = std::make_unique<Footer>([&plugin] { return plugin.getCpuLoad().load.load(); },
                                      [this] { return getZoomPercent(); },
                                      [this](int percent) { setZoomPercent(percent); });
    addAndMakeVisible(*footer);

    editor->onLayoutChanged = [this](int width, int height) { setSize(width, height); };
    editor->addMouseListener(&rightClicks, true);
    const auto bounds = editor->getLayoutBounds();
    setSize(bounds.getWidth(), bounds.getHeight());
}

LaminaPluginUIv2::~LaminaPluginUIv2()
{
    editor->removeMouseListener(&rightClicks);
    editor->onLayoutChanged = nullptr;
    // The parts go before the tap that their meters read.
    footer.reset();
    lockOverlay.reset();
    toolBar.reset();
    editor.reset();
}

void LaminaPluginUIv2::resized()
{
    const auto area = getLocalBounds();
    editor->setBounds(area.withSize(editor->getWidth(), editor->getHeight()));
    toolBar->setBounds(area.withHeight(ABToolBar::height));
    lockOverlay->setBounds(area);
    footer->setBounds(area.withTop(area.getBottom() - 20));
}

void LaminaPluginUIv2::rightClicked(const juce::MouseEvent& e)
{
    // The nearest widget bound to a parameter: the component clicked, or its parent.
    ParamBinding* binding = nullptr;
    juce::Component* target = e.eventComponent;
    for (auto* c = e.eventComponent; c != nullptr && c != editor.get() && binding == nullptr;
         c = c->getParentComponent())
        if ((binding = dynamic_cast<ParamBinding*>(c)) != nullptr)
            target = c;
    if (binding == nullptr || binding->getElement() == nullptr || !isLockable(binding->getParameterName()))
        return;
    lockMenu::open(getProxy(), binding->getPath(), binding->getParameterName(), *target, showMenu);
}

void installLaminaEditor()
{
    LaminaPlugin::setEditorMaker([](LaminaPlugin& plugin) -> MainPluginWindowBase*
                                 { return new LaminaPluginUIv2(plugin); });
}

} // namespace qor
