// The share of blocks that pass dry while a host's message thread works on the processor: writing parameters,
// or loading states. A block that passes dry is heard as the reverb dropping out for its length.
#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_events/juce_events.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter();

namespace
{
constexpr double rate = 48000.0;
constexpr int blockSize = 256;

std::unique_ptr<juce::AudioProcessor> makeProcessor()
{
    std::unique_ptr<juce::AudioProcessor> processor(createPluginFilter());
    processor->setPlayConfigDetails(2, 2, rate, blockSize);
    processor->prepareToPlay(rate, blockSize);
    for (auto* p : processor->getParameters())
        if (p->getName(100) == "Mix")
            p->setValueNotifyingHost(1.0f); // no dry signal left in a block that ran
    return processor;
}

juce::AudioProcessorParameter& parameterNamed(juce::AudioProcessor& processor, const juce::String& name)
{
    for (auto* p : processor.getParameters())
        if (p->getName(100) == name)
            return *p;
    throw std::runtime_error(("no parameter " + name).toStdString());
}

/** Blocks on the benchmark's thread while `message` runs over and over on another. A block whose output is
   its input exactly passed dry. Blocks run back to back, far faster than a host's clock, so a lock held for a
   moment makes many dry blocks in a row: dryRuns counts those rows, each of which a paced host would hear as
   one. */
void blocksAgainst(benchmark::State& state, juce::AudioProcessor& processor,
                   const std::function<void()>& message)
{
    juce::AudioBuffer<float> buffer(2, blockSize);
    juce::MidiBuffer midi;
    auto input = [](int i) { return 0.25f + 0.001f * float(i); };
    std::atomic<bool> running{true};
    std::atomic<int64_t> calls{0};
    std::thread messageThread(
        [&]
        {
            while (running.load())
            {
                message();
                calls.fetch_add(1);
            }
        });
    int64_t blocks = 0, dry = 0, dryRuns = 0;
    bool lastDry = false;
    for (auto _ : state)
    {
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < blockSize; ++i)
                buffer.setSample(c, i, input(i));
        processor.processBlock(buffer, midi);
        bool same = true;
        for (int c = 0; c < 2 && same; ++c)
            for (int i = 0; i < blockSize && same; ++i)
                same = buffer.getSample(c, i) == input(i);
        ++blocks;
        dry += same ? 1 : 0;
        dryRuns += same && !lastDry ? 1 : 0;
        lastDry = same;
    }
    running = false;
    messageThread.join();
    state.counters["blocks"] = double(blocks);
    state.counters["dryShare"] = blocks > 0 ? double(dry) / double(blocks) : 0.0;
    state.counters["dryRuns"] = double(dryRuns);
    state.counters["messageCalls"] = double(calls.load());
}

void BM_BlocksWhileTheHostWritesParameters(benchmark::State& state)
{
    auto processor = makeProcessor();
    auto& gain = parameterNamed(*processor, "Reverb Gain");
    bool high = false;
    blocksAgainst(state, *processor, [&] { gain.setValueNotifyingHost((high = !high) ? 0.4f : 0.6f); });
}
BENCHMARK(BM_BlocksWhileTheHostWritesParameters)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

void BM_BlocksWhileTheHostLoadsStates(benchmark::State& state)
{
    auto processor = makeProcessor();
    juce::MemoryBlock saved;
    processor->getStateInformation(saved);
    blocksAgainst(state, *processor,
                  [&] { processor->setStateInformation(saved.getData(), int(saved.getSize())); });
}
BENCHMARK(BM_BlocksWhileTheHostLoadsStates)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

} // namespace

int main(int argc, char** argv)
{
    // JUCE goes down before static destruction begins.
    auto juce = std::make_unique<juce::ScopedJuceInitialiser_GUI>();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    juce.reset();
    return 0;
}
