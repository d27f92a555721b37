#pragma once

#include "engine/parameter_format.h"
#include "engine/parameter_mapper.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace qor
{

using String = juce::String;

class Element;

enum class ParameterType : uint8_t
{
    Float = 0,
    Int = 1,
    Bool = 2,
    String = 3
};

namespace ParameterFlags
{
/** Not kept in a state: the getter runs without one, and the parameter stays out of the state copy. */
constexpr uint8_t noState = 1 << 0;
/** The setter takes no state and runs once, for the control state. */
constexpr uint8_t controlStateOnly = 1 << 1;
/** Written to XML; a change marks the element modified. */
constexpr uint8_t isSaved = 1 << 3;
/** Gets a modulation target. */
constexpr uint8_t isModulatable = 1 << 5;
} // namespace ParameterFlags

/** The static facts of one parameter, shared by every element that has it. Immutable once registered. */
class ParameterDescriptionBase
{
public:
    explicit ParameterDescriptionBase(ParameterType t = ParameterType::Float) : type(t) {}
    virtual ~ParameterDescriptionBase();

    bool hasFlag(uint8_t flag) const { return (flags & flag) != 0; }
    /** The label for the user: `displayName`, or `name` when that is empty. */
    juce::String getDisplayName() const { return displayName.isEmpty() ? name : displayName; }

    /** The text of a value given as a number (a bool is non-zero, an int is rounded). A String parameter
        answers its default. */
    virtual juce::String formatValueText(double value, const Element* element = nullptr) const;
    /** Completes the description before registration: fills what may be derived from the rest. */
    virtual void finalise() {}

    juce::String name;
    juce::String displayName;
    juce::String description;
    uint32_t id = 0;
    ParameterType type;
    uint8_t flags = 0;
};

template <typename T>
class ParameterDescriptionCommon : public ParameterDescriptionBase
{
public:
    explicit ParameterDescriptionCommon(ParameterType t) : ParameterDescriptionBase(t) {}

    T defaultValue{};
};

template <typename T>
class ParameterDescription;

template <>
class ParameterDescription<float> : public ParameterDescriptionCommon<float>
{
public:
    struct Range
    {
        float min = 0.0f;
        float max = 1.0f;
    };
    using Formatter = juce::String (*)(float);

    ParameterDescription() : ParameterDescriptionCommon<float>(ParameterType::Float) {}

    /** The element's formatter when set; else the unit's text, with the sync rows while the element's
        "SyncToHost" is on. */
    juce::String format(float value, const Element* element = nullptr) const;
    /** An inverse of format, clamped like a loaded value. Text without a number gives the default. */
    float parse(const juce::String& text, const Element* element = nullptr) const;
    /** Limits to `range` when min does not exceed max. */
    float clamp(float value) const;
    /** Real to normalised through the mapper. */
    float normalise(const Element* element, float value) const;
    /** Normalised to real through the mapper. */
    float denormalise(const Element* element, float x) const;

    /** Makes a mapper from `range` when there is none (tempo-synced units follow the sync table) and the
        additive modulation when none is set. */
    void finalise() override;
    juce::String formatValueText(double value, const Element* element = nullptr) const override;

    Range range;
    Range modulationRange{-1.0f, 1.0f};
    float stepSmall = 0.01f;
    float stepMedium = 0.01f;
    float stepLarge = 0.01f;
    int32_t unit = 0;
    int32_t displayMode = 0;
    std::vector<juce::String> choices;
    std::shared_ptr<ParameterMapper> mapper;
    std::shared_ptr<ParameterModulationType> modulationType;
    float modulationDepth = 0.0f;
    int32_t automationFlags = 0;
    bool showsMapperValue = true;
    Formatter formatter = nullptr;
};

template <>
class ParameterDescription<int> : public ParameterDescriptionCommon<int>
{
public:
    struct Range
    {
        int32_t min = 0;
        int32_t max = 1;
    };
    using Formatter = juce::String (*)(int);

    ParameterDescription() : ParameterDescriptionCommon<int>(ParameterType::Int) {}

    /** The formatter when set, else the choice for the value (choices run from min to max), else the number.
     */
    juce::String format(int value) const;
    /** The value whose text matches (ignoring case), else the number in the text, clamped. Text that is
        neither gives the default. */
    int parse(const juce::String& text) const;
    int clamp(int value) const;
    /** (value - min) / (max - min), 0 for a single-valued range. */
    float normalise(int value) const;
    /** floor((max - min) * x + min + 0.5) in doubles. */
    int denormalise(float x) const;

    juce::String formatValueText(double value, const Element* element = nullptr) const override;

    Range range;
    std::vector<juce::String> choices;
    Formatter formatter = nullptr;
};

template <>
class ParameterDescription<bool> : public ParameterDescriptionCommon<bool>
{
public:
    ParameterDescription() : ParameterDescriptionCommon<bool>(ParameterType::Bool) {}

    /** "off" or "on". */
    juce::String format(bool value) const { return value ? "on" : "off"; }
    /** "on", "true", "yes" or a non-zero number are true; "off", "false", "no" and 0 are false; other text
        gives the default. */
    bool parse(const juce::String& text) const;

    juce::String formatValueText(double value, const Element* element = nullptr) const override;
};

template <>
class ParameterDescription<juce::String> : public ParameterDescriptionCommon<juce::String>
{
public:
    ParameterDescription() : ParameterDescriptionCommon<juce::String>(ParameterType::String) {}

    juce::String format(const juce::String& value) const { return value; }
    juce::String parse(const juce::String& text) const { return text; }

    juce::String formatValueText(double value, const Element* element = nullptr) const override;
};

using FloatParameterDescription = ParameterDescription<float>;
using IntParameterDescription = ParameterDescription<int>;
using BoolParameterDescription = ParameterDescription<bool>;
using StringParameterDescription = ParameterDescription<juce::String>;

/** The process-wide registry. Ids run from 1 in order of registration and are never reused. Registration
   takes a lock; lookups take none and may run on any thread. */
class ParameterDescriptions
{
public:
    /** Finalises and registers the description, sets its id and answers it; a description already registered
        keeps its id. */
    static uint32_t add(std::shared_ptr<ParameterDescriptionBase> description);
    /** Empty for 0 and for ids not (yet) given out. */
    static std::shared_ptr<ParameterDescriptionBase> get(uint32_t id);
    /** The same without touching the reference count. */
    static ParameterDescriptionBase* find(uint32_t id);
    /** The first registered description with this name, 0 when there is none. */
    static uint32_t findId(const juce::String& name);
    static uint32_t count();

    /** Ids beyond this are refused (add answers 0). */
    static constexpr uint32_t capacity = 1u << 14;
};

/** Registered descriptions. With no mapper, a float parameter gets one from its range. */
std::shared_ptr<ParameterDescription<float>>
makeFloatDescription(const juce::String& name, const juce::String& displayName,
                     const juce::String& description, float min, float max, float defaultValue,
                     int32_t unit = ParameterUnit::none, std::shared_ptr<ParameterMapper> mapper = nullptr,
                     ParameterDescription<float>::Formatter formatter = nullptr,
                     uint8_t flags = ParameterFlags::isSaved);

std::shared_ptr<ParameterDescription<int>>
makeIntDescription(const juce::String& name, const juce::String& displayName, const juce::String& description,
                   int32_t min, int32_t max, int32_t defaultValue, std::vector<juce::String> choices = {},
                   ParameterDescription<int>::Formatter formatter = nullptr,
                   uint8_t flags = ParameterFlags::isSaved);

std::shared_ptr<ParameterDescription<bool>> makeBoolDescription(const juce::String& name,
                                                                const juce::String& displayName,
                                                                const juce::String& description,
                                                                bool defaultValue,
                                                                uint8_t flags = ParameterFlags::isSaved);

std::shared_ptr<ParameterDescription<juce::String>>
makeStringDescription(const juce::String& name, const juce::String& displayName,
                      const juce::String& description, const juce::String& defaultValue,
                      uint8_t flags = ParameterFlags::isSaved);

} // namespace qor
