// The host's flat list of slots on DefaultPluginBase: the operations by index, and moving slots between
// parameters.
#include "engine/engine.h"
#include "plugin/plugin.h"

#include <tinyxml2.h>

#include <atomic>
#include <bit>

namespace qor
{

ExportedPluginParameter* DefaultPluginBase::getExportedParameter(uint32_t index) const
{
    return index < parameters.size() ? parameters[index].get() : nullptr;
}

juce::String DefaultPluginBase::getParameterName(uint32_t index) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->getName() : juce::String();
}

juce::String DefaultPluginBase::getParameterDisplay(uint32_t index) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->getDisplay() : juce::String();
}

float DefaultPluginBase::getParameterNormalised(uint32_t index) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->getNormalised() : 0.0f;
}

void DefaultPluginBase::setParameterNormalised(uint32_t index, float x)
{
    hostWrite(index, x, true);
}

float DefaultPluginBase::getParameterValue(uint32_t index) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->getValue() : 0.0f;
}

void DefaultPluginBase::setParameterValue(uint32_t index, float value)
{
    hostWrite(index, value, false);
}

void DefaultPluginBase::hostWrite(uint32_t index, float value, bool normalised)
{
    auto* slot = getExportedParameter(index);
    if (slot == nullptr)
        return;
    bool written = false;
    {
        const juce::ScopedTryLock lock(slotLock);
        if (lock.isLocked())
        {
            normalised ? slot->setNormalised(value) : slot->setValue(value);
            written = true;
        }
    }
    if (!written)
    {
        const uint64_t kind = normalised ? 1 : 2;
        parkedWrites[index].store(kind << 32 | std::bit_cast<uint32_t>(value));
        anyParked.store(true);
    }
    // A holder that let go of the lock before this write was parked has not seen it.
    applyParkedWritesIfFree();
}

void DefaultPluginBase::applyParkedWrites()
{
    anyParked.store(false);
    for (std::size_t i = 0; i < parkedWrites.size(); ++i)
    {
        const auto parked = parkedWrites[i].exchange(0);
        if (parked == 0)
            continue;
        const float value = std::bit_cast<float>(static_cast<uint32_t>(parked));
        if ((parked >> 32) == 1)
            parameters[i]->setNormalised(value);
        else
            parameters[i]->setValue(value);
    }
}

void DefaultPluginBase::applyParkedWritesIfFree()
{
    // Pairs with the parker's store: either this sees its write, or its own try below finds the lock free.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    while (anyParked.load())
    {
        const juce::ScopedTryLock lock(slotLock);
        if (!lock.isLocked())
            return; // whoever holds it applies them when it lets go
        applyParkedWrites();
    }
}

juce::String DefaultPluginBase::formatParameterValue(uint32_t index, float value) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->formatValue(value) : juce::String();
}

float DefaultPluginBase::parseParameterValue(uint32_t index, const juce::String& text) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->parseValue(text) : 0.0f;
}

float DefaultPluginBase::normalisedToValue(uint32_t index, float x) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->normalisedToValue(x) : 0.0f;
}

float DefaultPluginBase::valueToNormalised(uint32_t index, float value) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->valueToNormalised(value) : 0.0f;
}

void DefaultPluginBase::getParameterRange(uint32_t index, ParameterRange& range) const
{
    if (auto* slot = getExportedParameter(index))
        slot->getRange(range);
    else
        range = ParameterRange{};
}

int32_t DefaultPluginBase::getParameterType(uint32_t index) const
{
    auto* slot = getExportedParameter(index);
    return slot != nullptr ? slot->getType() : static_cast<int32_t>(ExportedPluginParameter::unconnectedType);
}

uint32_t DefaultPluginBase::exportParameter(const juce::String& path, const juce::String& parameterName)
{
    const ParameterPath target{path, parameterName};
    juce::String displayName = parameterName;
    if (auto* element = engine != nullptr ? engine->findElement(path) : nullptr)
        if (const auto id = element->getParameterId(parameterName); id != 0)
            if (auto* info = element->findParameter(id))
                displayName = info->getDescription().getDisplayName();

    const auto index = static_cast<uint32_t>(parameters.size());
    auto slot = std::make_shared<ExportedPluginParameter>(*this, index, target, displayName);
    slot->bind(engine.get(), target, displayName);
    parameters.push_back(std::move(slot));
    parkedWrites.emplace_back(0);
    automationMap[target] = index;
    return index;
}

