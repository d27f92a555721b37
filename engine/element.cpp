#include "engine/element.h"

#include "engine/parameter_mapper.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace qor
{

namespace
{
std::atomic<uint16_t> serialCounter{0};

bool syncToHostQuery(const Element* element)
{
    return element != nullptr && element->getBoolParameterByName("SyncToHost");
}

const bool syncQueryInstalled = []
{
    setSyncToHostQuery(&syncToHostQuery);
    return true;
}();
} // namespace

void ElementState::prepare(double, uint32_t) {}

ElementState* ElementState::clone(ScratchArena&)
{
    return nullptr;
}

Element::Element(const juce::Identifier& type, const juce::String& instanceName)
    : typeName(type), name(instanceName), serial(serialCounter.fetch_add(1))
{
    juce::ignoreUnused(syncQueryInstalled);
}

Element::~Element()
{
    // Children go first: they may still refer to their parent while they are torn down.
    children.clear();
}

void Element::setStates(std::unique_ptr<ElementState> control, std::unique_ptr<ElementState> process)
{
    controlState = std::move(control);
    processState = std::move(process);
}

ElementState* Element::createState(ScratchArena&)
{
    return nullptr;
}

void Element::reset()
{
    if (prepared && processState != nullptr)
        processState->reset();
}

void Element::prepare(double rate, uint32_t blockSize)
{
    prepared = true;
    sampleRate = static_cast<float>(rate);
    maxBlockSize = static_cast<uint16_t>(std::min<uint32_t>(blockSize, 65535));
    for (auto& child : children)
        child->prepare(rate, blockSize);

    // The process state starts from what the control state holds.
    if (controlState != nullptr && processState != nullptr && controlState != processState)
        for (auto& info : parameters)
        {
            const auto flags = info->getDescription().flags;
            if ((flags & (ParameterFlags::noState | ParameterFlags::controlStateOnly)) == 0)
                info->copyState(*this, controlState.get(), processState.get());
        }

    prepareToPlay();
}

bool Element::validate()
{
    return parent == nullptr ? postLoad() : true;
}

void Element::setName(const juce::String& newName)
{
    if (name == newName)
        return;
    name = newName;
    if (listeners != nullptr)
        listeners->nameChanged.emit(this);
}

juce::String Element::getPath() const
{
    if (parent == nullptr)
        return "/";
    const auto parentPath = parent->getPath();
    return parentPath == "/" ? "/" + name : parentPath + "/" + name;
}

Element* Element::findElement(const juce::String& path)
{
    auto rest = path.trimCharactersAtStart("/");
    if (rest.isEmpty())
        return this;
    const auto head = rest.upToFirstOccurrenceOf("/", false, false);
    const auto tail = rest.fromFirstOccurrenceOf("/", false, false);
    for (auto& child : children)
        if (child->getName() == head)
            return child->findElement(tail);
    return nullptr;
}

Element* Element::getFirstChild() const
{
    return children.empty() ? nullptr : children.front().get();
}

Element* Element::getNextChild(const Element* child) const
{
    for (std::size_t i = 0; i + 1 < children.size(); ++i)
        if (children[i].get() == child)
            return children[i + 1].get();
    return nullptr;
}

bool Element::addChild(std::unique_ptr<Element> child, int index)
{
    if (child == nullptr)
        return false;
    child->parent = this;
    auto* raw = child.get();
    if (index < 0 || static_cast<std::size_t>(index) >= children.size())
        children.push_back(std::move(child));
    else
        children.insert(children.begin() + index, std::move(child));
    if (listeners != nullptr)
        listeners->childAdded.emit(this, raw);
    return true;
}

std::unique_ptr<Element> Element::removeChild(Element* child)
{
    auto it = std::find_if(children.begin(), children.end(), [child](auto& c) { return c.get() == child; });
    if (it == children.end())
        return nullptr;
    auto owned = std::move(*it);
    children.erase(it);
    owned->parent = nullptr;
    if (listeners != nullptr)
        listeners->childRemoved.emit(this, owned.get());
    return owned;
}

// Properties

void Element::setProperty(const juce::String& key, const juce::String& value, bool isSaved)
{
    if (properties == nullptr)
        properties = std::make_unique<std::map<juce::String, Property>>();
    (*properties)[key] = Property{value, isSaved};
    onProperty(key, value);
    if (listeners != nullptr)
        listeners->propertyChanged.emit(this, key, value);
}

juce::String Element::getProperty(const juce::String& key, const juce::String& fallback) const
{
    if (properties != nullptr)
        if (auto it = properties->find(key); it != properties->end())
            return it->second.value;
    return fallback;
}

bool Element::hasProperty(const juce::String& key) const
{
    return properties != nullptr && properties->find(key) != properties->end();
}

void Element::removeSavedProperties()
{
    if (properties == nullptr)
        return;
    for (auto it = properties->begin(); it != properties->end();)
    {
        if (!it->second.isSaved)
        {
            ++it;
            continue;
        }
        const auto key = it->first;
        it = properties->erase(it);
        if (listeners != nullptr)
            listeners->propertyChanged.emit(this, key, {});
    }
}

// Modified flag

void Element::setModified()
{
    if (!modified.exchange(true) && listeners != nullptr)
        listeners->modifiedChanged.emit(this);
    if (parent != nullptr)
        parent->setModified();
}

void Element::clearModified()
{
    if (modified.exchange(false) && listeners != nullptr)
        listeners->modifiedChanged.emit(this);
}

ElementSignals& Element::signals()
{
    if (listeners == nullptr)
        listeners = std::make_unique<ElementSignals>();
    return *listeners;
}

// Parameters

void Element::insertParameter(std::unique_ptr<ParameterInfoBase> info)
{
    const auto id = info->getId();
    auto it = std::lower_bound(parameters.begin(), parameters.end(), id,
                               [](const auto& p, uint32_t v) { return p->getId() < v; });
    parameters.insert(it, std::move(info));
}

ParameterInfoBase* Element::findParameter(uint32_t id) const
{
    id = resolveParameterId(id);
    auto it = std::lower_bound(parameters.begin(), parameters.end(), id,
                               [](const auto& p, uint32_t v) { return p->getId() < v; });
    return it != parameters.end() && (*it)->getId() == id ? it->get() : nullptr;
}

template <typename T>
ParameterInfo<T>* Element::findTyped(uint32_t id) const
{
    return dynamic_cast<ParameterInfo<T>*>(findParameter(id));
}

ParameterInfo<float>* Element::hasFloatParameter(uint32_t id) const
{
    return findTyped<float>(id);
}
ParameterInfo<bool>* Element::hasBoolParameter(uint32_t id) const
{
    return findTyped<bool>(id);
}
ParameterInfo<int32_t>* Element::hasIntParameter(uint32_t id) const
{
    return findTyped<int32_t>(id);
}
ParameterInfo<juce::String>* Element::hasStringParameter(uint32_t id) const
{
    return findTyped<juce::String>(id);
}

uint32_t Element::getParameterId(const juce::String& parameterName) const
{
    for (auto& info : parameters)
        if (info->getDescription().name == parameterName)
            return info->getId();
    return 0;
}

bool Element::getBoolParameterByName(const juce::String& parameterName) const
{
    for (auto& info : parameters)
        if (info->getDescription().name == parameterName)
            if (auto* b = dynamic_cast<ParameterInfo<bool>*>(info.get()))
                return b->isPending() ? b->getPendingValue() : b->read(*this, controlState.get());
    return false;
}

void Element::noteSavedChange(const ParameterDescriptionBase& description)
{
    if (description.hasFlag(ParameterFlags::isSaved))
        setModified();
}

void Element::fireParameterChanged(uint32_t id)
{
    if (listeners != nullptr)
        listeners->parameterChanged.emit(this, id);
}

namespace
{
/** A value no parameter takes: NaN or an infinity would go on into every filter and mode that reads it. */
template <typename T>
bool isRefused(const T& value)
{
    if constexpr (std::is_same_v<T, float>)
        return !std::isfinite(value);
    else
        return false;
}
} // namespace

template <typename T>
void Element::setImmediate(uint32_t id, const T& value)
{
    auto* info = findTyped<T>(id);
    if (info == nullptr || isRefused(value))
        return;
    info->clearPending();
    const auto& d = info->getDescription();
    if (d.hasFlag(ParameterFlags::controlStateOnly))
        info->call(*this, nullptr, value);
    else
    {
        info->call(*this, controlState.get(), value);
        if (processState != nullptr && processState != controlState)
            info->call(*this, processState.get(), value);
    }
    noteSavedChange(d);
    fireParameterChanged(info->getId());
}

template <typename T>
void Element::setDeferred(uint32_t id, const T& value, bool deferred)
{
    auto* info = findTyped<T>(id);
    if (info == nullptr || isRefused(value))
        return;
    const auto& d = info->getDescription();
    if (!deferred)
    {
        // The control state takes the value now; the process state belongs to the audio thread and takes it
        // at the head of its next block, like any deferred value.
        info->call(*this, d.hasFlag(ParameterFlags::controlStateOnly) ? nullptr : controlState.get(), value);
    }
    info->storePending(value);
    raisePending();
    noteSavedChange(d);
    fireParameterChanged(info->getId());
}

template <typename T>
T Element::getTyped(uint32_t id, int* errorCode) const
{
    auto* info = findTyped<T>(id);
    if (info == nullptr)
    {
        if (errorCode != nullptr)
            *errorCode = 1;
        return T{};
    }
    if (errorCode != nullptr)
        *errorCode = 0;
    if (info->isPending())
        return info->getPendingValue();
    if (info->getDescription().hasFlag(ParameterFlags::noState))
        return info->read(*this, nullptr);
    return info->read(*this, controlState.get());
}

void Element::setParameter(uint32_t id, const juce::String& value)
{
    setImmediate<juce::String>(id, value);
}
void Element::setParameter(uint32_t id, int32_t value)
{
    setImmediate<int32_t>(id, value);
}
void Element::setParameter(uint32_t id, bool value)
{
    setImmediate<bool>(id, value);
}
void Element::setParameter(uint32_t id, float value)
{
    setImmediate<float>(id, value);
}
void Element::setParameterDeferred(uint32_t id, const juce::String& value, bool deferred)
{
    setDeferred<juce::String>(id, value, deferred);
}
void Element::setParameterDeferred(uint32_t id, int32_t value, bool deferred)
{
    setDeferred<int32_t>(id, value, deferred);
}
void Element::setParameterDeferred(uint32_t id, bool value, bool deferred)
{
    setDeferred<bool>(id, value, deferred);
}
void Element::setParameterDeferred(uint32_t id, float value, bool deferred)
{
    setDeferred<float>(id, value, deferred);
}

float Element::getParameter(uint32_t id, int* errorCode) const
{
    return getTyped<float>(id, errorCode);
}
bool Element::getBoolParameter(uint32_t id, int* errorCode) const
{
    return getTyped<bool>(id, errorCode);
}
int32_t Element::getIntParameter(uint32_t id, int* errorCode) const
{
    return getTyped<int32_t>(id, errorCode);
}
juce::String Element::getStringParameter(uint32_t id, int* errorCode) const
{
    return getTyped<juce::String>(id, errorCode);
}

juce::String Element::getParameterValueText(uint32_t id) const
{
    if (auto* f = hasFloatParameter(id))
        return f->getTypedDescription().format(getParameter(id), this);
    if (auto* i = hasIntParameter(id))
        return i->getTypedDescription().format(getIntParameter(id));
    if (auto* b = hasBoolParameter(id))
        return b->getTypedDescription().format(getBoolParameter(id));
    if (hasStringParameter(id) != nullptr)
        return getStringParameter(id);
    return {};
}

void Element::raisePending()
{
    // The block takes hasPendingState first: raised last here, it can only be seen once hasPendingParameters
    // is up as well. The other order lets a block take the one, find the other still down, and leave the
    // value waiting with nothing left to announce it.
    hasPendingParameters.store(1);
    hasPendingState.store(1);
}

bool Element::syncParameters(ElementState* state)
{
    if (hasPendingState.exchange(0) == 0)
        return false;
    ++changeCount;
    if (hasPendingParameters.exchange(0) == 0)
        return true;
    ElementState* second = processState.get() != state ? processState.get() : nullptr;
    bool allTaken = true;
    for (auto& info : parameters)
    {
        if (!info->isPending())
            continue;
        if (info->getDescription().hasFlag(ParameterFlags::controlStateOnly))
            allTaken = info->applyPendingTo(*this, nullptr, nullptr) && allTaken;
        else
            allTaken = info->applyPendingTo(*this, state, second) && allTaken;
    }
    // A value whose cell was busy is taken by the next block.
    if (!allTaken)
        raisePending();
    return true;
}

void Element::reportAllParameters()
{
    for (auto& info : parameters)
        fireParameterChanged(info->getId());
}

} // namespace qor
