#include "engine/parameter_mapper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace qor
{
namespace
{

float mapped(const ParameterMapper& m, float x, const Element* e = nullptr)
{
    m.map(e, x);
    return x;
}

float unmapped(const ParameterMapper& m, float y, const Element* e = nullptr)
{
    m.unmap(e, y);
    return y;
}

// Relative tolerance for float formulae against values computed in doubles.
void expectNear(float actual, double expected, double relative = 2.0e-6)
{
    EXPECT_NEAR(actual, expected, std::max(1.0e-6, std::fabs(expected) * relative));
}

TEST(MapperTest, LinearEndsAndMiddle)
{
    LinearParameterMapper m(-40.0f, 20.0f);
    EXPECT_FLOAT_EQ(mapped(m, 0.0f), -40.0f);
    EXPECT_FLOAT_EQ(mapped(m, 0.5f), -10.0f);
    EXPECT_FLOAT_EQ(mapped(m, 1.0f), 20.0f);
    EXPECT_FLOAT_EQ(unmapped(m, 0.0f), 2.0f / 3.0f);
}

TEST(MapperTest, LogMapper)
{
    LogMapper m(100.0f, 10000.0f, 0.0f);
    expectNear(mapped(m, 0.0f), 100.0);
    expectNear(mapped(m, 0.5f), 1000.0);
    expectNear(mapped(m, 1.0f), 10000.0);
    expectNear(unmapped(m, 1000.0f), 0.5);

    // With an offset the range may start at 0: the pre-delay's mapper.
    LogMapper withOffset(0.0f, 1000.0f, 1.0f);
    EXPECT_NEAR(mapped(withOffset, 0.0f), 0.0f, 1.0e-6f);
    expectNear(mapped(withOffset, 0.5f), std::sqrt(1001.0) - 1.0);
    expectNear(mapped(withOffset, 1.0f), 1000.0);
}

TEST(MapperTest, BipolarLogIsOddAroundTheMiddle)
{
    BipolarLogMapper m(100.0f, 1.0f);
    EXPECT_NEAR(mapped(m, 0.5f), 0.0f, 1.0e-6f);
    expectNear(mapped(m, 1.0f), 100.0);
    expectNear(mapped(m, 0.0f), -100.0);
    expectNear(mapped(m, 0.75f), std::sqrt(101.0) - 1.0);
    expectNear(mapped(m, 0.25f), -(std::sqrt(101.0) - 1.0));
    expectNear(unmapped(m, -(std::sqrt(101.0f) - 1.0f)), 0.25);
}

TEST(MapperTest, CurveMapperBothConstructions)
{
    CurveMapper linear(0.0f, 10.0f, 0.0f);
    EXPECT_FLOAT_EQ(mapped(linear, 0.3f), 3.0f);

    CurveMapper square(0.0f, 10.0f, 0.5f); // power -log2(0.25) = 2
    EXPECT_FLOAT_EQ(mapped(square, 0.5f), 2.5f);
    EXPECT_FLOAT_EQ(unmapped(square, 2.5f), 0.5f);

    CurveMapper fromCentre(0.0f, 100.0f, 25.0f, 0.5f);
    EXPECT_FLOAT_EQ(mapped(fromCentre, 0.5f), 25.0f);
    EXPECT_FALSE(fromCentre.isBipolar);

    CurveMapper bipolar(-10.0f, 10.0f, 0.5f);
    ASSERT_TRUE(bipolar.isBipolar);
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.5f), 0.0f);
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.75f), 2.5f);
    EXPECT_FLOAT_EQ(mapped(bipolar, 0.25f), -2.5f);
    EXPECT_FLOAT_EQ(unmapped(bipolar, -2.5f), 0.25f);
    EXPECT_FLOAT_EQ(unmapped(bipolar, 10.0f), 1.0f);
}

TEST(MapperTest, ConformalPutsTheCentreInTheMiddle)
{
    // Golden values from the formula in doubles (python).
    ConformalMapper decay(0.2f, 10000.0f, 4.0f);
    expectNear(mapped(decay, 0.0f), 0.2);
    expectNear(mapped(decay, 0.25f), 1.4669876432891655, 1.0e-5);
    expectNear(mapped(decay, 0.5f), 4.0, 1.0e-5);
    expectNear(mapped(decay, 0.75f), 11.591342406619106, 1.0e-5);
    expectNear(mapped(decay, 0.9f), 34.29634503798531, 1.0e-5);
    expectNear(mapped(decay, 1.0f), 10000.0, 1.0e-4);
    expectNear(unmapped(decay, 4.0f), 0.5, 1.0e-5);

    ConformalMapper small(0.0f, 10.0f, 1.0f);
    EXPECT_FLOAT_EQ(mapped(small, 0.25f), 5.0f / 14.0f);
    EXPECT_FLOAT_EQ(mapped(small, 0.5f), 1.0f);

    // A centre above the middle of the range bends the other way.
    ConformalMapper high(0.0f, 10.0f, 8.0f);
    EXPECT_FLOAT_EQ(mapped(high, 0.5f), 8.0f);
    EXPECT_FLOAT_EQ(mapped(high, 1.0f), 10.0f);
}

