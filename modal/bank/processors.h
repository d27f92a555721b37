#pragma once

#include "modal/bank/simd_processor_base.h"

#include <cstdint>

// The four families of bank processors. Each family lives in its own translation unit, compiled for its own
// instruction set; this header only declares them, so including it never pulls vector code into baseline
// code.

namespace qor::modalbank
{

namespace scalar
{
/** Runs the recurrence one mode at a time. On a side with two channels it reads that side's gains as
    interleaved pairs (gains[2k], gains[2k + 1]) while the setters write rows, so mode k hears the gains of
    other modes. Changing this reading changes the output of every two-channel scalar bank. */
template <uint32_t I, uint32_t O>
class Processor final : public detail::SIMDProcessorBase<float>
{
    static_assert((I == 1 || I == 2) && (O == 1 || O == 2));

public:
    explicit Processor(uint32_t maxModes);
    ~Processor() override;
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;
};

/** A new processor for the channel counts, owned by the caller, or null if a count is not 1 or 2. */
IModalBank* createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
} // namespace scalar

namespace avx
{
/** Eight modes per group with separate AVX multiplies and adds; never emits FMA. */
template <uint32_t I, uint32_t O>
class Processor final : public detail::VectorProcessorBase
{
    static_assert((I == 1 || I == 2) && (O == 1 || O == 2));

public:
    explicit Processor(uint32_t maxModes);
    ~Processor() override;
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;
};

IModalBank* createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
} // namespace avx

namespace avx2
{
/** Eight modes per group with fused multiply-adds. */
template <uint32_t I, uint32_t O>
class Processor final : public detail::VectorProcessorBase
{
    static_assert((I == 1 || I == 2) && (O == 1 || O == 2));

public:
    explicit Processor(uint32_t maxModes);
    ~Processor() override;
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;
};

IModalBank* createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
} // namespace avx2

namespace avx512
{
/** Sixteen modes per group with fused multiply-adds, the same arithmetic as avx2 lane by lane. Each output
    lane adds the groups in mode order and the sixteen lanes are reduced by one fixed tree, so the result does
    not depend on how a block is split. */
template <uint32_t I, uint32_t O>
class Processor final : public detail::WideVectorProcessorBase
{
    static_assert((I == 1 || I == 2) && (O == 1 || O == 2));

public:
    explicit Processor(uint32_t maxModes);
    ~Processor() override;
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;
};

IModalBank* createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
} // namespace avx512

} // namespace qor::modalbank
