#include "modal/lamina/lamina_state.h"

#include "engine/parameter_format.h"
#include "modal/lamina/value_texts.h"

#include <variant>

namespace qor
{

namespace
{

using State = Lamina::State;

enum DirtyFlag : uint8_t
{
    none = 0,
    modes = 1,
    damping = 2,
    eq = 4,
    gains = 8,
    lowCut = 16
};

State& stateOf(ElementState* s)
{
    return static_cast<State&>(*s);
}
const State& stateOf(const ElementState* s)
{
    return static_cast<const State&>(*s);
}

template <typename T, RelaxedAtomic<T> State::*field>
T getField(const Element&, const ElementState* s, const uint16_t*)
{
    return stateOf(s).*field;
}

std::shared_ptr<ParameterMapper> conformal(float min, float max, float middle)
{
    return std::make_shared<ConformalMapper>(min, max, middle);
}
std::shared_ptr<ParameterMapper> logMapper(float min, float max, float offset)
{
    return std::make_shared<LogMapper>(min, max, offset);
}

} // namespace

/** Every parameter's description with its setter and getter, and the order of running indices. The setters
    raise the state's dirty flags, which only the element and its own types may touch. */
struct Lamina::ParameterTable
{
    template <typename T>
    struct Entry
    {
        std::shared_ptr<const ParameterDescription<T>> description;
        typename ParameterInfo<T>::Setter setter;
        typename ParameterInfo<T>::Getter getter;
        int index;
    };

    std::vector<std::variant<Entry<float>, Entry<int32_t>, Entry<bool>>> entries;
    ParameterIds ids{};
    std::vector<uint32_t> order;

    /** Built on first use: the descriptions are registered in table order. */
    static const ParameterTable& get()
    {
        static const ParameterTable table = build();
        return table;
    }

private:
    static ParameterTable build();

    static void raise(State& s, uint8_t flags)
    {
        if ((flags & modes) != 0)
            s.modesDirty.store(1);
        if ((flags & damping) != 0)
            s.dampingDirty.store(1);
        if ((flags & eq) != 0)
            s.eqDirty.store(1);
        if ((flags & gains) != 0)
            s.gainsDirty.store(1);
        if ((flags & lowCut) != 0)
            s.lowCutDirty.store(1);
    }

    template <typename T, RelaxedAtomic<T> State::*field, uint8_t flags>
    static void setField(Element&, ElementState* s, const uint16_t*, T value)
    {
        auto& state = stateOf(s);
        state.*field = value;
        raise(state, flags);
    }