void DefaultPluginBase::refreshParameters()
{
    const SlotsHeld held(*this);
    for (auto& slot : parameters)
        slot->rebind(engine.get());
}

bool DefaultPluginBase::connect(const juce::String& path, const juce::String& parameterName,
                                const juce::String& displayName)
{
    const SlotsHeld held(*this);
    const ParameterPath target{path, parameterName};
    if (automationMap.count(target) != 0 || parameters.empty())
        return false;
    auto* element = engine != nullptr ? engine->findElement(path) : nullptr;
    if (element == nullptr || element->getParameterId(parameterName) == 0)
        return false;

    ExportedPluginParameter* chosen = nullptr;
    for (auto& slot : parameters)
        if (!slot->isConnected() && slot->getDefaultTarget() == target)
        {
            chosen = slot.get();
            break;
        }
    if (chosen == nullptr)
    {
        const auto count = static_cast<uint32_t>(parameters.size());
        for (uint32_t n = 0; n < count && chosen == nullptr; ++n)
        {
            const uint32_t i = (nextFreeSlot + n) % count;
            if (!parameters[i]->isConnected())
            {
                chosen = parameters[i].get();
                nextFreeSlot = (i + 1) % count;
            }
        }
    }
    if (chosen == nullptr)
        return false;

    automationMap[target] = chosen->getIndex();
    chosen->bind(engine.get(), target, displayName);
    parameterTitleChanged.emit(chosen->getIndex());
    return true;
}

void DefaultPluginBase::disconnect(const ParameterPath& path)
{
    const SlotsHeld held(*this);
    const auto it = automationMap.find(path);
    if (it == automationMap.end())
        return;
    const auto index = it->second;
    automationMap.erase(it);
    if (index >= parameters.size())
        return;
    parameters[index]->release();
    parameterTitleChanged.emit(index);
}

bool DefaultPluginBase::saveAutomation(tinyxml2::XMLElement* xml)
{
    if (xml == nullptr)
        return false;
    bool any = false;
    for (auto& slot : parameters)
    {
        if (!slot->isConnected())
            continue;
        auto* entry = xml->GetDocument()->NewElement("AutomationConnection");
        entry->SetAttribute("sourceIndex", slot->getIndex());
        entry->SetAttribute("targetPath", slot->getTarget().first.toRawUTF8());
        entry->SetAttribute("parameterName", slot->getTarget().second.toRawUTF8());
        entry->SetAttribute("parameterDisplayName", slot->getName().toRawUTF8());
        xml->InsertEndChild(entry);
        any = true;
    }
    return any;
}

void DefaultPluginBase::loadAutomation(const tinyxml2::XMLElement* xml)
{
    const SlotsHeld held(*this);
    for (auto& slot : parameters)
        if (slot->isConnected())
        {
            slot->release();
            parameterTitleChanged.emit(slot->getIndex());
        }
    automationMap.clear();
    nextFreeSlot = 0;
    if (xml == nullptr)
        return;

    const auto count = static_cast<uint32_t>(parameters.size());
    for (auto* entry = xml->FirstChildElement("AutomationConnection"); entry != nullptr;
         entry = entry->NextSiblingElement("AutomationConnection"))
    {
        unsigned index = 0;
        if (entry->QueryUnsignedAttribute("sourceIndex", &index) != tinyxml2::XML_SUCCESS || index >= count)
            continue;
        const auto path = juce::String::fromUTF8(entry->Attribute("targetPath"));
        const auto parameterName = juce::String::fromUTF8(entry->Attribute("parameterName"));
        auto displayName = juce::String::fromUTF8(entry->Attribute("parameterDisplayName"));
        if (path.isEmpty() || parameterName.isEmpty())
            continue;
        auto* element = engine != nullptr ? engine->findElement(path) : nullptr;
        if (element == nullptr || element->getParameterId(parameterName) == 0)
            continue;
        if (displayName.isEmpty())
            displayName = parameterName;

        const ParameterPath target{path, parameterName};
        parameters[index]->bind(engine.get(), target, displayName);
        automationMap[target] = index;
        nextFreeSlot = (index + 1) % count;
        parameterTitleChanged.emit(index);
    }
}

} // namespace qor
