#include "modal/bank/family.h"
#include "modal/lamina/damping.h"
#include "modal/lamina/damping_rates.h"
#include "modal/lamina/materials.h"
#include "tests/support/float_steps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace qor
{
namespace
{
using test::floatSteps;

// The vector rates against dampingRate over frequencies from 1 Hz to 30 kHz, for every material and random
// settings, the coincidence moved into the audio range among them: within two float steps everywhere and
// identical for all but one in a thousand (only a logarithm that rounds the other way can part them).
TEST(DampingRates, VectorFamiliesAgreeWithDampingRate)
{
    constexpr double twoPi = 6.283185307179586;
    std::mt19937 random(31);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<double> omegas;
    for (int k = 0; k < 4001; ++k)
        omegas.push_back(twoPi * std::pow(30000.0, k / 4000.0));

    int compared = 0, differing = 0;
    int64_t worst = 0;
    for (int trial = 0; trial < 15; ++trial)
    {
        DampingSettings settings;
        settings.material = materialAt(trial % numLaminaMaterials);
        settings.thermalDampMult = 0.1f + 3 * unit(random);
        settings.decay = 0.2f + 20 * unit(random);
        settings.thermalFreqMult = 0.1f + 3 * unit(random);
        settings.radiationFreqMult = trial % 3 == 0 ? 0.3f : 0.5f + 2 * unit(random);
        settings.radiationMult = 3 * unit(random);
        settings.porousFreq = 50 + 5000 * unit(random);
        settings.viscousDepth = unit(random);
        settings.porousDepth = unit(random);
        settings.radiationDepth = unit(random);
        settings.bandDepth = trial == 1 ? 0.0f : unit(random);
        settings.dims = laminaDimensions(0.5f + 5 * unit(random), 0.5f + 3 * unit(random));
        std::array<float, 12> times;
        for (auto& t : times)
            t = std::pow(10.0f, 5 * unit(random) - 1);
        MonotoneCubicTable bandDecay;
        setBandDecayTable(bandDecay, times);

        const auto count = static_cast<uint32_t>(omegas.size());
        std::vector<float> expected(count);
        dampingRatesOverTable(modalbank::Family::scalar, settings, bandDecay, omegas.data(), count,
                              expected.data());
        EXPECT_EQ(expected[1000], settings.rateAt(static_cast<float>(omegas[1000] / twoPi), bandDecay));
        for (auto family : {modalbank::Family::avx2, modalbank::Family::avx512})
        {
            if (modalbank::bestFamily() < family)
                continue;
            std::vector<float> rates(count + 1, -1.0f);
            dampingRatesOverTable(family, settings, bandDecay, omegas.data(), count, rates.data());
            for (uint32_t k = 0; k < count; ++k)
            {
                const auto steps = floatSteps(rates[k], expected[k]);
                ASSERT_LE(steps, 2) << modalbank::familyName(family) << " trial " << trial << " omega "
                                    << omegas[k] << ": " << rates[k] << " against " << expected[k];
                worst = std::max(worst, steps);
                differing += steps != 0;
                ++compared;
            }
            EXPECT_EQ(rates[count], -1.0f);
        }
    }
    EXPECT_LE(differing, compared / 1000) << "worst " << worst;
}

} // namespace
} // namespace qor
