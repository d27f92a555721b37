#include "engine/engine_proxy.h"

#include <algorithm>

namespace qor
{

EngineProxy::EngineProxy(Plugin* owner, Engine* e, bool listensToAll)
    : plugin(owner), listensToAllParameters(listensToAll), cells(std::make_unique<Cell[]>(poolSize))
{
    for (uint32_t i = 0; i < poolSize; ++i)
        cells[i].sequence.store(i, std::memory_order_relaxed);
    setEngine(e);
}

EngineProxy::~EngineProxy() = default;

void EngineProxy::setEngine(Engine* newEngine)
{
    if (newEngine == engine)
        return;
    // Nothing to disconnect from the old tree: it may be gone already (a state load drops it first), and its
    // signals took their connections with them. Connections to a tree that lives on are cut by the Trackable
    // base when the proxy goes.
    engine = newEngine;
    subscribe();
    rebind();
    if (listensToAllParameters && engine != nullptr)
    {
        engine->reportAllParameters();
        for (auto* element : engine->getElements())
            element->reportAllParameters();
    }
}

void EngineProxy::subscribe()
{
    if (engine == nullptr)
        return;
    std::vector<Element*> all{engine};
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t c = 0; c < all[i]->getNumChildren(); ++c)
            all.push_back(all[i]->getChild(c));
    for (auto* element : all)
        element->signals().parameterChanged.connect(this, &EngineProxy::onParameterChanged);
}

void EngineProxy::remap()
{
    byElement.clear();
    for (std::size_t i = 0; i < parameterListeners.size(); ++i)
        if (engine != nullptr && parameterListeners[i].listener != nullptr)
            if (auto* element = engine->findElement(parameterListeners[i].path))
                byElement.emplace(element, i);
}

void EngineProxy::rebind()
{
    // While a tick walks the map, it is remade only when the walk is over.
    if (telling > 0)
        changedWhileTelling = true;
    else
        remap();

    // By index, and the entry read again after each call: a listener may add or remove listeners when told.
    ++telling;
    for (std::size_t i = 0; i < elementBoundListeners.size(); ++i)
    {
        auto* element = engine != nullptr ? engine->findElement(elementBoundListeners[i].path) : nullptr;
        auto& entry = elementBoundListeners[i];
        if (entry.listener != nullptr && element != entry.bound)
        {
            entry.bound = element;
            const auto path = entry.path;
            entry.listener->elementBound(path, element);
        }
    }
    if (--telling == 0 && changedWhileTelling)
        compact();
}

void EngineProxy::compact()
{
    changedWhileTelling = false;
    parameterListeners.erase(std::remove_if(parameterListeners.begin(), parameterListeners.end(),
                                            [](auto& e) { return e.listener == nullptr; }),
                             parameterListeners.end());
    elementBoundListeners.erase(std::remove_if(elementBoundListeners.begin(), elementBoundListeners.end(),
                                               [](auto& e) { return e.listener == nullptr; }),
                                elementBoundListeners.end());
    remap();
}

void EngineProxy::addParameterListener(const juce::String& path, uint32_t parameterId,
                                       ParameterListener* listener)
{
    parameterListeners.push_back({path, parameterId, listener});
    if (engine != nullptr)
        if (auto* element = engine->findElement(path))
            byElement.emplace(element, parameterListeners.size() - 1);
}

void EngineProxy::removeParameterListener(ParameterListener* listener)
{
    for (auto& entry : parameterListeners)
        if (entry.listener == listener)
            entry.listener = nullptr;
    if (telling > 0)
        changedWhileTelling = true;
    else
        compact();
}

void EngineProxy::addElementBoundListener(const juce::String& path, ElementBoundListener* listener)
{
    auto* element = engine != nullptr ? engine->findElement(path) : nullptr;
    elementBoundListeners.push_back({path, listener, element});
    listener->elementBound(path, element);
}

void EngineProxy::removeElementBoundListener(ElementBoundListener* listener)
{
    for (auto& entry : elementBoundListeners)
        if (entry.listener == listener)
            entry.listener = nullptr;
    if (telling > 0)
        changedWhileTelling = true;
    else
        compact();
}

float EngineProxy::readValue(const Element& element, uint32_t id)
{
    if (element.hasFloatParameter(id) != nullptr)
        return element.getParameter(id);
    if (element.hasIntParameter(id) != nullptr)
        return static_cast<float>(element.getIntParameter(id));
    if (element.hasBoolParameter(id) != nullptr)
        return element.getBoolParameter(id) ? 1.0f : 0.0f;
    return 0.0f;
}

void EngineProxy::onParameterChanged(Element* element, uint32_t parameterId)
{
    postChange(element, static_cast<int32_t>(parameterId), readValue(*element, parameterId));
}

bool EngineProxy::postChange(Element* element, int32_t parameterId, float value)
{
    auto pos = enqueuePosition.load(std::memory_order_relaxed);
    Cell* cell = nullptr;
    for (;;)
    {
        cell = &cells[pos % poolSize];
        const auto seq = cell->sequence.load(std::memory_order_acquire);
        const auto diff = static_cast<int64_t>(seq) - static_cast<int64_t>(pos);
        if (diff == 0)
        {
            if (enqueuePosition.compare_exchange_weak(pos, pos + 1, std::memory_order_relaxed))
                break;
        }
        else if (diff < 0)
        {
            dropped.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        else
            pos = enqueuePosition.load(std::memory_order_relaxed);
    }
    cell->record = {element, parameterId, value};
    cell->sequence.store(pos + 1, std::memory_order_release);
    return true;
}

int EngineProxy::tick()
{
    int delivered = 0;
    for (;;)
    {
        const auto pos = dequeuePosition.load(std::memory_order_relaxed);
        auto& cell = cells[pos % poolSize];
        const auto seq = cell.sequence.load(std::memory_order_acquire);
        if (static_cast<int64_t>(seq) - static_cast<int64_t>(pos + 1) < 0)
            break;
        const auto record = cell.record;
        dequeuePosition.store(pos + 1, std::memory_order_relaxed);
        cell.sequence.store(pos + poolSize, std::memory_order_release);

        // The map and the list stay in place while listeners are told (leaving only clears an entry, and a
        // new entry goes behind), so the walk can go on after any call.
        ++telling;
        auto [first, last] = byElement.equal_range(record.element);
        for (auto it = first; it != last; ++it)
        {
            if (it->second >= parameterListeners.size())
                continue;
            const auto entry = parameterListeners[it->second];
            if (entry.listener == nullptr)
                continue;
            if (entry.parameterId == 0 || static_cast<int32_t>(entry.parameterId) == record.parameterId)
            {
                entry.listener->engineParameterChanged(
                    *record.element, static_cast<uint32_t>(record.parameterId), record.value);
                ++delivered;
            }
        }
        if (--telling == 0 && changedWhileTelling)
            compact();
    }
    return delivered;
}

} // namespace qor
