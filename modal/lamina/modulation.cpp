#include "modal/lamina/lamina_state.h"

#include "modal/bank/poles.h"

#include <algorithm>
#include <cmath>

namespace qor
{

namespace
{
constexpr double twoPi = 6.283185307179586;
} // namespace

void Lamina::State::updateModulation(uint32_t elapsedSamples)
{
    stats->modulationUpdates.fetch_add(1, std::memory_order_relaxed);
    stats->lastModulationElapsed.store(elapsedSamples, std::memory_order_relaxed);
    if (bank == nullptr || table == nullptr)
        return;

    const double invRate = 1.0 / sampleRate;
    const float depth = modulation;
    const double elapsed = elapsedSamples;
    constexpr float q = 6.1037019e-05f;
    auto& rows = *table;
    const uint32_t count = static_cast<uint32_t>(rows.size());

    // A chunk at a time: the phases one mode after another (they share one random stream), then the poles
    // over whole vectors where the processor has them, each chunk to the bank in one call.
    constexpr uint32_t chunk = 128;
    double decayRates[chunk], omegas[chunk], c[chunk], s[chunk];
    ModeSpan poles;
    poles.c = c;
    poles.s = s;
    const auto family = modalbank::bestFamily();
    for (uint32_t first = 0; first < count; first += chunk)
    {
        const uint32_t n = std::min(chunk, count - first);
        for (uint32_t k = 0; k < n; ++k)
        {
            ModeParams& mode = rows[first + k];
            const float r = static_cast<float>(laminaRand());
            const float f = static_cast<float>(mode.omega * 0.15915494309189535);
            const float rate = ((f * 0.01f) / (f * 0.001f + 1.0f)) * r * q;
            float phase = static_cast<float>(mode.modulationPhase + rate * twoPi * elapsed * invRate);
            if (phase > twoPi)
                phase = static_cast<float>(phase - twoPi);
            mode.modulationPhase = phase;
            const float m = std::sin(phase) * depth * 0.033333335f + 1.0f;
            decayRates[k] = mode.decayRate;
            omegas[k] = static_cast<double>(m) * mode.omega; // times 1 / sampleRate in computePoles
        }
        modalbank::computePoles(family, decayRates, omegas, n, sampleRate, c, s);
        bank->setModes(first, n, poles);
    }
}

} // namespace qor
