#include "engine/parameter_description.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdint>
#include <mutex>

namespace qor
{

namespace
{

/** Whether two numbers read back from texts are the same value at the precision of a text. Candidates that
    differ are at least a factor 100 apart, so the tolerance may be wide. */
bool sameShownNumber(double a, double b)
{
    if (!std::isfinite(a) || !std::isfinite(b))
        return a == b;
    return std::fabs(a - b) <= 1.0e-6 + 0.05 * std::max(std::fabs(a), std::fabs(b));
}

} // namespace

ParameterDescriptionBase::~ParameterDescriptionBase() = default;

juce::String ParameterDescriptionBase::formatValueText(double value, const Element*) const
{
    return formatPlain(value);
}

// ---------------------------------------------------------------------------------------------------------------

juce::String ParameterDescription<float>::format(float value, const Element* element) const
{
    if (formatter != nullptr)
        return formatter(value);
    return formatUnitValue(unit, value, isTempoSyncUnit(unit) && isSyncedToHost(element));
}

float ParameterDescription<float>::parse(const juce::String& text, const Element* element) const
{
    const bool synced = isTempoSyncUnit(unit) && isSyncedToHost(element);
    std::optional<float> value;
    if (formatter == nullptr)
    {
        value = parseUnitValue(unit, text, synced);
    }
    else if (const auto typed = parseValueText(text))
    {
        // A formatter does not say its scale: take the reading whose own text shows the number typed.
        double candidates[3] = {typed->value, typed->value / 100.0, typed->value * 1000.0};
        if (typed->kind == ParsedValueText::Kind::seconds &&
            (unit == ParameterUnit::milliseconds || unit == ParameterUnit::syncMilliseconds))
            std::swap(candidates[0], candidates[2]);
        value = float(candidates[0]);
        for (double candidate : candidates)
        {
            const auto shown = parseValueText(formatter(float(candidate)));
            if (shown && sameShownNumber(shown->value, typed->value))
            {
                value = float(candidate);
                break;
            }
        }
    }
    if (!value || std::isnan(*value))
        return defaultValue;
    // A tempo-synced value is a row of the sync table, not a value of the range.
    return synced ? *value : clamp(*value);
}

float ParameterDescription<float>::clamp(float value) const
{
    if (range.min <= range.max)
        return std::clamp(value, range.min, range.max);
    return value;
}

float ParameterDescription<float>::normalise(const Element* element, float value) const
{
    if (mapper == nullptr)
        return value;
    mapper->unmap(element, value);
    return value;
}

float ParameterDescription<float>::denormalise(const Element* element, float x) const
{
    if (mapper == nullptr)
        return x;
    mapper->map(element, x);
    return x;
}

void ParameterDescription<float>::finalise()
{
    if (mapper == nullptr)
    {
        if (isTempoSyncUnit(unit))
            mapper = std::make_shared<SyncLinearParameterMapper>(range.min, range.max);
        else
            mapper = std::make_shared<LinearParameterMapper>(range.min, range.max);
    }
    if (modulationType == nullptr)
        modulationType = std::make_shared<AdditiveParameterModulation>();
}

juce::String ParameterDescription<float>::formatValueText(double value, const Element* element) const
{
    return format(float(value), element);
}

// ---------------------------------------------------------------------------------------------------------------

juce::String ParameterDescription<int>::format(int value) const
{
    if (formatter != nullptr)
        return formatter(value);
    const int64_t index = int64_t(value) - range.min;
    if (index >= 0 && index < int64_t(choices.size()))
        return choices[size_t(index)];
    return juce::String(value);
}

int ParameterDescription<int>::parse(const juce::String& input) const
{
    const juce::String text = input.trim();
    if ((formatter != nullptr || !choices.empty()) && range.min <= range.max &&
        int64_t(range.max) - range.min < 100000)
    {
        for (int v = range.min;; ++v)
        {
            if (format(v).trim().equalsIgnoreCase(text))
                return v;
            if (v == range.max)
                break;
        }
    }
    const auto parsed = parseValueText(text);
    if (!parsed || !std::isfinite(parsed->value))
        return parsed && std::isinf(parsed->value) ? (parsed->value > 0 ? range.max : range.min)
                                                   : defaultValue;
    const double rounded = std::floor(parsed->value + 0.5);
    const double limited = std::clamp(rounded, double(INT32_MIN), double(INT32_MAX));
    return clamp(int(limited));
}

int ParameterDescription<int>::clamp(int value) const
{
    if (range.min <= range.max)
        return std::clamp(value, int(range.min), int(range.max));
    return value;
}

float ParameterDescription<int>::normalise(int value) const
{
    if (range.max == range.min)
        return 0.0f;
    return float(value - range.min) / float(range.max - range.min);
}

int ParameterDescription<int>::denormalise(float x) const
{
    const double v = std::floor(double(range.max - range.min) * double(x) + double(range.min) + 0.5);
    // Any float gives an int: NaN the minimum, the rest held to what an int can be.
    if (std::isnan(v))
        return range.min;
    return int(std::clamp(v, double(INT32_MIN), double(INT32_MAX)));
}

juce::String ParameterDescription<int>::formatValueText(double value, const Element*) const
{
    return format(int(std::lround(value)));
}

// ---------------------------------------------------------------------------------------------------------------

bool ParameterDescription<bool>::parse(const juce::String& input) const
{
    const juce::String text = input.trim();
    for (const auto* word : {"on", "true", "yes"})
        if (text.equalsIgnoreCase(word))
            return true;
    for (const auto* word : {"off", "false", "no"})
        if (text.equalsIgnoreCase(word))
            return false;
    const auto parsed = parseValueText(text);
    if (!parsed || std::isnan(parsed->value))
        return defaultValue;
    return parsed->value != 0.0;
}

juce::String ParameterDescription<bool>::formatValueText(double value, const Element*) const
{
    return format(value != 0.0);
}

juce::String ParameterDescription<juce::String>::formatValueText(double, const Element*) const
{
    return defaultValue;
}

// ---------------------------------------------------------------------------------------------------------------

namespace
{

constexpr uint32_t chunkSize = 256;
constexpr uint32_t chunkCount = ParameterDescriptions::capacity / chunkSize;

struct RegistryChunk
{
    std::shared_ptr<ParameterDescriptionBase> slots[chunkSize];
};

/** Slots are written once, before `count` publishes them, and never moved: readers need no lock. */
struct Registry
{
    std::mutex addLock;
    std::atomic<RegistryChunk*> chunks[chunkCount] = {};
    std::atomic<uint32_t> count{0};
};

Registry& registry()
{
    // Never destroyed: descriptions may be looked up from other static destructors.
    static Registry* instance = new Registry();
    return *instance;
}

ParameterDescriptionBase* slotOf(uint32_t id)
{
    Registry& r = registry();
    if (id == 0 || id > r.count.load(std::memory_order_acquire))
        return nullptr;
    const uint32_t index = id - 1;
    RegistryChunk* chunk = r.chunks[index / chunkSize].load(std::memory_order_acquire);
    return chunk->slots[index % chunkSize].get();
}

} // namespace

uint32_t ParameterDescriptions::add(std::shared_ptr<ParameterDescriptionBase> description)
{
    if (description == nullptr)
        return 0;
    // Registering twice keeps the first id: ids are handed out once per description.
    if (description->id != 0 && slotOf(description->id) == description.get())
        return description->id;
    description->finalise();

    Registry& r = registry();
    const std::lock_guard<std::mutex> lock(r.addLock);
    const uint32_t id = r.count.load(std::memory_order_relaxed) + 1;
    if (id > capacity)
        return 0;
    const uint32_t index = id - 1;
    RegistryChunk* chunk = r.chunks[index / chunkSize].load(std::memory_order_relaxed);
    if (chunk == nullptr)
    {
        chunk = new RegistryChunk();
        r.chunks[index / chunkSize].store(chunk, std::memory_order_release);
    }
    description->id = id;
    chunk->slots[index % chunkSize] = std::move(description);
    r.count.store(id, std::memory_order_release);
    return id;
}

std::shared_ptr<ParameterDescriptionBase> ParameterDescriptions::get(uint32_t id)
{
    Registry& r = registry();
    if (id == 0 || id > r.count.load(std::memory_order_acquire))
        return nullptr;
    const uint32_t index = id - 1;
    RegistryChunk* chunk = r.chunks[index / chunkSize].load(std::memory_order_acquire);
    return chunk->slots[index % chunkSize];
}

ParameterDescriptionBase* ParameterDescriptions::find(uint32_t id)
{
    return slotOf(id);
}

uint32_t ParameterDescriptions::findId(const juce::String& name)
{
    const uint32_t n = count();
    for (uint32_t id = 1; id <= n; ++id)
        if (const auto* d = slotOf(id); d != nullptr && d->name == name)
            return id;
    return 0;
}

uint32_t ParameterDescriptions::count()
{
    return registry().count.load(std::memory_order_acquire);
}

// ---------------------------------------------------------------------------------------------------------------

namespace
{
template <class D>
void fillCommon(D& d, const juce::String& name, const juce::String& displayName,
                const juce::String& description, uint8_t flags)
{
    d.name = name;
    d.displayName = displayName;
    d.description = description;
    d.flags = flags;
}
} // namespace

std::shared_ptr<ParameterDescription<float>>
makeFloatDescription(const juce::String& name, const juce::String& displayName,
                     const juce::String& description, float min, float max, float defaultValue, int32_t unit,
                     std::shared_ptr<ParameterMapper> mapper,
                     ParameterDescription<float>::Formatter formatter, uint8_t flags)
{
    auto d = std::make_shared<ParameterDescription<float>>();
    fillCommon(*d, name, displayName, description, flags);
    d->range = {min, max};
    d->defaultValue = defaultValue;
    d->unit = unit;
    d->mapper = std::move(mapper);
    d->formatter = formatter;
    ParameterDescriptions::add(d);
    return d;
}

std::shared_ptr<ParameterDescription<int>>
makeIntDescription(const juce::String& name, const juce::String& displayName, const juce::String& description,
                   int32_t min, int32_t max, int32_t defaultValue, std::vector<juce::String> choices,
                   ParameterDescription<int>::Formatter formatter, uint8_t flags)
{
    auto d = std::make_shared<ParameterDescription<int>>();
    fillCommon(*d, name, displayName, description, flags);
    d->range = {min, max};
    d->defaultValue = defaultValue;
    d->choices = std::move(choices);
    d->formatter = formatter;
    ParameterDescriptions::add(d);
    return d;
}

std::shared_ptr<ParameterDescription<bool>> makeBoolDescription(const juce::String& name,
                                                                const juce::String& displayName,
                                                                const juce::String& description,
                                                                bool defaultValue, uint8_t flags)
{
    auto d = std::make_shared<ParameterDescription<bool>>();
    fillCommon(*d, name, displayName, description, flags);
    d->defaultValue = defaultValue;
    ParameterDescriptions::add(d);
    return d;
}

std::shared_ptr<ParameterDescription<juce::String>>
makeStringDescription(const juce::String& name, const juce::String& displayName,
                      const juce::String& description, const juce::String& defaultValue, uint8_t flags)
{
    auto d = std::make_shared<ParameterDescription<juce::String>>();
    fillCommon(*d, name, displayName, description, flags);
    d->defaultValue = defaultValue;
    ParameterDescriptions::add(d);
    return d;
}

} // namespace qor
