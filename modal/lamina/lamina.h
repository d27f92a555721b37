#pragma once

#include "engine/processing_element.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qor
{

class AnalyserRing;

/** The modelled sheet reverb: a bank of up to 20000 modes filled from the physics of a thin plate, behind a
    predelay and a drive, with a low cut, a stereo width and an equal-power dry/wet mix. */
class Lamina final : public BasicProcessingElement
{
public:
    /** Written as the attribute LaminaVersion; older files are upgraded on load. */
    static constexpr int version = 2;

    /** Ids at or above this are running indices into parameterOrder(), as older projects stored them. Real
        ids stay below it: the registry gives out no more. */
    static constexpr uint32_t firstIndexedId = ParameterDescriptions::capacity;

    /** Ids of the element's parameters, valid once the first Lamina has been made (or ids() called). */
    struct ParameterIds
    {
        uint32_t bandDecay[12];
        uint32_t bandGain[12];
        uint32_t preDelay, decay, thermalDampMult, thermalFreqMult, fmin, fmax, modesCutoff,
            modeTruncationThreshold;
        uint32_t quality, material;
        uint32_t area, aspectRatio, tension, gain, stereoWidth, mix, leftMicrophoneX, leftMicrophoneY,
            rightMicrophoneX, rightMicrophoneY, leftInputX, leftInputY, rightInputX, rightInputY, viscousDamp,
            porousDamp, radiationDamp, radiationFreqMult, radiationMult, porousFreq, bandDamp, anisotropy,
            modulation;
        uint32_t enablePorousDamp, enableViscousDamp, enableRadiationDamp, enableBandDamp, enableEQ,
            enableLowcut;
        uint32_t drive, lowCutGain, lowCutFreq;
        uint32_t geometryLock, enableDecayCompensation, enableSpatialAA;
    };
    /** Registers the descriptions on first use, in table order. */
    static const ParameterIds& ids();

    /** The fixed order served by resolveParameterId: id of the parameter at each running index. */
    static const std::vector<uint32_t>& parameterOrder();

    class State;

    explicit Lamina(const juce::String& name = "Lamina");
    ~Lamina() override;

    /** Enters the type in the element registry (once per process). */
    static void registerType();

    /** One input bus, mono or stereo. */
    uint32_t getNumInputBuses() const override { return 1; }

    uint32_t resolveParameterId(uint32_t id) const override;
    void saveParameters(tinyxml2::XMLElement* xml, int& version) override;
    /** The generic load, then the upgrade of files older than `version`. */
    void loadParameters(const tinyxml2::XMLElement* xml) override;

    void renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                       float* const* channels, bool& isSilent) override;

    /** An editor's analyser rings; the element keeps weak references only. */
    void attachInputAnalyser(std::shared_ptr<AnalyserRing> ring);
    void attachOutputAnalyser(std::shared_ptr<AnalyserRing> ring);

private:
    /** The descriptions, setters and getters of every parameter, built once (lamina_parameters.cpp). */
    struct ParameterTable;

    /** Adds the parameter table's entries and gives both states their defaults. */
    void addParameters();
};

} // namespace qor
