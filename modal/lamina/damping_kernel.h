#pragma once

// dampingRate over whole vectors, for the instruction-set files only: internal linkage, as in
// modal/bank/vector_math.h. Each step keeps the width that dampingRate gives it, lane by lane.

#include "modal/bank/vector_math.h"
#include "modal/lamina/damping_rates.h"

#include <cstdint>
#include <cstring>

namespace
{

/** D: N doubles; I: N 64-bit integers; F: N floats; Sqrt: square roots of D and F. */
template <class D, class I, class F, class Sqrt>
struct DampingKernel
{
    static constexpr uint32_t lanes = sizeof(D) / sizeof(double);

    static D toDouble(F x) { return __builtin_convertvector(x, D); }
    static F toFloat(D x) { return __builtin_convertvector(x, F); }
    static D abs(D x) { return reinterpret_cast<D>(reinterpret_cast<I>(x) & 0x7fffffffffffffffLL); }
    /** std::clamp lane by lane: NaN stays NaN. */
    static F clamp(F x, float low, float high)
    {
        const F zero{};
        x = x < low ? zero + low : x;
        return high < x ? zero + high : x;
    }

    /** The cubic of the band table at f, as MonotoneCubicTable::valueAt reads it at the band position. */
    static F bandValue(F f, const qor::DampingConstants& k)
    {
        const F x = toFloat(toDouble(f) * 0.001);
        const F position =
            clamp(toFloat(vmath::logPositive<D, I>(toDouble(x)) * 1.4426950408889634) + 6.0f, 0.0f, 11.0f);

        alignas(64) float p[lanes], y0[lanes], y1[lanes], d0[lanes], d1[lanes], t[lanes];
        std::memcpy(p, &position, sizeof p);
        for (uint32_t j = 0; j < lanes; ++j)
        {
            // p is in [0, 11] or NaN, which reads as 0; floor is then the truncation.
            const float q = p[j] >= 0.0f ? p[j] : 0.0f;
            int i = static_cast<int>(q);
            t[j] = q - static_cast<float>(i);
            if (i + 1 >= 12)
            {
                i = 10;
                t[j] = 1.0f;
            }
            y0[j] = k.bandValues[i];
            y1[j] = k.bandValues[i + 1];
            d0[j] = k.bandTangents[i];
            d1[j] = k.bandTangents[i + 1];
        }
        F Y0, Y1, D0, D1, T;
        std::memcpy(&Y0, y0, sizeof Y0);
        std::memcpy(&Y1, y1, sizeof Y1);
        std::memcpy(&D0, d0, sizeof D0);
        std::memcpy(&D1, d1, sizeof D1);
        std::memcpy(&T, t, sizeof T);
        return (((2.0f * Y0 + (D1 + D0) - 2.0f * Y1) * T - 2.0f * D0 - D1 - 3.0f * Y0 + 3.0f * Y1) * T + D0) *
                   T +
               Y0;
    }

    static F rate(D omega, const qor::DampingConstants& k)
    {
        const F f = toFloat(omega * 0.15915494309189535);
        const D fd = toDouble(f);

        const D w2 = fd * fd * 39.47841760435743;
        const F viscous =
            toFloat(((fd / k.viscousFrequency) * k.thermalDampMult) / (fd / k.viscousCorner + 1.0) +
                    (w2 / (k.thermalCornerSquared + w2)) * k.thermalLevel * k.thermalCorner * 0.5);

        const D x = toDouble(f / k.porousFreq);
        const D y = fd / k.damperCorner;
        const F porous = toFloat(((x * 0.1 + 1.0) / (x + 1.0)) * k.porousRate * ((y + 0.1) / (y + 1.0)));

        const F r = f * k.inverseCoincidence;
        const D p = toDouble(Sqrt::of(r));
        const D rd = toDouble(r);
        const D logTerm = vmath::logPositive<D, I>((1.0 + p) / (abs(1.0 - p) + 1e-10));
        const D oneMinusR = abs(1.0 - rd);
        const D shape = (logTerm * (1.0 - rd) + 2.0 * p) / (Sqrt::of(oneMinusR) * oneMinusR + 1e-10);
        const F radiation =
            toFloat(shape * static_cast<double>(k.geometry) * 0.025330295910584444 * k.radiationMult);

        const F v = clamp(bandValue(f, k), 0.0f, 1.0f);
        const F ratio = clamp(v / (1.0f - v), 0.0f, 10000.0f);
        const F band = toFloat(6.907755278982138 / toDouble(ratio));

        const F sum = (viscous * k.viscousDepth + porous * k.porousDepth) + radiation * k.radiationDepth;
        return band * k.bandDepth + sum;
    }

    static void run(const qor::DampingConstants& k, const double* omegas, uint32_t count, float* rates)
    {
        uint32_t n = 0;
        for (; n + lanes <= count; n += lanes)
        {
            D omega;
            std::memcpy(&omega, omegas + n, sizeof omega);
            const F result = rate(omega, k);
            std::memcpy(rates + n, &result, sizeof result);
        }
        if (n == count)
            return;
        const uint32_t left = count - n;
        D omega{};
        std::memcpy(&omega, omegas + n, left * sizeof(double));
        const F result = rate(omega, k);
        std::memcpy(rates + n, &result, left * sizeof(float));
    }
};

} // namespace
