#pragma once

#include "modal/bank/imodal_bank.h"

#include <array>
#include <vector>

namespace qor::test
{

/** Keeps what loadBank passes to a bank, with room reserved up front so that recording allocates nothing. */
class RecordingBank : public IModalBank
{
public:
    struct Mode
    {
        double c = 0;
        double s = 0;
        std::array<double, 2> in{};
        std::array<double, 2> out{};
    };

    explicit RecordingBank(size_t capacity) : modes(capacity) {}

    void setNumModes(uint32_t count) override { numModes = count; }
    void setModeCoefficients(uint32_t mode, const double* cs) override
    {
        modes[mode].c = cs[0];
        modes[mode].s = cs[1];
    }
    void setInputGain(uint32_t mode, uint32_t channel, double gain) override
    {
        modes[mode].in[channel] = gain;
    }
    void setOutputGain(uint32_t mode, uint32_t channel, double gain) override
    {
        modes[mode].out[channel] = gain;
    }
    void clear() override {}
    void process(float* const*, const float* const*, uint32_t) override {}

    uint32_t numModes = 0;
    std::vector<Mode> modes;
};

} // namespace qor::test
