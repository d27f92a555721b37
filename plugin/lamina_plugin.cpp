#include "plugin/lamina_plugin.h"

#include "files/vfs_holder.h"
#include "modal/lamina/lamina.h"

namespace qor
{

LaminaPlugin::LaminaPlugin(int32_t formatCode) : DefaultPluginBase(formatCode)
{
    // The archive and the drives are mounted once for the process; a second instance finds them there.
    auto& vfs = VFSHolder::instance();
    if (!vfs.hasVolumes())
    {
        vfs.mountArchive(
            formatDisplayName(format) + " Resource", true,
            juce::File::getSpecialLocation(juce::File::currentExecutableFile).getParentDirectory());
        vfs.mountDrives();
    }

    static const bool typesRegistered = []
    {
        Engine::registerType();
        Lamina::registerType();
        return true;
    }();
    juce::ignoreUnused(typesRegistered);

    auto newEngine = std::make_shared<Engine>();
    if (auto element = ElementRegistry::makeElement("Lamina", "Lamina"))
        if (auto* processing = dynamic_cast<ProcessingElement*>(element.get()))
        {
            element.release();
            newEngine->addElement(std::unique_ptr<ProcessingElement>(processing));
        }
    setEngine(std::move(newEngine));

    if (auto* lamina = engine->findElement("/Lamina"))
        lamina->clearModified();
    engine->clearModified();
}

LaminaPlugin::~LaminaPlugin() = default;

Lamina* LaminaPlugin::getLamina() const
{
    return engine != nullptr ? dynamic_cast<Lamina*>(engine->findElement("/Lamina")) : nullptr;
}

void LaminaPlugin::setElementChannels(ChannelConfig channels)
{
    if (engine == nullptr)
        return;
    for (auto* element : engine->getElements())
        if (auto* basic = dynamic_cast<BasicProcessingElement*>(element))
            basic->setChannelCounts(channels.inputs, channels.outputs);
}

void LaminaPlugin::setChannelConfig(ChannelConfig channels)
{
    setElementChannels(channels);
    Plugin::setChannelConfig(channels);
}

void LaminaPlugin::prepare(uint32_t rate, ChannelConfig channels, uint32_t blockSize)
{
    setElementChannels(channels);
    Plugin::prepare(rate, channels, blockSize);
    reserveScratch();

    auto newBus =
        std::make_unique<AudioBus>(static_cast<int32_t>(numOutputChannels), static_cast<int32_t>(blockSize));
    processContext->sampleRate = static_cast<float>(rate);
    if (engine != nullptr)
    {
        engine->prepare(rate, blockSize);
        engine->setOutputBus(0, newBus.get());
    }
    // The old bus goes only now that the engine holds the new one.
    mainBus = std::move(newBus);
    cpuLoad.prepare(rate);
}

void LaminaPlugin::process(PluginAudioBuffer& block)
{
    if (numInputChannels == 1 && numOutputChannels == 2 && block.numSamples > 0)
    {
        auto* const* channels = block.getChannels();
        std::copy(channels[0], channels[0] + block.numSamples, channels[1]);
    }
    cpuLoad.start();
    DefaultPluginBase::process(block);
    cpuLoad.stop(static_cast<uint32_t>(block.numSamples));
}

LaminaPluginFactory& LaminaPluginFactory::instance()
{
    static LaminaPluginFactory factory;
    return factory;
}

Plugin* LaminaPluginFactory::create(int32_t format)
{
    return new LaminaPlugin(format);
}

} // namespace qor
