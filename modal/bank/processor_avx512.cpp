// Compiled with the AVX-512 instruction set (see CMakeLists.txt); reached only after the run-time check. All
// helpers are internal to this file, so the linker can never hand one of them to baseline code.

// GCC 12's AVX-512 shuffles and extracts seed their unused source with a self-initialised value and then warn
// about it (GCC bug 105593); the value never reaches a result.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "modal/bank/processors.h"

#include <immintrin.h>

namespace
{

using Base = qor::detail::WideVectorProcessorBase;

constexpr uint32_t lanes = 16;
// Samples per pass over the groups; the per-sample lane accumulators of a pass stay in L1.
constexpr uint32_t subBlock = 64;

/** Groups run side by side in one pass: as many as the 32 registers hold with their tables, states and the
    temporaries, and enough to hide the latency of one group's recurrence. */
template <uint32_t I, uint32_t O>
constexpr uint32_t groupsPerPass = 4;

/** Sum of the sixteen lanes by a fixed tree: the two 256-bit halves, then the two 128-bit halves, then lanes
    two apart, then the last pair. Lane 0 of the result. */
inline float horizontalSum(__m512 acc)
{
    const __m256 high = _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(acc), 1));
    const __m256 b = _mm256_add_ps(_mm512_castps512_ps256(acc), high);
    const __m128 c = _mm_add_ps(_mm256_castps256_ps128(b), _mm256_extractf128_ps(b, 1));
    const __m128 d = _mm_add_ps(c, _mm_movehl_ps(c, c));
    return _mm_cvtss_f32(_mm_add_ss(d, _mm_movehdup_ps(d)));
}

/** The same tree for sixteen consecutive samples at once, one result per lane. Every sum pairs the same lanes
    as horizontalSum does, and addition is commutative, so the results are identical bit for bit. */
inline __m512 horizontalSum16(const float* acc)
{
    __m512 b[8];
    for (int k = 0; k < 8; ++k)
    {
        // Two samples: their 256-bit halves added, each sample's eight sums in one half of the result.
        const __m512 p = _mm512_load_ps(acc + 32 * k);
        const __m512 q = _mm512_load_ps(acc + 32 * k + 16);
        b[k] = _mm512_add_ps(_mm512_shuffle_f32x4(p, q, 0x44), _mm512_shuffle_f32x4(p, q, 0xee));
    }
    __m512 c[4];
    for (int k = 0; k < 4; ++k)
    {
        // Four samples, one per 128-bit block: each sample's two blocks of four added.
        const __m512 p = b[2 * k];
        const __m512 q = b[2 * k + 1];
        c[k] = _mm512_add_ps(_mm512_shuffle_f32x4(p, q, 0x88), _mm512_shuffle_f32x4(p, q, 0xdd));
    }
    // Block k now holds, for samples k and k + 4 (then k + 8 and k + 12), the lanes two apart added.
    const __m512 d0 = _mm512_add_ps(_mm512_shuffle_ps(c[0], c[1], 0x44), _mm512_shuffle_ps(c[0], c[1], 0xee));
    const __m512 d1 = _mm512_add_ps(_mm512_shuffle_ps(c[2], c[3], 0x44), _mm512_shuffle_ps(c[2], c[3], 0xee));
    // Block k: samples k, k + 4, k + 8, k + 12; put them in order.
    const __m512 e = _mm512_add_ps(_mm512_shuffle_ps(d0, d1, 0x88), _mm512_shuffle_ps(d0, d1, 0xdd));
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm512_permutexvar_ps(order, e);
}

/** Runs G consecutive groups from firstGroup over numSamples samples, states in registers, adding each
   group's output into the per-sample lane accumulators in group order; the first pass starts them from zero.
 */
