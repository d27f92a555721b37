#include "engine/audio_bus.h"
#include "modal/bank/modal_bank_multi_core.h"
#include "modal/lamina/bank_loading.h"
#include "tests/support/lamina_probe.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using qor::Lamina;

/** The largest sheet at "Insane": the table holds the full 20000 modes. */
void configureInsane(Lamina& lamina)
{
    lamina.setParameter(Lamina::ids().quality, int32_t{5});
    lamina.setParameter(Lamina::ids().area, 6.0f);
    lamina.setParameter(Lamina::ids().aspectRatio, 1.0f);
}

struct PreparedLamina
{
    explicit PreparedLamina(uint32_t blockSize) : bus(2, static_cast<int32_t>(blockSize))
    {
        lamina = std::make_unique<Lamina>();
        lamina->setChannelCounts(2, 2);
        lamina->setOutputBus(0, &bus);
        configureInsane(*lamina);
        context.sampleRate = 48000.0f;
        context.scratch.reserve(1 << 20);
        lamina->prepare(48000.0, blockSize);
        left.assign(blockSize, 0.0f);
        right.assign(blockSize, 0.0f);
    }

    void process(uint32_t numSamples)
    {
        float* channels[2] = {left.data(), right.data()};
        bus.setChannels(channels);
        lamina->process(context, numSamples);
        context.advance(numSamples);
    }

    qor::AudioBus bus;
    qor::ProcessContext context;
    std::unique_ptr<Lamina> lamina;
    std::vector<float> left, right;
};

/** The table load as it was: one mode at a time, the library's exp, cos and sin, five setter calls per mode.
    Kept here only as the measure of what the vector poles and the span setter gain. */
void loadBankOneModeAtATime(qor::IModalBank& bank, const qor::LaminaModeTable& table,
                            const qor::LoadBankSettings& settings)
{
    const auto count = static_cast<uint32_t>(table.size());
    bank.setNumModes(count);
    float sumIn = 1e-10f;
    float sumOut = 1e-10f;
    for (const auto& mode : table)
    {
        for (int i = 0; i < 2; ++i)
            sumIn = static_cast<float>(sumIn + mode.inputGain[i] * mode.inputGain[i]);
        for (int j = 0; j < 2; ++j)
            sumOut = static_cast<float>(sumOut + mode.outputGain[j] * mode.outputGain[j]);
    }
    const float normIn = std::sqrt(sumIn / 2.0f);
    const float normOut = std::sqrt(sumOut / 2.0f);
    for (uint32_t k = 0; k < count; ++k)
    {
        const auto& mode = table[k];
        const qor::ModePole pole = qor::modePole(mode.decayRate, mode.omega, settings.sampleRate);
        const double cs[2] = {pole.c, pole.s};
        bank.setModeCoefficients(k, cs);
        const double radius2 = pole.c * pole.c + pole.s * pole.s;
        const auto compensation = static_cast<float>(std::sqrt(std::max(0.0, 1 - radius2) * 20000) * 0.5);
        for (uint32_t i = 0; i < 2; ++i)
            bank.setInputGain(k, i, (compensation * mode.inputGain[i]) / normIn);
        for (uint32_t j = 0; j < 2; ++j)
            bank.setOutputGain(k, j, (1.0f * mode.outputGain[j]) / normOut);
    }
}

/** The 20000-mode table of "Insane" into the bank, 2 x 2, compensation on, flat EQ: one mode at a time as
    before (0), and loadBank with the poles of the scalar family (1) and of this machine's best (2). */
void BM_LoadBank_20000(benchmark::State& state)
{
    qor::ModeSynthesisInputs inputs;
    inputs.quality = 5;
    inputs.area = 6;
    inputs.aspectRatio = 1;
    const auto table = qor::computeModeTable(inputs);
    qor::ModalBankMultiCore bank(2, 2, 20000, 0, 128, 256, 48000);
    qor::MonotoneCubicTable eq;
    qor::setBandGainTable(eq, {});
    qor::LoadBankSettings settings;
    settings.eqTable = &eq;
    const auto form = state.range(0);
    if (form == 1)
        settings.family = qor::modalbank::Family::scalar;
    for (auto _ : state)
    {
        if (form == 0)
            loadBankOneModeAtATime(bank, *table, settings);
        else
            qor::loadBank(bank, *table, settings);
    }
    state.counters["modes"] = static_cast<double>(table->size());
}

