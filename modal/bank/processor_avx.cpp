// Compiled with the avx instruction set (see CMakeLists.txt); reached only after the run-time check.

#include "modal/bank/processors.h"
#include "modal/bank/vector_kernel.h"

namespace
{
/** Separate multiplies and adds, so that the family runs on processors without FMA. */
struct Ops
{
    static __m256 input(__m256 x, __m256 gain, __m256 sum)
    {
        return _mm256_add_ps(_mm256_mul_ps(x, gain), sum);
    }
    static __m256 accumulate(__m256 v, __m256 gain, __m256 acc)
    {
        return _mm256_add_ps(_mm256_mul_ps(v, gain), acc);
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

namespace qor::modalbank::avx
{

template <uint32_t I, uint32_t O>
Processor<I, O>::Processor(uint32_t capacity) : detail::VectorProcessorBase(I, O, capacity)
{
}

template <uint32_t I, uint32_t O>
Processor<I, O>::~Processor() = default;

template <uint32_t I, uint32_t O>
void Processor<I, O>::process(float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    processBlock<Ops, I, O>(*this, outputs, inputs, numSamples);
}

template class Processor<1, 1>;
template class Processor<1, 2>;
template class Processor<2, 1>;
template class Processor<2, 2>;

} // namespace qor::modalbank::avx
