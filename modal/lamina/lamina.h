#pragma once

#include "engine/processing_element.h"
#include "modal/bank/imodal_bank.h"

#include <memory>

namespace qor
{

/** The modelled sheet. This first form rings a small fixed table of modes through the bank, so that the block
    path can be heard end to end before the physics drives it. */
class Lamina final : public BasicProcessingElement
{
public:
    struct FixedMode
    {
        double frequency;
        double decayRate;
        double inputGain[2];
        double outputGain[2];
    };
    static constexpr int numFixedModes = 3;
    static const FixedMode fixedModes[numFixedModes];

    class State final : public ProcessingElementState
    {
    public:
        State(Lamina* owner, bool isProcessState);
        void prepare(double sampleRate, uint32_t maxBlockSize) override;
        void reset() override;
        void render(ProcessContext& context, uint32_t numSamples, float* const* channels);

    private:
        Lamina& lamina;
        const bool isProcessState;
        std::shared_ptr<IModalBank> bank;
    };

    explicit Lamina(const juce::String& name = "Lamina");

    /** Enters the type in the element registry (once per process). */
    static void registerType();

    void renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                       float* const* channels, bool& isSilent) override;
};

} // namespace qor
