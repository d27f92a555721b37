#pragma once

#include "engine/audio_bus.h"
#include "engine/engine.h"
#include "engine/process_context.h"
#include "engine/signal.h"
#include "plugin/exported_parameter.h"
#include "plugin/plugin_definition.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace qor
{

class EngineProxy;
class MainPluginWindowBase;
class SettingsStore;

struct AuxOutput
{
    juce::String name;
    int32_t channelLayout = 2;
    int32_t useCount = 0;
};

/** The block as the host binding hands it over. */
class PluginAudioBuffer
{
public:
    int32_t numSamples = 0;
    const float* interleaved = nullptr;
    std::vector<float*> channels;
    std::vector<float> scratch;
    std::vector<float*> scratchChannels;
    bool isDeinterleaved = false;
    bool isSilent = false;
    std::vector<PluginAudioBuffer> auxBuffers;

    /** Stores the pointers; the scratch is sized here, so that a later deinterleave does not allocate. */
    void setChannels(int32_t numChannels, int32_t count, float* const* pointers);
    float* const* getChannels();
};

/** Kinds of host; the code picks the settings key and the format's display name. */
enum class PluginFormat : int32_t
{
    offline = 0,
    standalone = 1,
    directX = 2,
    vst = 3,
    vst3 = 4,
    rtas = 5,
    aax = 6,
    au3 = 7,
    au = 8,
    mas = 9,
    lv2 = 10,
};

/** Settings key of a format ("SOFTWARE\\maker\\product\\KIND"), empty when the format has none. */
juce::String settingsKeyForFormat(int32_t format, const PluginDefinition& definition);
/** Display name of a format ("VST3", "LV2", ...), empty when it has none. */
juce::String formatDisplayName(int32_t format);

/** What the host binding talks to: one per plug-in instance of the host. */
class Plugin
{
public:
    explicit Plugin(int32_t format);
    virtual ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    virtual void prepare(uint32_t sampleRate, ChannelConfig channels, uint32_t maxBlockSize);
    virtual bool isEnabled() const { return true; }
    virtual int32_t getTailHint() const { return 0; }
    virtual void setSampleRate(uint32_t rate) { sampleRate = rate; }
    virtual void setBlockSize(uint32_t size) { maxBlockSize = size; }
    virtual void setChannelConfig(ChannelConfig channels);
    virtual void setAuxOutputs(const std::vector<AuxOutput>& outputs) { auxOutputs = outputs; }
    virtual void openAuxOutput(uint32_t index);
    virtual void closeAuxOutput(uint32_t index);
    virtual void setHostOption(uint32_t option) { hostOption = option; }
    virtual void reset() {}
    virtual void process(PluginAudioBuffer& block) = 0;
    virtual void sendMidi(uint8_t port, uint8_t channel, uint8_t status, uint8_t data1, uint8_t data2,
                          uint64_t sampleOffset) = 0;
    virtual void addEvent(const PluginEvent& event) = 0;
    virtual void setTimeInfo(const TimeInfo& info) = 0;

    // Host parameters. A slot index at or beyond the count does nothing; getters then answer the neutral
    // value.
    virtual uint32_t getNumParameters() const { return 0; }
    virtual juce::String getParameterName(uint32_t) const { return {}; }
    virtual juce::String getParameterDisplay(uint32_t) const { return {}; }
    virtual float getParameterNormalised(uint32_t) const { return 0.0f; }
    virtual void setParameterNormalised(uint32_t, float) {}
    virtual float getParameterValue(uint32_t) const { return 0.0f; }
    virtual void setParameterValue(uint32_t, float) {}
    virtual juce::String formatParameterValue(uint32_t, float) const { return {}; }
    virtual float parseParameterValue(uint32_t, const juce::String&) const { return 0.0f; }
    virtual float normalisedToValue(uint32_t, float) const { return 0.0f; }
    virtual float valueToNormalised(uint32_t, float) const { return 0.0f; }
    virtual void getParameterRange(uint32_t, ParameterRange& range) const { range = ParameterRange{}; }
    virtual int32_t getParameterType(uint32_t) const { return ExportedPluginParameter::unconnectedType; }

    /** Restores a block written by getState (or plain XML of the same shape). Answers whether the tree was
        replaced; stateLoaded fires either way. */
    virtual bool setState(const std::vector<uint8_t>& bytes, const juce::String& presetPath)
    {
        juce::ignoreUnused(bytes, presetPath);
        return false;
    }
    virtual void getState(std::vector<uint8_t>& bytes) { bytes.clear(); }

    /** A new editor window for this instance, owned by the caller; none in the base. The window type lives in
        ui/, so the core knows it only by name. */
    virtual MainPluginWindowBase* createEditor() { return nullptr; }
    virtual int32_t getEditorSize() const { return 0; }
    virtual int32_t getEditorFlags() const { return 0; }

    int32_t getFormat() const { return format; }
    uint32_t getSampleRate() const { return sampleRate; }
    uint32_t getNumInputChannels() const { return numInputChannels; }
    uint32_t getNumOutputChannels() const { return numOutputChannels; }
    uint32_t getMaxBlockSize() const { return maxBlockSize; }
    uint32_t getHostOption() const { return hostOption; }
    const juce::String& getSettingsKey() const { return settingsKey; }
    /** The per-format settings; none for the formats without a key. */
    SettingsStore* getSettings() const { return settings.get(); }
    juce::CriticalSection& getProcessLock() { return processLock; }

    /** Instances alive in this process, in order of construction (main thread only). */
    static std::size_t getNumLiveInstances();
    static std::size_t getLiveInstanceCapacity();

    Signal<> stateLoaded;
    Signal<uint32_t> parameterGestureBegin;
    Signal<uint32_t> parameterChanged;
    Signal<uint32_t> parameterGestureEnd;
    Signal<uint32_t> parameterTitleChanged;
    Signal<uint32_t> auxOutputOpened;
    Signal<uint32_t> auxOutputClosed;

protected:
    void disconnectSignals();

    int32_t format;
    uint32_t sampleRate = 44100;
    uint32_t numInputChannels = 2;
    uint32_t numOutputChannels = 2;
    uint32_t maxBlockSize = 1024;
    std::vector<AuxOutput> auxOutputs;
    uint32_t hostOption = 0;
    juce::String settingsKey;
    std::unique_ptr<SettingsStore> settings;
    juce::CriticalSection processLock;
    bool signalsDisconnected = false;
};

/** The shell shared by every product: buses, events, context, engine and the block chain. */
class DefaultPluginBase : public Plugin, public AutomationParameterInterface
{
public:
    explicit DefaultPluginBase(int32_t format);
    ~DefaultPluginBase() override;

    void setSampleRate(uint32_t rate) override;
    void setBlockSize(uint32_t size) override;
    void setAuxOutputs(const std::vector<AuxOutput>& outputs) override;
    void reset() override;
    void process(PluginAudioBuffer& block) override;
    void sendMidi(uint8_t port, uint8_t channel, uint8_t status, uint8_t data1, uint8_t data2,
                  uint64_t sampleOffset) override;
    void addEvent(const PluginEvent& event) override { events.push_back(event); }
    void setTimeInfo(const TimeInfo& info) override { processContext->timeInfo = info; }

    uint32_t getNumParameters() const override { return static_cast<uint32_t>(parameters.size()); }
    juce::String getParameterName(uint32_t index) const override;
    juce::String getParameterDisplay(uint32_t index) const override;
    float getParameterNormalised(uint32_t index) const override;
    void setParameterNormalised(uint32_t index, float x) override;
    float getParameterValue(uint32_t index) const override;
    void setParameterValue(uint32_t index, float value) override;
    juce::String formatParameterValue(uint32_t index, float value) const override;
    float parseParameterValue(uint32_t index, const juce::String& text) const override;
    float normalisedToValue(uint32_t index, float x) const override;
    float valueToNormalised(uint32_t index, float value) const override;
    void getParameterRange(uint32_t index, ParameterRange& range) const override;
    int32_t getParameterType(uint32_t index) const override;
    /** The slot, or none for a bad index. */
    ExportedPluginParameter* getExportedParameter(uint32_t index) const;

    bool connect(const juce::String& path, const juce::String& parameterName,
                 const juce::String& displayName) override;
    void disconnect(const ParameterPath& path) override;
    bool saveAutomation(tinyxml2::XMLElement* xml) override;
    void loadAutomation(const tinyxml2::XMLElement* xml) override;
    /** Rebinds every slot to the current tree (after a state load). */
    void refreshParameters();
    /** Held while the slots' targets change (a state load swaps the tree, connect and disconnect move a slot)
        and while the tree is saved. Host writes, which may come on the audio thread, only try it: a write
       that finds it held is parked, and whoever holds it next applies the parked writes. */
    juce::CriticalSection& getSlotLock() { return slotLock; }

    bool setState(const std::vector<uint8_t>& bytes, const juce::String& presetPath) override;
    void getState(std::vector<uint8_t>& bytes) override;

    std::shared_ptr<Engine> getEngine() const { return engine; }
    EngineProxy* getEngineProxy() const { return engineProxy.get(); }
    /** The settings of the product shared by every format and instance ("ui.expanded", "editor.showEQ", ...).
     */
    SettingsStore& getApplicationProperties() const { return *applicationProperties; }
    ProcessContext& getProcessContext() { return *processContext; }
    AudioBus* getMainBus() const { return mainBus.get(); }
    const std::vector<PluginEvent>& getPendingEvents() const { return events; }

    /** Whether this instance is in the live-plug-in table (a late block of a removed one passes dry). Reads a
        flag that the table's keepers set, without the table's lock: it is asked once per block. */
    bool isLive() const { return live.load(std::memory_order_acquire); }
    /** Takes the instance out of the live-plug-in table ahead of destruction. */
    void removeFromLiveTable();

    /** Holds the process-wide live-plug-in table on the calling thread for its scope, as adding and removing
       an instance do (on the main thread). */
    class LiveTableHold
    {
    public:
        LiveTableHold();
        ~LiveTableHold();
        LiveTableHold(const LiveTableHold&) = delete;
        LiveTableHold& operator=(const LiveTableHold&) = delete;
    };

protected:
    /** Holds the slot lock for a scope; on leaving it, applies what was parked meanwhile. */
    class SlotsHeld
    {
    public:
        explicit SlotsHeld(DefaultPluginBase& p) : plugin(p) { plugin.slotLock.enter(); }
        ~SlotsHeld()
        {
            plugin.slotLock.exit();
            plugin.applyParkedWritesIfFree();
        }
        SlotsHeld(const SlotsHeld&) = delete;
        SlotsHeld& operator=(const SlotsHeld&) = delete;

    private:
        DefaultPluginBase& plugin;
    };

    virtual void processBlock(PluginAudioBuffer& block);
    void setEngine(std::shared_ptr<Engine> newEngine);
    /** Whether a state's engine element has the shape of this product's tree; checked before anything is
        made from it. */
    virtual bool acceptsTree(const tinyxml2::XMLElement& engineXml) const
    {
        juce::ignoreUnused(engineXml);
        return true;
    }
    /** Parses a state, makes its tree, loads and prepares it, all off the running tree; none when the block
       does not hold an acceptable tree. */
    std::shared_ptr<Engine> buildTree(const std::vector<uint8_t>& bytes, const juce::String& presetPath);
    /** Buses for `outputs`, connected to `tree` as its outputs 1, 2, ... */
    std::vector<std::shared_ptr<AudioBus>> makeAuxBuses(Engine& tree, const std::vector<AuxOutput>& outputs);
    /** A host write of slot `index`: applied now, or parked while the slots are held elsewhere. */
    void hostWrite(uint32_t index, float value, bool normalised);
    /** Applies the parked writes; the caller holds the slot lock. */
    void applyParkedWrites();
    /** Applies the parked writes if the slot lock is free; never waits. */
    void applyParkedWritesIfFree();
    /** Appends a slot bound to `parameterName` of the element at `path`, named by the parameter's display
       name. Answers its index. */
    uint32_t exportParameter(const juce::String& path, const juce::String& parameterName);
    /** Prepares a tree that a state load has just built, at the present rate and block size. */
    virtual void prepareTree(Engine& tree);
    /** Reserves the scratch arenas for blocks of up to maxBlockSize samples. */
    void reserveScratch();

    std::unique_ptr<AudioBus> mainBus;
    std::vector<std::shared_ptr<AudioBus>> auxBuses;
    std::unique_ptr<ProcessContext> processContext;
    std::vector<PluginEvent> events;
    std::vector<std::shared_ptr<ExportedPluginParameter>> parameters;
    std::map<std::pair<juce::String, juce::String>, uint32_t> automationMap;
    uint32_t nextFreeSlot = 0;
    std::shared_ptr<Engine> engine;
    std::unique_ptr<EngineProxy> engineProxy;
    std::shared_ptr<SettingsStore> applicationProperties;

private:
    juce::CriticalSection slotLock;
    /** The last write of each slot that met the slot lock held, in one word: the kind (1 normalised, 2 real;
       0 for none) above the value's bits. */
    std::deque<std::atomic<uint64_t>> parkedWrites;
    std::atomic<bool> anyParked{false};
    /** In the live-plug-in table: written under the table's lock, read by blocks without it. */
    std::atomic<bool> live{false};
};

} // namespace qor
