#include "modal/lamina/damping.h"

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

float viscousDamping(float f, float thermalDampMult, float thermalFreqMult, const LaminaMaterial& material)
{
    const double fd = f;
    const double t = thermalDampMult;
    const double u = thermalFreqMult;
    const double w2 = fd * fd * 39.47841760435743;
    const double h = material.thickness;
    const double c = u * material.thermalRelaxation / (h * h);
    return static_cast<float>(((fd / material.viscousFrequency) * t) / (fd / material.viscousCorner + 1) +
                              (w2 / (c * c + w2)) * ((t * material.thermalCoupling) / u) * c * 0.5);
}

float porousDamping(float f, float decay, float porousFreq, const LaminaMaterial& material)
{
    const double x = f / porousFreq;
    const double y = static_cast<double>(f) / material.damperCorner;
    return static_cast<float>(((x * 0.1 + 1) / (x + 1)) * (ln1000 / decay) * ((y + 0.1) / (y + 1)));
}

float radiationDamping(float f, float radiationFreqMult, float radiationMult, const LaminaMaterial& material,
                       LaminaDimensions dims)
{
    const double stiffness = laminaStiffness(material);
    const float scale = static_cast<float>(laminaScale(material));
    const float a = scale * dims.width;
    const float b = scale * dims.height;
    // 340^2 / (2 pi) over B is the coincidence frequency; q is its inverse.
    const float q = 1.0f / (static_cast<float>(18398.311421423103 / stiffness) * radiationFreqMult);
    const float r = q * f;
    const float p = std::sqrt(r);
    const double pd = p;
    const double rd = r;
    // The 1e-10 terms keep the coincidence peak finite.
    const double logTerm = std::log((1 + pd) / (std::fabs(1 - pd) + 1e-10));
    const double oneMinusR = std::fabs(1 - rd);
    const double shape = (logTerm * (1 - rd) + 2 * pd) / (std::sqrt(oneMinusR) * oneMinusR + 1e-10);
    // 136870.4 is air density times the speed of sound squared.
    const float areal = static_cast<float>(136870.4 / (material.density * material.thickness));
    const float geometry = ((a + a + b + b) / (b * a)) * areal * q;
    return static_cast<float>(shape * geometry * 0.025330295910584444 * radiationMult);
}

float bandValueAt(float f, const MonotoneCubicTable& table)
{
    const float position = std::log2(static_cast<float>(f * 0.001)) + 6.0f;
    return table.valueAt(std::clamp(position, 0.0f, 11.0f));
}

float bandDamping(float f, const MonotoneCubicTable& table)
{
    const float v = std::clamp(bandValueAt(f, table), 0.0f, 1.0f);
    // At v = 1 the division gives infinity, which the clamp turns into the longest time.
    const float x = std::clamp(v / (1 - v), 0.0f, 10000.0f);
    return static_cast<float>(ln1000 / x);
}

float dampingRate(float f, float thermalDampMult, float decay, float thermalFreqMult, float radiationFreqMult,
                  float radiationMult, float porousFreq, const MonotoneCubicTable& table, float viscousDepth,
                  float porousDepth, float radiationDepth, float bandDepth, const LaminaMaterial& material,
                  LaminaDimensions dims)
{
    const float viscous = viscousDamping(f, thermalDampMult, thermalFreqMult, material);
    const float porous = porousDamping(f, decay, porousFreq, material);
    const float radiation = radiationDamping(f, radiationFreqMult, radiationMult, material, dims);
    const float band = bandDamping(f, table);
    const float sum = (viscous * viscousDepth + porous * porousDepth) + radiation * radiationDepth;
    return band * bandDepth + sum;
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

ModePole modePole(double decayRate, double omega, double sampleRate)
{
    const double period = 1 / sampleRate;
    const double radius = std::exp(-decayRate * period);
    return {radius * std::cos(omega * period), radius * std::sin(omega * period)};
}

float DampingSettings::rateAt(float f, const MonotoneCubicTable& bandDecayTable) const
{
    return dampingRate(f, thermalDampMult, decay, thermalFreqMult, radiationFreqMult, radiationMult,
                       porousFreq, bandDecayTable, viscousDepth, porousDepth, radiationDepth, bandDepth,
                       material, dims);
}

} // namespace qor
