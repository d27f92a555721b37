#pragma once

#include "plugin/plugin.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>

namespace qor
{

/** One host slot of the plug-in as a JUCE parameter. The id is the target's key ("Decay"), the range is the
    slot's real range (LV2 shows real units), and the 0-to-1 value goes through the slot's own mapper. */
class HostParameter final : public juce::RangedAudioParameter
{
public:
    /** Writes from the host land here: the binding applies them at once or, while a block or a state load
       holds its lock, at the head of the next block. */
    using HostWrite = std::function<void(uint32_t slot, float normalised)>;

    HostParameter(Plugin& plugin, uint32_t slot, const juce::String& id, HostWrite write);

    float getValue() const override { return value.load(std::memory_order_relaxed); }
    void setValue(float newValue) override;
    float getDefaultValue() const override { return defaultNormalised; }
    juce::String getName(int maximumStringLength) const override;
    juce::String getLabel() const override { return {}; }
    int getNumSteps() const override;
    bool isDiscrete() const override { return range.numSteps > 0; }
    bool isBoolean() const override { return range.type == ExportedPluginParameter::boolType; }
    juce::String getText(float normalised, int maximumStringLength) const override;
    float getValueForText(const juce::String& text) const override;
    juce::StringArray getAllValueStrings() const override;
    const juce::NormalisableRange<float>& getNormalisableRange() const override { return normalisableRange; }

    /** A change made on the plug-in's side: stored and told to the host, but not written back. */
    void pushToHost(float normalised);
    /** Reads the slot again after a state load; tells the host when the value moved. */
    void refreshFromPlugin();
    /** Takes the slot's name again (after it was connected elsewhere). */
    void refreshTitle();

    uint32_t getSlot() const { return slot; }

private:
    Plugin& plugin;
    uint32_t slot;
    HostWrite write;
    ParameterRange range;
    juce::NormalisableRange<float> normalisableRange;
    float defaultNormalised = 0.0f;
    std::atomic<float> value{0.0f};
    mutable juce::SpinLock titleLock;
    juce::String title;
};

} // namespace qor
