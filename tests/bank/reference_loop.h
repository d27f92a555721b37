#pragma once

// The sample-outer vector loop, one sample at a time through every group. Included only by the two reference
// files, each compiled for its family's instruction set, with that family's arithmetic as Ops.

#include "modal/bank/simd_processor_base.h"

#include <immintrin.h>

namespace qor::test::reference
{
// Internal to each including file: the two files compile it for different instruction sets.
static inline void storeLaneZero(float* destination, __m256 acc)
{
    const __m256 swapped = _mm256_permute2f128_ps(acc, acc, 1);
    __m256 sum = _mm256_hadd_ps(acc, swapped);
    sum = _mm256_hadd_ps(sum, sum);
    sum = _mm256_hadd_ps(sum, sum);
    _mm256_maskstore_ps(destination, _mm256_setr_epi32(-1, 0, 0, 0, 0, 0, 0, 0), sum);
}

template <class Ops, uint32_t I, uint32_t O>
inline void run(qor::detail::VectorProcessorBase& bank, float* const* outputs, const float* const* inputs,
                uint32_t numSamples)
{
    const uint32_t stride = bank.stride;
    for (uint32_t n = 0; n < numSamples; ++n)
    {
        const __m256 x0 = _mm256_broadcast_ss(inputs[0] + n);
        const __m256 x1 = _mm256_broadcast_ss(inputs[I - 1] + n);
        __m256 y0 = _mm256_setzero_ps();
        __m256 y1 = _mm256_setzero_ps();
        for (uint32_t k = 0; k < bank.numModes; k += 8)
        {
            float* state = bank.modeState + 2 * k;
            const float* coefficients = bank.coefficients + 2 * k;
            const __m256 c = _mm256_load_ps(coefficients);
            const __m256 s = _mm256_load_ps(coefficients + 8);
            const __m256 re = _mm256_load_ps(state);
            const __m256 im = _mm256_load_ps(state + 8);
            const __m256 g0 = _mm256_load_ps(bank.inputGains + k);
            const __m256 g1 = _mm256_load_ps(bank.inputGains + (I - 1) * stride + k);
            const __m256 o0 = _mm256_load_ps(bank.outputGains + k);
            const __m256 o1 = _mm256_load_ps(bank.outputGains + (O - 1) * stride + k);
            __m256 v = Ops::input(x0, g0, re);
            if (I == 2)
                v = Ops::input(x1, g1, v);
            y0 = Ops::accumulate(v, o0, y0);
            if (O == 2)
                y1 = Ops::accumulate(v, o1, y1);
            const __m256 nextRe = Ops::nextRe(v, c, s, im);
            const __m256 nextIm = Ops::nextIm(v, c, s, im);
            _mm256_store_ps(state, nextRe);
            _mm256_store_ps(state + 8, nextIm);
        }
        storeLaneZero(outputs[0] + n, y0);
        if (O == 2)
            storeLaneZero(outputs[1] + n, y1);
    }
}
/** Dispatches on the channel counts. */
template <class Ops>
inline void process(detail::VectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                    float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    if (numInputs == 1 && numOutputs == 1)
        run<Ops, 1, 1>(bank, outputs, inputs, numSamples);
    else if (numInputs == 1 && numOutputs == 2)
        run<Ops, 1, 2>(bank, outputs, inputs, numSamples);
    else if (numInputs == 2 && numOutputs == 1)
        run<Ops, 2, 1>(bank, outputs, inputs, numSamples);
    else
        run<Ops, 2, 2>(bank, outputs, inputs, numSamples);
}
} // namespace qor::test::reference
