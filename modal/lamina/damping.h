#pragma once

#include "modal/lamina/materials.h"

#include <array>
#include <cstddef>

namespace qor
{

/** ln 1000: turns a 60 dB time into an amplitude decay rate and back. */
inline constexpr double ln1000 = 6.907755278982138;

/** Twelve equally spaced values read through a cubic whose tangents can be limited so that it never
   overshoots between points. The band decay and the band EQ each keep one. Positions run from 0 to size - 1.
 */
class MonotoneCubicTable
{
public:
    static constexpr int size = 12;

    void setValue(int i, float v) { values[static_cast<std::size_t>(i)] = v; }
    float value(int i) const { return values[static_cast<std::size_t>(i)]; }
    float tangent(int i) const { return tangents[static_cast<std::size_t>(i)]; }

    void setMonotone(bool shouldBeMonotone) { monotone = shouldBeMonotone; }
    bool isMonotone() const { return monotone; }

    /** Recomputes the tangents from the values; call after changing values and before reading. */
    void buildTangents();

    /** Reads the cubic at position p; positions below 0 read point 0, positions at or past the last point
       read the last point. */
    float valueAt(float p) const;

private:
    std::array<float, size> values{};
    std::array<float, size> tangents{};
    bool monotone = true;
};

/** Fills a band decay table from twelve 60 dB times in seconds, stored compressed as T / (T + 1), and builds
 * it. */
void setBandDecayTable(MonotoneCubicTable& table, const std::array<float, 12>& bandDecaySeconds);

/** Fills an EQ table from twelve gains in dB, as they stand, and builds it. */
void setBandGainTable(MonotoneCubicTable& table, const std::array<float, 12>& bandGainDb);

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

/** The table read at a frequency: band i stands at 1000 * 2^(i - 6) Hz; the ends hold outside the bands. */
float bandValueAt(float f, const MonotoneCubicTable& table);

/** The band a frequency falls in, 0 to 11, for the editors. */
int bandOfFrequency(float f);

/** Centre frequency of band i in Hz. */
float bandFrequency(int i);

/** One resonator pole: c + i s = exp((-decayRate + i omega) / sampleRate). */
struct ModePole
{
    double c;
    double s;
};

ModePole modePole(double decayRate, double omega, double sampleRate);

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

/** An enable flag as 0 or 1 times its depth parameter. */
inline float dampingDepth(bool enabled, float depth)
{
    return (enabled ? 1.0f : 0.0f) * depth;
}

} // namespace qor
