#include "modal/bank/family.h"

#include <cpuid.h>

namespace qor::modalbank
{

namespace
{
constexpr bool bit(unsigned int word, int index)
{
    return ((word >> index) & 1u) != 0;
}

/** XCR0 through XGETBV, spelled in assembly so that this file needs no instruction-set flag. Only call it
   when CPUID reports OSXSAVE: without it the instruction faults. */
uint64_t readXcr0()
{
    uint32_t low = 0, high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (static_cast<uint64_t>(high) << 32) | low;
}

// SSE, AVX, opmask, upper halves of ZMM0-15, ZMM16-31.
constexpr uint64_t xcr0For512BitState = (1u << 1) | (1u << 2) | (1u << 5) | (1u << 6) | (1u << 7);
} // namespace

const char* familyName(Family family)
{
    switch (family)
    {
    case Family::scalar:
        return "scalar";
    case Family::avx:
        return "avx";
    case Family::avx2:
        return "avx2";
    case Family::avx512:
        return "avx512";
    }
    return "?";
}

CpuFeatures readCpuFeatures()
{
    CpuFeatures features;
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0)
        return features;
    features.avx = bit(ecx, 28);
    features.fma = bit(ecx, 12);
    const bool osxsave = bit(ecx, 27);

    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0)
    {
        features.avx2 = bit(ebx, 5);
        features.avx512f = bit(ebx, 16);
        features.avx512dq = bit(ebx, 17);
        features.avx512bw = bit(ebx, 30);
        features.avx512vl = bit(ebx, 31);
    }
    features.osSaves512BitState = osxsave && (readXcr0() & xcr0For512BitState) == xcr0For512BitState;
    return features;
}

Family chooseFamily(const CpuFeatures& f)
{
    if (f.avx512f && f.avx512dq && f.avx512bw && f.avx512vl && f.avx2 && f.fma && f.osSaves512BitState)
        return Family::avx512;
    if (f.avx2)
        return Family::avx2;
    if (f.avx)
        return Family::avx;
    return Family::scalar;
}

Family bestFamily()
{
    static const Family family = chooseFamily(readCpuFeatures());
    return family;
}

} // namespace qor::modalbank
