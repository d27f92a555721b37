#include "plugin/plugin.h"

#include "engine/engine_proxy.h"
#include "files/settings_store.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <system_error>

#include <pthread.h>

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#define QOR_HAS_MXCSR 1
#endif

namespace qor
{

// Settings keys and names of the formats

juce::String settingsKeyForFormat(int32_t format, const PluginDefinition& definition)
{
    static const char* const kinds[] = {"OFFLINE", "SA",    "DX",    "VST",   "VST3", "RTAS",
                                        "AAX",     nullptr, nullptr, nullptr, "LV2"};
    if (format < 0 || format > 10 || kinds[format] == nullptr)
        return {};
    return "SOFTWARE\\" + definition.getManufacturerKey() + "\\" + definition.getProductKey() + "\\" +
           kinds[format];
}

juce::String formatDisplayName(int32_t format)
{
    static const char* const names[] = {"SA",  "SA",  nullptr, "VST", "VST3", "PT",
                                        "AAX", "AU3", "AU",    "MAS", "LV2"};
    if (format < 0 || format > 10 || names[format] == nullptr)
        return {};
    return names[format];
}

// PluginAudioBuffer

void PluginAudioBuffer::setChannels(int32_t numChannels, int32_t count, float* const* pointers)
{
    numSamples = count;
    channels.assign(pointers, pointers + numChannels);
    interleaved = nullptr;
    isDeinterleaved = false;
    scratch.resize(static_cast<std::size_t>(numChannels) * static_cast<std::size_t>(count));
    scratchChannels.resize(static_cast<std::size_t>(numChannels));
    for (int32_t c = 0; c < numChannels; ++c)
        scratchChannels[static_cast<std::size_t>(c)] = scratch.data() + static_cast<std::size_t>(c) * count;
}

float* const* PluginAudioBuffer::getChannels()
{
    if (interleaved == nullptr)
        return channels.data();
    if (!isDeinterleaved)
    {
        const auto numChannels = scratchChannels.size();
        for (int32_t i = 0; i < numSamples; ++i)
            for (std::size_t c = 0; c < numChannels; ++c)
                scratchChannels[c][i] = interleaved[static_cast<std::size_t>(i) * numChannels + c];
        isDeinterleaved = true;
    }
    return scratchChannels.data();
}

// Live instances: an array with its own growth rule, touched from the main thread only.

namespace
{
struct LiveInstances
{
    std::vector<Plugin*> items;
    std::size_t capacity = 0;

    void add(Plugin* p)
    {
        if (items.size() + 1 > capacity)
        {
            capacity = ((items.size() + 1) * 3 / 2 + 8) / 8 * 8;
            items.reserve(capacity);
        }
        items.push_back(p);
    }

    void remove(Plugin* p)
    {
        items.erase(std::remove(items.begin(), items.end(), p), items.end());
        if (capacity > 2 * items.size())
        {
            capacity = std::max<std::size_t>(8, items.size());
            items.shrink_to_fit();
            items.reserve(capacity);
        }
    }
};

LiveInstances& liveInstances()
{
    static LiveInstances instances;
    return instances;
}

/** A mutex that answers a second lock by its own holder with an error (EDEADLK) rather than waiting for ever.
 */
class CheckedMutex
{
public:
    CheckedMutex()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~CheckedMutex() { pthread_mutex_destroy(&mutex); }
    CheckedMutex(const CheckedMutex&) = delete;
    CheckedMutex& operator=(const CheckedMutex&) = delete;

