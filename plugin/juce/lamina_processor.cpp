#include "plugin/juce/lamina_processor.h"

#include "engine/engine_proxy.h"
#include "plugin/juce/editor_host.h"
#include "ui/shell/lamina_plugin_ui_v2.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace qor
{

namespace
{
const ChannelConfig firstConfiguration{2, 2};
constexpr uint32_t firstRate = 44100;
constexpr uint32_t firstBlockSize = 1024;
} // namespace

int32_t LaminaProcessor::formatCodeFor(juce::AudioProcessor::WrapperType type)
{
    switch (type)
    {
    case juce::AudioProcessor::wrapperType_VST3:
        return int32_t(PluginFormat::vst3);
    case juce::AudioProcessor::wrapperType_LV2:
        return int32_t(PluginFormat::lv2);
    default:
        return int32_t(PluginFormat::standalone);
    }
}

LaminaProcessor::LaminaProcessor()
    : juce::AudioProcessor(BusesProperties()
                               .withInput("Input", juce::AudioChannelSet::stereo(), true)
                               .withOutput("Output", juce::AudioChannelSet::stereo(), true))
{
    installLaminaEditor();
    plugin.reset(
        static_cast<LaminaPlugin*>(LaminaPluginFactory::instance().create(formatCodeFor(wrapperType))));
    connectSignals();
    programs.scan();
    plugin->prepare(firstRate, firstConfiguration, firstBlockSize);
    plugin->setAuxOutputs({});

    const auto count = plugin->getNumParameters();
    for (uint32_t i = 0; i < count; ++i)
    {
        // The key of the slot's own target is its id: stable, readable, and a valid LV2 symbol.
        const auto* slot = plugin->getExportedParameter(i);
        const auto id = slot != nullptr ? slot->getDefaultTarget().second : juce::String(i);
        // A write goes straight to the slot, on whichever thread: it takes no lock that a block waits for.
        auto* parameter = new HostParameter(
            *plugin, i, id, [this](uint32_t s, float x) { plugin->setParameterNormalised(s, x); });
        slots.push_back(parameter);
        addParameter(parameter);
    }
    bypass = new juce::AudioParameterBool(juce::ParameterID("bypass", 1), "Master Bypass", false);
    addParameter(bypass);

    audioBuffer.setChannels(2, int32_t(firstBlockSize), channelPointers.data());
    startTimer(EngineProxy::timerIntervalMs);
}

LaminaProcessor::~LaminaProcessor()
{
    stopTimer();
    const juce::ScopedLock lock(processLock);
    plugin.reset();
}

void LaminaProcessor::connectSignals()
{
    plugin->parameterGestureBegin.connect(this, std::function<void(uint32_t)>(
                                                    [this](uint32_t i)
                                                    {
                                                        if (i < slots.size())
                                                            slots[i]->beginChangeGesture();
                                                    }));
    plugin->parameterChanged.connect(this,
                                     std::function<void(uint32_t)>(
                                         [this](uint32_t i)
                                         {
                                             if (i < slots.size())
                                                 slots[i]->pushToHost(plugin->getParameterNormalised(i));
                                         }));
    plugin->parameterGestureEnd.connect(this, std::function<void(uint32_t)>(
                                                  [this](uint32_t i)
                                                  {
                                                      if (i < slots.size())
                                                          slots[i]->endChangeGesture();
                                                  }));
    plugin->stateLoaded.connect(this,
                                std::function<void()>(
                                    [this]
                                    {
                                        for (auto* slot : slots)
                                            slot->refreshFromPlugin();
                                        updateHostDisplay(ChangeDetails().withParameterInfoChanged(true));
                                    }));
    plugin->parameterTitleChanged.connect(this, std::function<void(uint32_t)>(
                                                    [this](uint32_t i)
                                                    {
                                                        if (i < slots.size())
                                                            slots[i]->refreshTitle();
                                                        updateHostDisplay(
                                                            ChangeDetails().withParameterInfoChanged(true));
                                                    }));
}

const juce::String LaminaProcessor::getName() const
{
    return getPluginDefinition().getProductName();
}

bool LaminaProcessor::isBusesLayoutSupported(const BusesLayout& layouts) const
{
    const auto in = layouts.getMainInputChannels(), out = layouts.getMainOutputChannels();
    for (const auto& config : getPluginDefinition().getChannelConfigs())
        if (uint32_t(in) == config.inputs && uint32_t(out) == config.outputs)
            return !layouts.getMainInputChannelSet().isDisabled();
    return false;
}

ChannelConfig LaminaProcessor::currentConfig() const
{
    return {uint32_t(getMainBusNumInputChannels()), uint32_t(getMainBusNumOutputChannels())};
}

void LaminaProcessor::prepareToPlay(double sampleRate, int maximumExpectedSamplesPerBlock)
{
    const auto blockSize = uint32_t(std::max(1, maximumExpectedSamplesPerBlock));
    const auto config = currentConfig();
    const juce::ScopedLock hostCall(hostCallLock);
    // Taken blocking on the main thread; the audio thread only tries it and passes the block dry meanwhile.
    const juce::ScopedLock lock(processLock);
    plugin->prepare(uint32_t(std::lround(sampleRate)), config, blockSize);
    preparedBlockSize = blockSize;
    // Sizes the scratch for the largest block, so that the audio thread never grows it.
    audioBuffer.setChannels(int32_t(config.outputs), int32_t(blockSize), channelPointers.data());
    lastPosition = 0.0;
    setLatencySamples(0);
}

double LaminaProcessor::getTailLengthSeconds() const
{
    return std::numeric_limits<double>::infinity();
}

void LaminaProcessor::fillTimeInfo(int numSamples)
{
    TimeInfo info;
    const double rate = getSampleRate() > 0.0 ? getSampleRate() : double(firstRate);
    if (auto* playHead = getPlayHead())
        if (const auto position = playHead->getPosition())
        {
            if (const auto bpm = position->getBpm(); bpm && *bpm > 0.0)
                info.tempo = float(*bpm);
            if (const auto meter = position->getTimeSignature();
                meter && meter->numerator > 0 && meter->denominator > 0)
            {
                info.meterNumerator = meter->numerator;
                info.meterDenominator = meter->denominator;
            }
            if (const auto ppq = position->getPpqPosition())
                info.positionBeats = *ppq;
            info.playPositionBeats = info.positionBeats;

            // Seconds per beat against a position in quarter notes: kept as the transport code has it.
            const double beatSeconds = 60.0 / info.tempo;
            const double barLength = beatSeconds * 4.0 * info.meterNumerator / info.meterDenominator;
            const double barStart = std::floor(info.positionBeats / barLength) * barLength;
            info.positionInBar = info.positionBeats - barStart;
            const double samplesPerBeat = rate / (info.tempo / 60.0);
            const double toBar =
                barStart == info.positionBeats ? 0.0 : barStart + barLength - info.positionBeats;
            info.samplesToNextBar = std::max(0.0, samplesPerBeat * toBar);
            info.fractionInSamples = (toBar - std::floor(toBar)) * samplesPerBeat;

            info.isLooping = position->getIsLooping();
            if (const auto loop = position->getLoopPoints())
            {
                info.loopStartBeats = loop->ppqStart;
                info.loopEndBeats = loop->ppqEnd;
            }
            info.isPlaying = position->getIsPlaying() ? 1 : 0;
        }
    info.isOffline = isNonRealtime();

    const bool playing = info.isPlaying == 1;
    const double position = playing ? info.playPositionBeats : info.positionBeats;
    info.hasJumped = std::abs(lastPosition - position) > 1.0;
    plugin->setTimeInfo(info);
    lastPosition = playing ? info.playPositionBeats + (info.tempo / 60.0) * numSamples / rate : position;
}

void LaminaProcessor::copyDry(juce::AudioBuffer<float>& buffer) const
{
    // Inputs already sit in their output channels; an output without an input of its own takes the last input
    // (mono in, stereo out hears the dry signal on both sides).
    const int inputs = getTotalNumInputChannels(), outputs = getTotalNumOutputChannels();
    for (int c = inputs; c < outputs && c < buffer.getNumChannels(); ++c)
    {
        if (inputs > 0)
            buffer.copyFrom(c, 0, buffer, inputs - 1, 0, buffer.getNumSamples());
        else
            buffer.clear(c, 0, buffer.getNumSamples());
    }
}

void LaminaProcessor::processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    midi.clear();
    const int numSamples = buffer.getNumSamples();
    fillTimeInfo(numSamples);
    copyDry(buffer);

    const juce::ScopedTryLock lock(processLock);
    if (!lock.isLocked() || bypass->get() || plugin == nullptr)
        return;

    const int outputs = std::min(getTotalNumOutputChannels(), int(channelPointers.size()));
    // A host may hand over more than it announced: the plug-in sees blocks of at most the prepared size.
    for (int offset = 0; offset < numSamples; offset += int(preparedBlockSize))
    {
        const int n = std::min(int(preparedBlockSize), numSamples - offset);
        for (int c = 0; c < outputs; ++c)
            channelPointers[size_t(c)] = buffer.getWritePointer(c, offset);
        audioBuffer.isSilent = false;
        audioBuffer.setChannels(outputs, n, channelPointers.data());
        plugin->process(audioBuffer);
    }
}

