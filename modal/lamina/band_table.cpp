#include "modal/lamina/band_table.h"

#include <algorithm>
#include <cmath>

namespace qor
{

void MonotoneCubicTable::buildTangents()
{
    constexpr int n = size;
    auto& y = values;
    auto& d = tangents;
    d[0] = y[1] - y[0];
    d[n - 1] = y[n - 1] - y[n - 2];
    for (int i = 1; i < n - 1; ++i)
        d[i] = (y[i + 1] - y[i - 1]) * 0.5f;

    if (!monotone)
        return;

    float previous = 0;
    for (int i = 0; i < n - 1; ++i)
    {
        const float e = y[i + 1] - y[i];
        if (e * previous < 0)
            d[i] = 0;
        if (std::fabs(e) >= 1e-14)
        {
            d[i] = std::clamp(d[i] / e, 0.0f, 3.0f) * e;
            d[i + 1] = std::clamp(d[i + 1] / e, 0.0f, 3.0f) * e;
        }
        else
        {
            d[i] = 0;
            d[i + 1] = 0;
        }
        previous = e;
    }
}

float MonotoneCubicTable::valueAt(float p) const
{
    if (!(p >= 0)) // also catches NaN
        p = 0;
    const float fi = std::floor(p);
    int i = fi < static_cast<float>(size) ? static_cast<int>(fi) : size;
    float t = p - fi;
    if (i + 1 >= size)
    {
        i = size - 2;
        t = 1;
    }
    const float y0 = values[static_cast<size_t>(i)];
    const float y1 = values[static_cast<size_t>(i + 1)];
    const float d0 = tangents[static_cast<size_t>(i)];
    const float d1 = tangents[static_cast<size_t>(i + 1)];
    return (((2 * y0 + (d1 + d0) - 2 * y1) * t - 2 * d0 - d1 - 3 * y0 + 3 * y1) * t + d0) * t + y0;
}

void setBandDecayTable(MonotoneCubicTable& table, const std::array<float, 12>& bandDecaySeconds)
{
    for (int i = 0; i < MonotoneCubicTable::size; ++i)
    {
        const float t = bandDecaySeconds[static_cast<size_t>(i)];
        table.setValue(i, t / (t + 1));
    }
    table.buildTangents();
}

void setBandGainTable(MonotoneCubicTable& table, const std::array<float, 12>& bandGainDb)
{
    for (int i = 0; i < MonotoneCubicTable::size; ++i)
        table.setValue(i, bandGainDb[static_cast<size_t>(i)]);
    table.buildTangents();
}

float bandValueAt(float f, const MonotoneCubicTable& table)
{
    // The 32-bit logarithm rounded once from 64 bits: correctly rounded, and so the same in the vector forms
    // over a whole table, where the library's 32-bit logarithm is not always.
    const float x = static_cast<float>(f * 0.001);
    const float position = static_cast<float>(std::log2(static_cast<double>(x))) + 6.0f;
    return table.valueAt(std::clamp(position, 0.0f, 11.0f));
}

int bandOfFrequency(float f)
{
    if (f < 25)
        return 0;
    if (f > 17888)
        return 11;
    const int band = static_cast<int>(std::floor(std::log2(f * 0.001f) + 6.5f));
    return std::clamp(band, 0, 11);
}

float bandFrequency(int i)
{
    return std::exp2(static_cast<float>(i - 6)) * 1000.0f;
}

} // namespace qor
