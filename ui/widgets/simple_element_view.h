#pragma once

#include "engine/engine_proxy.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** An empty frame that knows the element at a path and follows it across state loads: the parent of views
    that draw an element as a whole. */
class SimpleElementView : public juce::Component, protected EngineProxy::ElementBoundListener
{
public:
    SimpleElementView(EngineProxy& proxy, const juce::String& path);
    ~SimpleElementView() override;

    Element* getElement() const { return element; }
    EngineProxy& getProxy() const { return proxy; }
    const juce::String& getElementPath() const { return path; }

protected:
    /** The element changed (it may be null). */
    virtual void elementChanged() {}

private:
    void elementBound(const juce::String& path, Element* element) override;

    EngineProxy& proxy;
    juce::String path;
    Element* element = nullptr;
};

} // namespace qor
