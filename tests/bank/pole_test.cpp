#include "modal/bank/family.h"
#include "modal/bank/poles.h"
#include "tests/support/float_steps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace qor
{
namespace
{
using test::floatSteps;

// The vector poles against the library's exp, cos and sin, one mode at a time: after the rounding to 32 bits
// that the bank makes, every value is within one float step, and all but a handful are identical. Decays
// from none to infinite (a pole of radius 0), frequencies up to a little beyond Nyquist (modulation raises
// them), and counts that leave a partial vector.
TEST(Poles, VectorFamiliesMatchTheLibraryWithinOneFloatStep)
{
    constexpr double sampleRate = 48000.0;
    constexpr double pi = 3.141592653589793;
    std::mt19937 random(21);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> decay, omega;
    for (int k = 0; k < 50000; ++k)
    {
        decay.push_back(std::pow(10.0, 8.0 * unit(random) - 3.0)); // 1e-3 .. 1e5 per second
        omega.push_back(pi * sampleRate * 1.05 * unit(random));
    }
    for (double d : {0.0, 1e-12, 6.9, 5e6, 3.4e7, 1e12, std::numeric_limits<double>::infinity()})
        for (double w : {0.0, 1.0, 2 * pi * 1000, pi * sampleRate / 2, pi * sampleRate / 4, pi * sampleRate})
        {
            decay.push_back(d);
            omega.push_back(w);
        }
    const auto count = static_cast<uint32_t>(decay.size()) - 3; // not a whole number of vectors

    std::vector<double> c0(count), s0(count);
    modalbank::computePoles(modalbank::Family::scalar, decay.data(), omega.data(), count, sampleRate,
                            c0.data(), s0.data());
    for (auto family : {modalbank::Family::avx2, modalbank::Family::avx512})
    {
        if (modalbank::bestFamily() < family)
            continue;
        std::vector<double> c(count + 1, 7.0), s(count + 1, 7.0);
        modalbank::computePoles(family, decay.data(), omega.data(), count, sampleRate, c.data(), s.data());
        int differing = 0;
        for (uint32_t k = 0; k < count; ++k)
        {
            // In 64 bits: within a few units of the last place of the radius.
            const double radius = std::exp(-decay[k] / sampleRate);
            ASSERT_LE(std::abs(c[k] - c0[k]), 4e-16 * radius + 1e-300)
                << modalbank::familyName(family) << " mode " << k;
            ASSERT_LE(std::abs(s[k] - s0[k]), 4e-16 * radius + 1e-300)
                << modalbank::familyName(family) << " mode " << k;
            const auto dc = floatSteps(static_cast<float>(c[k]), static_cast<float>(c0[k]));
            const auto ds = floatSteps(static_cast<float>(s[k]), static_cast<float>(s0[k]));
            ASSERT_LE(std::max(dc, ds), 1) << modalbank::familyName(family) << " mode " << k;
            differing += (dc != 0) + (ds != 0);
        }
        EXPECT_LE(differing, 4) << modalbank::familyName(family);
        EXPECT_EQ(c[count], 7.0);
        EXPECT_EQ(s[count], 7.0);
    }
}

} // namespace
} // namespace qor
