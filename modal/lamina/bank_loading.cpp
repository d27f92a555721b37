#include "modal/lamina/bank_loading.h"

#include "modal/bank/poles.h"

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

namespace
{
/** The factor on a mode's input gains that keeps the wet level of the reference rate and the default
    quality. A broadband signal hears a mode by the integral of |H|^2 over the mode's band, which is the rate
    times the energy of its impulse response: rate * g^2 / (2 (1 - |p|^2)). With decay compensation g^2
    carries 1 - |p|^2, so the level goes with the rate alone; without it 1 - |p|^2 itself is about 2 d / rate
    and the level goes with the square of the rate. Scaling each mode by the root of the reference rate's
    figure over this rate's keeps the level of the reference rate, where the gains are as normalised. */
struct LevelScale
{
    LevelScale(const LaminaModeTable& table, const LoadBankSettings& settings)
        : sampleRate(settings.sampleRate), rateRatio(levelReferenceRate / settings.sampleRate),
          tableScale(table.levelScale), compensated(settings.enableDecayCompensation),
          forRate(settings.sampleRate != levelReferenceRate), active(forRate || table.levelScale != 1)
    {
    }

    double of(double decayRate) const
    {
        if (!active)
            return 1;
        double rate = 1;
        if (forRate && compensated)
            rate = std::sqrt(rateRatio);
        else if (forRate)
        {
            const double here = -std::expm1(-2 * decayRate / sampleRate);
            const double there = -std::expm1(-2 * decayRate / levelReferenceRate);
            rate = std::sqrt(rateRatio * (there > 0 ? here / there : rateRatio));
        }
        return rate * tableScale;
    }

    double sampleRate;
    double rateRatio;
    double tableScale;
    bool compensated;
    bool forRate;
    /** False at the reference rate and quality, where the gains stay exactly as normalised. */
    bool active;
};

/** Poles and gains of the modes first to first + count - 1, a chunk at a time on the stack (one job of the
    bank): the poles come from whole vectors where the processor has them, and each chunk reaches the bank in
    one call. With withOutputs false the output gains are left as they are. */
void loadModes(IModalBank& bank, const LaminaModeTable& table, uint32_t first, uint32_t count,
               const LoadBankSettings& settings, GainNorms norms, bool useEQ, bool withOutputs)
{
    const int numInputs = std::clamp(settings.numInputs, 1, 2);
    const int numOutputs = std::clamp(settings.numOutputs, 1, 2);
    const float normIn = norms.in;
    const float normOut = norms.out;

    constexpr uint32_t chunk = 128;
    double decayRates[chunk], omegas[chunk], c[chunk], s[chunk], radii[chunk];
    double inputGains[2][chunk], outputGains[2][chunk];
    ModeSpan span;
    span.c = c;
    span.s = s;
    span.numInputs = static_cast<uint32_t>(numInputs);
    span.numOutputs = withOutputs ? static_cast<uint32_t>(numOutputs) : 0;
    for (int i = 0; i < 2; ++i)
    {
        span.inputGains[i] = inputGains[i];
        span.outputGains[i] = outputGains[i];
    }

    const LevelScale level(table, settings);
    const uint32_t end = first + count;
    for (uint32_t start = first; start < end; start += chunk)
    {
        const uint32_t n = std::min(chunk, end - start);
        for (uint32_t k = 0; k < n; ++k)
        {
            decayRates[k] = table[start + k].decayRate;
            omegas[k] = table[start + k].omega;
        }
        modalbank::computePoles(settings.family, decayRates, omegas, n, settings.sampleRate, c, s, radii);

        for (uint32_t k = 0; k < n; ++k)
        {
            const LaminaModeParams& mode = table[start + k];

            // A resonator's energy grows as 1 / (1 - |p|^2); this evens out long and short modes. |p|^2 from
            // the radius rather than c^2 + s^2, whose rounding would leave a mode that never decays a trace
            // of input.
            float compensation = 1;
            if (settings.enableDecayCompensation)
            {
                const double radius2 = radii[k] * radii[k];
                compensation = static_cast<float>(std::sqrt(std::max(0.0, 1 - radius2) * 20000) * 0.5);
            }
            const double scale = level.of(mode.decayRate);
            for (int i = 0; i < numInputs; ++i)
                inputGains[i][k] = (compensation * mode.inputGain[i]) / normIn * scale;

            if (!withOutputs)
                continue;
            float eq = 1;
            if (useEQ)
            {
                const float f = static_cast<float>(mode.omega * 0.15915494309189535);
                eq = static_cast<float>(std::pow(10.0, bandValueAt(f, *settings.eqTable) * 0.05));
            }
            for (int j = 0; j < numOutputs; ++j)
                outputGains[j][k] = (eq * mode.outputGain[j]) / normOut;
        }
        bank.setModes(start, n, span);
    }
}
} // namespace

GainNorms loadBank(IModalBank& bank, const LaminaModeTable& table, const LoadBankSettings& settings)
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
    GainNorms norms;
    norms.in = std::sqrt(sumIn / static_cast<float>(numInputs));
    norms.out = std::sqrt(sumOut / static_cast<float>(numOutputs));
    bool useEQ = settings.enableEQ && settings.eqTable != nullptr;
    if (useEQ)
    {
        // A flat 0 dB curve reads 0 everywhere and gives a factor of exactly 1: skip the per-mode look-up.
        bool flat = true;
        for (int i = 0; i < MonotoneCubicTable::size; ++i)
            flat = flat && settings.eqTable->value(i) == 0.0f && settings.eqTable->tangent(i) == 0.0f;
        useEQ = !flat;
    }

    loadModes(bank, table, 0, count, settings, norms, useEQ, true);
    return norms;
}

void loadPoles(IModalBank& bank, const LaminaModeTable& table, uint32_t first, uint32_t count,
               const LoadBankSettings& settings, GainNorms norms)
{
    loadModes(bank, table, first, count, settings, norms, false, false);
}

} // namespace qor
