#pragma once

#include "modal/bank/imodal_bank.h"

#include <cstdint>

namespace qor::modalbank
{

/** The processor families of the bank, from the plainest to the widest. */
enum class Family
{
    scalar,
    avx,
    avx2,
    avx512
};

const char* familyName(Family family);

/** What the processor and the operating system offer, as far as the choice of family asks. */
struct CpuFeatures
{
    bool avx = false;      // CPUID leaf 1, ECX bit 28
    bool fma = false;      // leaf 1, ECX bit 12
    bool avx2 = false;     // leaf 7, EBX bit 5
    bool avx512f = false;  // leaf 7, EBX bit 16
    bool avx512dq = false; // leaf 7, EBX bit 17
    bool avx512bw = false; // leaf 7, EBX bit 30
    bool avx512vl = false; // leaf 7, EBX bit 31
    /** The operating system saves the opmask and all 512-bit registers on a context switch (OSXSAVE set, and
        XCR0 has the SSE, AVX, opmask and both ZMM bits). Without it the 512-bit state is corrupted between
        threads even where the processor has the instructions. */
    bool osSaves512BitState = false;
};

/** The features of the processor this runs on, read with CPUID and XGETBV. */
CpuFeatures readCpuFeatures();

/** avx512 where the processor has AVX-512 F, DQ, BW and VL with AVX2 and FMA and the operating system saves
    the 512-bit state; else avx2 on the AVX2 bit alone (its FMA is taken for granted, as it always is beside
    AVX2); else avx; else scalar, also on a processor that has SSE4.2 without AVX. */
Family chooseFamily(const CpuFeatures& features);

/** chooseFamily for this machine, read once: every bank built in a process uses the same family. */
Family bestFamily();

/** A new processor of the family for the channel counts, owned by the caller, or null if a count is not 1
   or 2. The family must run here; only bestFamily, or a test or benchmark that has checked, picks it. */
IModalBank* createProcessor(Family family, uint32_t numInputs, uint32_t numOutputs, uint32_t maxModes);

} // namespace qor::modalbank