    static void setBandDecay(Element&, ElementState* s, const uint16_t* indices, float value)
    {
        auto& state = stateOf(s);
        state.bandDecay[indices[0]] = value;
        raise(state, damping);
    }
    static float getBandDecay(const Element&, const ElementState* s, const uint16_t* indices)
    {
        return stateOf(s).bandDecay[indices[0]];
    }
    static void setBandGain(Element&, ElementState* s, const uint16_t* indices, float value)
    {
        auto& state = stateOf(s);
        state.bandGain[indices[0]] = value;
        raise(state, eq);
    }
    static float getBandGain(const Element&, const ElementState* s, const uint16_t* indices)
    {
        return stateOf(s).bandGain[indices[0]];
    }
};

Lamina::ParameterTable Lamina::ParameterTable::build()
{
    // The built-in parameters of every processing element take the lowest ids and stand first in a file.
    juce::ignoreUnused(ProcessingElement::bypassParameterId(), ProcessingElement::roleParameterId());

    ParameterTable t;
    auto& ids = t.ids;
    constexpr uint8_t saved = ParameterFlags::isSaved;

    auto addFloat =
        [&t](uint32_t& id, const juce::String& key, const juce::String& displayName, const juce::String& text,
             float min, float max, float defaultValue, int32_t unit, std::shared_ptr<ParameterMapper> mapper,
             ParameterDescription<float>::Formatter formatter, ParameterInfo<float>::Setter setter,
             ParameterInfo<float>::Getter getter, int index = -1)
    {
        auto d = makeFloatDescription(key, displayName, text, min, max, defaultValue, unit, std::move(mapper),
                                      formatter, saved);
        id = d->id;
        t.entries.emplace_back(Entry<float>{d, setter, getter, index});
    };
    auto addInt = [&t](uint32_t& id, const juce::String& key, const juce::String& displayName,
                       const juce::String& text, int32_t min, int32_t max, int32_t defaultValue,
                       ParameterDescription<int>::Formatter formatter, ParameterInfo<int32_t>::Setter setter,
                       ParameterInfo<int32_t>::Getter getter)
    {
        auto d = makeIntDescription(key, displayName, text, min, max, defaultValue, {}, formatter, saved);
        id = d->id;
        t.entries.emplace_back(Entry<int32_t>{d, setter, getter, -1});
    };
    auto addBool = [&t](uint32_t& id, const juce::String& key, const juce::String& displayName,
                        const juce::String& text, bool defaultValue, ParameterInfo<bool>::Setter setter,
                        ParameterInfo<bool>::Getter getter, uint8_t flags = ParameterFlags::isSaved)
    {
        auto d = makeBoolDescription(key, displayName, text, defaultValue, flags);
        id = d->id;
        t.entries.emplace_back(Entry<bool>{d, setter, getter, -1});
    };

#define QOR_FLOAT(field, flags) &setField<float, &State::field, flags>, &getField<float, &State::field>
#define QOR_INT(field, flags) &setField<int32_t, &State::field, flags>, &getField<int32_t, &State::field>
#define QOR_BOOL(field, flags) &setField<bool, &State::field, flags>, &getField<bool, &State::field>

    for (int i = 0; i < 12; ++i)
        addFloat(ids.bandDecay[i], "BandDecay" + juce::String(i), laminaBandName("Decay", i), {}, 0.1f,
                 10000.0f, 10000.0f, ParameterUnit::none, conformal(0.1f, 10000.0f, 4.0f), &formatLaminaTime,
                 &setBandDecay, &getBandDecay, i);
    for (int i = 0; i < 12; ++i)
        addFloat(ids.bandGain[i], "BandGain" + juce::String(i), laminaBandName("Gain", i), {}, -40.0f, 20.0f,
                 0.0f, ParameterUnit::decibels, nullptr, nullptr, &setBandGain, &getBandGain, i);

    addFloat(ids.preDelay, "PreDelay", "Pre Delay", "Changes the reverb's predelay time", 0, 1000, 0,
             ParameterUnit::milliseconds, logMapper(0, 1000, 1), nullptr, QOR_FLOAT(preDelay, none));
    addFloat(ids.decay, "Decay", "Decay", "Changes the decay time using the lamina's damper", 0.2f, 10000, 2,
             ParameterUnit::none, conformal(0.2f, 10000, 4), &formatLaminaTime, QOR_FLOAT(decay, damping));
    addFloat(ids.thermalDampMult, "ThermalDampMult", "Friction Damp Mult",
             "Changes the viscoelastic damp relatively", 0, 10, 1, ParameterUnit::none, conformal(0, 10, 1),
             &formatLaminaRatio, QOR_FLOAT(thermalDampMult, damping));
    addFloat(ids.thermalFreqMult, "ThermalFreqMult", "Friction Freq Mult",
             "Changes the viscoelastic damp frequency relatively", 0.01f, 100, 1, ParameterUnit::none,
             logMapper(0.01f, 100, 0), &formatLaminaRatio, QOR_FLOAT(thermalFreqMult, damping));
    addFloat(ids.fmin, "Fmin", "Fmin", {}, 0, 200, 0, ParameterUnit::frequency, logMapper(0, 200, 10),
             &formatLaminaFrequency, QOR_FLOAT(fmin, modes));
    addFloat(ids.fmax, "Fmax", "Fmax", {}, 5000, 20000, 20000, ParameterUnit::frequency,
             logMapper(5000, 20000, 0), &formatLaminaFrequency, QOR_FLOAT(fmax, modes));
    addFloat(ids.modesCutoff, "ModesCutoff", "Modes Cutoff", {}, 4000, 20000, 20000, ParameterUnit::frequency,
             logMapper(4000, 20000, 0), &formatLaminaFrequency, QOR_FLOAT(modesCutoff, modes));
    addFloat(ids.modeTruncationThreshold, "ModeTruncationThreshold", "Mode Threshold", {}, -100, 0, -60,
             ParameterUnit::decibels, nullptr, nullptr, QOR_FLOAT(modeTruncationThreshold, modes));

    addInt(ids.quality, "Quality", "Quality",
           "Changes the maximum number of modes used for simulation (and CPU cost)", 0, 5, defaultQuality,
           &formatQualityLabel, QOR_INT(quality, modes));
    addInt(ids.material, "Material", "Material",
           "Changes the lamina's material (it also affects its damping properties)", 0, 4, 0,
           &formatMaterialSymbol, QOR_INT(material, modes));

    addFloat(ids.area, "Area", "Area", "Changes the lamina's area (proportional to modal density)", 0.6f, 6,
             2, ParameterUnit::none, logMapper(0.6f, 6, 0), &formatTwoDecimals, QOR_FLOAT(area, modes));
    addFloat(ids.aspectRatio, "AspectRatio", "Aspect Ratio", "Changes the lamina's aspect ratio", 0.05f, 20,
             2, ParameterUnit::none, logMapper(0.05f, 20, 0), nullptr, QOR_FLOAT(aspectRatio, modes));
    addFloat(ids.tension, "Tension", "Tension", "Changes the Lamina's tension in Newton", 0, 2000, 1,
             ParameterUnit::none, logMapper(0, 2000, 100), &formatNoDecimals, QOR_FLOAT(tension, modes));
    addFloat(ids.gain, "Gain", "Reverb Gain", "Changes the reverbs output gain", -20, 20, 0,
             ParameterUnit::decibels, nullptr, nullptr, QOR_FLOAT(gain, none));
    addFloat(ids.stereoWidth, "StereoWidth", "Stereo Width", "Changes the reverb's perceived stereo width", 0,
             1, 1, ParameterUnit::percent, nullptr, &formatLaminaPercent, QOR_FLOAT(stereoWidth, none));
    addFloat(ids.mix, "Mix", "Mix", "Changes the ratio between dry and wet signals", 0, 1, 0.3f,
             ParameterUnit::percent, nullptr, &formatLaminaPercent, QOR_FLOAT(mix, none));

    addFloat(ids.leftMicrophoneX, "LeftMicrophoneX", "Left Mic. X", {}, 0, 1, 0.1f, ParameterUnit::percent,
             nullptr, nullptr, QOR_FLOAT(leftMicrophoneX, modes));
    addFloat(ids.leftMicrophoneY, "LeftMicrophoneY", "Left Mic. Y", {}, 0, 1, 0.55f, ParameterUnit::percent,
             nullptr, nullptr, QOR_FLOAT(leftMicrophoneY, modes));
    addFloat(ids.rightMicrophoneX, "RightMicrophoneX", "Right Mic. X", {}, 0, 1, 0.84f,
             ParameterUnit::percent, nullptr, nullptr, QOR_FLOAT(rightMicrophoneX, modes));
    addFloat(ids.rightMicrophoneY, "RightMicrophoneY", "Right Mic. Y", {}, 0, 1, 0.55f,
             ParameterUnit::percent, nullptr, nullptr, QOR_FLOAT(rightMicrophoneY, modes));
    addFloat(ids.leftInputX, "LeftInputX", "Left In. X", {}, 0, 1, 0.41f, ParameterUnit::percent, nullptr,
             nullptr, QOR_FLOAT(leftInputX, modes));
    addFloat(ids.leftInputY, "LeftInputY", "Left In. Y", {}, 0, 1, 0.585f, ParameterUnit::percent, nullptr,
             nullptr, QOR_FLOAT(leftInputY, modes));
    addFloat(ids.rightInputX, "RightInputX", "Right In. X", {}, 0, 1, 0.59f, ParameterUnit::percent, nullptr,
             nullptr, QOR_FLOAT(rightInputX, modes));
    addFloat(ids.rightInputY, "RightInputY", "Right In. Y", {}, 0, 1, 0.585f, ParameterUnit::percent, nullptr,
             nullptr, QOR_FLOAT(rightInputY, modes));

    addFloat(ids.viscousDamp, "ViscousDamp", "Friction Damp", {}, 0, 1, 1, ParameterUnit::percent, nullptr,
             &formatLaminaPercent, QOR_FLOAT(viscousDamp, damping));
    addFloat(ids.porousDamp, "PorousDamp", "Damper Depth", {}, 0, 1, 1, ParameterUnit::percent, nullptr,
             &formatLaminaPercent, QOR_FLOAT(porousDamp, damping));
    addFloat(ids.radiationDamp, "RadiationDamp", "Air damp", {}, 0, 1, 1, ParameterUnit::percent, nullptr,
             &formatLaminaPercent, QOR_FLOAT(radiationDamp, damping));
    addFloat(ids.radiationFreqMult, "RadiationFreqMult", "Air Freq Mult",
             "Changes the Radiation damping frequency relatively", 0.01f, 100, 1, ParameterUnit::none,
             logMapper(0.01f, 100, 0), &formatLaminaRatio, QOR_FLOAT(radiationFreqMult, damping));
    addFloat(ids.radiationMult, "RadiationMult", "Air Damp Mult",
             "Changes the Radiation damping depth relatively", 0, 10, 1, ParameterUnit::none,
             conformal(0, 10, 1), &formatLaminaRatio, QOR_FLOAT(radiationMult, damping));
    addFloat(ids.porousFreq, "PorousFreq", "Damper Freq", "Changes the Damper frequency", 100, 10000, 1000,
             ParameterUnit::frequency, logMapper(100, 10000, 0), &formatLaminaFrequency,
             QOR_FLOAT(porousFreq, damping));
    addFloat(ids.bandDamp, "BandDamp", "BandDamp", {}, 0, 1, 1, ParameterUnit::percent, nullptr,
             &formatLaminaPercent, QOR_FLOAT(bandDamp, damping));
    // Shown as it stands, without scaling by 100: 0.2 reads "0.20 %".
    addFloat(ids.anisotropy, "Anisotropy", "Anisotropy", "Slightly perturbes the lamina's modes frequencies",
             0, 1, 0.2f, ParameterUnit::plainPercent, nullptr, &formatLaminaPlainPercent,
             QOR_FLOAT(anisotropy, modes));
    addFloat(ids.modulation, "Modulation", "Modulation", "Adds modulation to the modes frequencies", 0, 1, 0,
             ParameterUnit::percent, nullptr, &formatLaminaPercent, QOR_FLOAT(modulation, none));

    addBool(ids.enablePorousDamp, "EnablePorousDamp", "Enable Damper", "Enable the lamina's Damper", true,
            QOR_BOOL(enablePorousDamp, damping));
    addBool(ids.enableViscousDamp, "EnableViscousDamp", "Enable Friction Damp",
            "Enable the lamina's viscoelastic damp", true, QOR_BOOL(enableViscousDamp, damping));
    addBool(ids.enableRadiationDamp, "EnableRadiationDamp", "Enable Air Damp",
            "Enable the lamina's air radiation damp", true, QOR_BOOL(enableRadiationDamp, damping));
    addBool(ids.enableBandDamp, "EnableBandDamp", "Enable Band Decay", "Enable the lamina's octave band damp",
            true, QOR_BOOL(enableBandDamp, damping));
    addBool(ids.enableEQ, "EnableEQ", "Enable EQ", "Enable the lamina's octave band EQ", true,
            QOR_BOOL(enableEQ, eq));
    addBool(ids.enableLowcut, "EnableLowcut", "Enable Lowcut", "Enable the lamina's low cut", true,
            QOR_BOOL(enableLowcut, none));

    addFloat(ids.drive, "Drive", "Drive", "Changes the lamina input gain drive", 0, 1, 0,
             ParameterUnit::percent, nullptr, &formatLaminaPercent, QOR_FLOAT(drive, none));
    addFloat(ids.lowCutGain, "LowCutGain", "Lowcut Gain", "Reduces the reverb's low frequency content", -40,
             0, 0, ParameterUnit::decibels, nullptr, nullptr, QOR_FLOAT(lowCutGain, lowCut));
    addFloat(ids.lowCutFreq, "LowCutFreq", "Lowcut Freq", "Changes the Lamina's Low cut frequency", 10, 200,
             50, ParameterUnit::frequency, logMapper(10, 200, 0), &formatLaminaFrequency,
             QOR_FLOAT(lowCutFreq, lowCut));

    // Working settings of the session, not of the sound: presets neither hold nor change them.
    addBool(ids.geometryLock, "GeometryLock", "GeometryLock", {}, false, QOR_BOOL(geometryLock, none), 0);
    addBool(ids.enableDecayCompensation, "EnableDecayCompensation", "Decay Compensation", {}, true,
            QOR_BOOL(enableDecayCompensation, gains), 0);
    addBool(ids.enableSpatialAA, "EnableSpatialAA", "Spatial Antialiasing", {}, false,
            QOR_BOOL(enableSpatialAA, modes), 0);

#undef QOR_FLOAT
#undef QOR_INT
#undef QOR_BOOL

    t.order = {ids.area,
               ids.aspectRatio,
               ids.tension,
               ids.gain,
               ids.stereoWidth,
               ids.mix,
               ids.material,
               ids.leftMicrophoneX,
               ids.leftMicrophoneY,
               ids.rightMicrophoneX,
               ids.rightMicrophoneY,
               ids.leftInputX,
               ids.leftInputY,
               ids.rightInputX,
               ids.rightInputY,
               ids.enablePorousDamp,
               ids.porousDamp,
               ids.decay,
               ids.porousFreq,
               ids.enableViscousDamp,
               ids.viscousDamp,
               ids.thermalDampMult,
               ids.thermalFreqMult,
               ids.enableRadiationDamp,
               ids.radiationDamp,
               ids.radiationMult,
               ids.radiationFreqMult,
               ids.enableBandDamp,
               ids.bandDamp,
               ids.preDelay,
               ids.anisotropy,
               ids.modulation,
               ids.drive,
               ids.enableLowcut,
               ids.lowCutGain,
               ids.lowCutFreq,
               ids.fmin,
               ids.fmax,
               ids.modesCutoff,
               ids.modeTruncationThreshold,
               ids.quality,
               ids.enableEQ,
               ids.geometryLock,
               ids.enableDecayCompensation,
               ids.enableSpatialAA};
    for (uint32_t id : ids.bandDecay)
        t.order.push_back(id);
    for (uint32_t id : ids.bandGain)
        t.order.push_back(id);
    return t;
}

const Lamina::ParameterIds& Lamina::ids()
{
    return ParameterTable::get().ids;
}

const std::vector<uint32_t>& Lamina::parameterOrder()
{
    return ParameterTable::get().order;
}

void Lamina::addParameters()
{
    // Both states start from the parameter defaults, not from their own initial fields.
    for (const auto& entry : ParameterTable::get().entries)
        std::visit(
            [this](const auto& e)
            {
                using T = std::decay_t<decltype(e.description->defaultValue)>;
                auto* info = addParameter<T>(e.description, e.setter, e.getter,
                                             e.index >= 0 ? std::initializer_list<uint16_t>{uint16_t(e.index)}
                                                          : std::initializer_list<uint16_t>{});
                info->call(*this, controlState.get(), e.description->defaultValue);
                info->call(*this, processState.get(), e.description->defaultValue);
            },
            entry);
}

} // namespace qor