    void lock()
    {
        if (const int error = pthread_mutex_lock(&mutex); error != 0)
            throw std::system_error(error, std::generic_category(), "live-plug-in table");
    }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex;
};

/** The live-plug-in table, kept by the main thread. Blocks read each instance's own flag instead, which the
    table's keepers set, so that the audio thread never waits for this lock. */
struct LivePluginTable
{
    CheckedMutex mutex;
    std::map<const DefaultPluginBase*, const DefaultPluginBase*> map;
};

LivePluginTable& livePlugins()
{
    static LivePluginTable table;
    return table;
}

/** One store per key for the whole process: every instance writes through the same object, so that one
    instance's save never drops a value another has just set. */
std::shared_ptr<SettingsStore> sharedSettings(const juce::String& keyPath)
{
    static std::mutex mutex;
    static std::map<juce::String, std::weak_ptr<SettingsStore>> stores;
    const std::lock_guard<std::mutex> l(mutex);
    auto& entry = stores[keyPath];
    auto store = entry.lock();
    if (store == nullptr || store->getFile() != SettingsStore::fileForKey(keyPath))
    {
        store = std::make_shared<SettingsStore>(keyPath);
        entry = store;
    }
    return store;
}

/** Sets flush-to-zero and denormals-are-zero for the block and puts the register back afterwards. */
class ScopedDenormalFlush
{
public:
    ScopedDenormalFlush()
    {
#if QOR_HAS_MXCSR
        saved = _mm_getcsr();
        _mm_setcsr(saved | 0x8040u);
#endif
    }
    ~ScopedDenormalFlush()
    {
#if QOR_HAS_MXCSR
        _mm_setcsr(saved);
#endif
    }
    ScopedDenormalFlush(const ScopedDenormalFlush&) = delete;
    ScopedDenormalFlush& operator=(const ScopedDenormalFlush&) = delete;

private:
    unsigned int saved = 0;
};
} // namespace

// Plugin

Plugin::Plugin(int32_t formatCode) : format(formatCode)
{
    const auto& definition = getPluginDefinition();
    hostOption = definition.isInstrument() ? 1u : 0u;
    settingsKey = settingsKeyForFormat(format, definition);
    if (settingsKey.isNotEmpty())
        settings = std::make_unique<SettingsStore>(settingsKey);

    liveInstances().add(this);
}

Plugin::~Plugin()
{
    disconnectSignals();
    liveInstances().remove(this);
    settings.reset();
}

std::size_t Plugin::getNumLiveInstances()
{
    return liveInstances().items.size();
}
std::size_t Plugin::getLiveInstanceCapacity()
{
    return liveInstances().capacity;
}

void Plugin::disconnectSignals()
{
    if (signalsDisconnected)
        return;
    signalsDisconnected = true;
    stateLoaded.disconnectAll();
    parameterGestureBegin.disconnectAll();
    parameterChanged.disconnectAll();
    parameterGestureEnd.disconnectAll();
    parameterTitleChanged.disconnectAll();
    auxOutputOpened.disconnectAll();
    auxOutputClosed.disconnectAll();
}

void Plugin::prepare(uint32_t rate, ChannelConfig channels, uint32_t blockSize)
{
    sampleRate = rate;
    numInputChannels = channels.inputs;
    numOutputChannels = channels.outputs;
    maxBlockSize = blockSize;
}

void Plugin::setChannelConfig(ChannelConfig channels)
{
    numInputChannels = channels.inputs;
    numOutputChannels = channels.outputs;
}

void Plugin::openAuxOutput(uint32_t index)
{
    if (index >= auxOutputs.size())
        return;
    if (++auxOutputs[index].useCount == 1)
        auxOutputOpened.emit(index);
}

void Plugin::closeAuxOutput(uint32_t index)
{
    if (index >= auxOutputs.size() || auxOutputs[index].useCount == 0)
        return;
    if (--auxOutputs[index].useCount == 0)
        auxOutputClosed.emit(index);
}

// DefaultPluginBase

DefaultPluginBase::DefaultPluginBase(int32_t formatCode)
    : Plugin(formatCode), processContext(std::make_unique<ProcessContext>())
{
    const auto& definition = getPluginDefinition();
    applicationProperties =
        sharedSettings("SOFTWARE\\" + definition.getManufacturerKey() + "\\" + definition.getProductKey());
    events.reserve(1024);
    reserveScratch();
    const LiveTableHold held;
    livePlugins().map[this] = this;
    live.store(true, std::memory_order_release);
}

DefaultPluginBase::~DefaultPluginBase()
{
    disconnectSignals();
    removeFromLiveTable();
    parameters.clear();
    engineProxy.reset();
    engine.reset();
    automationMap.clear();
    events.clear();
    processContext.reset();
    auxBuses.clear();
    mainBus.reset();
}

DefaultPluginBase::LiveTableHold::LiveTableHold()
{
    livePlugins().mutex.lock();
}

DefaultPluginBase::LiveTableHold::~LiveTableHold()
{
    livePlugins().mutex.unlock();
}

void DefaultPluginBase::removeFromLiveTable()
{
    const LiveTableHold held;
    livePlugins().map.erase(this);
    live.store(false, std::memory_order_release);
}

void DefaultPluginBase::reserveScratch()
{
    // Room for the events of a burst and a dozen channels of a block in one arena block.
    const std::size_t bytes = std::max<std::size_t>(
        1 << 16, 16 * static_cast<std::size_t>(maxBlockSize) * sizeof(float) + 2048 * sizeof(PluginEvent));
    processContext->scratch.reserve(bytes, 2);
    processContext->scratch2.reserve(bytes, 2);
}

void DefaultPluginBase::setEngine(std::shared_ptr<Engine> newEngine)
{
    engine = std::move(newEngine);
    if (engineProxy == nullptr)
        engineProxy = std::make_unique<EngineProxy>(this, engine.get(), true);
    else
        engineProxy->setEngine(engine.get());
}

void DefaultPluginBase::setSampleRate(uint32_t rate)
{
    Plugin::setSampleRate(rate);
    processContext->sampleRate = static_cast<float>(rate);
    if (engine != nullptr)
        engine->prepare(rate, maxBlockSize);
}

void DefaultPluginBase::setBlockSize(uint32_t size)
{
    Plugin::setBlockSize(size);
    reserveScratch();
    if (engine != nullptr)
        engine->prepare(sampleRate, maxBlockSize);
}

std::vector<std::shared_ptr<AudioBus>> DefaultPluginBase::makeAuxBuses(Engine& tree,
                                                                       const std::vector<AuxOutput>& outputs)
{
    std::vector<std::shared_ptr<AudioBus>> buses;
    for (std::size_t i = 0; i < outputs.size(); ++i)
    {
        auto bus =
            std::make_shared<AudioBus>(BasicProcessingElement::channelsOfLayout(outputs[i].channelLayout),
                                       static_cast<int32_t>(maxBlockSize));
        bus->name = outputs[i].name;
        bus->isAuxOutput = true;
        bus->owner = this;
        bus->ownerIndex = static_cast<int32_t>(i);
        tree.setOutputBus(static_cast<uint32_t>(i + 1), bus.get());
        buses.push_back(std::move(bus));
    }
    return buses;
}

void DefaultPluginBase::setAuxOutputs(const std::vector<AuxOutput>& outputs)
{
    Plugin::setAuxOutputs(outputs);
    if (engine != nullptr)
        for (std::size_t i = 0; i < auxBuses.size(); ++i)
            engine->setOutputBus(static_cast<uint32_t>(i + 1), nullptr);
    auxBuses.clear();
    if (engine != nullptr)
        auxBuses = makeAuxBuses(*engine, outputs);
}

void DefaultPluginBase::reset()
{
    if (engine != nullptr)
        engine->reset();
}

void DefaultPluginBase::sendMidi(uint8_t port, uint8_t channel, uint8_t status, uint8_t data1, uint8_t data2,
                                 uint64_t sampleOffset)
{
    if (status == 240)
        return;
    if (status == 144 && data2 == 0)
        status = 128;
    PluginEvent event;
    event.type = status;
    event.port = port;
    event.channel = channel;
    event.data1 = data1;
    event.data2 = data2;
    event.sampleOffset = sampleOffset;
    events.push_back(event);
}

void DefaultPluginBase::process(PluginAudioBuffer& block)
{
    const ScopedDenormalFlush flush;
    if (!isLive())
    {
        block.isSilent = true;
        return;
    }
    processBlock(block);
}

void DefaultPluginBase::processBlock(PluginAudioBuffer& block)
{
    const juce::ScopedTryLock lock(processLock);
    if (!lock.isLocked())
    {
        block.isSilent = true;
        return;
    }

    const auto numSamples = static_cast<uint32_t>(block.numSamples);
    auto& context = *processContext;
    mainBus->setChannels(block.getChannels());
    if (numInputChannels == 0)
        mainBus->setSilent(nullptr, block.numSamples);
    for (std::size_t i = 0; i < auxBuses.size() && i < block.auxBuffers.size(); ++i)
    {
        auxBuses[i]->setChannels(block.auxBuffers[i].getChannels());
        auxBuses[i]->setSilent(&context.scratch, block.numSamples);
    }

    sortEventsByOffset(events.data(), events.size());
    if (engine != nullptr)
    {
        engine->processEvents(context, EventList{events.data(), events.size()}, numSamples);
        engine->process(context, numSamples);
    }
    if (mainBus->isSilent())
        block.isSilent = true;
    if (!events.empty())
        events.clear();
    context.advance(numSamples);
}

} // namespace qor
