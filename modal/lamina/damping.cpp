#include "modal/lamina/damping.h"

#include "modal/bank/family.h"
#include "modal/lamina/damping_rates.h"

#include <algorithm>
#include <cmath>

namespace qor
{

float viscousDamping(float f, float thermalDampMult, float thermalFreqMult, const LaminaMaterial& material)
{
    const double fd = f;
    const double t = thermalDampMult;
    const double u = thermalFreqMult;
    const double w2 = fd * fd * 39.47841760435743;
    const double h = material.thickness;
    const double c = u * material.thermalRelaxation / (h * h);
    return static_cast<float>(((fd / material.viscousFrequency) * t) / (fd / material.viscousCorner + 1) +
                              (w2 / (c * c + w2)) * ((t * material.thermalCoupling) / u) * c * 0.5);
}

float porousDamping(float f, float decay, float porousFreq, const LaminaMaterial& material)
{
    const double x = f / porousFreq;
    const double y = static_cast<double>(f) / material.damperCorner;
    return static_cast<float>(((x * 0.1 + 1) / (x + 1)) * (ln1000 / decay) * ((y + 0.1) / (y + 1)));
}

float radiationDamping(float f, float radiationFreqMult, float radiationMult, const LaminaMaterial& material,
                       LaminaDimensions dims)
{
    const double stiffness = laminaStiffness(material);
    const float scale = static_cast<float>(laminaScale(material));
    const float a = scale * dims.width;
    const float b = scale * dims.height;
    // 340^2 / (2 pi) over B is the coincidence frequency; q is its inverse.
    const float q = 1.0f / (static_cast<float>(18398.311421423103 / stiffness) * radiationFreqMult);
    const float r = q * f;
    const float p = std::sqrt(r);
    const double pd = p;
    const double rd = r;
    // The 1e-10 terms keep the coincidence peak finite.
    const double logTerm = std::log((1 + pd) / (std::fabs(1 - pd) + 1e-10));
    const double oneMinusR = std::fabs(1 - rd);
    const double shape = (logTerm * (1 - rd) + 2 * pd) / (std::sqrt(oneMinusR) * oneMinusR + 1e-10);
    // 136870.4 is air density times the speed of sound squared.
    const float areal = static_cast<float>(136870.4 / (material.density * material.thickness));
    const float geometry = ((a + a + b + b) / (b * a)) * areal * q;
    return static_cast<float>(shape * geometry * 0.025330295910584444 * radiationMult);
}

float bandDamping(float f, const MonotoneCubicTable& table)
{
    const float v = std::clamp(bandValueAt(f, table), 0.0f, 1.0f);
    // At v = 1 the division gives infinity, which the clamp turns into the longest time.
    const float x = std::clamp(v / (1 - v), 0.0f, 10000.0f);
    return static_cast<float>(ln1000 / x);
}

float dampingRate(float f, float thermalDampMult, float decay, float thermalFreqMult, float radiationFreqMult,
                  float radiationMult, float porousFreq, const MonotoneCubicTable& table, float viscousDepth,
                  float porousDepth, float radiationDepth, float bandDepth, const LaminaMaterial& material,
                  LaminaDimensions dims)
{
    const float viscous = viscousDamping(f, thermalDampMult, thermalFreqMult, material);
    const float porous = porousDamping(f, decay, porousFreq, material);
    const float radiation = radiationDamping(f, radiationFreqMult, radiationMult, material, dims);
    const float band = bandDamping(f, table);
    const float sum = (viscous * viscousDepth + porous * porousDepth) + radiation * radiationDepth;
    return band * bandDepth + sum;
}

float DampingSettings::rateAt(float f, const MonotoneCubicTable& bandDecayTable) const
{
    return dampingRate(f, thermalDampMult, decay, thermalFreqMult, radiationFreqMult, radiationMult,
                       porousFreq, bandDecayTable, viscousDepth, porousDepth, radiationDepth, bandDepth,
                       material, dims);
}

void recomputeDecayRates(LaminaModeTable& table, const DampingSettings& damping,
                         const MonotoneCubicTable& bandDecayTable)
{
    recomputeDecayRates(table, 0, static_cast<uint32_t>(table.size()), damping, bandDecayTable);
}

void recomputeDecayRates(LaminaModeTable& table, uint32_t first, uint32_t count,
                         const DampingSettings& damping, const MonotoneCubicTable& bandDecayTable)
{
    // In chunks on the stack: the rates come from whole vectors where the processor has them.
    constexpr uint32_t chunk = 256;
    double omegas[chunk];
    float rates[chunk];
    const auto family = modalbank::bestFamily();
    const uint32_t end = first + count;
    for (uint32_t start = first; start < end; start += chunk)
    {
        const uint32_t n = std::min(chunk, end - start);
        for (uint32_t k = 0; k < n; ++k)
            omegas[k] = table[start + k].omega;
        dampingRatesOverTable(family, damping, bandDecayTable, omegas, n, rates);
        for (uint32_t k = 0; k < n; ++k)
            table[start + k].decayRate = rates[k];
    }
}

} // namespace qor
