#include "ui/shell/main_plugin_window_base.h"

#include "engine/engine_proxy.h"
#include "files/settings_store.h"
#include "plugin/plugin.h"
#include "ui/look/look_and_feel.h"
#include "ui/shell/editor_settings.h"

namespace qor
{

MainPluginWindowBase::MainPluginWindowBase(DefaultPluginBase& p) : plugin(p)
{
    zoomPercent = readZoomPercent(getSettings());
    if (zoomPercent != 100)
        setTransform(juce::AffineTransform::scale(float(zoomPercent) / 100.0f));
    startTimer(proxyIntervalMs);
}

MainPluginWindowBase::~MainPluginWindowBase()
{
    stopTimer();
}

EngineProxy& MainPluginWindowBase::getProxy() const
{
    return *plugin.getEngineProxy();
}

SettingsStore& MainPluginWindowBase::getSettings() const
{
    return plugin.getApplicationProperties();
}

void MainPluginWindowBase::setZoomPercent(int percent)
{
    percent = juce::jlimit(zoomChoices[0], zoomChoices[std::size(zoomChoices) - 1], percent);
    getSettings().setValue(settingsKeys::zoom, percent);
    if (percent == zoomPercent)
        return;
    zoomPercent = percent;
    setTransform(percent == 100 ? juce::AffineTransform()
                                : juce::AffineTransform::scale(float(percent) / 100.0f));
    // The drawings change resolution with the scale.
    repaint();
}

void MainPluginWindowBase::timerCallback()
{
    if (auto* proxy = plugin.getEngineProxy())
        proxy->tick();
}

DefaultPluginWindow::DefaultPluginWindow(DefaultPluginBase& p) : MainPluginWindowBase(p)
{
    if (&juce::LookAndFeel::getDefaultLookAndFeel() != &lookAndFeel.getObject())
        juce::LookAndFeel::setDefaultLookAndFeel(&lookAndFeel.getObject());
}

DefaultPluginWindow::~DefaultPluginWindow()
{
    // The last window takes its look and feel out of use before it goes.
    if (lookAndFeel.getReferenceCount() == 1 &&
        &juce::LookAndFeel::getDefaultLookAndFeel() == &lookAndFeel.getObject())
        juce::LookAndFeel::setDefaultLookAndFeel(nullptr);
}

} // namespace qor
