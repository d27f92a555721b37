#pragma once

#include "plugin/cpu_load_meter.h"
#include "plugin/plugin.h"

namespace qor
{

class Lamina;

/** The product's plug-in: an engine holding one Lamina at "/Lamina". */
class LaminaPlugin : public DefaultPluginBase
{
public:
    explicit LaminaPlugin(int32_t format);
    ~LaminaPlugin() override;

    void prepare(uint32_t sampleRate, ChannelConfig channels, uint32_t maxBlockSize) override;
    int32_t getTailHint() const override { return -1; }
    void setChannelConfig(ChannelConfig channels) override;
    void process(PluginAudioBuffer& block) override;

    /** The element at "/Lamina" in the current tree, or none. */
    Lamina* getLamina() const;
    const CpuLoadMeter& getCpuLoad() const { return cpuLoad; }

private:
    void setElementChannels(ChannelConfig channels);

    CpuLoadMeter cpuLoad;
};

/** Makes plug-ins; one process-wide object made on first use. */
class LaminaPluginFactory
{
public:
    static LaminaPluginFactory& instance();
    Plugin* create(int32_t format);
};

} // namespace qor
