#pragma once

#include <array>
#include <cstddef>

namespace qor
{

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

/** The table read at a frequency: band i stands at 1000 * 2^(i - 6) Hz; the ends hold outside the bands. */
float bandValueAt(float f, const MonotoneCubicTable& table);

/** The band a frequency falls in, 0 to 11, for the editors. */
int bandOfFrequency(float f);

/** Centre frequency of band i in Hz. */
float bandFrequency(int i);

} // namespace qor
