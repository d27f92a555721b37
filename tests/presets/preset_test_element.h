#pragma once

#include "engine/element_registry.h"
#include "engine/processing_element.h"

#include <memory>
#include <vector>

namespace qor::test
{

/** A stand-in for the sheet with the parameter names that the preset formats care about, so that the
   operations can be checked without the physics: the band rows, the positions, the geometry, Quality, an
   unsaved bool and a float whose range is given backwards (min above max). */
class PresetTestElement final : public BasicProcessingElement
{
public:
    static constexpr int maxFloats = 48, maxInts = 4, maxBools = 4;

    struct State final : public ProcessingElementState
    {
        using ProcessingElementState::ProcessingElementState;
        float floats[maxFloats] = {};
        int32_t ints[maxInts] = {};
        bool bools[maxBools] = {};
    };

    explicit PresetTestElement(const juce::String& name = "Lamina") : BasicProcessingElement(typeName(), name)
    {
        setStates(std::make_unique<State>(this), std::make_unique<State>(this));
        const auto& d = descriptions();
        addRow<float, &State::floats>(d.floats);
        addRow<int32_t, &State::ints>(d.ints);
        addRow<bool, &State::bools>(d.bools);
        // Both states start from the defaults, as the framework's first pass would leave them.
        for (auto* state : {controlState.get(), processState.get()})
        {
            for (std::size_t i = 0; i < d.floats.size(); ++i)
                static_cast<State*>(state)->floats[i] = d.floats[i]->defaultValue;
            for (std::size_t i = 0; i < d.ints.size(); ++i)
                static_cast<State*>(state)->ints[i] = d.ints[i]->defaultValue;
            for (std::size_t i = 0; i < d.bools.size(); ++i)
                static_cast<State*>(state)->bools[i] = d.bools[i]->defaultValue;
        }
    }

    /** One parameter for each description, stored at its index in the state's array of that type; a stateless
        parameter (no state given) reads the default of the type. */
    template <typename T, auto field>
    void addRow(const std::vector<std::shared_ptr<ParameterDescription<T>>>& descriptions)
    {
        for (uint16_t i = 0; i < descriptions.size(); ++i)
            addParameter<T>(
                descriptions[i],
                [](Element&, ElementState* s, const uint16_t* x, T v)
                {
                    if (s != nullptr)
                        (static_cast<State*>(s)->*field)[x[0]] = v;
                },
                [](const Element&, const ElementState* s, const uint16_t* x)
                { return s != nullptr ? (static_cast<const State*>(s)->*field)[x[0]] : T{}; },
                {i});
    }

    static const char* typeName() { return "PresetTestSheet"; }

    static void registerType()
    {
        ElementRegistry::add({typeName(), "Preset Test Sheet",
                              [](const juce::String& n) { return std::make_unique<PresetTestElement>(n); }, 0,
                              0, 0, false, false});
    }

    void renderInPlace(ProcessContext&, ProcessingElementState&, uint32_t, float* const*, bool&) override {}

    float get(const char* parameter) const { return getParameter(getParameterId(parameter)); }
    int32_t getInt(const char* parameter) const { return getIntParameter(getParameterId(parameter)); }
    bool getBool(const char* parameter) const { return getBoolParameter(getParameterId(parameter)); }
    void set(const char* parameter, float v) { setParameter(getParameterId(parameter), v); }
    void setInt(const char* parameter, int32_t v) { setParameter(getParameterId(parameter), v); }
    void setBool(const char* parameter, bool v) { setParameter(getParameterId(parameter), v); }

    struct Descriptions
    {
        std::vector<std::shared_ptr<ParameterDescription<float>>> floats;
        std::vector<std::shared_ptr<ParameterDescription<int32_t>>> ints;
        std::vector<std::shared_ptr<ParameterDescription<bool>>> bools;
    };

    static const Descriptions& descriptions()
    {
        static const Descriptions d = []
        {
            // The built-in Bypass takes the lowest id, so that it stands first in a saved element.
            ProcessingElement::bypassParameterId();
            Descriptions r;
            auto addFloat = [&](const juce::String& name, float min, float max, float def)
            { r.floats.push_back(makeFloatDescription(name, {}, {}, min, max, def)); };
            for (int i = 0; i < 12; ++i)
                addFloat("BandDecay" + juce::String(i), 0.1f, 10000.0f, 10000.0f);
            for (int i = 0; i < 12; ++i)
                addFloat("BandGain" + juce::String(i), -40.0f, 20.0f, 0.0f);
            addFloat("Decay", 0.2f, 10000.0f, 2.0f);
            addFloat("Area", 0.6f, 6.0f, 2.0f);
            addFloat("AspectRatio", 0.05f, 20.0f, 2.0f);
            addFloat("Tension", 0.0f, 2000.0f, 1.0f);
            addFloat("Mix", 0.0f, 1.0f, 0.3f);
            const char* positions[] = {"LeftMicrophoneX",  "LeftMicrophoneY", "RightMicrophoneX",
                                       "RightMicrophoneY", "LeftInputX",      "LeftInputY",
                                       "RightInputX",      "RightInputY"};
            const float positionDefaults[] = {0.1f, 0.55f, 0.84f, 0.55f, 0.41f, 0.585f, 0.59f, 0.585f};
            for (int i = 0; i < 8; ++i)
                addFloat(positions[i], 0.0f, 1.0f, positionDefaults[i]);
            addFloat("Backwards", 5.0f, -5.0f, 0.0f); // min above max: never clamped

            r.ints.push_back(makeIntDescription("Quality", {}, {}, 0, 5, 1));
            r.ints.push_back(makeIntDescription("Material", {}, {}, 0, 4, 0));

            auto addBool = [&](const juce::String& name, bool def, uint8_t flags)
            { r.bools.push_back(makeBoolDescription(name, {}, {}, def, flags)); };
            addBool("EnableEQ", true, ParameterFlags::isSaved);
            addBool("EnableLowcut", true, ParameterFlags::isSaved);
            addBool("GeometryLock", false, 0);
            addBool("Stateless", false, ParameterFlags::isSaved | ParameterFlags::noState);
            return r;
        }();
        return d;
    }
};

} // namespace qor::test
