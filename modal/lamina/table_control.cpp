#include "modal/lamina/lamina_state.h"

#include "modal/lamina/bank_loading.h"
#include "modal/lamina/mode_thread.h"

#include <cmath>

namespace qor
{

namespace
{
/** How long the old modes ring on under a falling half cosine after a take-over. Long enough that the fade's
    own spectrum (a main lobe some 70 Hz wide) never sounds as a click on a bright tail, short enough that it
    is over before the next take-over can come (50 ms of hold-off at the least), so that one second set of
    states serves, and that a sweep pays for both sets less than half of the time. */
constexpr double takeOverFadeSeconds = 0.03;
} // namespace

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

void Lamina::State::restartDampingSweep()
{
    std::array<float, 12> times{};
    for (size_t i = 0; i < 12; ++i)
        times[i] = bandDecay[i];
    setBandDecayTable(bandDecayTable, times);
    // Every mode again, on from where a sweep under way stands, so that none waits longer than one sweep.
    dampingSweepLeft = table != nullptr ? static_cast<uint32_t>(table->size()) : 0;
}

void Lamina::State::continueDampingSweep(uint32_t numSamples, bool wholeTable)
{
    if (dampingSweepLeft == 0 || table == nullptr || bank == nullptr)
        return;
    const auto count = static_cast<uint32_t>(table->size());
    uint32_t share = dampingSweepLeft;
    if (!wholeTable)
    {
        // In proportion to the block, so that a sweep spans about the same time at any block size, and in
        // whole jobs of the bank.
        constexpr uint64_t sweepSamples = 256, job = 128;
        const uint64_t modes = (uint64_t{count} * numSamples + sweepSamples - 1) / sweepSamples;
        share = static_cast<uint32_t>(std::min<uint64_t>(share, (modes + job - 1) / job * job));
    }
    if (share == 0)
        return;

    // The parameters as they stand now: a change since the sweep began has restarted it anyway.
    const DampingSettings damping = makeDampingSettings(snapshotInputs());
    const LoadBankSettings settings = loadBankSettings();
    dampingSweepLeft -= share;
    while (share > 0)
    {
        if (dampingSweepNext >= count)
            dampingSweepNext = 0;
        const uint32_t n = std::min(share, count - dampingSweepNext);
        recomputeDecayRates(*table, dampingSweepNext, n, damping, bandDecayTable);
        loadPoles(*bank, *table, dampingSweepNext, n, settings, gainNorms);
        dampingSweepNext += n;
        share -= n;
    }
}

void Lamina::State::stopDampingSweep()
{
    dampingSweepNext = 0;
    dampingSweepLeft = 0;
}

LoadBankSettings Lamina::State::loadBankSettings() const
{
    LoadBankSettings settings;
    settings.sampleRate = sampleRate;
    settings.numInputs = static_cast<int>(numInputs);
    settings.numOutputs = static_cast<int>(numOutputs);
    settings.enableDecayCompensation = enableDecayCompensation;
    settings.enableEQ = enableEQ;
    settings.eqTable = &eqTable;
    return settings;
}

void Lamina::State::loadBank()
{
    if (bank == nullptr || table == nullptr)
        return;
    gainNorms = qor::loadBank(*bank, *table, loadBankSettings());
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
    // The old modes fade out on the bank's second set of states while the new ones start from rest.
    bank->fadeOut(static_cast<uint32_t>(std::lround(sampleRate * takeOverFadeSeconds)));
    loadBank();
    // The build read every damping value: a sweep under way has nothing left to do.
    stopDampingSweep();
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

    if (dampingDirty.exchange(0) != 0)
        restartDampingSweep();
    if (gainsDirty.exchange(0) != 0)
        loadBank();
    // Offline, the whole table at once, so that every block hears the damping its parameters ask for.
    continueDampingSweep(numSamples, context.timeInfo.isOffline || lamina.getOffline());
}

} // namespace qor
