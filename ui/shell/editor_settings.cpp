#include "ui/shell/editor_settings.h"

#include "files/settings_store.h"

namespace qor
{

int readZoomPercent(const SettingsStore& settings)
{
    return juce::jlimit(zoomChoices[0], zoomChoices[std::size(zoomChoices) - 1],
                        settings.getIntValue(settingsKeys::zoom, 100));
}

} // namespace qor
