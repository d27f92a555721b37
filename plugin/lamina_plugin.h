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
    bool setState(const std::vector<uint8_t>& bytes, const juce::String& presetPath) override;
    /** The editor of the program that installed one (see setEditorMaker), else none. */
    MainPluginWindowBase* createEditor() override;

    /** Makes the editor window for one instance. The user-interface library installs it, so that the core and
        its tests build without JUCE's GUI modules. */
    using EditorMaker = MainPluginWindowBase* (*)(LaminaPlugin& plugin);
    static void setEditorMaker(EditorMaker maker);

    /** The element parameters shown to the host, in slot order. */
    static const std::vector<juce::String>& hostParameterNames();

    /** The element at "/Lamina" in the current tree, or none. */
    Lamina* getLamina() const;
    const CpuLoadMeter& getCpuLoad() const { return cpuLoad; }

protected:
    /** One engine, alone in the state, holding one sheet and nothing else that is an element. */
    bool acceptsTree(const tinyxml2::XMLElement& engineXml) const override;
    void prepareTree(Engine& tree) override;

private:
    void setElementChannels(Engine& tree, ChannelConfig channels);

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
