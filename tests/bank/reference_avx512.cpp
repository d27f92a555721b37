// Compiled with the avx512 family's instruction set; called only when the processor has it.

#pragma GCC diagnostic ignored "-Wmaybe-uninitialized" // GCC 12's AVX-512 extracts, see processor_avx512.cpp

#include "tests/bank/reference.h"

#include <immintrin.h>

namespace
{
using Base = qor::detail::WideVectorProcessorBase;

void storeSum(float* destination, __m512 acc)
{
    alignas(64) float lane[16];
    _mm512_store_ps(lane, acc);
    float b[8], c[4];
    for (int i = 0; i < 8; ++i)
        b[i] = lane[i] + lane[i + 8];
    for (int i = 0; i < 4; ++i)
        c[i] = b[i] + b[i + 4];
    *destination = (c[0] + c[2]) + (c[1] + c[3]);
}

template <uint32_t I, uint32_t O>
void run(Base& bank, float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    const uint32_t stride = bank.stride;
    for (uint32_t n = 0; n < numSamples; ++n)
    {
        const __m512 x0 = _mm512_set1_ps(inputs[0][n]);
        const __m512 x1 = _mm512_set1_ps(inputs[I - 1][n]);
        __m512 y0 = _mm512_setzero_ps();
        __m512 y1 = _mm512_setzero_ps();
        for (uint32_t k = 0; k < bank.numModes; k += 16)
        {
            float* state = bank.modeState + 2 * k;
            const float* coefficients = bank.coefficients + 2 * k;
            const __m512 c = _mm512_load_ps(coefficients);
            const __m512 s = _mm512_load_ps(coefficients + 16);
            const __m512 re = _mm512_load_ps(state);
            const __m512 im = _mm512_load_ps(state + 16);
            __m512 v = _mm512_fmadd_ps(x0, _mm512_load_ps(bank.inputGains + k), re);
            if (I == 2)
                v = _mm512_fmadd_ps(x1, _mm512_load_ps(bank.inputGains + stride + k), v);
            y0 = _mm512_fmadd_ps(v, _mm512_load_ps(bank.outputGains + k), y0);
            if (O == 2)
                y1 = _mm512_fmadd_ps(v, _mm512_load_ps(bank.outputGains + stride + k), y1);
            _mm512_store_ps(state, _mm512_fmsub_ps(v, c, _mm512_mul_ps(s, im)));
            _mm512_store_ps(state + 16, _mm512_fmadd_ps(v, s, _mm512_mul_ps(c, im)));
        }
        storeSum(outputs[0] + n, y0);
        if (O == 2)
            storeSum(outputs[1] + n, y1);
    }
}
} // namespace

namespace qor::test
{

void referenceProcessAvx512(detail::WideVectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                            float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    if (numInputs == 1 && numOutputs == 1)
        run<1, 1>(bank, outputs, inputs, numSamples);
    else if (numInputs == 1 && numOutputs == 2)
        run<1, 2>(bank, outputs, inputs, numSamples);
    else if (numInputs == 2 && numOutputs == 1)
        run<2, 1>(bank, outputs, inputs, numSamples);
    else
        run<2, 2>(bank, outputs, inputs, numSamples);
}

} // namespace qor::test
