#pragma once

#include "modal/bank/family.h"

#include <cstdint>

namespace qor::modalbank
{

/** The poles c + i s = exp((-decayRates[k] + i omegas[k]) / sampleRate) of count modes, in 64 bits, on the
    family's instruction set. The scalar family (and avx, which lacks the integer vectors) calls the library's
    exp, cos and sin, as one mode at a time would; avx2 and avx512 evaluate them over whole vectors to about
    one unit in the last place of a double, so that after the rounding to 32 bits on entry to the bank a
    value differs from the scalar one by at most one unit in the last place of a float, and practically never.
    radii, when given, receives each pole's radius exp(-decayRates[k] / sampleRate): its square is |p|^2
    without the rounding of c^2 + s^2, exactly 1 for a mode that does not decay. Allocates nothing; any count,
    no alignment asked for. */
void computePoles(Family family, const double* decayRates, const double* omegas, uint32_t count,
                  double sampleRate, double* c, double* s, double* radii = nullptr);

namespace avx2
{
void computePoles(const double* decayRates, const double* omegas, uint32_t count, double period, double* c,
                  double* s, double* radii);
}
namespace avx512
{
void computePoles(const double* decayRates, const double* omegas, uint32_t count, double period, double* c,
                  double* s, double* radii);
}

} // namespace qor::modalbank
