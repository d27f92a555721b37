#include "modal/bank/processors.h"

namespace qor::modalbank::scalar
{

template <uint32_t I, uint32_t O>
Processor<I, O>::Processor(uint32_t capacity) : SIMDProcessorBase<float>(I, O, capacity)
{
}

template <uint32_t I, uint32_t O>
Processor<I, O>::~Processor() = default;

template <uint32_t I, uint32_t O>
void Processor<I, O>::process(float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    const uint32_t count = numModes;
    const float* const c = coefficients;
    float* const z = modeState;
    const float* const gIn = inputGains;
    const float* const gOut = outputGains;

    for (uint32_t n = 0; n < numSamples; ++n)
    {
        const float x0 = inputs[0][n];
        const float x1 = I == 2 ? inputs[I - 1][n] : 0.0f;
        float y0 = 0.0f;
        float y1 = 0.0f;

        for (uint32_t k = 0; k < count; ++k)
        {
            float v;
            if constexpr (I == 2)
                v = z[2 * k] + x0 * gIn[2 * k] + x1 * gIn[2 * k + 1];
            else
                v = z[2 * k] + x0 * gIn[k];

            if constexpr (O == 2)
            {
                y0 += v * gOut[2 * k];
                y1 += v * gOut[2 * k + 1];
            }
            else
            {
                y0 += v * gOut[k];
            }

            const float im = z[2 * k + 1];
            z[2 * k] = v * c[2 * k] - im * c[2 * k + 1];
            z[2 * k + 1] = v * c[2 * k + 1] + im * c[2 * k];
        }

        outputs[0][n] = y0;
        if constexpr (O == 2)
            outputs[1][n] = y1;
    }
}

template class Processor<1, 1>;
template class Processor<1, 2>;
template class Processor<2, 1>;
template class Processor<2, 2>;

} // namespace qor::modalbank::scalar
