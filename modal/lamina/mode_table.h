#pragma once

#include <vector>

namespace qor
{

/** One mode of the sheet as the bank runs it. */
struct LaminaModeParams
{
    double decayRate;      // amplitude decay rate in 1/s
    double omega;          // angular frequency in rad/s
    double inputGain[2];   // mode shape at the input points, times the antialiasing low-pass
    double outputGain[2];  // mode shape at the microphone points, times the same low-pass
    float modulationPhase; // radians, 0 to 2 pi
};

/** Modes in rising omega. Published tables are never changed but for decayRate and modulationPhase. */
struct LaminaModeTable : std::vector<LaminaModeParams>
{
    using std::vector<LaminaModeParams>::vector;

    /** Gain on every mode that gives the table the wet level the same sheet has at the default quality, where
        it is 1: a coarser table keeps fewer, stronger modes and would sound louder, a finer one quieter. */
    double levelScale = 1;
};

} // namespace qor
