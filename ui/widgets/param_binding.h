#pragma once

#include "engine/engine_proxy.h"

#include <juce_core/juce_core.h>

namespace qor
{

/** What a widget holds to follow one parameter of one element. It is bound by path and parameter name through
    the engine proxy, so it follows the element that the path names now and after every state load; it reads
    values from the element and sends them through the element's GUI setter in the parameter's own unit. With
    no element it keeps showing its last value and sends nothing. Message thread only. */
class ParamBinding : public EngineProxy::ParameterListener, public EngineProxy::ElementBoundListener
{
public:
    enum class Kind
    {
        none = -1,
        real = 0,
        integer = 1,
        boolean = 2
    };

    ParamBinding() = default;
    ~ParamBinding() override;
    ParamBinding(const ParamBinding&) = delete;
    ParamBinding& operator=(const ParamBinding&) = delete;

    /** Follows `parameterName` of the element at `path`: reads it now and tells parameterValueChanged(). */
    void bind(EngineProxy& proxy, const juce::String& path, const juce::String& parameterName);
    /** Stops following; the last value stays. */
    void unbind();
    /** Points at an element without a proxy, or at none. The same widget may follow several elements in turn.
     */
    void setElement(Element* element);

    Element* getElement() const { return element; }
    EngineProxy* getProxy() const { return proxy; }
    uint32_t getParameterId() const { return parameterId; }
    const juce::String& getParameterName() const { return parameterName; }
    const juce::String& getPath() const { return path; }
    Kind getKind() const { return kind; }
    /** The registered description, null before the first bind to an element that has the parameter. */
    const ParameterDescriptionBase* getParameterDescription() const { return description; }
    bool hasFlag(uint8_t flag) const { return description != nullptr && description->hasFlag(flag); }

    /** The last value seen or sent, in the parameter's own unit (integers and booleans as numbers). */
    float getParameterValue() const { return lastValue; }
    float getNormalisedValue() const { return normalise(lastValue); }
    float getDefaultValue() const;
    /** Real: through the parameter's mapper; integer: (v - min) / (max - min); boolean: 1 or 0. */
    float normalise(float value) const;
    float denormalise(float normalised) const;
    /** The description's text of a value; empty when unbound. */
    juce::String formatValue(float value) const;
    juce::String getValueText() const { return formatValue(lastValue); }

    /** The GUI setter: limits the value to the parameter's range and sends it. Nothing without an element. */
    void setParameterValue(float value);
    /** A boolean is true above 0.5. */
    void setNormalisedValue(float normalised) { setParameterValue(denormalise(normalised)); }
    /** The value of a text as the parameter's own formatter writes it; the last value when unbound. */
    float parseValue(const juce::String& text) const;
    /** Parses text and sends the value as one gesture. */
    bool setValueFromText(const juce::String& text);
    /** Sends the default as one gesture. Locks do not stop it: they bind only the preset loader. */
    void resetToDefault();

    /** Change gestures, told to the host around a drag. Balanced: a second begin or an end without a begin
        does nothing. */
    void beginGesture();
    void endGesture();
    bool isInGesture() const { return gestureElement != nullptr; }

protected:
    /** The value shown must change: on bind, on a new element, or after a change from elsewhere. */
    virtual void parameterValueChanged() {}

private:
    void engineParameterChanged(Element& source, uint32_t id, float value) override;
    void elementBound(const juce::String& boundPath, Element* newElement) override;
    float readValue() const;

    EngineProxy* proxy = nullptr;
    Element* element = nullptr;
    Element* gestureElement = nullptr;
    juce::String path;
    juce::String parameterName;
    uint32_t parameterId = 0;
    Kind kind = Kind::none;
    const ParameterDescriptionBase* description = nullptr;
    float lastValue = 0.0f;
};

/** A binding with no widget: calls `onChange` with the value whenever it changes (and on bind). */
class ParamFollower : public ParamBinding
{
public:
    std::function<void(float value)> onChange;

protected:
    void parameterValueChanged() override
    {
        if (onChange)
            onChange(getParameterValue());
    }
};

} // namespace qor
