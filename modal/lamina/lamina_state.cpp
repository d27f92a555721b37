#include "modal/bank/modal_bank_multi_core.h"
#include "modal/lamina/lamina.h"

#include <algorithm>
#include <cmath>

namespace qor
{

namespace
{
constexpr uint32_t maxModes = 20000;
constexpr size_t modesPerJob = 128;
/** Longest run between two modulation updates, about 23 ms at 44.1 kHz. */
constexpr uint32_t modulationChunk = 1024;
/** Emphasis around the drive: +18 dB and -18 dB above this corner. */
constexpr double emphasisFrequency = 2000.0;
constexpr double twoPi = 6.283185307179586;
} // namespace

Lamina::State::State(Lamina* owner)
    : ProcessingElementState(owner), lamina(*owner), stats(std::make_shared<Stats>())
{
    for (auto& v : bandDecay)
        v = 10000.0f;
    for (auto& v : bandGain)
        v = 0.0f;
    bandDecayTable.setMonotone(true);
    eqTable.setMonotone(true);
}

Lamina::State::~State()
{
    // The thread may be reading this state in a build: it goes first, and waits for that build.
    modeThread.reset();
    retiredTable.reset();
    builtTable.reset();
    table.reset();
    bank.reset();
}

ModeSynthesisInputs Lamina::State::snapshotInputs() const
{
    ModeSynthesisInputs in;
    in.area = area;
    in.aspectRatio = aspectRatio;
    in.tension = tension;
    in.material = material;
    in.quality = quality;
    in.modesCutoff = modesCutoff;
    in.modeTruncationThreshold = modeTruncationThreshold;
    in.anisotropy = anisotropy;
    in.enableSpatialAA = enableSpatialAA;
    in.leftInputX = leftInputX;
    in.leftInputY = leftInputY;
    in.rightInputX = rightInputX;
    in.rightInputY = rightInputY;
    in.leftMicrophoneX = leftMicrophoneX;
    in.leftMicrophoneY = leftMicrophoneY;
    in.rightMicrophoneX = rightMicrophoneX;
    in.rightMicrophoneY = rightMicrophoneY;
    in.thermalDampMult = thermalDampMult;
    in.decay = decay;
    in.thermalFreqMult = thermalFreqMult;
    in.radiationFreqMult = radiationFreqMult;
    in.radiationMult = radiationMult;
    in.porousFreq = porousFreq;
    in.enableViscousDamp = enableViscousDamp;
    in.enablePorousDamp = enablePorousDamp;
    in.enableRadiationDamp = enableRadiationDamp;
    in.enableBandDamp = enableBandDamp;
    in.viscousDamp = viscousDamp;
    in.porousDamp = porousDamp;
    in.radiationDamp = radiationDamp;
    in.bandDamp = bandDamp;
    for (size_t i = 0; i < 12; ++i)
        in.bandDecay[i] = bandDecay[i];
    in.sampleRate = sampleRate;
    in.numInputs = static_cast<int>(numInputs);
    in.numOutputs = static_cast<int>(numOutputs);
    return in;
}

void Lamina::State::computeModes()
{
    // A build reads every damping value: what is pending now is served by it, and a change from here on
    // raises the flags again and is served after the take-over.
    dampingDirty.store(0);
    gainsDirty.store(0);
    builtTable = computeModeTable(snapshotInputs());
}

void Lamina::State::prepare(double newSampleRate, uint32_t newMaxBlockSize)
{
    // The control state only receives values.
    if (lamina.getProcessState() != this)
        return;

    // Keeps builds out while the fields a build reads change; waits for one under way.
    std::unique_lock<std::mutex> buildLock;
    if (modeThread != nullptr)
        buildLock = std::unique_lock<std::mutex>(modeThread->getMutex());

    sampleRate = newSampleRate;
    maxBlockSize = std::max<uint32_t>(newMaxBlockSize, 1);
    numInputs = lamina.getNumInputChannels() == 1 ? 1u : 2u;
    numOutputs = lamina.getNumOutputChannels() == 1 ? 1u : 2u;

    delays.clear();
    preEmphasis.assign(numInputs, ShelfFilter{});
    deEmphasis.assign(numInputs, ShelfFilter{});
    lowCut.assign(numOutputs, Biquad{});

    updateLowCut();
    lowCutDirty.store(0);

    const double corner = emphasisFrequency / sampleRate;
    const auto pre = designShelf(corner, 1.0, preEmphasisHighGain);
    const auto de = designShelf(corner, 1.0, deEmphasisHighGain);
    for (auto& f : preEmphasis)
        f.setCoefficients(pre);
    for (auto& f : deEmphasis)
        f.setCoefficients(de);

    const auto longestDelay = std::max<uint32_t>(maxBlockSize, static_cast<uint32_t>(sampleRate));
    for (uint32_t c = 0; c < numInputs; ++c)
    {
        auto delay = std::make_shared<SampleDelay>();
        delay->init(maxBlockSize, longestDelay);
        delays.push_back(std::move(delay));
    }

    // The old bank and its workers go here, off the audio thread.
    bank.reset();
    bank = std::make_shared<ModalBankMultiCore>(numInputs, numOutputs, maxModes, defaultBankWorkerCount(),
                                                modesPerJob, maxBlockSize, sampleRate);

    rebuildEqTable();
    setBandDecayTable(bandDecayTable,
                      [this]
                      {
                          std::array<float, 12> v{};
                          for (size_t i = 0; i < 12; ++i)
                              v[i] = bandDecay[i];
                          return v;
                      }());

    computeModes();
    table = std::move(builtTable);
    retiredTable.reset();
    computeRequested.store(0);
    computeDone.store(0);
    bank->setNumModes(static_cast<uint32_t>(table->size()));
    loadBank();

    buildLock = {};
    if (modeThread == nullptr)
        modeThread = std::make_shared<ModeThread>(*this);
}

void Lamina::State::reset()
{
    if (bank != nullptr)
        bank->clear();
    for (auto& f : lowCut)
        f.clear();
    for (auto& f : preEmphasis)
        f.clear();
    for (auto& f : deEmphasis)
        f.clear();
    for (auto& d : delays)
        d->clear();
}

void Lamina::State::attachInputAnalyser(std::shared_ptr<AnalyserRing> ring)
{
    const juce::SpinLock::ScopedLockType l(analyserLock);
    inputAnalyser = ring;
}

void Lamina::State::attachOutputAnalyser(std::shared_ptr<AnalyserRing> ring)
{
    const juce::SpinLock::ScopedLockType l(analyserLock);
    outputAnalyser = ring;
}

void Lamina::State::updateLowCut()
{
    if (lowCut.empty() || sampleRate <= 0)
        return;
    const auto design = designLowShelf(static_cast<double>(lowCutFreq.load()) / sampleRate, lowCutGain.load(),
                                       0.0, 0.7071067811865476);
    for (auto& f : lowCut)
        f.setCoefficients(design);
}

void Lamina::State::rebuildEqTable()
{
    std::array<float, 12> gains{};
    for (size_t i = 0; i < 12; ++i)
        gains[i] = bandGain[i];
    setBandGainTable(eqTable, gains);
}

void Lamina::State::recomputeDamping()
{
    std::array<float, 12> times{};
    for (size_t i = 0; i < 12; ++i)
        times[i] = bandDecay[i];
    setBandDecayTable(bandDecayTable, times);
    if (table != nullptr)
        recomputeDecayRates(*table, makeDampingSettings(snapshotInputs()), bandDecayTable);
}

void Lamina::State::loadBank()
{
    if (bank == nullptr || table == nullptr)
        return;
    LoadBankSettings settings;
    settings.sampleRate = sampleRate;
    settings.numInputs = static_cast<int>(numInputs);
    settings.numOutputs = static_cast<int>(numOutputs);
    settings.enableDecayCompensation = enableDecayCompensation;
    settings.enableEQ = enableEQ;
    settings.eqTable = &eqTable;
    qor::loadBank(*bank, *table, settings);
}

void Lamina::State::requestBuild()
{
    stats->requests.fetch_add(1, std::memory_order_relaxed);
    stats->lastRequestSample.store(stats->samplesRendered.load(std::memory_order_relaxed),
                                   std::memory_order_relaxed);
    modeThread->request();
}

void Lamina::State::takeOver()
{
    // Both moves leave nothing to free here: retiredTable was emptied by the build that made builtTable.
    jassert(retiredTable == nullptr);
    retiredTable = std::move(table);
    table = std::move(builtTable);
    computeRequested.store(0, std::memory_order_release);
    bank->clear();
    loadBank();
    stats->takeOvers.fetch_add(1, std::memory_order_relaxed);
    stats->lastTakeOverSample.store(stats->samplesRendered.load(std::memory_order_relaxed),
                                    std::memory_order_relaxed);
}

void Lamina::State::tableControl(ProcessContext& context, uint32_t numSamples)
{
    if (eqDirty.exchange(0) != 0)
    {
        rebuildEqTable();
        gainsDirty.store(1);
    }
    if (lowCutDirty.exchange(0) != 0)
        updateLowCut();

    if (computeRequested.load(std::memory_order_acquire) != 0)
    {
        // Until the new table is ready the bank runs on, undisturbed.
        if (computeDone.load(std::memory_order_acquire) != 0)
            takeOver();
        return;
    }

    if (recomputeHoldoff > 0)
        recomputeHoldoff -= static_cast<int32_t>(numSamples);
    else if (!geometryLock && modeThread != nullptr && modesDirty.exchange(0) != 0)
    {
        recomputeHoldoff = static_cast<int32_t>(sampleRate * 0.05);
        requestBuild();
        if (context.timeInfo.isOffline || lamina.getOffline())
        {
            // Offline, every block hears the modes its parameters ask for.
            while (computeDone.load(std::memory_order_acquire) == 0)
            {
            }
            takeOver();
            return;
        }
    }

    bool reload = false;
    if (dampingDirty.exchange(0) != 0)
    {
        recomputeDamping();
        reload = true;
    }
    if (gainsDirty.exchange(0) != 0)
        reload = true;
    if (reload)
        loadBank();
}

void Lamina::State::updateModulation(uint32_t elapsedSamples)
{
    stats->modulationUpdates.fetch_add(1, std::memory_order_relaxed);
    stats->lastModulationElapsed.store(elapsedSamples, std::memory_order_relaxed);
    if (bank == nullptr || table == nullptr)
        return;

    const double invRate = 1.0 / sampleRate;
    const float depth = modulation;
    const double elapsed = elapsedSamples;
    constexpr float q = 6.1037019e-05f;
    auto& rows = *table;
    const uint32_t count = static_cast<uint32_t>(rows.size());
    for (uint32_t k = 0; k < count; ++k)
    {
        ModeParams& mode = rows[k];
        const float r = static_cast<float>(laminaRand());
        const float f = static_cast<float>(mode.omega * 0.15915494309189535);
        const float rate = ((f * 0.01f) / (f * 0.001f + 1.0f)) * r * q;
        float phase = static_cast<float>(mode.modulationPhase + rate * twoPi * elapsed * invRate);
        if (phase > twoPi)
            phase = static_cast<float>(phase - twoPi);
        mode.modulationPhase = phase;
        const float m = std::sin(phase) * depth * 0.033333335f + 1.0f;
        const double v = static_cast<double>(m) * mode.omega * invRate;
        const double radius = std::exp(-mode.decayRate * invRate);
        const double cs[2] = {radius * std::cos(v), radius * std::sin(v)};
        bank->setModeCoefficients(k, cs);
    }
}

void Lamina::State::render(ProcessContext& context, uint32_t numSamples, float* const* channels)
{
    if (bank == nullptr)
        return;

    tableControl(context, numSamples);
    if (numSamples == 0)
        return;

    auto* mainBus = lamina.getMainBus();
    const uint32_t numBusChannels =
        mainBus != nullptr ? static_cast<uint32_t>(std::max(mainBus->getNumChannels(), 0)) : numOutputs;
    if (numBusChannels == 0)
        return;

    const float gainLinear = static_cast<float>(std::pow(10.0, static_cast<double>(gain.load()) * 0.05));
    const float mixValue = mix;
    const float dryGain = std::sqrt(1.0f - mixValue);
    const float wetGain = std::sqrt(mixValue) * gainLinear;
    const double delaySamples =
        static_cast<double>(static_cast<float>(sampleRate) * (preDelay.load() * 0.001f));

    float* inputs[2] = {};
    float* outputs[2] = {};
    for (uint32_t c = 0; c < numInputs; ++c)
        inputs[c] = context.scratch.allocateArray<float>(numSamples);
    for (uint32_t c = 0; c < numOutputs; ++c)
        outputs[c] = context.scratch.allocateArray<float>(numSamples);
    // A bus narrower than the element's inputs feeds its last channel to the rest.
    auto inputChannel = [&](uint32_t c) { return channels[std::min(c, numBusChannels - 1)]; };

    std::shared_ptr<AnalyserRing> inputRing;
    std::shared_ptr<AnalyserRing> outputRing;
    if (analyserLock.tryEnter())
    {
        inputRing = inputAnalyser.lock();
        outputRing = outputAnalyser.lock();
        analyserLock.exit();
    }

    if (inputRing != nullptr)
    {
        auto* sum = context.scratch.allocateArray<float>(numSamples);
        std::copy(inputChannel(0), inputChannel(0) + numSamples, sum);
        for (uint32_t c = 1; c < numInputs; ++c)
        {
            const float* in = inputChannel(c);
            for (uint32_t i = 0; i < numSamples; ++i)
                sum[i] += in[i];
        }
        if (numInputs > 1)
        {
            const float scale = 1.0f / static_cast<float>(numInputs);
            for (uint32_t i = 0; i < numSamples; ++i)
                sum[i] *= scale;
        }
        inputRing->push(sum, numSamples);
    }

    for (uint32_t offset = 0; offset < numSamples;)
    {
        // A block longer than prepared for runs in pieces that the delays and the bank can take.
        uint32_t chunk = std::min(numSamples - offset, maxBlockSize);
        if (modulation.load() > 0.0f)
        {
            if (modulationCounter >= modulationChunk)
            {
                updateModulation(modulationCounter);
                modulationCounter = 0;
            }
            chunk = std::min(chunk, modulationChunk);
            modulationCounter += chunk;
        }

        for (uint32_t c = 0; c < numInputs; ++c)
        {
            auto& delay = *delays[c];
            delay.write(inputChannel(c) + offset, chunk);
            delay.read(inputs[c], delaySamples, delaySamples, chunk);
            delay.advance(chunk);
        }

        const float driveValue = drive;
        const double k = std::pow(4.0, static_cast<double>(driveValue));
        const double norm = 1.0 / std::tanh(k);
        const double driveGain = driveValue * norm;
        const float clean = 1.0f - driveValue;
        for (uint32_t c = 0; c < numInputs; ++c)
        {
            float* x = inputs[c];
            preEmphasis[c].process(x, chunk);
            // At 0 the shaper is the identity; skipping tanh there saves its cost and changes no sample.
            if (driveValue != 0.0f)
                for (uint32_t i = 0; i < chunk; ++i)
                    x[i] = static_cast<float>(std::tanh(x[i] * k) * driveGain +
                                              static_cast<double>(x[i] * clean));
            deEmphasis[c].process(x, chunk);
        }

        bank->process(outputs, inputs, chunk);

        if (enableLowcut)
            for (uint32_t c = 0; c < numOutputs; ++c)
                lowCut[c].process(outputs[c], chunk);

        // Only now is the dry signal scaled: the delay lines have taken it already.
        for (uint32_t c = 0; c < numBusChannels; ++c)
        {
            float* dry = channels[c] + offset;
            for (uint32_t i = 0; i < chunk; ++i)
                dry[i] *= dryGain;
        }

        if (numOutputs == 2)
        {
            const float w = stereoWidth;
            const float a = std::sqrt(2.0f / (w + 1.0f));
            const float b = w * a;
            float* left = outputs[0];
            float* right = outputs[1];
            for (uint32_t i = 0; i < chunk; ++i)
            {
                const float m = (left[i] + right[i]) * a;
                const float d = (left[i] - right[i]) * b;
                left[i] = (d + m) * 0.5f;
                right[i] = (m - d) * 0.5f;
            }
        }

        // The wet left channel before the wet gain; the right one is never shown.
        if (outputRing != nullptr)
            outputRing->push(outputs[0], chunk);

        for (uint32_t c = 0; c < std::min(numOutputs, numBusChannels); ++c)
        {
            float* out = channels[c] + offset;
            const float* wet = outputs[c];
            for (uint32_t i = 0; i < chunk; ++i)
                out[i] += wetGain * wet[i];
        }

        offset += chunk;
    }

    stats->samplesRendered.fetch_add(numSamples, std::memory_order_relaxed);
}

// Mode thread

Lamina::State::ModeThread::ModeThread(State& owner) : state(owner)
{
    std::unique_lock<std::mutex> l(lock);
    thread = std::thread([this] { run(); });
    wake.wait(l, [this] { return running; });
}

Lamina::State::ModeThread::~ModeThread()
{
    stop.store(1);
    {
        // Taken only when a build under way has ended.
        const std::lock_guard<std::mutex> l(lock);
        wake.notify_all();
    }
    thread.join();
}

void Lamina::State::ModeThread::request()
{
    const std::lock_guard<std::mutex> l(lock);
    state.computeDone.store(0, std::memory_order_relaxed);
    state.computeRequested.store(1, std::memory_order_release);
    wake.notify_all();
}

void Lamina::State::ModeThread::run()
{
    std::unique_lock<std::mutex> l(lock);
    running = true;
    wake.notify_all();
    for (;;)
    {
        // A predicate, so that a request made between two waits is not lost.
        wake.wait(l,
                  [this]
                  {
                      return stop.load() != 0 ||
                             (state.computeRequested.load(std::memory_order_acquire) != 0 &&
                              state.computeDone.load(std::memory_order_acquire) == 0);
                  });
        if (stop.load() != 0)
            return;

        state.stats->buildsStarted.fetch_add(1, std::memory_order_relaxed);
        // The audio path has let go of the table it ran before the last take-over; free it here.
        state.retiredTable.reset();
        state.computeModes();
        state.stats->buildsFinished.fetch_add(1, std::memory_order_relaxed);
        state.computeDone.store(1, std::memory_order_release);
    }
}

} // namespace qor