TEST(MapperTest, ConformalSingularPointAndClamps)
{
    ConformalMapper m(0.0f, 10.0f, 1.0f);
    // x = c1 divides by zero: the clamp answers max.
    EXPECT_EQ(mapped(m, m.c1), 10.0f);
    EXPECT_EQ(unmapped(m, 20.0f), 1.0f);
    EXPECT_EQ(unmapped(m, -0.5f), 0.0f);
    EXPECT_EQ(mapped(m, 1.0f), 10.0f);
}

TEST(MapperTest, FilterFrequency)
{
    Qor3FilterFreqMapper f(20000.0f);
    expectNear(f.noteMax, 69.0 + 12.0 * std::log2(20000.0 / 440.0));
    expectNear(mapped(f, 0.0f), 8.175798915643707, 1.0e-5);
    expectNear(mapped(f, 1.0f), 20000.0, 1.0e-5);
    expectNear(mapped(f, 69.0f / f.noteMax), 440.0, 1.0e-5);
    expectNear(unmapped(f, 880.0f), 81.0 / f.noteMax, 1.0e-5);
}

struct FakeElementTag
{
    int unused = 0;
};
FakeElementTag syncedTag, freeTag;
const Element* const syncedElement = reinterpret_cast<const Element*>(&syncedTag);
const Element* const freeElement = reinterpret_cast<const Element*>(&freeTag);

class SyncMapperTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        previous = getSyncToHostQuery();
        setSyncToHostQuery([](const Element* e) { return e == syncedElement; });
    }
    void TearDown() override { setSyncToHostQuery(previous); }
    SyncToHostQuery previous = nullptr;
};

TEST_F(SyncMapperTest, RowsWhenSyncedLinearOtherwise)
{
    SyncLinearParameterMapper m(0.0f, 2000.0f);
    EXPECT_FLOAT_EQ(mapped(m, 0.5f, freeElement), 1000.0f);
    EXPECT_FLOAT_EQ(mapped(m, 0.5f, nullptr), 1000.0f);

    EXPECT_FLOAT_EQ(mapped(m, 0.0f, syncedElement), 128.0f);
    // floor(29 * 0.5 + 0.5) = 15: the row 4/3.
    EXPECT_FLOAT_EQ(mapped(m, 0.5f, syncedElement), 4.0f / 3.0f);
    EXPECT_FLOAT_EQ(mapped(m, 1.0f, syncedElement), 1.0f / 24.0f);
    EXPECT_FLOAT_EQ(mapped(m, 1.7f, syncedElement), 1.0f / 24.0f);
    EXPECT_FLOAT_EQ(mapped(m, -0.3f, syncedElement), 128.0f);

    EXPECT_FLOAT_EQ(unmapped(m, 1.0f, syncedElement), 16.0f / 29.0f);
    EXPECT_FLOAT_EQ(unmapped(m, 0.8f, syncedElement), 17.0f / 29.0f); // nearest to 3/4
    EXPECT_FLOAT_EQ(unmapped(m, 500.0f, syncedElement), 0.0f);
    EXPECT_FLOAT_EQ(unmapped(m, 500.0f, freeElement), 0.25f);

    for (int row = 0; row < int(syncTableSize); ++row)
    {
        const float x = float(row) / 29.0f;
        EXPECT_FLOAT_EQ(unmapped(m, mapped(m, x, syncedElement), syncedElement), x) << row;
    }
}

TEST(MapperTest, UnmapInvertsMapOverASweep)
{
    std::vector<std::unique_ptr<ParameterMapper>> mappers;
    mappers.push_back(std::make_unique<LinearParameterMapper>(-40.0f, 20.0f));
    mappers.push_back(std::make_unique<SyncLinearParameterMapper>(0.0f, 1000.0f));
    mappers.push_back(std::make_unique<LogMapper>(0.01f, 100.0f, 0.0f));
    mappers.push_back(std::make_unique<LogMapper>(0.0f, 2000.0f, 100.0f));
    mappers.push_back(std::make_unique<BipolarLogMapper>(48.0f, 1.0f));
    mappers.push_back(std::make_unique<CurveMapper>(0.0f, 10.0f, 0.6f));
    mappers.push_back(std::make_unique<CurveMapper>(-24.0f, 24.0f, 0.4f));
    mappers.push_back(std::make_unique<CurveMapper>(20.0f, 20000.0f, 1000.0f, 0.5f));
    mappers.push_back(std::make_unique<ConformalMapper>(0.1f, 10000.0f, 4.0f));
    mappers.push_back(std::make_unique<ConformalMapper>(0.0f, 10.0f, 1.0f));
    mappers.push_back(std::make_unique<DummyMapper>());
    mappers.push_back(std::make_unique<Qor3FilterFreqMapper>(20000.0f));

    for (std::size_t i = 0; i < mappers.size(); ++i)
    {
        for (int step = 0; step <= 100; ++step)
        {
            const float x = float(step) / 100.0f;
            const float y = mapped(*mappers[i], x);
            EXPECT_NEAR(unmapped(*mappers[i], y), x, 2.0e-4f) << "mapper " << i << " x " << x;
        }
    }
}

} // namespace
} // namespace qor
