#pragma once

#include "modal/lamina/band_table.h"
#include "modal/lamina/materials.h"
#include "modal/lamina/mode_table.h"

namespace qor
{

/** ln 1000: turns a 60 dB time into an amplitude decay rate and back. */
inline constexpr double ln1000 = 6.907755278982138;

/** Rates are amplitude decay rates in 1/s; dims are the unscaled width and height from laminaDimensions. */
float viscousDamping(float f, float thermalDampMult, float thermalFreqMult, const LaminaMaterial& material);
float porousDamping(float f, float decay, float porousFreq, const LaminaMaterial& material);
float radiationDamping(float f, float radiationFreqMult, float radiationMult, const LaminaMaterial& material,
                       LaminaDimensions dims);
float bandDamping(float f, const MonotoneCubicTable& table);

/** Sum of the four mechanisms, each weighted by its depth (enable flag as 0 or 1 times the depth parameter).
 */
float dampingRate(float f, float thermalDampMult, float decay, float thermalFreqMult, float radiationFreqMult,
                  float radiationMult, float porousFreq, const MonotoneCubicTable& table, float viscousDepth,
                  float porousDepth, float radiationDepth, float bandDepth, const LaminaMaterial& material,
                  LaminaDimensions dims);

/** The arguments of dampingRate that come from parameters, so that callers evaluate a curve without repeating
    them. Depths already include their enable flags; see dampingDepth. */
struct DampingSettings
{
    float thermalDampMult = 1;
    float decay = 2;
    float thermalFreqMult = 1;
    float radiationFreqMult = 1;
    float radiationMult = 1;
    float porousFreq = 1000;
    float viscousDepth = 1;
    float porousDepth = 1;
    float radiationDepth = 1;
    float bandDepth = 1;
    LaminaMaterial material = laminaMaterials[0];
    LaminaDimensions dims{2, 1};

    /** dampingRate at f with these settings and the given band decay table. */
    float rateAt(float f, const MonotoneCubicTable& bandDecayTable) const;
};

/** Recomputes decayRate of every row at its own omega, after a change of damping, over whole vectors where
    the processor has them. Allocates nothing. */
void recomputeDecayRates(LaminaModeTable& table, const DampingSettings& damping,
                         const MonotoneCubicTable& bandDecayTable);
/** The same for the rows first to first + count - 1. */
void recomputeDecayRates(LaminaModeTable& table, uint32_t first, uint32_t count,
                         const DampingSettings& damping, const MonotoneCubicTable& bandDecayTable);

/** An enable flag as 0 or 1 times its depth parameter. */
inline float dampingDepth(bool enabled, float depth)
{
    return (enabled ? 1.0f : 0.0f) * depth;
}

} // namespace qor
