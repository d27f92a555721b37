#include "modal/lamina/bank_loading.h"

#include <algorithm>
#include <cmath>

namespace qor
{

ModePole modePole(double decayRate, double omega, double sampleRate)
{
    const double period = 1 / sampleRate;
    const double radius = std::exp(-decayRate * period);
    return {radius * std::cos(omega * period), radius * std::sin(omega * period)};
}

void loadBank(IModalBank& bank, const LaminaModeTable& table, const LoadBankSettings& settings)
{
    const uint32_t count = static_cast<uint32_t>(table.size());
    const int numInputs = std::clamp(settings.numInputs, 1, 2);
    const int numOutputs = std::clamp(settings.numOutputs, 1, 2);
    bank.setNumModes(count);

    // The norms come from the raw gains, so that compensation and EQ act as real level changes.
    float sumIn = 1e-10f;
    float sumOut = 1e-10f;
    for (const LaminaModeParams& mode : table)
    {
        for (int i = 0; i < numInputs; ++i)
            sumIn = static_cast<float>(sumIn + mode.inputGain[i] * mode.inputGain[i]);
        for (int j = 0; j < numOutputs; ++j)
            sumOut = static_cast<float>(sumOut + mode.outputGain[j] * mode.outputGain[j]);
    }
    const float normIn = std::sqrt(sumIn / static_cast<float>(numInputs));
    const float normOut = std::sqrt(sumOut / static_cast<float>(numOutputs));
    bool useEQ = settings.enableEQ && settings.eqTable != nullptr;
    if (useEQ)
    {
        // A flat 0 dB curve reads 0 everywhere and gives a factor of exactly 1: skip the per-mode look-up.
        bool flat = true;
        for (int i = 0; i < MonotoneCubicTable::size; ++i)
            flat = flat && settings.eqTable->value(i) == 0.0f && settings.eqTable->tangent(i) == 0.0f;
        useEQ = !flat;
    }

    for (uint32_t k = 0; k < count; ++k)
    {
        const LaminaModeParams& mode = table[k];
        const ModePole pole = modePole(mode.decayRate, mode.omega, settings.sampleRate);
        const double cs[2] = {pole.c, pole.s};
        bank.setModeCoefficients(k, cs);

        // A resonator's energy grows as 1 / (1 - |p|^2); this evens out long and short modes.
        float compensation = 1;
        if (settings.enableDecayCompensation)
        {
            const double radius2 = pole.c * pole.c + pole.s * pole.s;
            compensation = static_cast<float>(std::sqrt(std::max(0.0, 1 - radius2) * 20000) * 0.5);
        }
        for (int i = 0; i < numInputs; ++i)
            bank.setInputGain(k, static_cast<uint32_t>(i), (compensation * mode.inputGain[i]) / normIn);

        float eq = 1;
        if (useEQ)
        {
            const float f = static_cast<float>(mode.omega * 0.15915494309189535);
            eq = static_cast<float>(std::pow(10.0, bandValueAt(f, *settings.eqTable) * 0.05));
        }
        for (int j = 0; j < numOutputs; ++j)
            bank.setOutputGain(k, static_cast<uint32_t>(j), (eq * mode.outputGain[j]) / normOut);
    }
}

} // namespace qor
