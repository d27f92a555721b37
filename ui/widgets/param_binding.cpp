#include "ui/widgets/param_binding.h"

#include "engine/element.h"

#include <cmath>

namespace qor
{

ParamBinding::~ParamBinding()
{
    unbind();
}

void ParamBinding::bind(EngineProxy& newProxy, const juce::String& newPath, const juce::String& name)
{
    unbind();
    proxy = &newProxy;
    path = newPath;
    parameterName = name;
    parameterId = ParameterDescriptions::findId(name);
    proxy->addParameterListener(path, parameterId, this);
    // Tells elementBound at once, which reads the value.
    proxy->addElementBoundListener(path, this);
}

void ParamBinding::unbind()
{
    endGesture();
    if (proxy != nullptr)
    {
        proxy->removeParameterListener(this);
        proxy->removeElementBoundListener(this);
        proxy = nullptr;
    }
    element = nullptr;
}

void ParamBinding::setElement(Element* newElement)
{
    if (newElement != element)
        endGesture();
    element = newElement;
    if (element == nullptr)
        return;
    if (parameterId == 0 && parameterName.isNotEmpty())
        parameterId = element->getParameterId(parameterName);
    auto* info = element->findParameter(parameterId);
    if (info == nullptr)
    {
        element = nullptr;
        return;
    }
    description = &info->getDescription();
    if (parameterName.isEmpty())
        parameterName = description->name;
    switch (description->type)
    {
    case ParameterType::Float:
        kind = Kind::real;
        break;
    case ParameterType::Int:
        kind = Kind::integer;
        break;
    case ParameterType::Bool:
        kind = Kind::boolean;
        break;
    default:
        kind = Kind::none;
        break;
    }
    lastValue = readValue();
    parameterValueChanged();
}

void ParamBinding::elementBound(const juce::String&, Element* newElement)
{
    if (newElement != nullptr || element != nullptr)
        setElement(newElement);
}

void ParamBinding::engineParameterChanged(Element& source, uint32_t id, float)
{
    // The element's value now rather than the record's: records queued during a drag would step back through
    // it.
    if (&source != element || id != parameterId || isInGesture())
        return;
    const float value = readValue();
    if (value == lastValue)
        return;
    lastValue = value;
    parameterValueChanged();
}

float ParamBinding::readValue() const
{
    if (element == nullptr)
        return lastValue;
    switch (kind)
    {
    case Kind::real:
        return element->getParameter(parameterId);
    case Kind::integer:
        return float(element->getIntParameter(parameterId));
    case Kind::boolean:
        return element->getBoolParameter(parameterId) ? 1.0f : 0.0f;
    default:
        return lastValue;
    }
}

float ParamBinding::getDefaultValue() const
{
    switch (kind)
    {
    case Kind::real:
        return static_cast<const ParameterDescription<float>*>(description)->defaultValue;
    case Kind::integer:
        return float(static_cast<const ParameterDescription<int>*>(description)->defaultValue);
    case Kind::boolean:
        return static_cast<const ParameterDescription<bool>*>(description)->defaultValue ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

float ParamBinding::normalise(float value) const
{
    switch (kind)
    {
    case Kind::real:
        return juce::jlimit(
            0.0f, 1.0f,
            static_cast<const ParameterDescription<float>*>(description)->normalise(element, value));
    case Kind::integer:
        return static_cast<const ParameterDescription<int>*>(description)->normalise(int(std::lround(value)));
    case Kind::boolean:
        return value > 0.5f ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

float ParamBinding::denormalise(float normalised) const
{
    const float x = juce::jlimit(0.0f, 1.0f, normalised);
    switch (kind)
    {
    case Kind::real:
        return static_cast<const ParameterDescription<float>*>(description)->denormalise(element, x);
    case Kind::integer:
        return float(static_cast<const ParameterDescription<int>*>(description)->denormalise(x));
    case Kind::boolean:
        return x > 0.5f ? 1.0f : 0.0f;
    default:
        return lastValue;
    }
}

juce::String ParamBinding::formatValue(float value) const
{
    switch (kind)
    {
    case Kind::real:
        return static_cast<const ParameterDescription<float>*>(description)->format(value, element);
    case Kind::integer:
        return static_cast<const ParameterDescription<int>*>(description)->format(int(std::lround(value)));
    case Kind::boolean:
        return static_cast<const ParameterDescription<bool>*>(description)->format(value > 0.5f);
    default:
        return {};
    }
}

void ParamBinding::setParameterValue(float value)
{
    if (element == nullptr)
        return;
    switch (kind)
    {
    case Kind::real:
    {
        const float v = static_cast<const ParameterDescription<float>*>(description)->clamp(value);
        lastValue = v;
        element->setParameterDeferred(parameterId, v, false);
        break;
    }
    case Kind::integer:
    {
        const int v =
            static_cast<const ParameterDescription<int>*>(description)->clamp(int(std::lround(value)));
        lastValue = float(v);
        element->setParameterDeferred(parameterId, int32_t(v), false);
        break;
    }
    case Kind::boolean:
        lastValue = value > 0.5f ? 1.0f : 0.0f;
        element->setParameterDeferred(parameterId, value > 0.5f, false);
        break;
    default:
        break;
    }
}

float ParamBinding::parseValue(const juce::String& text) const
{
    switch (kind)
    {
    case Kind::real:
        return static_cast<const ParameterDescription<float>*>(description)->parse(text, element);
    case Kind::integer:
        return float(static_cast<const ParameterDescription<int>*>(description)->parse(text));
    case Kind::boolean:
        return static_cast<const ParameterDescription<bool>*>(description)->parse(text) ? 1.0f : 0.0f;
    default:
        return lastValue;
    }
}

bool ParamBinding::setValueFromText(const juce::String& text)
{
    if (element == nullptr || kind == Kind::none)
        return false;
    beginGesture();
    setParameterValue(parseValue(text));
    endGesture();
    parameterValueChanged();
    return true;
}

void ParamBinding::resetToDefault()
{
    if (element == nullptr)
        return;
    beginGesture();
    setParameterValue(getDefaultValue());
    endGesture();
    parameterValueChanged();
}

void ParamBinding::beginGesture()
{
    if (element == nullptr || gestureElement != nullptr)
        return;
    gestureElement = element;
    if (proxy != nullptr)
        proxy->gestureBegin.emit(element, parameterId);
}

void ParamBinding::endGesture()
{
    if (gestureElement == nullptr)
        return;
    auto* ended = std::exchange(gestureElement, nullptr);
    // A gesture whose element has gone since it began ends silently: that element is no more.
    if (proxy != nullptr && ended == element)
        proxy->gestureEnd.emit(ended, parameterId);
}

} // namespace qor
