#pragma once

#include "modal/bank/family.h"
#include "modal/bank/imodal_bank.h"

#include <cstdint>
#include <memory>

namespace qor
{

/** One bank of modes on the best processor family this machine has (avx512, else avx2, else avx, else scalar:
    modalbank::bestFamily). It forwards every operation to that processor; in this system it is one job of at
    most 128 modes. */
class ModalBank final : public IModalBank
{
public:
    /** numInputs and numOutputs must each be 1 or 2; anything else throws std::invalid_argument. */
    ModalBank(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
    /** On the given family, which must run on this machine (for comparisons in tests and benchmarks). */
    ModalBank(modalbank::Family family, uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);
    ~ModalBank() override;

    void setNumModes(uint32_t count) override;
    void setModeCoefficients(uint32_t mode, const double* cs) override;
    void setInputGain(uint32_t mode, uint32_t channel, double gain) override;
    void setOutputGain(uint32_t mode, uint32_t channel, double gain) override;
    void setModes(uint32_t first, uint32_t count, const ModeSpan& modes) override;
    void clear() override;
    /** Takes the modes of another ModalBank whose processor is of the same family, channel counts and
        capacity. */
    bool copyModesFrom(const IModalBank& source) override;
    void process(float* const* outputs, const float* const* inputs, uint32_t numSamples) override;

private:
    std::shared_ptr<IModalBank> processor;
};

} // namespace qor
