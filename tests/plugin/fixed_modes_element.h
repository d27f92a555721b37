#pragma once

#include "engine/element_registry.h"
#include "engine/processing_element.h"
#include "modal/bank/modal_bank.h"

#include <cmath>
#include <memory>
#include <vector>
#include <xmmintrin.h>

namespace qor::test
{

/** A stand-in for the sheet with a known table of three modes, so that the shell can be checked against the
   closed form of the bank. It also records the events that reach it. */
class FixedModesElement final : public BasicProcessingElement
{
public:
    struct Mode
    {
        double frequency, decayRate, inputGain[2], outputGain[2];
    };
    static constexpr Mode modes[3] = {
        {220.0, 3.0, {0.5, 0.25}, {0.5, 0.4}},
        {587.0, 5.0, {0.3, 0.6}, {0.35, 0.2}},
        {1330.0, 9.0, {0.2, 0.1}, {0.25, 0.3}},
    };

    class State final : public ProcessingElementState
    {
    public:
        State(FixedModesElement* owner, bool process)
            : ProcessingElementState(owner), self(*owner), isProcess(process)
        {
        }

        void prepare(double rate, uint32_t) override
        {
            if (!isProcess)
                return;
            const auto in = self.getNumInputChannels(), out = self.getNumOutputChannels();
            bank = std::make_shared<ModalBank>(in, out, 3);
            bank->setNumModes(3);
            for (uint32_t k = 0; k < 3; ++k)
            {
                const double r = std::exp(-modes[k].decayRate / rate);
                const double w = 2.0 * M_PI * modes[k].frequency / rate;
                const double cs[2] = {r * std::cos(w), r * std::sin(w)};
                bank->setModeCoefficients(k, cs);
                for (uint32_t i = 0; i < in; ++i)
                    bank->setInputGain(k, i, modes[k].inputGain[i]);
                for (uint32_t o = 0; o < out; ++o)
                    bank->setOutputGain(k, o, modes[k].outputGain[o]);
            }
            ++self.prepareCount;
        }

        FixedModesElement& self;
        bool isProcess;
        std::shared_ptr<ModalBank> bank;
    };

    explicit FixedModesElement(const juce::String& name) : BasicProcessingElement("Lamina", name)
    {
        setStates(std::make_unique<State>(this, false), std::make_unique<State>(this, true));
        receivedEvents.reserve(256);
    }

    static void registerAsLamina()
    {
        ElementRegistry::add({"Lamina", "Lamina",
                              [](const juce::String& n) { return std::make_unique<FixedModesElement>(n); }, 0,
                              1, 0x100, false, false});
    }

    void renderInPlace(ProcessContext& context, ProcessingElementState& s, uint32_t numSamples,
                       float* const* channels, bool& isSilent) override
    {
        ++renderCount;
        csrDuringRender = _mm_getcsr();
        lastIsSilent = isSilent;
        auto& state = static_cast<State&>(s);
        if (numSamples == 0 || state.bank == nullptr)
            return;
        float* in[2] = {};
        float* out[2] = {};
        for (uint32_t c = 0; c < getNumInputChannels(); ++c)
        {
            in[c] = context.scratch.allocateArray<float>(numSamples);
            std::copy(channels[c], channels[c] + numSamples, in[c]);
        }
        for (uint32_t c = 0; c < getNumOutputChannels(); ++c)
            out[c] = context.scratch.allocateArray<float>(numSamples);
        state.bank->process(out, in, numSamples);
        for (uint32_t c = 0; c < getNumOutputChannels(); ++c)
            for (uint32_t i = 0; i < numSamples; ++i)
                channels[c][i] += out[c][i];
        isSilent = false;
    }

    void handleEvents(ProcessContext& context, EventList events) override
    {
        for (auto& e : events)
            receivedEvents.push_back(e);
        BasicProcessingElement::handleEvents(context, events);
    }

    /** The closed form of one output for a unit impulse at sample 0 of input `input`. */
    static double impulseResponse(uint32_t input, uint32_t output, uint32_t n, double rate)
    {
        double sum = 0.0;
        for (const auto& m : modes)
            sum += m.inputGain[input] * m.outputGain[output] * std::exp(-m.decayRate * n / rate) *
                   std::cos(n * 2.0 * M_PI * m.frequency / rate);
        return sum;
    }

    std::vector<PluginEvent> receivedEvents;
    int renderCount = 0;
    int prepareCount = 0;
    bool lastIsSilent = false;
    unsigned int csrDuringRender = 0;
};

} // namespace qor::test
