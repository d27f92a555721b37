#pragma once

#include <cstdint>

namespace qor
{

/** Physical constants of one sheet material. All values are SI units. */
struct LaminaMaterial
{
    const char* name;
    /** Shown as the value of the Material parameter; empty for the reference material. */
    const char* symbol;
    double youngsModulus;     // E, Pa
    double thickness;         // h, m
    double density;           // rho, kg/m^3
    double poissonRatio;      // nu
    double thermalCoupling;   // height of the thermoelastic term
    double thermalRelaxation; // m^2/s; thermalRelaxation / h^2 is the thermoelastic corner in rad/s
    double damperCorner;      // Hz, lower corner of the damper term
    double viscousFrequency;  // Hz, slope of the viscous term
    double viscousCorner;     // Hz, upper corner of the viscous term
};

inline constexpr int numLaminaMaterials = 5;

/** The selectable materials, in the order of the Material parameter. Row 0 ("Steel") is the reference of the
    length scale. */
inline constexpr LaminaMaterial laminaMaterials[numLaminaMaterials] = {
    {"Steel", "", 2.0e11, 0.0005, 7850, 0.3, 0.0030448, 0.000267, 1, 4500, 100000},
    {"Gold", "Au", 7.9e10, 1.8e-05, 19300, 0.4, 0.004727, 0.00127, 50, 666.6666666666666, 8000},
    {"Silver", "Ag", 8.3e10, 2.5e-05, 10490, 0.37, 0.008403, 0.001679, 30, 666.6666666666666, 8000},
    {"Titanium", "Ti", 1.16e11, 0.0005, 4506, 0.32, 0.002523, 8.97e-05, 1, 4500, 100000},
    {"Aluminium", "Al", 7.0e10, 1e-05, 2700, 0.35, 0.009975, 0.000976, 30, 4500, 100000},
};

// Materials with constants but no place in the Material parameter.
inline constexpr LaminaMaterial laminaCopper{"Copper", "Cu",     1.2e11, 0.0005, 8960,  0.34,
                                             0.005691, 0.001148, 1,      4500,   100000};
inline constexpr LaminaMaterial laminaIron{"Iron",   "Fe",      2.11e11, 0.0005, 7874,  0.29,
                                           0.004663, 0.0002151, 1,       4500,   100000};
inline constexpr LaminaMaterial laminaPlatinum{"Platinum", "Pt",      1.68e11, 0.0005, 21450, 0.38,
                                               0.003218,   0.0002513, 1,       4500,   100000};
inline constexpr LaminaMaterial laminaLead{"Lead",  "Pb",      1.6e10, 0.0005, 11340, 0.44,
                                           0.00679, 0.0002272, 30,     4500,   100000};

/** A copy of selectable row i; an index outside 0..4 is limited to that range. */
LaminaMaterial materialAt(int i);

/** The stiffness constant B in m^4/s^2, the factor in front of k^2 in the mode frequency. */
double laminaStiffness(const LaminaMaterial& material);

/** The length scale sqrt(B / B_steel): sheets of other materials are scaled so that Area and AspectRatio
   alone set the frequency grid. */
double laminaScale(const LaminaMaterial& material);

/** One step of the Quality parameter. */
struct QualityLevel
{
    const char* label;
    uint64_t modeLimit;
    int32_t index;
};

inline constexpr int numQualityLevels = 6;

inline constexpr QualityLevel qualityLevels[numQualityLevels] = {
    {"Low", 3000, 0},        {"Medium", 6000, 1},    {"High", 9000, 2},
    {"Very High", 12000, 3}, {"Pristine", 15000, 4}, {"Insane", 20000, 5},
};

/** The Quality parameter's default: the resolution at which the table's level is as loadBank normalises it.
 */
inline constexpr int defaultQuality = 1;

/** A copy of quality row i; an index outside 0..5 is limited to that range. */
QualityLevel qualityAt(int i);

/** Quality of an old file that stored a mode count: the first row whose modeLimit is at most n, else 1. As
   the table ascends, any n of 3000 or more gives "Low". The element's upgrade and the preset loader share it.
 */
int qualityForModeCount(int64_t n);

/** Unscaled sheet size in metres. */
struct LaminaDimensions
{
    float width;
    float height;
};

/** Width and height from area and aspect (width / height), in 32-bit floats. */
LaminaDimensions laminaDimensions(float area, float aspect);

} // namespace qor
