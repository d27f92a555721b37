#pragma once

#include "modal/bank/imodal_bank.h"

#include <cstdint>
#include <immintrin.h>

namespace qor::detail
{

/** The tables of one bank of modes and every operation but process.

    T is the vector type of the family: float for the scalar processors (one mode per group, coefficients and
    states as interleaved pairs), __m256 for the avx and avx2 processors and __m512 for the avx512 processors
    (a group of L = 8 or 16 modes holds L values of c then L of s in coefficients, L of re then L of im in
    modeState). Gains are rows of stride floats, one row per channel. The members are defined in
    simd_processor_base.cpp and compiled for the baseline instruction set only, so the vector families can
    share them safely. */
template <typename T>
class SIMDProcessorBase : public IModalBank
{
public:
    /** Lanes in one group: 1 for float, 8 for __m256, 16 for __m512. */
    static constexpr uint32_t lanes = sizeof(T) / sizeof(float);

    SIMDProcessorBase(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
    ~SIMDProcessorBase() override;

    SIMDProcessorBase(const SIMDProcessorBase&) = delete;
    SIMDProcessorBase& operator=(const SIMDProcessorBase&) = delete;

    /** Growing the count clears the state of every mode; shrinking keeps it. Lanes above count in the last
        group keep running with whatever they hold. */
    void setNumModes(uint32_t count) override;
    void setModeCoefficients(uint32_t mode, const double* cs) override;
    void setInputGain(uint32_t mode, uint32_t channel, double gain) override;
    void setOutputGain(uint32_t mode, uint32_t channel, double gain) override;
    void setModes(uint32_t first, uint32_t count, const ModeSpan& modes) override;
    void clear() override;
    /** Copies every array and the count from a processor of the same member (family and channel counts) and
        capacity. */
    bool copyModesFrom(const IModalBank& source) override;

    /** Offset of mode's c (or re) in coefficients (or modeState); s (or im) is imagOffset further: at the
       next slot for float, one group's lanes further for the vector types. */
    static constexpr uint32_t realIndex(uint32_t mode) { return (mode / lanes) * 2 * lanes + mode % lanes; }
    static constexpr uint32_t imagOffset = lanes;

    uint32_t numGroups;
    uint32_t stride;
    uint32_t maxModes;
    uint32_t numModes = 0;
    float* inputGains;
    float* outputGains;
    float* modeState;
    float* coefficients;
    uint32_t numInputs;
    uint32_t numOutputs;
};

// __m256 carries may_alias, which a template argument drops; the type is the same, so the warning is noise.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"
/** The tables of the avx and avx2 families. */
using VectorProcessorBase = SIMDProcessorBase<__m256>;
extern template class SIMDProcessorBase<__m256>;
/** The tables of the avx512 family. */
using WideVectorProcessorBase = SIMDProcessorBase<__m512>;
extern template class SIMDProcessorBase<__m512>;
#pragma GCC diagnostic pop

extern template class SIMDProcessorBase<float>;

} // namespace qor::detail
