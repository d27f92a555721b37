#pragma once

// The vector loop of computePoles, for the instruction-set files only (internal linkage, like vector_math.h).

#include "modal/bank/vector_math.h"

#include <cstdint>
#include <cstring>

namespace
{

/** D holds lanes doubles, I as many 64-bit integers. */
template <class D, class I>
void computePolesOver(const double* decayRates, const double* omegas, uint32_t count, double period,
                      double* c, double* s, double* radii)
{
    constexpr uint32_t lanes = sizeof(D) / sizeof(double);
    auto pole = [period](D decay, D omega, D& re, D& im, D& radius)
    {
        radius = vmath::expNonPositive<D, I>(-decay * period);
        D sine, cosine;
        vmath::sinCos<D, I>(omega * period, sine, cosine);
        re = radius * cosine;
        im = radius * sine;
    };

    uint32_t k = 0;
    for (; k + lanes <= count; k += lanes)
    {
        D decay, omega, re, im, radius;
        std::memcpy(&decay, decayRates + k, sizeof(D));
        std::memcpy(&omega, omegas + k, sizeof(D));
        pole(decay, omega, re, im, radius);
        std::memcpy(c + k, &re, sizeof(D));
        std::memcpy(s + k, &im, sizeof(D));
        if (radii != nullptr)
            std::memcpy(radii + k, &radius, sizeof(D));
    }
    if (k == count)
        return;
    // The last few through one padded vector.
    const uint32_t left = count - k;
    D decay{}, omega{}, re, im, radius;
    std::memcpy(&decay, decayRates + k, left * sizeof(double));
    std::memcpy(&omega, omegas + k, left * sizeof(double));
    pole(decay, omega, re, im, radius);
    std::memcpy(c + k, &re, left * sizeof(double));
    std::memcpy(s + k, &im, left * sizeof(double));
    if (radii != nullptr)
        std::memcpy(radii + k, &radius, left * sizeof(double));
}

} // namespace
