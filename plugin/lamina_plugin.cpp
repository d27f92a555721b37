#include "plugin/lamina_plugin.h"

#include "engine/element_registry.h"
#include "files/vfs_holder.h"
#include "modal/lamina/lamina.h"

#include <tinyxml2.h>

#include <atomic>
#include <cstring>

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

    for (const auto& parameterName : hostParameterNames())
        exportParameter("/Lamina", parameterName);

    if (auto* lamina = engine->findElement("/Lamina"))
        lamina->clearModified();
    engine->clearModified();
}

LaminaPlugin::~LaminaPlugin() = default;

Lamina* LaminaPlugin::getLamina() const
{
    return engine != nullptr ? dynamic_cast<Lamina*>(engine->findElement("/Lamina")) : nullptr;
}

const std::vector<juce::String>& LaminaPlugin::hostParameterNames()
{
    static const std::vector<juce::String> names{"Decay",
                                                 "Mix",
                                                 "LowCutGain",
                                                 "Material",
                                                 "Area",
                                                 "AspectRatio",
                                                 "Tension",
                                                 "Gain",
                                                 "StereoWidth",
                                                 "EnablePorousDamp",
                                                 "PorousFreq",
                                                 "EnableViscousDamp",
                                                 "ThermalDampMult",
                                                 "ThermalFreqMult",
                                                 "EnableRadiationDamp",
                                                 "RadiationMult",
                                                 "RadiationFreqMult",
                                                 "EnableBandDamp",
                                                 "PreDelay",
                                                 "Anisotropy",
                                                 "Modulation",
                                                 "Drive",
                                                 "EnableLowcut",
                                                 "LowCutFreq",
                                                 "EnableEQ"};
    return names;
}

void LaminaPlugin::setElementChannels(Engine& tree, ChannelConfig channels)
{
    for (auto* element : tree.getElements())
        if (auto* basic = dynamic_cast<BasicProcessingElement*>(element))
            basic->setChannelCounts(channels.inputs, channels.outputs);
}

void LaminaPlugin::setChannelConfig(ChannelConfig channels)
{
    if (engine != nullptr)
        setElementChannels(*engine, channels);
    Plugin::setChannelConfig(channels);
}

void LaminaPlugin::prepare(uint32_t rate, ChannelConfig channels, uint32_t blockSize)
{
    if (engine != nullptr)
        setElementChannels(*engine, channels);
    Plugin::prepare(rate, channels, blockSize);
    reserveScratch();

    auto newBus =
        std::make_unique<AudioBus>(static_cast<int32_t>(numOutputChannels), static_cast<int32_t>(blockSize));
    processContext->sampleRate = static_cast<float>(rate);
    if (engine != nullptr)
    {
        // The bus first: a bus of the same width asks for no second preparation.
        engine->setOutputBus(0, newBus.get());
        engine->prepare(rate, blockSize);
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

bool LaminaPlugin::acceptsTree(const tinyxml2::XMLElement& engineXml) const
{
    // Counted before anything is made: a state of a thousand sheets would start a bank and its workers for
    // each.
    int sheets = 0;
    for (auto* child = engineXml.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        const auto type = ElementRegistry::mapOldTypeName(juce::String::fromUTF8(child->Name()));
        if (type == "Lamina")
            ++sheets;
        else if (ElementRegistry::contains(type))
            return false;
    }
    return std::strcmp(engineXml.Name(), "Engine") == 0 && sheets == 1 &&
           engineXml.NextSiblingElement() == nullptr;
}

void LaminaPlugin::prepareTree(Engine& tree)
{
    // The sheet is found by its path: whatever name a state gave it, it stands at "/Lamina".
    for (auto* element : tree.getElements())
        element->setName("Lamina");
    setElementChannels(tree, {numInputChannels, numOutputChannels});
    DefaultPluginBase::prepareTree(tree);
}

bool LaminaPlugin::setState(const std::vector<uint8_t>& bytes, const juce::String& presetPath)
{
    const bool loaded = DefaultPluginBase::setState(bytes, presetPath);
    // Restoring is not an edit.
    if (engine != nullptr)
    {
        engine->clearModified();
        if (auto* lamina = engine->findElement("/Lamina"))
            lamina->clearModified();
    }
    return loaded;
}

namespace
{
std::atomic<LaminaPlugin::EditorMaker> editorMaker{nullptr};
}

void LaminaPlugin::setEditorMaker(EditorMaker maker)
{
    editorMaker.store(maker);
}

MainPluginWindowBase* LaminaPlugin::createEditor()
{
    const auto maker = editorMaker.load();
    return maker != nullptr ? maker(*this) : nullptr;
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
