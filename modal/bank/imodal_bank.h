#pragma once

#include <cstdint>

namespace qor
{

/** Poles and gains of consecutive modes, for IModalBank::setModes: mode k of the span has the pole c[k] + i
   s[k], the input gains inputGains[i][k] for i below numInputs and the output gains outputGains[o][k] for o
   below numOutputs. With 0 channels on a side, that side's gains are left as they are. */
struct ModeSpan
{
    const double* c = nullptr;
    const double* s = nullptr;
    const double* inputGains[2] = {nullptr, nullptr};
    const double* outputGains[2] = {nullptr, nullptr};
    uint32_t numInputs = 0;
    uint32_t numOutputs = 0;

    /** The span from its mode k on. */
    ModeSpan from(uint32_t k) const;
};

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
    /** Modes first to first + count - 1 at once, exactly as the three setters above would set them one by one
        (each value rounded to float), but without a call for every value: a whole table loads in one pass.
        The base does it by the setters. */
    virtual void setModes(uint32_t first, uint32_t count, const ModeSpan& modes);
    /** Zeroes every resonator state; coefficients and gains stay. */
    virtual void clear() = 0;
    /** Lets the ringing modes fade out over numSamples samples of the next process calls, on a second set of
        states, and clears the modes as clear does, ready for a new table that starts from rest. A bank
       without a second set only clears. */
    virtual void fadeOut(uint32_t numSamples)
    {
        (void)numSamples;
        clear();
    }
    /** Takes over count, poles, gains and states from source, if it is a bank of the same kind, channel
       counts and capacity; answers whether it did. */
    virtual bool copyModesFrom(const IModalBank& source)
    {
        (void)source;
        return false;
    }
    /** Runs numSamples samples; outputs are overwritten, never added to. Inputs and outputs are distinct
     * arrays. */
    virtual void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) = 0;
};

} // namespace qor
