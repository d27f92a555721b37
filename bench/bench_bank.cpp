// Throughput of the bank of modes. Figures are meant to be read as ratios within one run:
//   Family/<family>/<inputs>x<outputs>/<modes>  one processor, block 256, mode-samples per second; family 0
//                                                scalar, 1 avx, 2 avx2, 3 avx512;
//   Jobs/<family>/<inputs>x<outputs>             20000 modes as the render path splits them, jobs of 128 run
//                                                one after another on one core;
//   MultiCore/<family>/<workers>                 the full 20000-mode 2x2 bank as the render path uses it;
//   Tail/end:<0|1>/workers:<n>                   a block just after an impulse (0) and after 20 s of silence
//                                                (1);
//   Poles/<family>                               the poles of 20000 modes from their decay rates and
//                                                frequencies (scalar: the library's exp, cos and sin).

#include "modal/bank/family.h"
#include "modal/bank/modal_bank_multi_core.h"
#include "modal/bank/poles.h"
#include "modal/bank/processors.h"

#include <benchmark/benchmark.h>
#include <juce_audio_basics/juce_audio_basics.h>
#include <juce_core/juce_core.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>
#include <xmmintrin.h>

namespace
{
constexpr double sampleRate = 48000.0;
constexpr uint32_t blockSize = 256;
constexpr double pi = 3.141592653589793;

/** Turns flush-to-zero and denormals-are-zero on for a scope, as the host shell does around a block. */
class ScopedFlushToZero
{
public:
    ScopedFlushToZero() : saved(_mm_getcsr()) { _mm_setcsr(saved | 0x8040); }
    ~ScopedFlushToZero() { _mm_setcsr(saved); }

private:
    unsigned int saved;
};

/** A plausible plate: modes spread over 20 Hz..20 kHz with 60 dB decay times from 4 s down to 0.4 s (or
    shorter, for tails meant to reach the subnormal range within seconds). */
void fillBank(qor::IModalBank& bank, uint32_t numModes, uint32_t numInputs, uint32_t numOutputs,
              double longestDecay = 4.0)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> gain(-1.0, 1.0);
    for (uint32_t k = 0; k < numModes; ++k)
    {
        const double f = 20.0 * std::pow(1000.0, (k + 0.5) / numModes);
        const double t60 = longestDecay / (1.0 + 9.0 * k / numModes);
        const double d = 6.907755278982138 / t60;
        const double r = std::exp(-d / sampleRate);
        const double cs[2] = {r * std::cos(2 * pi * f / sampleRate), r * std::sin(2 * pi * f / sampleRate)};
        bank.setModeCoefficients(k, cs);
        for (uint32_t i = 0; i < numInputs; ++i)
            bank.setInputGain(k, i, gain(random));
        for (uint32_t o = 0; o < numOutputs; ++o)
            bank.setOutputGain(k, o, gain(random) * 1e-2);
    }
    bank.setNumModes(numModes);
}

/** One block of noise in, room for one block out. */
struct Buffers
{
    Buffers(uint32_t numInputs, uint32_t numOutputs)
        : in(static_cast<int>(numInputs), blockSize), out(static_cast<int>(numOutputs), blockSize)
    {
        juce::Random random(3);
        for (int c = 0; c < in.getNumChannels(); ++c)
            for (int n = 0; n < in.getNumSamples(); ++n)
                in.setSample(c, n, random.nextFloat() - 0.5f);
        out.clear();
    }
    const float* const* inputs() const { return in.getArrayOfReadPointers(); }
    float* const* outputs() { return out.getArrayOfWritePointers(); }

    juce::AudioBuffer<float> in, out;
};

constexpr int numFamilies = 4;

/** The family of a benchmark argument, if it runs here. */
bool supported(int family)
{
    const auto features = qor::modalbank::readCpuFeatures();
    switch (static_cast<qor::modalbank::Family>(family))
    {
    case qor::modalbank::Family::scalar:
        return true;
    case qor::modalbank::Family::avx:
        return features.avx;
    case qor::modalbank::Family::avx2:
        return features.avx2;
    case qor::modalbank::Family::avx512:
        return qor::modalbank::chooseFamily(features) == qor::modalbank::Family::avx512;
    }
    return false;
}

void Family(benchmark::State& state)
{
    const auto family = static_cast<int>(state.range(0));
    const auto numInputs = static_cast<uint32_t>(state.range(1));
    const auto numOutputs = static_cast<uint32_t>(state.range(2));
    const auto numModes = static_cast<uint32_t>(state.range(3));
    if (!supported(family))
    {
        state.SkipWithError("instruction set not available");
        return;
    }
    std::unique_ptr<qor::IModalBank> bank(qor::modalbank::createProcessor(
        static_cast<qor::modalbank::Family>(family), numInputs, numOutputs, numModes));
    fillBank(*bank, numModes, numInputs, numOutputs);
    Buffers buffers(numInputs, numOutputs);
    ScopedFlushToZero ftz;

    for (auto _ : state)
    {
        bank->process(buffers.outputs(), buffers.inputs(), blockSize);
        benchmark::DoNotOptimize(buffers.out.getSample(0, 0));
    }
    state.counters["modeSamples/s"] = benchmark::Counter(
        double(numModes) * blockSize * double(state.iterations()), benchmark::Counter::kIsRate);
}

