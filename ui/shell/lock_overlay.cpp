#include "ui/shell/lock_overlay.h"

#include "engine/element.h"
#include "ui/shell/lock_menu.h"

namespace qor
{

namespace
{
const juce::String padlockPath = "resource/svg/lock_7x10.svg";
}

LockOverlay::LockOverlay(EngineProxy& p, const juce::String& path)
    : proxy(p), padlock(ResourceImage::load(padlockPath))
{
    setInterceptsMouseClicks(false, false);
    proxy.addElementBoundListener(path, this);
}

LockOverlay::~LockOverlay()
{
    proxy.removeElementBoundListener(this);
}

void LockOverlay::elementBound(const juce::String&, Element* newElement)
{
    disconnectAllSignals();
    element = newElement;
    if (element != nullptr)
        element->signals().propertyChanged.connect(this, &LockOverlay::onPropertyChanged);
    repaint();
}

void LockOverlay::onPropertyChanged(Element*, juce::String key, juce::String)
{
    if (key.endsWith("Locked"))
        repaint();
}

std::vector<juce::Rectangle<int>> LockOverlay::lockedAreas() const
{
    std::vector<juce::Rectangle<int>> areas;
    if (element == nullptr)
        return areas;
    for (const auto& row : lockableParameters())
    {
        const juce::Rectangle<int> area(row.x, row.y, 7, 10);
        if (isLocked(*element, row.parameter) && getLocalBounds().contains(area))
            areas.push_back(area);
    }
    return areas;
}

void LockOverlay::paint(juce::Graphics& g)
{
    if (padlock == nullptr)
        return;
    for (const auto& area : lockedAreas())
        padlock->draw(g, area.toFloat(), 1.0f);
}

} // namespace qor
