#include "engine/audio_bus.h"
#include "modal/bank/modal_bank_multi_core.h"
#include "modal/lamina/bank_loading.h"
#include "tests/support/lamina_probe.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <benchmark/benchmark.h>

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
    for (auto _ : state)
        qor::loadBank(bank, *table, settings);
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

/** One block of 256 samples at 48 kHz, the whole path, once the first build has been taken over. */
void BM_RenderBlock_256_Insane(benchmark::State& state)
{
    PreparedLamina rig(256);
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

BENCHMARK(BM_LoadBank_20000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UpdateModulation_20000)->Unit(benchmark::kMicrosecond);
// Wall time: the workers share the block with the calling thread.
BENCHMARK(BM_RenderBlock_256_Insane)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