void BM_UpdateModulation_20000(benchmark::State& state)
{
    PreparedLamina rig(256);
    auto& laminaState = qor::LaminaProbe::processState(*rig.lamina);
    rig.lamina->setParameter(Lamina::ids().modulation, 1.0f);
    for (auto _ : state)
        qor::LaminaProbe::updateModulation(laminaState, 1024);
    state.counters["modes"] = static_cast<double>(qor::LaminaProbe::table(laminaState)->size());
}

/** A bank of the full 20000 modes of the largest sheet, loaded and ringing; the workers of this machine. */
struct LoadedBank
{
    LoadedBank() : bank(2, 2, 20000, qor::defaultBankWorkerCount(), 128, 256, 48000)
    {
        qor::ModeSynthesisInputs inputs;
        inputs.quality = 5;
        inputs.area = 6;
        inputs.aspectRatio = 1;
        table = qor::computeModeTable(inputs);
        qor::setBandGainTable(eq, {});
        settings.eqTable = &eq;
        qor::loadBank(bank, *table, settings);
        for (size_t n = 0; n < 256; ++n)
            in[0][n] = in[1][n] = n % 64 == 0 ? 0.5f : 0.0f;
        process();
    }
    void process()
    {
        const float* inputs[2] = {in[0].data(), in[1].data()};
        float* outputs[2] = {out[0].data(), out[1].data()};
        bank.process(outputs, inputs, 256);
    }

    qor::ModalBankMultiCore bank;
    std::shared_ptr<qor::LaminaModeTable> table;
    qor::MonotoneCubicTable eq;
    qor::LoadBankSettings settings;
    std::array<std::array<float, 256>, 2> in{};
    std::array<std::array<float, 256>, 2> out{};
};

/** A block of 256 samples of the bank alone (argument 0) and one while a take-over's fade runs (argument 1):
    the old table's 20000 modes ring on beside the new table's. */
void BM_BankBlock_256_Insane(benchmark::State& state)
{
    LoadedBank loaded;
    if (state.range(0) != 0)
    {
        loaded.bank.fadeOut(1u << 30); // longer than the benchmark runs
        qor::loadBank(loaded.bank, *loaded.table, loaded.settings);
    }
    const juce::ScopedNoDenormals noDenormals;
    for (auto _ : state)
        loaded.process();
}

/** What the take-over itself costs on the audio thread: the copy into the second set, then the load. */
void BM_TakeOver_Insane(benchmark::State& state)
{
    LoadedBank loaded;
    for (auto _ : state)
    {
        loaded.bank.fadeOut(1440);
        qor::loadBank(loaded.bank, *loaded.table, loaded.settings);
    }
}

/** Ten seconds of 256-sample blocks at 48 kHz, paced by the clock as a host would, while Area sweeps between
   4 and 6 at "Insane" with a change every 50 ms: every take-over that the mode thread's builds allow happens,
    each with its fade. Counters: load (time in blocks over the audio's time), the slowest block over a
   block's time, and the take-overs. */
