#pragma once

#include "engine/engine_proxy.h"
#include "ui/look/resource_images.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** Lies over the whole editor and draws a padlock at the table's place of each locked parameter. It follows
    the element's lock properties and takes no mouse clicks. */
class LockOverlay : public juce::Component, private EngineProxy::ElementBoundListener, public Trackable
{
public:
    LockOverlay(EngineProxy& proxy, const juce::String& path);
    ~LockOverlay() override;

    void paint(juce::Graphics& g) override;
    /** The padlocks that paint() draws now: the table's places of the locked parameters inside the window. */
    std::vector<juce::Rectangle<int>> lockedAreas() const;

private:
    void elementBound(const juce::String& path, Element* element) override;
    void onPropertyChanged(Element* source, juce::String key, juce::String value);

    EngineProxy& proxy;
    Element* element = nullptr;
    ResourceImagePtr padlock;
};

} // namespace qor
