#include "plugin/juce/host_parameter.h"

#include <cmath>

namespace qor
{

namespace
{
// Set while a plug-in-side change is being handed to the host on this thread: the host's call back into
// setValue must not write the value again.
thread_local bool pushingToHost = false;

juce::NormalisableRange<float> makeRange(Plugin& plugin, uint32_t slot, const ParameterRange& range)
{
    if (range.type == ExportedPluginParameter::unconnectedType || !(range.min < range.max))
        return {0.0f, 1.0f};
    auto* p = &plugin;
    const bool stepped = range.type != ExportedPluginParameter::floatType;
    return juce::NormalisableRange<float>(
        range.min, range.max, [p, slot](float, float, float x) { return p->normalisedToValue(slot, x); },
        [p, slot](float, float, float v) { return p->valueToNormalised(slot, v); },
        [stepped](float lo, float hi, float v) { return juce::jlimit(lo, hi, stepped ? std::round(v) : v); });
}
} // namespace

HostParameter::HostParameter(Plugin& owner, uint32_t slotIndex, const juce::String& id, HostWrite hostWrite)
    : juce::RangedAudioParameter(juce::ParameterID(id, 1), owner.getParameterName(slotIndex)), plugin(owner),
      slot(slotIndex), write(std::move(hostWrite)), title(owner.getParameterName(slotIndex))
{
    plugin.getParameterRange(slot, range);
    normalisableRange = makeRange(plugin, slot, range);
    defaultNormalised = range.type == ExportedPluginParameter::unconnectedType
                            ? 0.0f
                            : plugin.valueToNormalised(slot, range.defaultValue);
    value.store(plugin.getParameterNormalised(slot));
}

void HostParameter::setValue(float newValue)
{
    // Queues hand values over unchecked: the slot refuses NaN and ends infinities at the scale's ends, and so
    // does what the host reads back here.
    if (std::isnan(newValue))
        return;
    newValue = juce::jlimit(0.0f, 1.0f, newValue);
    // Hosts send back what they were told (after a state load, say): mapping such a value again could move
    // the real value by a rounding step and rebuild the modes for nothing.
    const float old = value.exchange(newValue, std::memory_order_relaxed);
    if (!pushingToHost && write && newValue != old)
        write(slot, newValue);
}

void HostParameter::pushToHost(float normalised)
{
    const bool wasPushing = pushingToHost;
    pushingToHost = true;
    setValueNotifyingHost(normalised);
    pushingToHost = wasPushing;
}

void HostParameter::refreshFromPlugin()
{
    const float now = plugin.getParameterNormalised(slot);
    if (now != getValue())
        pushToHost(now);
}

void HostParameter::refreshTitle()
{
    const auto name = plugin.getParameterName(slot);
    const juce::SpinLock::ScopedLockType l(titleLock);
    title = name;
}

juce::String HostParameter::getName(int maximumStringLength) const
{
    const juce::SpinLock::ScopedLockType l(titleLock);
    return title.substring(0, maximumStringLength);
}

int HostParameter::getNumSteps() const
{
    return range.numSteps > 0 ? range.numSteps : juce::AudioProcessor::getDefaultNumParameterSteps();
}

juce::String HostParameter::getText(float normalised, int maximumStringLength) const
{
    if (range.type == ExportedPluginParameter::unconnectedType)
        return juce::String(normalised, 2).substring(0, maximumStringLength);
    return plugin.formatParameterValue(slot, plugin.normalisedToValue(slot, normalised))
        .substring(0, maximumStringLength);
}

float HostParameter::getValueForText(const juce::String& text) const
{
    if (range.type == ExportedPluginParameter::unconnectedType)
        return juce::jlimit(0.0f, 1.0f, text.getFloatValue());
    return juce::jlimit(0.0f, 1.0f, plugin.valueToNormalised(slot, plugin.parseParameterValue(slot, text)));
}

juce::StringArray HostParameter::getAllValueStrings() const
{
    juce::StringArray strings;
    for (const auto& choice : range.choices)
        strings.add(choice);
    return strings;
}

} // namespace qor