void BM_AreaSweep_10s_Insane(benchmark::State& state)
{
    constexpr uint32_t block = 256;
    constexpr double rate = 48000;
    PreparedLamina rig(block);
    auto& stats = *qor::LaminaProbe::stats(qor::LaminaProbe::processState(*rig.lamina));
    while (stats.takeOvers.load() == 0)
    {
        rig.process(block);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const juce::ScopedNoDenormals noDenormals;
    using Clock = std::chrono::steady_clock;
    for (auto _ : state)
    {
        const auto takeOversBefore = stats.takeOvers.load();
        const uint64_t total = static_cast<uint64_t>(10 * rate);
        const auto start = Clock::now();
        double busy = 0, slowest = 0;
        uint64_t late = 0, blocks = 0;
        float area = 6, step = -0.02f;
        uint64_t nextChange = 0;
        for (uint64_t done = 0; done < total; done += block)
        {
            if (done >= nextChange)
            {
                if (area + step < 4 || area + step > 6)
                    step = -step;
                area += step;
                rig.lamina->setParameter(Lamina::ids().area, area);
                nextChange += static_cast<uint64_t>(0.05 * rate);
            }
            std::this_thread::sleep_until(start + std::chrono::duration<double>(done / rate));
            rig.left[done % block] = 0.5f;
            const auto t0 = Clock::now();
            rig.process(block);
            const double spent = std::chrono::duration<double>(Clock::now() - t0).count();
            busy += spent;
            slowest = std::max(slowest, spent);
            late += spent > block / rate ? 1 : 0;
            ++blocks;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        state.counters["load"] = busy / (total / rate);
        state.counters["slowestBlock"] = slowest / (block / rate);
        // Blocks that took longer than they last: each one is a dropout for a host without buffering to
        // spare.
        state.counters["lateBlocks"] = static_cast<double>(late);
        state.counters["blocks"] = static_cast<double>(blocks);
        state.counters["takeOvers"] = static_cast<double>(stats.takeOvers.load() - takeOversBefore);
    }
}

/** One block of 256 samples at 48 kHz, the whole path, once the first build has been taken over; the argument
    is Drive in percent. */
void BM_RenderBlock_256_Insane(benchmark::State& state)
{
    PreparedLamina rig(256);
    rig.lamina->setParameter(Lamina::ids().drive, static_cast<float>(state.range(0)) * 0.01f);
    auto& stats = *qor::LaminaProbe::stats(qor::LaminaProbe::processState(*rig.lamina));
    while (stats.takeOvers.load() == 0)
    {
        rig.process(256);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const juce::ScopedNoDenormals noDenormals;
    uint32_t n = 0;
    for (auto _ : state)
    {
        // Keep a signal going in, as a tail in silence costs the same but says less.
        rig.left[n % 256] = 0.5f;
        rig.right[(n * 7) % 256] = -0.5f;
        ++n;
        rig.process(256);
    }
    state.counters["modes"] =
        static_cast<double>(qor::LaminaProbe::table(qor::LaminaProbe::processState(*rig.lamina))->size());
}

/** One block of 64 samples at "Insane" with the bank's own workers (one on a two-core machine), once the
   first build has been taken over; with a change of Decay before every block (1) or none (0). The ratio of
   the two is the cost of serving a damping change within a block. */
void BM_Block_64_DecayChange(benchmark::State& state)
{
    const bool change = state.range(0) != 0;
    PreparedLamina rig(64);
    auto& stats = *qor::LaminaProbe::stats(qor::LaminaProbe::processState(*rig.lamina));
    while (stats.takeOvers.load() == 0)
    {
        rig.process(64);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const juce::ScopedNoDenormals noDenormals;
    uint32_t n = 0;
    for (auto _ : state)
    {
        if (change)
            rig.lamina->setParameter(Lamina::ids().decay, n % 2 == 0 ? 2.5f : 2.0f);
        rig.left[n % 64] = 0.5f;
        rig.right[(n * 7) % 64] = -0.5f;
        ++n;
        rig.process(64);
    }
    state.counters["modes"] =
        static_cast<double>(qor::LaminaProbe::table(qor::LaminaProbe::processState(*rig.lamina))->size());
}

BENCHMARK(BM_LoadBank_20000)->ArgName("form")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UpdateModulation_20000)->Unit(benchmark::kMicrosecond);
// Wall time: the workers share the block with the calling thread.
BENCHMARK(BM_RenderBlock_256_Insane)->Arg(0)->Arg(100)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_Block_64_DecayChange)
    ->ArgName("change")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_BankBlock_256_Insane)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_TakeOver_Insane)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AreaSweep_10s_Insane)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
