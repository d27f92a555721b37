#include "modal/lamina/lamina_state.h"

#include "modal/bank/modal_bank_multi_core.h"
#include "modal/lamina/mode_thread.h"

#include <algorithm>

namespace qor
{

namespace
{
constexpr uint32_t maxModes = 20000;
constexpr size_t modesPerJob = 128;
/** Emphasis around the drive: +18 dB and -18 dB above this corner. */
constexpr double emphasisFrequency = 2000.0;
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
    stats->tablesBuilt.fetch_add(1, std::memory_order_relaxed);
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
    driveShaper.prepare(sampleRate);

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
    stats->banksMade.fetch_add(1, std::memory_order_relaxed);

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
    stopDampingSweep();

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
    driveShaper.reset();
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

} // namespace qor
