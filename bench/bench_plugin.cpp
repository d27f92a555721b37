// What a state load costs, and what refusing a hostile state costs beside it.
#include "plugin/lamina_plugin.h"
#include "tests/support/lamina_probe.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{

std::unique_ptr<qor::LaminaPlugin> makePlugin()
{
    std::unique_ptr<qor::LaminaPlugin> plugin(static_cast<qor::LaminaPlugin*>(
        qor::LaminaPluginFactory::instance().create(int32_t(qor::PluginFormat::vst3))));
    plugin->prepare(48000, {2, 2}, 512);
    return plugin;
}

std::vector<uint8_t> compressed(const std::string& xml)
{
    juce::MemoryOutputStream out;
    out.write("QOR4", 4);
    out.writeInt(1);
    out.writeInt(int(xml.size()));
    {
        juce::GZIPCompressorOutputStream deflater(out);
        deflater.write(xml.data(), xml.size());
    }
    const auto* data = static_cast<const uint8_t*>(out.getData());
    return {data, data + out.getDataSize()};
}

double threadsInProcess()
{
    double n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ++n;
    return n;
}

/** A state the plug-in saved: parse, build, prepare and swap. The counters give the tables and banks that the
    last load built for its tree. */
void BM_StateLoad(benchmark::State& state)
{
    auto plugin = makePlugin();
    std::vector<uint8_t> block;
    plugin->getState(block);
    for (auto _ : state)
        benchmark::DoNotOptimize(plugin->setState(block, {}));
    const auto& stats = *qor::LaminaProbe::stats(qor::LaminaProbe::processState(*plugin->getLamina()));
    state.counters["tablesBuilt"] = double(stats.tablesBuilt.load());
    state.counters["banksMade"] = double(stats.banksMade.load());
}
BENCHMARK(BM_StateLoad)->Unit(benchmark::kMillisecond);

/** 100,000 attributes on the sheet (455 KB of text): refused by the scan before the parser sees it. */
void BM_StateRefusedManyAttributes(benchmark::State& state)
{
    auto plugin = makePlugin();
    std::string xml = "<QOR4><Engine><Lamina Name=\"Lamina\"";
    for (int i = 0; i < 100000; ++i)
        xml += " a" + std::to_string(i) + "=\"\"";
    xml += "/></Engine></QOR4>";
    const auto block = compressed(xml);
    state.counters["bytes"] = double(xml.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(plugin->setState(block, {}));
}
BENCHMARK(BM_StateRefusedManyAttributes)->Unit(benchmark::kMillisecond);

/** A thousand sheets in a chunk of a few hundred bytes: refused before any is made. The counters give the
    threads of the process with one fresh plug-in and after the refused loads. */
void BM_StateRefusedThousandSheets(benchmark::State& state)
{
    auto plugin = makePlugin();
    const double fresh = threadsInProcess();
    std::string xml = "<QOR4><Engine>";
    for (int i = 0; i < 1000; ++i)
        xml += "<Lamina/>";
    xml += "</Engine></QOR4>";
    const auto block = compressed(xml);
    for (auto _ : state)
        benchmark::DoNotOptimize(plugin->setState(block, {}));
    state.counters["chunkBytes"] = double(block.size());
    state.counters["threadsFresh"] = fresh;
    state.counters["threadsAfter"] = threadsInProcess();
}
BENCHMARK(BM_StateRefusedThousandSheets)->Unit(benchmark::kMillisecond);

} // namespace
