#pragma once

#include "plugin/lamina_plugin.h"

#include <functional>
#include <memory>
#include <tuple>

namespace qor::test
{

/** A plug-in made through the factory and prepared as hosts do: at 44.1 kHz with blocks of 1024 first, then
    again at the rate and block size given when they differ. */
inline std::unique_ptr<LaminaPlugin> makePlugin(ChannelConfig config = {2, 2}, uint32_t rate = 44100,
                                                uint32_t blockSize = 1024,
                                                PluginFormat format = PluginFormat::vst3)
{
    std::unique_ptr<LaminaPlugin> plugin(
        static_cast<LaminaPlugin*>(LaminaPluginFactory::instance().create(static_cast<int32_t>(format))));
    plugin->prepare(44100, config, 1024);
    if (rate != 44100 || blockSize != 1024)
        plugin->prepare(rate, config, blockSize);
    return plugin;
}

/** Counts the emissions of a signal and keeps the arguments of the last one. */
template <typename... Args>
struct SignalCounter
{
    explicit SignalCounter(Signal<Args...>& s) : signal(s)
    {
        signal.connect(this, std::function<void(Args...)>(
                                 [this](Args... args)
                                 {
                                     ++count;
                                     last = std::tuple<Args...>(args...);
                                 }));
    }
    ~SignalCounter() { signal.disconnectAll(this); }
    SignalCounter(const SignalCounter&) = delete;
    SignalCounter& operator=(const SignalCounter&) = delete;

    Signal<Args...>& signal;
    int count = 0;
    std::tuple<Args...> last{};
};

} // namespace qor::test
