// Compiled with the avx2 instruction set (see CMakeLists.txt); reached only after the run-time check.

#include "modal/lamina/damping_kernel.h"

// The vector types carry may_alias, which a template argument drops; the type is the same.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace
{
struct Sqrt
{
    static __m128 of(__m128 x) { return _mm_sqrt_ps(x); }
    static __m256d of(__m256d x) { return _mm256_sqrt_pd(x); }
};
} // namespace

void qor::avx2::dampingRates(const DampingConstants& constants, const double* omegas, uint32_t count,
                             float* rates)
{
    DampingKernel<__m256d, __m256i, __m128, Sqrt>::run(constants, omegas, count, rates);
}
