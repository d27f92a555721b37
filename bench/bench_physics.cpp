#include "modal/lamina/mode_synthesis.h"

#include <benchmark/benchmark.h>

namespace
{

using qor::ModeSynthesisInputs;

void buildTable(benchmark::State& state, ModeSynthesisInputs inputs)
{
    size_t modes = 0;
    for (auto _ : state)
    {
        auto table = qor::computeModeTable(inputs);
        modes = table->size();
        benchmark::DoNotOptimize(table->data());
    }
    state.counters["modes"] = static_cast<double>(modes);
}

ModeSynthesisInputs largest(float aspect)
{
    ModeSynthesisInputs in;
    in.area = 6;
    in.aspectRatio = aspect;
    in.quality = 5;
    return in;
}

void BM_ModeTable_Defaults(benchmark::State& state)
{
    buildTable(state, ModeSynthesisInputs{});
}

void BM_ModeTable_Area6_Aspect1_Insane(benchmark::State& state)
{
    buildTable(state, largest(1));
}

void BM_ModeTable_Area6_Aspect20_Insane(benchmark::State& state)
{
    buildTable(state, largest(20));
}

void BM_ModeTable_Area6_Aspect1_Insane_SpatialAA(benchmark::State& state)
{
    ModeSynthesisInputs in = largest(1);
    in.enableSpatialAA = true;
    buildTable(state, in);
}

void BM_RecomputeDecayRates_20000(benchmark::State& state)
{
    const auto table = qor::computeModeTable(largest(1));
    qor::LaminaModeTable rows = *table;
    const qor::DampingSettings damping = qor::makeDampingSettings(largest(1));
    qor::MonotoneCubicTable band;
    qor::setBandDecayTable(band, ModeSynthesisInputs{}.bandDecay);
    for (auto _ : state)
    {
        qor::recomputeDecayRates(rows, damping, band);
        benchmark::DoNotOptimize(rows.data());
    }
}

BENCHMARK(BM_ModeTable_Defaults)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ModeTable_Area6_Aspect1_Insane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ModeTable_Area6_Aspect20_Insane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ModeTable_Area6_Aspect1_Insane_SpatialAA)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RecomputeDecayRates_20000)->Unit(benchmark::kMillisecond);

} // namespace
