#pragma once

// Exponential, logarithm, sine and cosine in 64 bits over whole vectors, for the instruction-set files only:
// everything here has internal linkage, so each including file gets its own copy compiled for its own
// instruction set and none can reach baseline code through the linker.
//
// D is a GCC vector of doubles (__m256d, __m512d) and I the vector of 64-bit integers of the same size
// (__m256i, __m512i); the operators are GCC's vector extensions. Accuracy is about one unit in the last
// place of a double, far below the rounding to 32 bits that every result meets before it reaches the bank.

#include <immintrin.h>

namespace
{
namespace vmath
{

/** round(x) as a double and as the integer in the low bits of I, for |x| < 2^51, by the 1.5 * 2^52 trick. */
template <class D, class I>
inline D roundToInteger(D x, I& integer)
{
    constexpr double shifter = 6755399441055744.0; // 1.5 * 2^52
    constexpr long long shifterBits = 0x4338000000000000LL;
    const D shifted = x + shifter;
    integer = reinterpret_cast<I>(shifted) - shifterBits;
    return shifted - shifter;
}

/** exp(x) for x <= 0 (and moderate positive x). Below -708 the result is 0, where the true value lies far
    below the smallest float anyway. */
template <class D, class I>
inline D expNonPositive(D x)
{
    constexpr double log2e = 1.4426950408889634;
    constexpr double ln2High = 6.93147180369123816490e-01; // ln 2 to 32 bits: k * ln2High is exact
    constexpr double ln2Low = 1.90821492927058770002e-10;
    const auto tiny = x < -708.0;
    x = tiny ? D{} - 708.0 : x;

    I k;
    const D kd = roundToInteger(x * log2e, k);
    const D r = (x - kd * ln2High) - kd * ln2Low; // |r| <= ln 2 / 2

    // Taylor series to r^13: the remainder is below 1e-17 relative on |r| <= 0.35.
    D p = r * (1.0 / 6227020800.0) + 1.0 / 479001600.0;
    p = p * r + 1.0 / 39916800.0;
    p = p * r + 1.0 / 3628800.0;
    p = p * r + 1.0 / 362880.0;
    p = p * r + 1.0 / 40320.0;
    p = p * r + 1.0 / 5040.0;
    p = p * r + 1.0 / 720.0;
    p = p * r + 1.0 / 120.0;
    p = p * r + 1.0 / 24.0;
    p = p * r + 1.0 / 6.0;
    p = p * r + 0.5;
    p = p * r * r + r;
    p = p + 1.0;

    const D scale = reinterpret_cast<D>((k + 1023) << 52);
    const D result = p * scale;
    return tiny ? D{} : result;
}

/** sin(x) and cos(x) for |x| up to about 1e5: the quadrant by a two-part pi / 2, then the classic kernels on
    [-pi/4, pi/4]. */
template <class D, class I>
inline void sinCos(D x, D& sine, D& cosine)
{
    constexpr double twoOverPi = 6.36619772367581382433e-01;
    constexpr double piOver2High = 1.57079632673412561417e+00; // 33 bits
    constexpr double piOver2Low = 6.07710050650619224932e-11;

    I quadrant;
    const D q = roundToInteger(x * twoOverPi, quadrant);
    const D r = (x - q * piOver2High) - q * piOver2Low;
    const D z = r * r;

    D sr = z * 1.58969099521155010221e-10 - 2.50507602534068634195e-08;
    sr = sr * z + 2.75573137070700676789e-06;
    sr = sr * z - 1.98412698298579493134e-04;
    sr = sr * z + 8.33333333332248946124e-03;
    const D sinR = r + (z * r) * (sr * z - 1.66666666666666324348e-01);

    const D w = z * z;
    const D cr =
        z * (4.16666666666666019037e-02 +
             z * (-1.38888888888741095749e-03 + z * 2.48015872894767294178e-05)) +
        w * w *
            (-2.75573143513906633035e-07 + z * (2.08757232129817482790e-09 - z * 1.13596475577881948265e-11));
    const D halfZ = 0.5 * z;
    const D oneMinus = 1.0 - halfZ;
    const D cosR = oneMinus + (((1.0 - oneMinus) - halfZ) + z * cr);

    const auto odd = (quadrant & 1) != 0;
    const auto sineNegative = (quadrant & 2) != 0;
    const auto cosineNegative = ((quadrant + 1) & 2) != 0;
    const D s = odd ? cosR : sinR;
    const D c = odd ? sinR : cosR;
    sine = sineNegative ? -s : s;
    cosine = cosineNegative ? -c : c;
}

/** log(x) for positive normal x (and +inf), with -inf at 0 and NaN below it: x = 2^k * m with m in
   [sqrt(1/2), sqrt(2)), then the classic series in s = (m - 1) / (m + 1). */
template <class D, class I>
inline D logPositive(D x)
{
    constexpr double ln2High = 6.93147180369123816490e-01;
    constexpr double ln2Low = 1.90821492927058770002e-10;
    constexpr long long mantissaMask = 0x000fffffffffffffLL;
    constexpr long long exponentOfOne = 0x3ff0000000000000LL;

    const I bits = reinterpret_cast<I>(x);
    I k = (bits >> 52) - 1023;
    D m = reinterpret_cast<D>((bits & mantissaMask) | exponentOfOne); // [1, 2)
    const auto high = m > 1.4142135623730951;
    m = high ? m * 0.5 : m;
    k = high ? k + 1 : k;
    // The integer to double by the 1.5 * 2^52 trick, which needs no 64-bit conversion instruction.
    constexpr long long shifterBits = 0x4338000000000000LL;
    const D kd = reinterpret_cast<D>(k + shifterBits) - 6755399441055744.0;

    const D f = m - 1.0;
    const D s = f / (2.0 + f);
    const D z = s * s;
    const D w = z * z;
    const D t1 =
        w * (3.999999999940941908e-01 + w * (2.222219843214978396e-01 + w * 1.531383769920937332e-01));
    const D t2 =
        z * (6.666666666666735130e-01 +
             w * (2.857142874366239149e-01 + w * (1.818357216161805012e-01 + w * 1.479819860511658591e-01)));
    const D r = t2 + t1;
    const D halfSquare = 0.5 * f * f;
    const D result = kd * ln2High - ((halfSquare - (s * (halfSquare + r) + kd * ln2Low)) - f);

    const D zero{};
    const D infinity = zero + __builtin_inf();
    const D notANumber = zero + __builtin_nan("");
    D special = x == 0.0 ? -infinity : notANumber;
    special = x == infinity ? infinity : special;
    return (x > 0.0 && x < infinity) ? result : special;
}

} // namespace vmath
} // namespace
