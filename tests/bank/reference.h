#pragma once

#include "modal/bank/simd_processor_base.h"

#include <cstdint>

namespace qor::test
{

/** The vector families' block one sample at a time: for each sample, every group in turn with 8-lane
   accumulators, then the fixed horizontal-sum tree and a masked store of lane 0. Runs on the tables of bank.
 */
void referenceProcessAvx(detail::VectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                         float* const* outputs, const float* const* inputs, uint32_t numSamples);
void referenceProcessAvx2(detail::VectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                          float* const* outputs, const float* const* inputs, uint32_t numSamples);
/** The avx512 family's block one sample at a time: for each sample every group in turn with 16-lane
    accumulators and the avx2 arithmetic, then the sixteen lanes reduced by halves (256, 128 bits, lanes two
    apart, the last pair). */
void referenceProcessAvx512(detail::WideVectorProcessorBase& bank, uint32_t numInputs, uint32_t numOutputs,
                            float* const* outputs, const float* const* inputs, uint32_t numSamples);

} // namespace qor::test
