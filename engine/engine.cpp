#include "engine/engine.h"

#include "engine/element_registry.h"

#include <tinyxml2.h>

namespace qor
{

namespace
{
template <typename T>
std::shared_ptr<ParameterDescription<T>> describe(const char* name, T defaultValue)
{
    auto d = std::make_shared<ParameterDescription<T>>();
    d->name = name;
    d->defaultValue = defaultValue;
    d->flags = ParameterFlags::isSaved | ParameterFlags::controlStateOnly;
    if constexpr (std::is_same_v<T, float>)
        d->type = ParameterType::Float;
    else if constexpr (std::is_same_v<T, int32_t>)
        d->type = ParameterType::Int;
    else if constexpr (std::is_same_v<T, bool>)
        d->type = ParameterType::Bool;
    else
        d->type = ParameterType::String;
    return d;
}

std::shared_ptr<ParameterDescription<float>> describeFloat(const char* name, float def, float min, float max,
                                                           int unit)
{
    auto d = describe<float>(name, def);
    d->range = {min, max};
    d->unit = unit;
    d->mapper = std::make_shared<LinearParameterMapper>(min, max);
    return d;
}

std::shared_ptr<ParameterDescription<int32_t>> describeInt(const char* name, int32_t def, int32_t min,
                                                           int32_t max)
{
    auto d = describe<int32_t>(name, def);
    d->range = {min, max};
    return d;
}

struct Descriptions
{
    std::shared_ptr<ParameterDescription<float>> globalTune =
        describeFloat("GlobalTune", 440.0f, 391.99542f, 493.8833f, 7);
    std::shared_ptr<ParameterDescription<float>> tempo = describeFloat("Tempo", 120.0f, 10.0f, 400.0f, 0);
    std::shared_ptr<ParameterDescription<bool>> playing = describe<bool>("Playing", false);
    std::shared_ptr<ParameterDescription<bool>> recording = describe<bool>("Recording", false);
    std::shared_ptr<ParameterDescription<bool>> autoPlay = describe<bool>("AutoPlay", false);
    std::shared_ptr<ParameterDescription<juce::String>> displayName =
        describe<juce::String>("DisplayName", "Default");
    std::shared_ptr<ParameterDescription<int32_t>> meterNumerator = describeInt("MeterNumerator", 4, 1, 64);
    std::shared_ptr<ParameterDescription<int32_t>> meterDenominator =
        describeInt("MeterDenominator", 4, 1, 64);
    Engine::Ids ids;

    Descriptions()
    {
        // The built-in parameters of every processing element come first.
        ProcessingElement::bypassParameterId();
        ids.globalTune = ParameterDescriptions::add(globalTune);
        ids.tempo = ParameterDescriptions::add(tempo);
        ids.playing = ParameterDescriptions::add(playing);
        ids.recording = ParameterDescriptions::add(recording);
        ids.autoPlay = ParameterDescriptions::add(autoPlay);
        ids.displayName = ParameterDescriptions::add(displayName);
        ids.meterNumerator = ParameterDescriptions::add(meterNumerator);
        ids.meterDenominator = ParameterDescriptions::add(meterDenominator);
    }
};

const Descriptions& descriptions()
{
    static const Descriptions d;
    return d;
}

Engine& asEngine(Element& e)
{
    return static_cast<Engine&>(e);
}
const Engine& asEngine(const Element& e)
{
    return static_cast<const Engine&>(e);
}
} // namespace

const Engine::Ids& Engine::parameterIds()
{
    return descriptions().ids;
}

void Engine::registerType()
{
    ElementRegistry::add({"Engine", "Engine",
                          [](const juce::String& n) { return std::make_unique<Engine>(n); }, 0, 0, 0, true,
                          false});
}

Engine::Engine(const juce::String& instanceName)
    : ProcessingElement("Engine", instanceName, eventRingCapacity)
{
    const auto& d = descriptions();
    addParameter<float>(
        d.globalTune, [](Element& e, ElementState*, const uint16_t*, float v) { asEngine(e).tuning = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).tuning; });
    addParameter<float>(
        d.tempo,
        [](Element& e, ElementState*, const uint16_t*, float v)
        {
            asEngine(e).tempo = v;
            asEngine(e).tempoFloat = v;
        },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).tempoFloat; });
    addParameter<bool>(
        d.playing, [](Element& e, ElementState*, const uint16_t*, bool v) { asEngine(e).playing = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).playing; });
    addParameter<bool>(
        d.recording, [](Element& e, ElementState*, const uint16_t*, bool v) { asEngine(e).recording = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).recording; });
    addParameter<bool>(
        d.autoPlay, [](Element& e, ElementState*, const uint16_t*, bool v) { asEngine(e).autoPlay = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).autoPlay; });
    addParameter<juce::String>(
        d.displayName,
        [](Element& e, ElementState*, const uint16_t*, juce::String v) { asEngine(e).displayName = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).displayName; });
    addParameter<int32_t>(
        d.meterNumerator,
        [](Element& e, ElementState*, const uint16_t*, int32_t v) { asEngine(e).meterNumerator = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).meterNumerator; });
    addParameter<int32_t>(
        d.meterDenominator,
        [](Element& e, ElementState*, const uint16_t*, int32_t v) { asEngine(e).meterDenominator = v; },
        [](const Element& e, const ElementState*, const uint16_t*) { return asEngine(e).meterDenominator; });
}

