#pragma once

#include "engine/element.h"
#include "engine/signal.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tinyxml2
{
class XMLElement;
}

namespace qor
{

class DefaultPluginBase;
class Engine;

/** An element path and a parameter name: what a host slot points at. */
using ParameterPath = std::pair<juce::String, juce::String>;

/** What a host needs to show one slot: its kind, its real range and, for steps, the text of each value. */
struct ParameterRange
{
    int32_t type = 0;
    int32_t numSteps = 0;
    float min = 0.0f;
    float max = 0.0f;
    float defaultValue = 0.0f;
    std::vector<juce::String> choices;
};

/** What the plug-in offers the editor and the element tree to move host slots between parameters. */
class AutomationParameterInterface
{
public:
    virtual ~AutomationParameterInterface() = default;
    virtual bool connect(const juce::String& path, const juce::String& parameterName,
                         const juce::String& displayName) = 0;
    virtual void disconnect(const ParameterPath& path) = 0;
    virtual bool saveAutomation(tinyxml2::XMLElement* xml) = 0;
    virtual void loadAutomation(const tinyxml2::XMLElement* xml) = 0;
};

/** One host slot: a fixed index whose target is a parameter of some element. Host writes go through the
    deferred cell; element-side changes and gestures come back as the plug-in's signals, except while the host
    itself is writing (no echo). */
class ExportedPluginParameter : public Trackable
{
public:
    enum Type : int32_t
    {
        floatType = 0,
        intType = 1,
        boolType = 2,
        unconnectedType = 5
    };

    ExportedPluginParameter(DefaultPluginBase& owner, uint32_t slotIndex, const ParameterPath& defaultTarget,
                            const juce::String& defaultName);
    ~ExportedPluginParameter() override;

    /** Points the slot at `target` in `engine` under the name `displayName`. The target is kept even when the
        element or the parameter is missing now: a later tree may have it (see rebind). */
    bool bind(Engine* engine, const ParameterPath& target, const juce::String& displayName);
    /** Back to the default target, unconnected. */
    void release();
    /** Looks the target up again in a new tree and listens to the element found there. */
    void rebind(Engine* engine);

    float getNormalised() const;
    void setNormalised(float x);
    float getValue() const;
    void setValue(float value);
    juce::String getDisplay() const;
    juce::String formatValue(float value) const;
    float parseValue(const juce::String& text) const;
    float normalisedToValue(float x) const;
    float valueToNormalised(float value) const;
    void getRange(ParameterRange& range) const;
    /** The kind of the bound parameter; unconnectedType while there is none. */
    int32_t getType() const;

    uint32_t getIndex() const { return index; }
    const juce::String& getName() const { return name; }
    const juce::String& getDefaultName() const { return defaultName; }
    bool isConnected() const { return connected; }
    /** Connected and found in the current tree. */
    bool isBound() const { return connected && element != nullptr && info != nullptr; }
    Element* getElement() const { return element; }
    uint32_t getParameterId() const { return parameterId; }
    const ParameterPath& getTarget() const { return target; }
    const ParameterPath& getDefaultTarget() const { return defaultTarget; }
    float getUnconnectedValue() const { return unconnectedValue; }

private:
    void attach(Engine* engine);
    void detach();
    void onParameterChanged(Element* source, uint32_t id);
    void onGestureBegin(Element* source, uint32_t id);
    void onGestureEnd(Element* source, uint32_t id);

    DefaultPluginBase& plugin;
    uint32_t index;
    int32_t type = unconnectedType;
    uint32_t parameterId = 0;
    juce::String defaultName;
    juce::String name;
    bool isBeingSetByHost = false;
    float unconnectedValue = 0.0f;
    bool connected = false;
    Element* element = nullptr;
    ParameterInfoBase* info = nullptr;
    ParameterPath target;
    ParameterPath defaultTarget;
};

} // namespace qor
