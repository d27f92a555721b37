#include "modal/bank/simd_processor_base.h"

#include <cmath>
#include <cstring>
#include <new>
#include <typeinfo>

namespace qor::detail
{

namespace
{
// One whole vector, spelled out rather than alignof(T): in baseline code the compiler reports 16 for __m256.
template <typename T>
constexpr std::align_val_t tableAlignment{sizeof(T) == sizeof(float) ? alignof(float) : sizeof(T)};

template <typename T>
float* allocateZeroed(uint32_t numFloats)
{
    auto* p = static_cast<float*>(::operator new(numFloats * sizeof(float), tableAlignment<T>));
    std::memset(p, 0, numFloats * sizeof(float));
    return p;
}

template <typename T>
void release(float* p)
{
    ::operator delete(p, tableAlignment<T>);
}
} // namespace

template <typename T>
SIMDProcessorBase<T>::SIMDProcessorBase(uint32_t numInputs_, uint32_t numOutputs_, uint32_t capacity)
    // The vector families keep a spare group when the capacity is a multiple of their lane count.
    : numGroups(capacity / lanes + 1), stride(numGroups * lanes), maxModes(capacity),
      inputGains(allocateZeroed<T>(numInputs_ * stride)),
      outputGains(allocateZeroed<T>(numOutputs_ * stride)), modeState(allocateZeroed<T>(2 * stride)),
      coefficients(allocateZeroed<T>(2 * stride)), numInputs(numInputs_), numOutputs(numOutputs_)
{
}

template <typename T>
SIMDProcessorBase<T>::~SIMDProcessorBase()
{
    release<T>(inputGains);
    release<T>(outputGains);
    release<T>(modeState);
    release<T>(coefficients);
}

template <typename T>
void SIMDProcessorBase<T>::setNumModes(uint32_t count)
{
    if (count != numModes)
    {
        // Meant to silence the unused lanes of the last group, but the bound never exceeds count, so it does
        // nothing: those lanes keep running. Silencing them would change the output of every table whose
        // count is not a multiple of the lane width.
        const auto groupsNeeded =
            static_cast<uint32_t>(std::ceil(static_cast<float>(count) / static_cast<float>(lanes)));
        const uint32_t bound = groupsNeeded < maxModes ? groupsNeeded : maxModes;
        const double zero[2] = {0.0, 0.0};
        for (uint32_t index = count; index < bound; ++index)
            setModeCoefficients(index, zero);

        if (count > numModes)
            clear();
    }
    numModes = count;
}

template <typename T>
void SIMDProcessorBase<T>::setModeCoefficients(uint32_t mode, const double* cs)
{
    const uint32_t index = realIndex(mode);
    coefficients[index] = static_cast<float>(cs[0]);
    coefficients[index + imagOffset] = static_cast<float>(cs[1]);
}

template <typename T>
void SIMDProcessorBase<T>::setInputGain(uint32_t mode, uint32_t channel, double gain)
{
    inputGains[channel * stride + mode] = static_cast<float>(gain);
}

template <typename T>
void SIMDProcessorBase<T>::setOutputGain(uint32_t mode, uint32_t channel, double gain)
{
    outputGains[channel * stride + mode] = static_cast<float>(gain);
}

template <typename T>
void SIMDProcessorBase<T>::setModes(uint32_t first, uint32_t count, const ModeSpan& modes)
{
    for (uint32_t k = 0; k < count; ++k)
    {
        const uint32_t index = realIndex(first + k);
        coefficients[index] = static_cast<float>(modes.c[k]);
        coefficients[index + imagOffset] = static_cast<float>(modes.s[k]);
    }
    // Rows, as the per-mode setters write them (the scalar family reads two-channel rows as pairs all the
    // same).
    for (uint32_t i = 0; i < modes.numInputs; ++i)
        for (uint32_t k = 0; k < count; ++k)
            inputGains[i * stride + first + k] = static_cast<float>(modes.inputGains[i][k]);
    for (uint32_t o = 0; o < modes.numOutputs; ++o)
        for (uint32_t k = 0; k < count; ++k)
            outputGains[o * stride + first + k] = static_cast<float>(modes.outputGains[o][k]);
}

template <typename T>
void SIMDProcessorBase<T>::clear()
{
    std::memset(modeState, 0, 2 * stride * sizeof(float));
}

template <typename T>
bool SIMDProcessorBase<T>::copyModesFrom(const IModalBank& source)
{
    // The same member of the same family: the same layout of every array.
    if (typeid(source) != typeid(*this))
        return false;
    const auto& other = static_cast<const SIMDProcessorBase&>(source);
    if (other.stride != stride)
        return false;
    std::memcpy(inputGains, other.inputGains, numInputs * stride * sizeof(float));
    std::memcpy(outputGains, other.outputGains, numOutputs * stride * sizeof(float));
    std::memcpy(modeState, other.modeState, 2 * stride * sizeof(float));
    std::memcpy(coefficients, other.coefficients, 2 * stride * sizeof(float));
    numModes = other.numModes;
    return true;
}

template class SIMDProcessorBase<float>;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"
template class SIMDProcessorBase<__m256>;
template class SIMDProcessorBase<__m512>;
#pragma GCC diagnostic pop

} // namespace qor::detail