template <uint32_t I, uint32_t O, uint32_t G, bool first>
inline void runGroups(Base& bank, uint32_t firstGroup, float* const* acc, const float* const* inputs,
                      uint32_t numSamples)
{
    __m512 re[G], im[G], c[G], s[G], gIn[I][G], gOut[O][G];
#pragma GCC unroll 16
    for (uint32_t j = 0; j < G; ++j)
    {
        const uint32_t g = firstGroup + j;
        re[j] = _mm512_load_ps(bank.modeState + 2 * lanes * g);
        im[j] = _mm512_load_ps(bank.modeState + 2 * lanes * g + lanes);
        c[j] = _mm512_load_ps(bank.coefficients + 2 * lanes * g);
        s[j] = _mm512_load_ps(bank.coefficients + 2 * lanes * g + lanes);
#pragma GCC unroll 2
        for (uint32_t i = 0; i < I; ++i)
            gIn[i][j] = _mm512_load_ps(bank.inputGains + i * bank.stride + lanes * g);
#pragma GCC unroll 2
        for (uint32_t o = 0; o < O; ++o)
            gOut[o][j] = _mm512_load_ps(bank.outputGains + o * bank.stride + lanes * g);
    }

    for (uint32_t n = 0; n < numSamples; ++n)
    {
        __m512 x[I];
#pragma GCC unroll 2
        for (uint32_t i = 0; i < I; ++i)
            x[i] = _mm512_set1_ps(inputs[i][n]);
        __m512 y[O];
#pragma GCC unroll 2
        for (uint32_t o = 0; o < O; ++o)
            y[o] = first ? _mm512_setzero_ps() : _mm512_load_ps(acc[o] + lanes * n);

#pragma GCC unroll 16
        for (uint32_t j = 0; j < G; ++j)
        {
            __m512 v = _mm512_fmadd_ps(x[0], gIn[0][j], re[j]);
            if constexpr (I == 2)
                v = _mm512_fmadd_ps(x[1], gIn[1][j], v);
#pragma GCC unroll 2
            for (uint32_t o = 0; o < O; ++o)
                y[o] = _mm512_fmadd_ps(v, gOut[o][j], y[o]);
            // The products s * im and c * im are rounded before they enter the fused operation.
            const __m512 nextRe = _mm512_fmsub_ps(v, c[j], _mm512_mul_ps(s[j], im[j]));
            im[j] = _mm512_fmadd_ps(v, s[j], _mm512_mul_ps(c[j], im[j]));
            re[j] = nextRe;
        }

#pragma GCC unroll 2
        for (uint32_t o = 0; o < O; ++o)
            _mm512_store_ps(acc[o] + lanes * n, y[o]);
    }

#pragma GCC unroll 16
    for (uint32_t j = 0; j < G; ++j)
    {
        const uint32_t g = firstGroup + j;
        _mm512_store_ps(bank.modeState + 2 * lanes * g, re[j]);
        _mm512_store_ps(bank.modeState + 2 * lanes * g + lanes, im[j]);
    }
}

/** The groups from firstGroup to the end, in passes of at most P; the first of them starts the accumulators.
 */
template <uint32_t I, uint32_t O, bool first>
void runRemainingGroups(Base& bank, uint32_t firstGroup, uint32_t groups, float* const* acc,
                        const float* const* inputs, uint32_t numSamples)
{
    constexpr uint32_t P = groupsPerPass<I, O>;
    static_assert(P >= 1 && P <= 4);
    const uint32_t left = groups - firstGroup;
    if (left >= P)
    {
        runGroups<I, O, P, first>(bank, firstGroup, acc, inputs, numSamples);
        runRemainingGroups<I, O, false>(bank, firstGroup + P, groups, acc, inputs, numSamples);
        return;
    }
    switch (left)
    {
    case 3:
        runGroups<I, O, 3, first>(bank, firstGroup, acc, inputs, numSamples);
        break;
    case 2:
        runGroups<I, O, 2, first>(bank, firstGroup, acc, inputs, numSamples);
        break;
    case 1:
        runGroups<I, O, 1, first>(bank, firstGroup, acc, inputs, numSamples);
        break;
    default:
        break;
    }
}

/** One block: bit-identical to running every group for each sample in turn (sample-outer), since each lane
    still adds the groups in order and the lanes are reduced by the same tree. */
template <uint32_t I, uint32_t O>
void processBlock(Base& bank, float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    alignas(64) float accStorage[O][subBlock * lanes];
    float* acc[O];
    for (uint32_t o = 0; o < O; ++o)
        acc[o] = accStorage[o];

    const uint32_t groups = (bank.numModes + lanes - 1) / lanes;

    for (uint32_t start = 0; start < numSamples; start += subBlock)
    {
        const uint32_t remaining = numSamples - start;
        const uint32_t n = remaining < subBlock ? remaining : subBlock;
        const float* in[I];
        for (uint32_t i = 0; i < I; ++i)
            in[i] = inputs[i] + start;

        if (groups == 0)
        {
            for (uint32_t o = 0; o < O; ++o)
                for (uint32_t k = 0; k < n; ++k)
                    outputs[o][start + k] = 0.0f;
            continue;
        }
        runRemainingGroups<I, O, true>(bank, 0, groups, acc, in, n);

        for (uint32_t o = 0; o < O; ++o)
        {
            float* out = outputs[o] + start;
            uint32_t k = 0;
            for (; k + lanes <= n; k += lanes)
                _mm512_storeu_ps(out + k, horizontalSum16(acc[o] + lanes * k));
            for (; k < n; ++k)
                out[k] = horizontalSum(_mm512_load_ps(acc[o] + lanes * k));
        }
    }
}

} // namespace

namespace qor::modalbank::avx512
{

template <uint32_t I, uint32_t O>
Processor<I, O>::Processor(uint32_t capacity) : detail::WideVectorProcessorBase(I, O, capacity)
{
}

template <uint32_t I, uint32_t O>
Processor<I, O>::~Processor() = default;

template <uint32_t I, uint32_t O>
void Processor<I, O>::process(float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    processBlock<I, O>(*this, outputs, inputs, numSamples);
}

template class Processor<1, 1>;
template class Processor<1, 2>;
template class Processor<2, 1>;
template class Processor<2, 2>;

} // namespace qor::modalbank::avx512
