#include "modal/lamina/lamina.h"

#include "modal/bank/modal_bank.h"

#include <cmath>

namespace qor
{

const Lamina::FixedMode Lamina::fixedModes[Lamina::numFixedModes] = {
    {220.0, 3.0, {0.5, 0.25}, {0.5, 0.4}},
    {587.0, 5.0, {0.3, 0.6}, {0.35, 0.2}},
    {1330.0, 9.0, {0.2, 0.1}, {0.25, 0.3}},
};

Lamina::State::State(Lamina* owner, bool processState)
    : ProcessingElementState(owner), lamina(*owner), isProcessState(processState)
{
}

void Lamina::State::prepare(double sampleRate, uint32_t)
{
    if (!isProcessState)
        return;
    const auto numIn = lamina.getNumInputChannels() == 1 ? 1u : 2u;
    const auto numOut = lamina.getNumOutputChannels() == 1 ? 1u : 2u;
    auto newBank = std::make_shared<ModalBank>(numIn, numOut, numFixedModes);
    newBank->setNumModes(numFixedModes);
    for (uint32_t k = 0; k < numFixedModes; ++k)
    {
        const auto& m = fixedModes[k];
        const double r = std::exp(-m.decayRate / sampleRate);
        const double w = 2.0 * juce::MathConstants<double>::pi * m.frequency / sampleRate;
        const double cs[2] = {r * std::cos(w), r * std::sin(w)};
        newBank->setModeCoefficients(k, cs);
        for (uint32_t i = 0; i < numIn; ++i)
            newBank->setInputGain(k, i, m.inputGain[i]);
        for (uint32_t o = 0; o < numOut; ++o)
            newBank->setOutputGain(k, o, m.outputGain[o]);
    }
    bank = std::move(newBank);
}

void Lamina::State::reset()
{
    if (bank != nullptr)
        bank->clear();
}

void Lamina::State::render(ProcessContext& context, uint32_t numSamples, float* const* channels)
{
    if (bank == nullptr || numSamples == 0)
        return;
    const auto numIn = lamina.getNumInputChannels() == 1 ? 1u : 2u;
    const auto numOut = lamina.getNumOutputChannels() == 1 ? 1u : 2u;
    float* inputs[2] = {};
    float* outputs[2] = {};
    for (uint32_t c = 0; c < numIn; ++c)
    {
        inputs[c] = context.scratch.allocateArray<float>(numSamples);
        std::copy(channels[c], channels[c] + numSamples, inputs[c]);
    }
    for (uint32_t c = 0; c < numOut; ++c)
        outputs[c] = context.scratch.allocateArray<float>(numSamples);
    bank->process(outputs, inputs, numSamples);
    for (uint32_t c = 0; c < numOut; ++c)
        for (uint32_t i = 0; i < numSamples; ++i)
            channels[c][i] += outputs[c][i];
}

Lamina::Lamina(const juce::String& instanceName) : BasicProcessingElement("Lamina", instanceName)
{
    setStates(std::make_unique<State>(this, false), std::make_unique<State>(this, true));
}

void Lamina::registerType()
{
    ElementRegistry::add({"Lamina", "Lamina",
                          [](const juce::String& n)
                          { return std::make_unique<Lamina>(n.isEmpty() ? "Lamina" : n); },
                          0, 1, 0x100, false, false});
}

void Lamina::renderInPlace(ProcessContext& context, ProcessingElementState& state, uint32_t numSamples,
                           float* const* channels, bool& isSilent)
{
    static_cast<State&>(state).render(context, numSamples, channels);
    isSilent = false;
}

} // namespace qor
