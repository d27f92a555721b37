#include "modal/bank/poles.h"

#include <cmath>

namespace qor::modalbank
{

void computePoles(Family family, const double* decayRates, const double* omegas, uint32_t count,
                  double sampleRate, double* c, double* s, double* radii)
{
    const double period = 1 / sampleRate;
    switch (family)
    {
    case Family::avx512:
        avx512::computePoles(decayRates, omegas, count, period, c, s, radii);
        return;
    case Family::avx2:
        avx2::computePoles(decayRates, omegas, count, period, c, s, radii);
        return;
    case Family::avx:
    case Family::scalar:
        break;
    }
    for (uint32_t k = 0; k < count; ++k)
    {
        const double radius = std::exp(-decayRates[k] * period);
        c[k] = radius * std::cos(omegas[k] * period);
        s[k] = radius * std::sin(omegas[k] * period);
        if (radii != nullptr)
            radii[k] = radius;
    }
}

} // namespace qor::modalbank
