// Compiled with the avx512 instruction set (see CMakeLists.txt); reached only after the run-time check.

// GCC 12's AVX-512 square root seeds its unused source with a self-initialised value and then warns about it
// (GCC bug 105593); the value never reaches a result.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include "modal/lamina/damping_kernel.h"

// The vector types carry may_alias, which a template argument drops; the type is the same.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace
{
struct Sqrt
{
    static __m256 of(__m256 x) { return _mm256_sqrt_ps(x); }
    static __m512d of(__m512d x) { return _mm512_sqrt_pd(x); }
};
} // namespace

void qor::avx512::dampingRates(const DampingConstants& constants, const double* omegas, uint32_t count,
                               float* rates)
{
    DampingKernel<__m512d, __m512i, __m256, Sqrt>::run(constants, omegas, count, rates);
}
