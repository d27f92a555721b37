#include "engine/processing_element.h"

#include <algorithm>

namespace qor
{

namespace
{
std::shared_ptr<ParameterDescription<bool>> makeBypassDescription()
{
    auto d = std::make_shared<ParameterDescription<bool>>();
    d->name = "Bypass";
    d->type = ParameterType::Bool;
    d->flags = ParameterFlags::isSaved;
    d->defaultValue = false;
    ParameterDescriptions::add(d);
    return d;
}

std::shared_ptr<ParameterDescription<juce::String>> makeRoleDescription()
{
    auto d = std::make_shared<ParameterDescription<juce::String>>();
    d->name = "Role";
    d->type = ParameterType::String;
    d->flags = ParameterFlags::noState | ParameterFlags::controlStateOnly;
    ParameterDescriptions::add(d);
    return d;
}

// Made at first use so that the built-in parameters take the lowest ids and stand first in every saved
// element.
const std::shared_ptr<ParameterDescription<bool>>& bypassDescription()
{
    static const auto d = makeBypassDescription();
    return d;
}

const std::shared_ptr<ParameterDescription<juce::String>>& roleDescription()
{
    static const auto d = makeRoleDescription();
    return d;
}
} // namespace

// EventRing

bool EventRing::push(const PluginEvent& event)
{
    const auto cap = capacity();
    const auto w = writeIndex.load();
    if (cap == 0 || w - readIndex.load() >= cap)
        return false;
    storage[w % cap] = event;
    writeIndex.exchange(w + 1);
    return true;
}

bool EventRing::pop(PluginEvent& event)
{
    const auto r = readIndex.load();
    if (r == writeIndex.load())
        return false;
    event = storage[r % capacity()];
    readIndex.fetch_add(1);
    return true;
}

// ProcessingElement

ProcessingElement::ProcessingElement(const juce::Identifier& type, const juce::String& instanceName,
                                     uint32_t eventRingCapacity)
    : Element(type, instanceName), eventRing(eventRingCapacity)
{
    setStates(std::make_unique<ProcessingElementState>(this), std::make_unique<ProcessingElementState>(this));
    addParameter<bool>(
        bypassDescription(),
        [](Element&, ElementState* s, const uint16_t*, bool v)
        { static_cast<ProcessingElementState*>(s)->bypassed = v; },
        [](const Element&, const ElementState* s, const uint16_t*)
        { return static_cast<const ProcessingElementState*>(s)->bypassed; });
    addParameter<juce::String>(
        roleDescription(),
        [](Element& e, ElementState*, const uint16_t*, juce::String v)
        { static_cast<ProcessingElement&>(e).processingName = v; },
        [](const Element& e, const ElementState*, const uint16_t*)
        { return static_cast<const ProcessingElement&>(e).processingName; });
}

ProcessingElement::~ProcessingElement()
{
    if (!outputBuses.empty() && outputBuses[0] != nullptr)
        outputBuses[0]->removeUser();
}

uint32_t ProcessingElement::bypassParameterId()
{
    return bypassDescription()->id;
}
uint32_t ProcessingElement::roleParameterId()
{
    return roleDescription()->id;
}

bool ProcessingElement::isBypassed() const
{
    return getProcessingState().bypassed;
}

void ProcessingElement::prepareToPlay()
{
    if (controlState != nullptr)
        controlState->prepare(sampleRate, maxBlockSize);
    if (processState != nullptr && processState != controlState)
        processState->prepare(sampleRate, maxBlockSize);
}

void ProcessingElement::setOutputBus(uint32_t index, AudioBus* bus)
{
    if (outputBuses.size() <= index)
        outputBuses.resize(index + 1, nullptr);
    auto* old = outputBuses[index];
    if (index == 0 && old != nullptr)
        old->removeUser();
    outputBuses[index] = bus;
    if (index == 0 && bus != nullptr)
        bus->addUser();
    busChanged.emit(static_cast<int>(index));
    // A bus as wide as the one before changes nothing the states prepared for: preparing again would only
    // build the same bank and tables once more.
    const bool sameWidth = old != nullptr && bus != nullptr && old->getNumChannels() == bus->getNumChannels();
    if (bus != nullptr && prepared && !sameWidth)
    {
        if (controlState != nullptr)
            controlState->prepare(sampleRate, maxBlockSize);
        if (processState != nullptr && processState != controlState)
            processState->prepare(sampleRate, maxBlockSize);
    }
}

void ProcessingElement::process(ProcessContext& context, uint32_t numSamples)
{
    // Everything taken from the arenas inside this call is returned at its end.
    const auto cursor1 = context.scratch.getCursor();
    const auto cursor2 = context.scratch2.getCursor();

    auto& state = getProcessingState();
    syncParameters(controlState.get());

    // No modulation connections exist in this product, so there are no targets to evaluate; the bookkeeping
    // stays so that a connected target would see the change.
    state.lastChangeCount = changeCount;
    state.forceModulationUpdate = false;

    if (!state.bypassed || runsWhenBypassed)
        render(context, numSamples, state);
    else if (!state.wasProcessed)
        state.wasProcessed = true;

    context.scratch.setCursor(cursor1);
    context.scratch2.setCursor(cursor2);
}

void ProcessingElement::render(ProcessContext& context, uint32_t numSamples, ProcessingElementState& state)
{
    state.subBlockOffset = 0;
    if (state.wasProcessed)
    {
        renderSubBlock(context, state, numSamples);
        return;
    }
    state.wasProcessed = true;
    for (uint32_t offset = 0; offset < numSamples; offset += 32)
    {
        renderSubBlock(context, state, std::min<uint32_t>(32, numSamples - offset));
        state.subBlockOffset += 32;
    }
}

void ProcessingElement::processEvents(ProcessContext& context, EventList events, uint32_t)
{
    if (getProcessingState().bypassed)
        return;

    if (eventRing.empty() && !filtersEvents)
    {
        handleEvents(context, events);
        return;
    }

    auto* list = context.scratch.allocateArray<PluginEvent>(events.size + eventRing.capacity());
    std::size_t count = 0;
    for (auto& e : events)
        if (!filtersEvents || acceptsEvent(e))
            list[count++] = e;
    const auto fromHost = count;
    PluginEvent parked;
    while (eventRing.pop(parked))
        if (!filtersEvents || acceptsEvent(parked))
            list[count++] = parked;
    if (count != fromHost)
        sortEventsByOffset(list, count);
    handleEvents(context, EventList{list, count});
}

void ProcessingElement::handleEvents(ProcessContext&, EventList events)
{
    for (auto& e : events)
        handleEvent(e);
}

void ProcessingElement::handleEvent(const PluginEvent& event)
{
    if ((event.target != nullptr && event.target != this) || event.isPerVoice != 0)
        return;
    switch (event.type)
    {
    case PluginEvent::setFloatParameter:
        if (hasFloatParameter(event.parameterId) != nullptr)
            setParameterDeferred(event.parameterId, event.floatValue, false);
        break;
    case PluginEvent::setIntParameter:
        if (hasIntParameter(event.parameterId) != nullptr)
            setParameterDeferred(event.parameterId, static_cast<int32_t>(event.intValue), false);
        break;
    case PluginEvent::setBoolParameter:
        if (hasBoolParameter(event.parameterId) != nullptr)
            setParameterDeferred(event.parameterId, event.intValue != 0, false);
        break;
    default:
        break;
    }
}

// BasicProcessingElement

int32_t BasicProcessingElement::channelsOfLayout(int32_t layout)
{
    switch (layout)
    {
    case 13:
    case 14:
        return 4;
    default:
        return layout >= 0 ? layout : 0;
    }
}

void BasicProcessingElement::setOutputBus(uint32_t index, AudioBus* bus)
{
    if (index == 0)
        mainBus = bus;
    ProcessingElement::setOutputBus(index, bus);
}

void BasicProcessingElement::setChannelCounts(uint32_t inputs, uint32_t outputs)
{
    numInputChannels = inputs;
    numOutputChannels = outputs;
}

void BasicProcessingElement::render(ProcessContext& context, uint32_t numSamples,
                                    ProcessingElementState& state)
{
    bool isSilent = mainBus->isSilent();
    float* const* channels = mainBus->getChannels();
    state.subBlockOffset = 0;
    if (!state.wasProcessed)
        state.wasProcessed = true;
    renderInPlace(context, state, numSamples, channels, isSilent);
}

} // namespace qor
