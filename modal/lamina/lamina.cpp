#include "modal/lamina/lamina.h"

#include "engine/element_registry.h"
#include "modal/lamina/lamina_state.h"
#include "modal/lamina/materials.h"

#include <tinyxml2.h>

#include <cmath>

namespace qor
{

Lamina::Lamina(const juce::String& instanceName) : BasicProcessingElement("Lamina", instanceName)
{
    setStates(std::make_unique<State>(this), std::make_unique<State>(this));
    addParameters();
}

Lamina::~Lamina() = default;

void Lamina::registerType()
{
    ElementRegistry::add({"Lamina", "Lamina",
                          [](const juce::String& n)
                          { return std::make_unique<Lamina>(n.isEmpty() ? "Lamina" : n); },
                          0, 1, 0x100, false, false});
}

uint32_t Lamina::resolveParameterId(uint32_t id) const
{
    if (id < firstIndexedId)
        return id;
    const auto& order = parameterOrder();
    const auto index = id - firstIndexedId;
    return index < order.size() ? order[index] : id;
}

void Lamina::saveParameters(tinyxml2::XMLElement* xml, int& savedVersion)
{
    BasicProcessingElement::saveParameters(xml, savedVersion);
    savedVersion = version;
}

void Lamina::loadParameters(const tinyxml2::XMLElement* xml)
{
    BasicProcessingElement::loadParameters(xml);

    const int fileVersion = xml->IntAttribute((getTypeName().toString() + "Version").toRawUTF8(), 0);
    const auto& p = ids();

    auto setClamped = [this](uint32_t id, float value)
    {
        const auto* info = hasFloatParameter(id);
        if (info == nullptr)
            return;
        const auto& d = info->getTypedDescription();
        value = std::isnan(value) ? d.defaultValue : juce::jlimit(d.range.min, d.range.max, value);
        setParameterDeferred(id, value, false);
    };

    // The oldest files stored the sheet as width and height.
    if (fileVersion < 1)
    {
        const float width = xml->FloatAttribute("Width", 2.0f);
        const float height = xml->FloatAttribute("Height", 1.0f);
        setClamped(p.area, width * height);
        setClamped(p.aspectRatio, width / height);
    }

    // Files before version 2 stored a mode count, read as the preset loader reads it: 3000 or more gives
    // "Low".
    if (fileVersion < 2)
    {
        const int numModes = xml->IntAttribute("NumModes", 6000);
        setParameterDeferred(p.quality, static_cast<int32_t>(qualityForModeCount(numModes)), false);
    }
}

void Lamina::renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                           float* const* channels, bool& isSilent)
{
    static_cast<State&>(state).render(context, numSamples, channels);
    isSilent = false;
}

void Lamina::attachInputAnalyser(std::shared_ptr<AnalyserRing> ring)
{
    static_cast<State&>(*processState).attachInputAnalyser(std::move(ring));
}

void Lamina::attachOutputAnalyser(std::shared_ptr<AnalyserRing> ring)
{
    static_cast<State&>(*processState).attachOutputAnalyser(std::move(ring));
}

} // namespace qor
