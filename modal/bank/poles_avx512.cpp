// Compiled with the avx512 instruction set (see CMakeLists.txt); reached only after the run-time check.

#include "modal/bank/pole_kernel.h"
#include "modal/bank/poles.h"

void qor::modalbank::avx512::computePoles(const double* decayRates, const double* omegas, uint32_t count,
                                          double period, double* c, double* s, double* radii)
{
    computePolesOver<__m512d, __m512i>(decayRates, omegas, count, period, c, s, radii);
}
