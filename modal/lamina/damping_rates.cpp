#include "modal/lamina/damping_rates.h"

#include "modal/lamina/damping.h"
#include "modal/lamina/materials.h"

namespace qor
{

DampingConstants makeDampingConstants(const DampingSettings& settings,
                                      const MonotoneCubicTable& bandDecayTable)
{
    const LaminaMaterial& material = settings.material;
    DampingConstants k{};
    const double t = settings.thermalDampMult;
    const double u = settings.thermalFreqMult;
    const double h = material.thickness;
    k.thermalDampMult = t;
    k.viscousFrequency = material.viscousFrequency;
    k.viscousCorner = material.viscousCorner;
    k.thermalCorner = u * material.thermalRelaxation / (h * h);
    k.thermalCornerSquared = k.thermalCorner * k.thermalCorner;
    k.thermalLevel = (t * material.thermalCoupling) / u;

    k.porousFreq = settings.porousFreq;
    k.damperCorner = material.damperCorner;
    k.porousRate = ln1000 / settings.decay;

    const double stiffness = laminaStiffness(material);
    const float scale = static_cast<float>(laminaScale(material));
    const float a = scale * settings.dims.width;
    const float b = scale * settings.dims.height;
    const float q = 1.0f / (static_cast<float>(18398.311421423103 / stiffness) * settings.radiationFreqMult);
    const float areal = static_cast<float>(136870.4 / (material.density * material.thickness));
    k.inverseCoincidence = q;
    k.geometry = ((a + a + b + b) / (b * a)) * areal * q;
    k.radiationMult = settings.radiationMult;

    for (int i = 0; i < MonotoneCubicTable::size; ++i)
    {
        k.bandValues[i] = bandDecayTable.value(i);
        k.bandTangents[i] = bandDecayTable.tangent(i);
    }
    k.viscousDepth = settings.viscousDepth;
    k.porousDepth = settings.porousDepth;
    k.radiationDepth = settings.radiationDepth;
    k.bandDepth = settings.bandDepth;
    return k;
}

void dampingRatesOverTable(modalbank::Family family, const DampingSettings& settings,
                           const MonotoneCubicTable& bandDecayTable, const double* omegas, uint32_t count,
                           float* rates)
{
    switch (family)
    {
    case modalbank::Family::avx512:
        avx512::dampingRates(makeDampingConstants(settings, bandDecayTable), omegas, count, rates);
        return;
    case modalbank::Family::avx2:
        avx2::dampingRates(makeDampingConstants(settings, bandDecayTable), omegas, count, rates);
        return;
    case modalbank::Family::avx:
    case modalbank::Family::scalar:
        break;
    }
    for (uint32_t k = 0; k < count; ++k)
        rates[k] = settings.rateAt(static_cast<float>(omegas[k] * 0.15915494309189535), bandDecayTable);
}

} // namespace qor
