#include "modal/bank/modal_bank.h"

#include "modal/bank/family.h"
#include "modal/bank/processors.h"

#include <stdexcept>

namespace qor
{

namespace
{
/** The member of a family for the channel counts. Compiled here, in baseline code: it only calls the members'
    constructors, which live in each family's own translation unit. */
template <template <uint32_t, uint32_t> class Processor>
IModalBank* createMember(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
{
    if (numInputs == 1 && numOutputs == 1)
        return new Processor<1, 1>(maxModes);
    if (numInputs == 1 && numOutputs == 2)
        return new Processor<1, 2>(maxModes);
    if (numInputs == 2 && numOutputs == 1)
        return new Processor<2, 1>(maxModes);
    if (numInputs == 2 && numOutputs == 2)
        return new Processor<2, 2>(maxModes);
    return nullptr;
}
} // namespace

IModalBank* modalbank::scalar::createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
{
    return createMember<Processor>(numInputs, numOutputs, maxModes);
}

IModalBank* modalbank::avx::createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
{
    return createMember<Processor>(numInputs, numOutputs, maxModes);
}

IModalBank* modalbank::avx2::createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
{
    return createMember<Processor>(numInputs, numOutputs, maxModes);
}

IModalBank* modalbank::avx512::createProcessor(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
{
    return createMember<Processor>(numInputs, numOutputs, maxModes);
}

IModalBank* modalbank::createProcessor(Family family, uint32_t numInputs, uint32_t numOutputs,
                                       uint32_t maxModes)
{
    switch (family)
    {
    case Family::avx512:
        return avx512::createProcessor(numInputs, numOutputs, maxModes);
    case Family::avx2:
        return avx2::createProcessor(numInputs, numOutputs, maxModes);
    case Family::avx:
        return avx::createProcessor(numInputs, numOutputs, maxModes);
    case Family::scalar:
        break;
    }
    return scalar::createProcessor(numInputs, numOutputs, maxModes);
}

ModalBank::ModalBank(uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
    : ModalBank(modalbank::bestFamily(), numInputs, numOutputs, maxModes)
{
}

ModalBank::ModalBank(modalbank::Family family, uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes)
    : processor(modalbank::createProcessor(family, numInputs, numOutputs, maxModes))
{
    if (processor == nullptr)
        throw std::invalid_argument("ModalBank: channel counts must be 1 or 2");
    processor->clear();
}

ModalBank::~ModalBank() = default;

void ModalBank::setNumModes(uint32_t count)
{
    processor->setNumModes(count);
}

void ModalBank::setModeCoefficients(uint32_t mode, const double* cs)
{
    processor->setModeCoefficients(mode, cs);
}

void ModalBank::setInputGain(uint32_t mode, uint32_t channel, double gain)
{
    processor->setInputGain(mode, channel, gain);
}

void ModalBank::setOutputGain(uint32_t mode, uint32_t channel, double gain)
{
    processor->setOutputGain(mode, channel, gain);
}

void ModalBank::setModes(uint32_t first, uint32_t count, const ModeSpan& modes)
{
    processor->setModes(first, count, modes);
}

void ModalBank::clear()
{
    processor->clear();
}

bool ModalBank::copyModesFrom(const IModalBank& source)
{
    const auto* other = dynamic_cast<const ModalBank*>(&source);
    return other != nullptr && processor->copyModesFrom(*other->processor);
}

void ModalBank::process(float* const* outputs, const float* const* inputs, uint32_t numSamples)
{
    processor->process(outputs, inputs, numSamples);
}

} // namespace qor
