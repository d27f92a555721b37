#include "plugin/exported_parameter.h"

#include "engine/engine.h"
#include "engine/engine_proxy.h"
#include "plugin/plugin.h"

#include <algorithm>
#include <cmath>

namespace qor
{

namespace
{
const ParameterDescription<float>& floatDescription(const ParameterInfoBase* info)
{
    return static_cast<const ParameterInfo<float>*>(info)->getTypedDescription();
}
const ParameterDescription<int>& intDescription(const ParameterInfoBase* info)
{
    return static_cast<const ParameterInfo<int32_t>*>(info)->getTypedDescription();
}
const ParameterDescription<bool>& boolDescription(const ParameterInfoBase* info)
{
    return static_cast<const ParameterInfo<bool>*>(info)->getTypedDescription();
}
} // namespace

ExportedPluginParameter::ExportedPluginParameter(DefaultPluginBase& owner, uint32_t slotIndex,
                                                 const ParameterPath& defaultPath, const juce::String& dName)
    : plugin(owner), index(slotIndex), defaultName(dName), name(dName), target(defaultPath),
      defaultTarget(defaultPath)
{
    if (auto* proxy = plugin.getEngineProxy())
    {
        proxy->gestureBegin.connect(this, &ExportedPluginParameter::onGestureBegin);
        proxy->gestureEnd.connect(this, &ExportedPluginParameter::onGestureEnd);
    }
}

ExportedPluginParameter::~ExportedPluginParameter() = default;

bool ExportedPluginParameter::bind(Engine* engine, const ParameterPath& newTarget,
                                   const juce::String& displayName)
{
    detach();
    target = newTarget;
    name = displayName.isNotEmpty() ? displayName : newTarget.second;
    connected = true;
    attach(engine);
    return isBound();
}

void ExportedPluginParameter::release()
{
    detach();
    connected = false;
    target = defaultTarget;
    name = defaultName;
}

void ExportedPluginParameter::rebind(Engine* engine)
{
    detach();
    if (connected)
        attach(engine);
}

void ExportedPluginParameter::attach(Engine* engine)
{
    auto* found = engine != nullptr ? engine->findElement(target.first) : nullptr;
    const uint32_t id = found != nullptr ? found->getParameterId(target.second) : 0;
    auto* parameter = id != 0 ? found->findParameter(id) : nullptr;
    if (parameter == nullptr)
        return;
    switch (parameter->getType())
    {
    case ParameterType::Float:
        type = floatType;
        break;
    case ParameterType::Int:
        type = intType;
        break;
    case ParameterType::Bool:
        type = boolType;
        break;
    case ParameterType::String:
        return; // text has no place on a host's 0-to-1 scale
    }
    element = found;
    info = parameter;
    parameterId = id;
    element->signals().parameterChanged.connect(this, &ExportedPluginParameter::onParameterChanged);
}

void ExportedPluginParameter::detach()
{
    // Cut only the element's connection: the element may still live (a connect elsewhere) or be gone with
    // its tree, whose signals then took the connection with them.
    if (element != nullptr)
        element->signals().parameterChanged.disconnect(this, &ExportedPluginParameter::onParameterChanged);
    element = nullptr;
    info = nullptr;
    parameterId = 0;
    type = unconnectedType;
}

int32_t ExportedPluginParameter::getType() const
{
    return isBound() ? type : static_cast<int32_t>(unconnectedType);
}

float ExportedPluginParameter::getNormalised() const
{
    if (!isBound())
        return unconnectedValue;
    switch (type)
    {
    case floatType:
        return floatDescription(info).normalise(element, element->getParameter(parameterId));
    case intType:
        return intDescription(info).normalise(element->getIntParameter(parameterId));
    case boolType:
        return element->getBoolParameter(parameterId) ? 1.0f : 0.0f;
    default:
        return unconnectedValue;
    }
}

void ExportedPluginParameter::setNormalised(float x)
{
    // A host's queue may carry anything: NaN is no value, and the scale ends at 0 and 1 (an infinity mapped
    // through a curve can come out as NaN).
    if (std::isnan(x))
        return;
    x = std::clamp(x, 0.0f, 1.0f);
    isBeingSetByHost = true;
    if (!isBound())
        unconnectedValue = x;
    else if (type == floatType)
    {
        const auto& d = floatDescription(info);
        const float v = d.clamp(d.denormalise(element, x));
        if (v != element->getParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    else if (type == intType)
    {
        const auto& d = intDescription(info);
        const int32_t v = d.clamp(d.denormalise(x));
        if (v != element->getIntParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    else if (type == boolType)
    {
        const bool v = x > 0.5f;
        if (v != element->getBoolParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    isBeingSetByHost = false;
}

float ExportedPluginParameter::getValue() const
{
    if (!isBound())
        return 0.0f;
    switch (type)
    {
    case floatType:
        return element->getParameter(parameterId);
    case intType:
        return static_cast<float>(element->getIntParameter(parameterId));
    case boolType:
        return element->getBoolParameter(parameterId) ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

void ExportedPluginParameter::setValue(float value)
{
    if (!isBound() || std::isnan(value))
        return;
    isBeingSetByHost = true;
    if (type == floatType)
    {
        const float v = floatDescription(info).clamp(value);
        if (v != element->getParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    else if (type == intType)
    {
        const auto& d = intDescription(info);
        const double limited = std::clamp(static_cast<double>(value), double(INT32_MIN), double(INT32_MAX));
        const int32_t v = d.clamp(static_cast<int32_t>(limited)); // truncates
        if (v != element->getIntParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    else if (type == boolType)
    {
        const bool v = value != 0.0f;
        if (v != element->getBoolParameter(parameterId))
            element->setParameterDeferred(parameterId, v, true);
    }
    isBeingSetByHost = false;
}

juce::String ExportedPluginParameter::getDisplay() const
{
    return isBound() ? element->getParameterValueText(parameterId) : juce::String();
}

juce::String ExportedPluginParameter::formatValue(float value) const
{
    return isBound() ? info->getDescription().formatValueText(value, element) : juce::String();
}

float ExportedPluginParameter::parseValue(const juce::String& text) const
{
    if (!isBound())
        return 0.0f;
    switch (type)
    {
    case floatType:
        return floatDescription(info).parse(text, element);
    case intType:
        return static_cast<float>(intDescription(info).parse(text));
    case boolType:
        return boolDescription(info).parse(text) ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

float ExportedPluginParameter::normalisedToValue(float x) const
{
    if (!isBound())
        return 0.0f;
    switch (type)
    {
    case floatType:
        return floatDescription(info).denormalise(element, x);
    case intType:
        return static_cast<float>(intDescription(info).clamp(intDescription(info).denormalise(x)));
    case boolType:
        return x > 0.5f ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

float ExportedPluginParameter::valueToNormalised(float value) const
{
    if (!isBound())
        return 0.0f;
    switch (type)
    {
    case floatType:
        return floatDescription(info).normalise(element, value);
    case intType:
    {
        const auto& d = intDescription(info);
        const double limited =
            std::clamp(std::round(static_cast<double>(value)), double(d.range.min), double(d.range.max));
        return d.normalise(static_cast<int32_t>(limited));
    }
    case boolType:
        return value > 0.5f ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

void ExportedPluginParameter::getRange(ParameterRange& range) const
{
    range = ParameterRange{};
    range.type = getType();
    if (!isBound())
        return;
    switch (type)
    {
    case floatType:
    {
        const auto& d = floatDescription(info);
        range.min = d.range.min;
        range.max = d.range.max;
        range.defaultValue = d.defaultValue;
        break;
    }
    case intType:
    {
        const auto& d = intDescription(info);
        range.min = static_cast<float>(d.range.min);
        range.max = static_cast<float>(d.range.max);
        range.defaultValue = static_cast<float>(d.defaultValue);
        if (d.range.min <= d.range.max && int64_t(d.range.max) - d.range.min < 100000)
        {
            range.numSteps = d.range.max - d.range.min + 1;
            for (int32_t v = d.range.min;; ++v)
            {
                range.choices.push_back(d.format(v));
                if (v == d.range.max)
                    break;
            }
        }
        break;
    }
    case boolType:
    {
        const auto& d = boolDescription(info);
        range.numSteps = 2;
        range.min = 0.0f;
        range.max = 1.0f;
        range.defaultValue = d.defaultValue ? 1.0f : 0.0f;
        range.choices = {d.format(false), d.format(true)};
        break;
    }
    default:
        break;
    }
}

void ExportedPluginParameter::onParameterChanged(Element* source, uint32_t id)
{
    if (source != element || id != parameterId || parameterId == 0 || isBeingSetByHost)
        return;
    plugin.parameterChanged.emit(index);
}

void ExportedPluginParameter::onGestureBegin(Element* source, uint32_t id)
{
    if (isBound() && source == element && id == parameterId)
        plugin.parameterGestureBegin.emit(index);
}

void ExportedPluginParameter::onGestureEnd(Element* source, uint32_t id)
{
    if (isBound() && source == element && id == parameterId)
        plugin.parameterGestureEnd.emit(index);
}

} // namespace qor
