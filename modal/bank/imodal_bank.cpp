#include "modal/bank/imodal_bank.h"

namespace qor
{

ModeSpan ModeSpan::from(uint32_t k) const
{
    ModeSpan rest = *this;
    rest.c += k;
    rest.s += k;
    for (uint32_t i = 0; i < numInputs; ++i)
        rest.inputGains[i] += k;
    for (uint32_t o = 0; o < numOutputs; ++o)
        rest.outputGains[o] += k;
    return rest;
}

void IModalBank::setModes(uint32_t first, uint32_t count, const ModeSpan& modes)
{
    for (uint32_t k = 0; k < count; ++k)
    {
        const double cs[2] = {modes.c[k], modes.s[k]};
        setModeCoefficients(first + k, cs);
        for (uint32_t i = 0; i < modes.numInputs; ++i)
            setInputGain(first + k, i, modes.inputGains[i][k]);
        for (uint32_t o = 0; o < modes.numOutputs; ++o)
            setOutputGain(first + k, o, modes.outputGains[o][k]);
    }
}

} // namespace qor