Engine::~Engine()
{
    const juce::ScopedLock l(treeLock);
    elements.clear();
    children.clear();
}

ProcessingElement* Engine::addElement(std::unique_ptr<ProcessingElement> element)
{
    if (element == nullptr)
        return nullptr;
    auto* raw = element.get();
    addChild(std::move(element));
    elements.push_back(raw);
    if (auto* bus = getOutputBus(0))
        raw->setOutputBus(0, bus);
    return raw;
}

std::unique_ptr<ProcessingElement> Engine::removeElement(ProcessingElement* element)
{
    auto it = std::find(elements.begin(), elements.end(), element);
    if (it == elements.end())
        return nullptr;
    elements.erase(it);
    auto owned = removeChild(element);
    return std::unique_ptr<ProcessingElement>(static_cast<ProcessingElement*>(owned.release()));
}

void Engine::prepareToPlay()
{
    // The children were prepared by Element::prepare already, with the same two values.
    ProcessingElement::prepareToPlay();
}

void Engine::processEvents(ProcessContext& context, EventList events, uint32_t numSamples)
{
    const juce::ScopedTryLock l(treeLock);
    if (l.isLocked())
    {
        currentNumSamples = numSamples;
        ProcessingElement::processEvents(context, events, numSamples);
        return;
    }
    if (isBypassed())
        return;
    // The tree is busy: park the events for the next block that gets the lock.
    for (auto& e : events)
        eventRing.push(e);
}

void Engine::process(ProcessContext& context, uint32_t numSamples)
{
    const juce::ScopedTryLock l(treeLock);
    if (!l.isLocked())
        return;
    ProcessingElement::process(context, numSamples);
}

void Engine::render(ProcessContext& context, uint32_t numSamples, ProcessingElementState&)
{
    for (auto* element : elements)
        element->process(context, numSamples);
}

void Engine::setOutputBus(uint32_t index, AudioBus* bus)
{
    ProcessingElement::setOutputBus(index, bus);
    if (index == 0)
        for (auto* element : elements)
            element->setOutputBus(0, bus);
}

void Engine::reset()
{
    ProcessingElement::reset();
    for (auto* element : elements)
        element->reset();
}

void Engine::setOffline(bool offline)
{
    for (auto* element : elements)
        element->setOffline(offline);
}

void Engine::handleEvents(ProcessContext& context, EventList events)
{
    for (auto& e : events)
        handleEvent(e);

    auto* list = context.scratch.allocateArray<PluginEvent>(events.size);
    std::size_t count = 0;
    for (auto& e : events)
    {
        auto copy = e;
        if (e.type == PluginEvent::controller && (e.data1 == 117 || e.data1 == 118))
        {
            copy.type = e.data1 == 117 ? PluginEvent::transportStart : PluginEvent::transportStop;
            copy.time = static_cast<double>(e.sampleOffset) / static_cast<double>(context.sampleRate) *
                        (tempo / 60.0);
        }
        list[count++] = copy;
    }
    for (auto* element : elements)
        element->processEvents(context, EventList{list, count}, currentNumSamples);
}

tinyxml2::XMLElement* Engine::saveToXml(tinyxml2::XMLElement* parentXml, const SaveContext& context)
{
    auto* xml = ProcessingElement::saveToXml(parentXml, context);
    for (auto* element : elements)
        element->saveToXml(xml, context);
    return xml;
}

bool Engine::loadFromXml(const tinyxml2::XMLElement* xml, const LoadContext& context, int version)
{
    bool ok = ProcessingElement::loadFromXml(xml, context, version);
    if (xml == nullptr)
        return false;

    while (!elements.empty())
        removeElement(elements.back());

    for (auto* child = xml->FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        auto made = ElementRegistry::makeElement(juce::String::fromUTF8(child->Name()));
        auto* processing = dynamic_cast<ProcessingElement*>(made.get());
        if (processing == nullptr)
            continue;
        made.release();
        std::unique_ptr<ProcessingElement> element(processing);
        if (element->loadFromXml(child, context, version))
            addElement(std::move(element));
        else
            ok = false;
    }
    return ok;
}

} // namespace qor
