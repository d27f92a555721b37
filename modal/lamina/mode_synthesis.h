#pragma once

#include "modal/lamina/damping.h"
#include "modal/lamina/materials.h"
#include "modal/lamina/mode_table.h"

#include <array>
#include <cmath>
#include <memory>
#include <vector>

namespace qor
{

/** Everything a build of the mode table reads, as the parameters hold it. Defaults are the parameter
 * defaults. */
struct ModeSynthesisInputs
{
    float area = 2;
    float aspectRatio = 2;
    float tension = 1;
    int material = 0;
    int quality = 1;
    float modesCutoff = 20000;
    float modeTruncationThreshold = -60;
    float anisotropy = 0.2f;
    bool enableSpatialAA = false;

    float leftInputX = 0.41f;
    float leftInputY = 0.585f;
    float rightInputX = 0.59f;
    float rightInputY = 0.585f;
    float leftMicrophoneX = 0.1f;
    float leftMicrophoneY = 0.55f;
    float rightMicrophoneX = 0.84f;
    float rightMicrophoneY = 0.55f;

    float thermalDampMult = 1;
    float decay = 2;
    float thermalFreqMult = 1;
    float radiationFreqMult = 1;
    float radiationMult = 1;
    float porousFreq = 1000;
    bool enableViscousDamp = true;
    bool enablePorousDamp = true;
    bool enableRadiationDamp = true;
    bool enableBandDamp = true;
    float viscousDamp = 1;
    float porousDamp = 1;
    float radiationDamp = 1;
    float bandDamp = 1;
    /** 60 dB times of the twelve bands, in seconds. */
    std::array<float, 12> bandDecay{10000, 10000, 10000, 10000, 10000, 10000,
                                    10000, 10000, 10000, 10000, 10000, 10000};

    double sampleRate = 48000;
    int numInputs = 2;
    int numOutputs = 2;
};

/** The damping arguments of the inputs, with material and unscaled dimensions as given. */
DampingSettings makeDampingSettings(const ModeSynthesisInputs& inputs, const LaminaMaterial& material,
                                    LaminaDimensions dims);

/** The damping arguments of the inputs, with the material and dimensions the inputs select. */
DampingSettings makeDampingSettings(const ModeSynthesisInputs& inputs);

/** The frequency grid of a sheet. Lengths are scaled by the material so that the grid depends on area and
   aspect alone; the candidates are m in 1..nx-1 and n in 1..ny-1. */
struct LaminaGrid
{
    LaminaMaterial material;
    double stiffness;      // B of the material
    double scale;          // s = sqrt(B / B_steel)
    double cellSize;       // dx, scaled metres
    LaminaDimensions dims; // unscaled width and height
    double lengthX;        // Lx, scaled
    double lengthY;        // Ly, scaled
    int nx;                // cells along x, at most 1000
    int ny;                // cells along y, at most 1000
    double steelArealMass; // h * rho of the reference, used for every material
};

LaminaGrid laminaGrid(float area, float aspectRatio, int materialIndex);

/** m / Lx, the x wave number over pi. */
inline double laminaModeX(const LaminaGrid& grid, int m)
{
    return m / grid.lengthX;
}

/** ky, the y wave number in rad/m. */
inline double laminaWaveNumberY(const LaminaGrid& grid, int n)
{
    return n * 3.141592653589793 * (1 / grid.lengthY);
}

/** k^2 of mode (m, n). */
inline double laminaWaveNumberSquared(const LaminaGrid& grid, int m, int n)
{
    const double ky = laminaWaveNumberY(grid, n);
    const double mx = laminaModeX(grid, m);
    return ky * ky + mx * mx * 9.869604401089358;
}

/** Angular frequency of a mode with wave number squared k2, tension in newtons and relative perturbation e.
 */
inline double laminaModeOmega(const LaminaGrid& grid, double k2, float tension, float perturbation)
{
    const double b = grid.stiffness;
    return std::sqrt(1 + tension / (k2 * (b * b) * grid.steelArealMass)) *
           (1 + static_cast<double>(perturbation)) * b * k2;
}

/** The per-thread generator of the mode build and of modulation: state = state * 214013 + 2531011, result
   bits 16 to 30. Each thread's stream starts from state 1 and is never seeded. */
int laminaRand();

/** Builds a new table of modes: the grid's candidates in range, kept above the truncation level, cut to the
    quality's limit by importance and sorted by rising omega. A grid under two cells on an axis gives an empty
    table. Allocates; never call it on the audio thread. Thread-safe, but each thread draws from its own
   stream. */
std::shared_ptr<LaminaModeTable> computeModeTable(const ModeSynthesisInputs& inputs);

} // namespace qor