void LaminaProcessor::processBlockBypassed(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    midi.clear();
    copyDry(buffer);
}

juce::AudioProcessorEditor* LaminaProcessor::createEditor()
{
    std::unique_ptr<juce::Component> window(plugin->createEditor());
    if (window == nullptr)
        return new juce::GenericAudioProcessorEditor(*this);
    return new EditorHost(*this, std::move(window));
}

namespace
{
constexpr char bypassMark[4] = {'Q', 'B', 'Y', 'P'};
constexpr std::size_t bypassTrailerSize = 8;
} // namespace

void LaminaProcessor::getStateInformation(juce::MemoryBlock& destData)
{
    const juce::ScopedLock hostCall(hostCallLock);
    std::vector<uint8_t> chunk;
    plugin->getState(chunk);
    const uint8_t trailer[bypassTrailerSize] = {uint8_t(bypassMark[0]),
                                                uint8_t(bypassMark[1]),
                                                uint8_t(bypassMark[2]),
                                                uint8_t(bypassMark[3]),
                                                uint8_t(bypass->get() ? 1 : 0),
                                                0,
                                                0,
                                                0};
    chunk.insert(chunk.end(), std::begin(trailer), std::end(trailer));
    destData.replaceAll(chunk.data(), chunk.size());
}

void LaminaProcessor::setStateInformation(const void* data, int sizeInBytes)
{
    // The plug-in takes its own locks, for the moment it swaps the tree in; blocks run on meanwhile.
    const juce::ScopedLock hostCall(hostCallLock);
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::vector<uint8_t> chunk(bytes, bytes + std::max(0, sizeInBytes));
    bool hasBypass = false, bypassed = false;
    if (chunk.size() >= bypassTrailerSize)
    {
        const auto* trailer = chunk.data() + chunk.size() - bypassTrailerSize;
        hasBypass = std::memcmp(trailer, bypassMark, sizeof(bypassMark)) == 0;
        bypassed = hasBypass && juce::ByteOrder::littleEndianInt(trailer + 4) != 0;
        if (hasBypass)
            chunk.resize(chunk.size() - bypassTrailerSize);
    }
    plugin->setState(chunk, {});
    if (hasBypass)
        bypass->setValueNotifyingHost(bypassed ? 1.0f : 0.0f);
}

int LaminaProcessor::getCurrentProgram()
{
    return programs.current(*plugin);
}

void LaminaProcessor::setCurrentProgram(int index)
{
    // The values reach the host through the plug-in's own change signals, as the editor's do.
    if (programs.load(*plugin, index))
        updateHostDisplay(ChangeDetails().withProgramChanged(true));
}

void LaminaProcessor::timerCallback()
{
    if (auto* proxy = plugin != nullptr ? plugin->getEngineProxy() : nullptr)
        proxy->tick();
}

} // namespace qor

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return new qor::LaminaProcessor();
}
