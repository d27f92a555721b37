#include "modal/lamina/lamina_state.h"

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
    for (uint32_t k = 0; k < count; ++k)
    {
        ModeParams& mode = rows[k];
        const float r = static_cast<float>(laminaRand());
        const float f = static_cast<float>(mode.omega * 0.15915494309189535);
        const float rate = ((f * 0.01f) / (f * 0.001f + 1.0f)) * r * q;
        float phase = static_cast<float>(mode.modulationPhase + rate * twoPi * elapsed * invRate);
        if (phase > twoPi)
            phase = static_cast<float>(phase - twoPi);
        mode.modulationPhase = phase;
        const float m = std::sin(phase) * depth * 0.033333335f + 1.0f;
        const double v = static_cast<double>(m) * mode.omega * invRate;
        const double radius = std::exp(-mode.decayRate * invRate);
        const double cs[2] = {radius * std::cos(v), radius * std::sin(v)};
        bank->setModeCoefficients(k, cs);
    }
}

} // namespace qor
