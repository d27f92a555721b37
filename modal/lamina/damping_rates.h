#pragma once

#include "modal/bank/family.h"

#include <cstdint>

namespace qor
{

struct DampingSettings;
class MonotoneCubicTable;

/** Everything dampingRate reads beyond the frequency, worked out once for a whole table with the same
    operations and widths as dampingRate itself, so that the rates over a table agree with it. A plain record:
    the instruction-set files read it without including the model's headers. */
struct DampingConstants
{
    // Friction: ((f / viscousFrequency) * t) / (f / viscousCorner + 1) + (w2 / (c^2 + w2)) * level * c * 0.5.
    double thermalDampMult;
    double viscousFrequency;
    double viscousCorner;
    double thermalCorner;        // c = u * thermalRelaxation / h^2
    double thermalCornerSquared; // c * c
    double thermalLevel;         // (t * thermalCoupling) / u
    // Damper: ((x * 0.1 + 1) / (x + 1)) * porousRate * ((y + 0.1) / (y + 1)), x = f / porousFreq in 32 bits.
    float porousFreq;
    double damperCorner;
    double porousRate; // ln 1000 / decay
    // Air: r = q * f, and the shape times geometry * 0.025330295910584444 * radiationMult.
    float inverseCoincidence; // q
    float geometry;
    double radiationMult;
    // Band: the band decay table's points and tangents.
    float bandValues[12];
    float bandTangents[12];
    float viscousDepth;
    float porousDepth;
    float radiationDepth;
    float bandDepth;
};

DampingConstants makeDampingConstants(const DampingSettings& settings,
                                      const MonotoneCubicTable& bandDecayTable);

/** rates[k] = settings.rateAt(f, bandDecayTable) at f = omegas[k] * 0.15915494309189535, rounded to 32 bits,
    for count modes. The scalar and avx families call dampingRate itself; avx2 and avx512 evaluate it over
    whole vectors with the same widths, where only the logarithms differ from the library's, by about one unit
    in the last place of a double: a rate then differs from dampingRate's by a unit in the last place of a
    float or so, and rarely. Allocates nothing. */
void dampingRatesOverTable(modalbank::Family family, const DampingSettings& settings,
                           const MonotoneCubicTable& bandDecayTable, const double* omegas, uint32_t count,
                           float* rates);

namespace avx2
{
void dampingRates(const DampingConstants& constants, const double* omegas, uint32_t count, float* rates);
}
namespace avx512
{
void dampingRates(const DampingConstants& constants, const double* omegas, uint32_t count, float* rates);
}

} // namespace qor
