// Compiled with the avx instruction set; called only when the processor has it.

#include "tests/bank/reference.h"
#include "tests/bank/reference_loop.h"

namespace
{
struct Ops
{
    static __m256 input(__m256 x, __m256 g, __m256 sum) { return _mm256_add_ps(_mm256_mul_ps(x, g), sum); }
    static __m256 accumulate(__m256 v, __m256 g, __m256 acc)
    {
        return _mm256_add_ps(_mm256_mul_ps(v, g), acc);
    }
    static __m256 nextRe(__m256 v, __m256 c, __m256 s, __m256 im)
    {
        return _mm256_sub_ps(_mm256_mul_ps(v, c), _mm256_mul_ps(s, im));
    }
    static __m256 nextIm(__m256 v, __m256 c, __m256 s, __m256 im)
    {
        return _mm256_add_ps(_mm256_mul_ps(c, im), _mm256_mul_ps(v, s));
    }
};
} // namespace

namespace qor::test
{

void referenceProcessAvx(detail::VectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                         float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    reference::process<Ops>(bank, numInputs, numOutputs, outputs, inputs, numSamples);
}

} // namespace qor::test
