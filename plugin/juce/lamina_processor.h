#pragma once

#include "plugin/juce/host_parameter.h"
#include "plugin/juce/host_programs.h"
#include "plugin/lamina_plugin.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <array>
#include <memory>
#include <vector>

namespace qor
{

/** The host binding: a JUCE processor that owns one LaminaPlugin and drives it in a host's calling order
    (VST3, LV2, stand-alone). It knows the plug-in only through Plugin's operations and signals. */
class LaminaProcessor final : public juce::AudioProcessor, private juce::Timer
{
public:
    LaminaProcessor();
    ~LaminaProcessor() override;

    /** The format code of the wrapper that loaded us: 4 VST3, 10 LV2, 1 stand-alone (and anything else). */
    static int32_t formatCodeFor(juce::AudioProcessor::WrapperType type);

    const juce::String getName() const override;
    bool isBusesLayoutSupported(const BusesLayout& layouts) const override;
    void prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock) override;
    void releaseResources() override {}
    void processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    void processBlockBypassed(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    juce::AudioProcessorParameter* getBypassParameter() const override { return bypass; }

    /** The reverb rings on for as long as its decay says, up to forever: infinity is what VST3 hosts read as
       an endless tail, where a large finite number would overflow their sample count. */
    double getTailLengthSeconds() const override;
    bool acceptsMidi() const override { return false; }
    bool producesMidi() const override { return false; }
    bool hasEditor() const override { return true; }
    juce::AudioProcessorEditor* createEditor() override;

    /** The factory library, "Default" first (see HostPrograms). */
    int getNumPrograms() override { return programs.size(); }
    int getCurrentProgram() override;
    void setCurrentProgram(int index) override;
    const juce::String getProgramName(int index) override { return programs.getName(index); }
    void changeProgramName(int, const juce::String&) override {}

    /** The plug-in's state block, then the Master Bypass: "QBYP" and 0 or 1 as four bytes, little-endian. */
    void getStateInformation(juce::MemoryBlock& destData) override;
    /** Restores both; a state without the bypass leaves it as it is. */
    void setStateInformation(const void* data, int sizeInBytes) override;

    LaminaPlugin& getPlugin() const { return *plugin; }

private:
    void timerCallback() override;
    void connectSignals();
    void fillTimeInfo(int numSamples);
    void copyDry(juce::AudioBuffer<float>& buffer) const;
    ChannelConfig currentConfig() const;

    std::unique_ptr<LaminaPlugin> plugin;
    PluginAudioBuffer audioBuffer;
    std::vector<HostParameter*> slots;
    juce::AudioParameterBool* bypass = nullptr;
    /** Held by a block, and by what replaces the plug-in's buses and buffers (prepare, destruction). */
    juce::CriticalSection processLock;
    /** Keeps a host's prepare and its state calls apart, should it make them on two threads; no block takes
        it. */
    juce::CriticalSection hostCallLock;
    std::array<float*, 2> channelPointers{};
    double lastPosition = 0.0;
    uint32_t preparedBlockSize = 1024;
    HostPrograms programs;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(LaminaProcessor)
};

} // namespace qor
