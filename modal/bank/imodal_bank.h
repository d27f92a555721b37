#pragma once

#include <cstdint>

namespace qor
{

/** A bank of decaying complex one-pole resonators driven by one or two inputs and summed into one or two
   outputs. Setters are plain stores made on the audio thread between calls of process. */
class IModalBank
{
public:
    virtual ~IModalBank() = default;

    virtual void setNumModes(uint32_t count) = 0;
    /** cs[0] is the real part c of the pole, cs[1] the imaginary part s; each is rounded to float. */
    virtual void setModeCoefficients(uint32_t mode, const double* cs) = 0;
    virtual void setInputGain(uint32_t mode, uint32_t channel, double gain) = 0;
    virtual void setOutputGain(uint32_t mode, uint32_t channel, double gain) = 0;
    /** Zeroes every resonator state; coefficients and gains stay. */
    virtual void clear() = 0;
    /** Runs numSamples samples; outputs are overwritten, never added to. Inputs and outputs are distinct
     * arrays. */
    virtual void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) = 0;
};

} // namespace qor
