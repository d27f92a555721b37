#pragma once

// The group loop shared by the avx and avx2 processors. Include only from their translation units: everything
// here has internal linkage, so each family gets its own copy compiled for its own instruction set and no
// vector code can be picked by the linker for baseline code.

#include "modal/bank/simd_processor_base.h"

#include <cstdint>
#include <immintrin.h>

namespace
{

using VectorBase = qor::detail::VectorProcessorBase;

// Samples per pass over the groups; the per-sample lane accumulators of a pass stay in L1.
constexpr uint32_t subBlock = 128;
// Groups run side by side in one pass, enough to hide the latency of one group's recurrence.
constexpr uint32_t groupsPerPass = 4;

/** Sum of the eight lanes by the fixed tree: swap halves, then three horizontal adds; the result is lane 0.
 */
inline float horizontalSum(__m256 acc)
{
    const __m256 swapped = _mm256_permute2f128_ps(acc, acc, 1);
    __m256 sum = _mm256_hadd_ps(acc, swapped);
    sum = _mm256_hadd_ps(sum, sum);
    sum = _mm256_hadd_ps(sum, sum);
    return _mm256_cvtss_f32(sum);
}

/** The same tree for eight consecutive samples at once, one result per lane. Each lane pairs its operands
    exactly as horizontalSum does, and addition is commutative, so the results are identical bit for bit. */
inline __m256 horizontalSum8(const float* acc)
{
    const __m256 ab = _mm256_hadd_ps(_mm256_load_ps(acc), _mm256_load_ps(acc + 8));
    const __m256 cd = _mm256_hadd_ps(_mm256_load_ps(acc + 16), _mm256_load_ps(acc + 24));
    const __m256 ef = _mm256_hadd_ps(_mm256_load_ps(acc + 32), _mm256_load_ps(acc + 40));
    const __m256 gh = _mm256_hadd_ps(_mm256_load_ps(acc + 48), _mm256_load_ps(acc + 56));
    // Low halves hold each sample's lanes 0..3 summed, high halves lanes 4..7.
    const __m256 abcd = _mm256_hadd_ps(ab, cd);
    const __m256 efgh = _mm256_hadd_ps(ef, gh);
    return _mm256_add_ps(_mm256_permute2f128_ps(abcd, efgh, 0x20), _mm256_permute2f128_ps(abcd, efgh, 0x31));
}

/** Runs G consecutive groups from firstGroup over numSamples samples, states in registers, adding each
   group's output into the per-sample lane accumulators in group order. */
template <class Ops, uint32_t I, uint32_t O, uint32_t G>
inline void runGroups(VectorBase& bank, uint32_t firstGroup, float* const* acc, const float* const* inputs,
                      uint32_t numSamples)
{
    __m256 re[G], im[G], c[G], s[G], gIn[I][G], gOut[O][G];
#pragma GCC unroll 8
    for (uint32_t j = 0; j < G; ++j)
    {
        const uint32_t g = firstGroup + j;
        re[j] = _mm256_load_ps(bank.modeState + 16 * g);
        im[j] = _mm256_load_ps(bank.modeState + 16 * g + 8);
        c[j] = _mm256_load_ps(bank.coefficients + 16 * g);
        s[j] = _mm256_load_ps(bank.coefficients + 16 * g + 8);
#pragma GCC unroll 8
        for (uint32_t i = 0; i < I; ++i)
            gIn[i][j] = _mm256_load_ps(bank.inputGains + i * bank.stride + 8 * g);
#pragma GCC unroll 8
        for (uint32_t o = 0; o < O; ++o)
            gOut[o][j] = _mm256_load_ps(bank.outputGains + o * bank.stride + 8 * g);
    }

    for (uint32_t n = 0; n < numSamples; ++n)
    {
        __m256 x[I];
#pragma GCC unroll 8
        for (uint32_t i = 0; i < I; ++i)
            x[i] = _mm256_broadcast_ss(inputs[i] + n);
        __m256 y[O];
#pragma GCC unroll 8
        for (uint32_t o = 0; o < O; ++o)
            y[o] = _mm256_load_ps(acc[o] + 8 * n);

#pragma GCC unroll 8

        for (uint32_t j = 0; j < G; ++j)
        {
            __m256 v = Ops::input(x[0], gIn[0][j], re[j]);
            if constexpr (I == 2)
                v = Ops::input(x[1], gIn[1][j], v);
#pragma GCC unroll 8
            for (uint32_t o = 0; o < O; ++o)
                y[o] = Ops::accumulate(v, gOut[o][j], y[o]);
            const __m256 nextRe = Ops::nextRe(v, c[j], s[j], im[j]);
            im[j] = Ops::nextIm(v, c[j], s[j], im[j]);
            re[j] = nextRe;
        }

#pragma GCC unroll 8

        for (uint32_t o = 0; o < O; ++o)
            _mm256_store_ps(acc[o] + 8 * n, y[o]);
    }

#pragma GCC unroll 8

    for (uint32_t j = 0; j < G; ++j)
    {
        const uint32_t g = firstGroup + j;
        _mm256_store_ps(bank.modeState + 16 * g, re[j]);
        _mm256_store_ps(bank.modeState + 16 * g + 8, im[j]);
    }
}

/** One block: the result is bit-identical to running every group for each sample in turn (sample-outer),
   since each lane still adds the groups in order and the lanes are reduced by the same tree. */
template <class Ops, uint32_t I, uint32_t O>
void processBlock(VectorBase& bank, float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    alignas(32) float accStorage[O][subBlock * 8];
    float* acc[O];
    for (uint32_t o = 0; o < O; ++o)
        acc[o] = accStorage[o];

    const uint32_t groups = (bank.numModes + 7) >> 3;

    for (uint32_t start = 0; start < numSamples; start += subBlock)
    {
        const uint32_t remaining = numSamples - start;
        const uint32_t n = remaining < subBlock ? remaining : subBlock;
        const float* in[I];
        for (uint32_t i = 0; i < I; ++i)
            in[i] = inputs[i] + start;

        const __m256 zero = _mm256_setzero_ps();
        for (uint32_t o = 0; o < O; ++o)
            for (uint32_t k = 0; k < n; ++k)
                _mm256_store_ps(acc[o] + 8 * k, zero);

        uint32_t g = 0;
        for (; g + groupsPerPass <= groups; g += groupsPerPass)
            runGroups<Ops, I, O, groupsPerPass>(bank, g, acc, in, n);
        switch (groups - g)
        {
        case 3:
            runGroups<Ops, I, O, 3>(bank, g, acc, in, n);
            break;
        case 2:
            runGroups<Ops, I, O, 2>(bank, g, acc, in, n);
            break;
        case 1:
            runGroups<Ops, I, O, 1>(bank, g, acc, in, n);
            break;
        default:
            break;
        }

        for (uint32_t o = 0; o < O; ++o)
        {
            float* out = outputs[o] + start;
            uint32_t k = 0;
            for (; k + 8 <= n; k += 8)
                _mm256_storeu_ps(out + k, horizontalSum8(acc[o] + 8 * k));
            for (; k < n; ++k)
                out[k] = horizontalSum(_mm256_load_ps(acc[o] + 8 * k));
        }
    }
}

} // namespace