void familyArguments(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"family", "in", "out", "modes"});
    for (int family = 0; family < numFamilies; ++family)
    {
        for (int in = 1; in <= 2; ++in)
            for (int out = 1; out <= 2; ++out)
                b->Args({family, in, out, 128});
        b->Args({family, 2, 2, 20000});
    }
}
BENCHMARK(Family)->Apply(familyArguments)->MinTime(0.2);

void Jobs(benchmark::State& state)
{
    const auto family = static_cast<int>(state.range(0));
    const auto numInputs = static_cast<uint32_t>(state.range(1));
    const auto numOutputs = static_cast<uint32_t>(state.range(2));
    if (!supported(family))
    {
        state.SkipWithError("instruction set not available");
        return;
    }
    constexpr uint32_t numModes = 20000;
    qor::ModalBankMultiCore bank(numInputs, numOutputs, numModes, 0, 128, blockSize, sampleRate,
                                 static_cast<qor::modalbank::Family>(family));
    fillBank(bank, numModes, numInputs, numOutputs);
    Buffers buffers(numInputs, numOutputs);
    ScopedFlushToZero ftz;

    for (auto _ : state)
    {
        bank.process(buffers.outputs(), buffers.inputs(), blockSize);
        benchmark::DoNotOptimize(buffers.out.getSample(0, 0));
    }
    state.counters["modeSamples/s"] = benchmark::Counter(
        double(numModes) * blockSize * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(Jobs)->ArgNames({"family", "in", "out"})->ArgsProduct({{0, 2, 3}, {1, 2}, {1, 2}})->MinTime(0.2);

void MultiCore(benchmark::State& state)
{
    const auto family = static_cast<int>(state.range(0));
    const auto numWorkers = static_cast<uint32_t>(state.range(1));
    if (!supported(family))
    {
        state.SkipWithError("instruction set not available");
        return;
    }
    constexpr uint32_t numModes = 20000;
    qor::ModalBankMultiCore bank(2, 2, numModes, numWorkers, 128, blockSize, sampleRate,
                                 static_cast<qor::modalbank::Family>(family));
    fillBank(bank, numModes, 2, 2);
    Buffers buffers(2, 2);
    ScopedFlushToZero ftz;

    for (auto _ : state)
    {
        bank.process(buffers.outputs(), buffers.inputs(), blockSize);
        benchmark::DoNotOptimize(buffers.out.getSample(0, 0));
    }
    state.counters["modeSamples/s"] = benchmark::Counter(
        double(numModes) * blockSize * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(MultiCore)
    ->ArgNames({"family", "workers"})
    ->ArgsProduct({{2, 3}, {0, 1}})
    ->MinTime(0.3)
    ->UseRealTime();

// With one worker, the worker's own floating-point mode is exercised too. Decays are short enough that the
// tail falls below the smallest normal float well within 20 s.
void Tail(benchmark::State& state)
{
    const bool atEnd = state.range(0) != 0;
    const auto numWorkers = static_cast<uint32_t>(state.range(1));
    constexpr uint32_t numModes = 4096;
    qor::ModalBankMultiCore bank(2, 2, numModes, numWorkers, 128, blockSize, sampleRate);
    fillBank(bank, numModes, 2, 2, 1.0);
    Buffers impulse(2, 2);
    Buffers silence(2, 2);
    impulse.in.clear();
    impulse.in.setSample(0, 0, 1.0f);
    impulse.in.setSample(1, 0, 1.0f);
    silence.in.clear();
    ScopedFlushToZero ftz;

    if (atEnd)
    {
        bank.process(impulse.outputs(), impulse.inputs(), blockSize);
        for (int b = 0; b < int(20 * sampleRate / blockSize); ++b)
            bank.process(silence.outputs(), silence.inputs(), blockSize);
    }
    for (auto _ : state)
    {
        if (atEnd)
        {
            bank.process(silence.outputs(), silence.inputs(), blockSize);
        }
        else
        {
            bank.clear();
            bank.process(impulse.outputs(), impulse.inputs(), blockSize);
        }
        benchmark::DoNotOptimize(silence.out.getSample(0, 0));
    }
}
BENCHMARK(Tail)->ArgNames({"end", "workers"})->ArgsProduct({{0, 1}, {0, 1}})->MinTime(0.3)->UseRealTime();

void Poles(benchmark::State& state)
{
    const auto family = static_cast<int>(state.range(0));
    if (!supported(family))
    {
        state.SkipWithError("instruction set not available");
        return;
    }
    constexpr uint32_t numModes = 20000;
    std::vector<double> decay(numModes), omega(numModes), c(numModes), s(numModes);
    for (uint32_t k = 0; k < numModes; ++k)
    {
        omega[k] = 2 * pi * 20.0 * std::pow(1000.0, (k + 0.5) / numModes);
        decay[k] = 6.907755278982138 / (4.0 / (1.0 + 9.0 * k / numModes));
    }
    for (auto _ : state)
    {
        qor::modalbank::computePoles(static_cast<qor::modalbank::Family>(family), decay.data(), omega.data(),
                                     numModes, sampleRate, c.data(), s.data());
        benchmark::DoNotOptimize(c.data());
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(Poles)->ArgName("family")->Arg(0)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);

} // namespace
