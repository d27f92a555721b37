#include "modal/lamina/lamina_state.h"

#include "modal/lamina/bank_loading.h"
#include "modal/lamina/mode_thread.h"

namespace qor
{

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

} // namespace qor
