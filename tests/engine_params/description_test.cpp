#include "engine/parameter_description.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qor
{
namespace
{

/** A percent formatter that scales, as element formatters may do: 0.3 reads "30.00 %". */
juce::String scaledPercent(float value)
{
    return formatDecimals(double(value) * 100.0, 2) + " %";
}

juce::String qualityLabel(int value)
{
    static const char* labels[] = {"Low", "Medium", "High"};
    return labels[value];
}

TEST(DescriptionTest, RegistryIdsRunFromOneInOrder)
{
    const uint32_t before = ParameterDescriptions::count();
    auto a = makeFloatDescription("RegA", "", "", 0.0f, 1.0f, 0.5f);
    auto b = makeIntDescription("RegB", "", "", 0, 3, 1);
    auto c = makeBoolDescription("RegC", "", "", true);
    auto d = makeStringDescription("RegD", "", "", "text");
    EXPECT_EQ(a->id, before + 1);
    EXPECT_EQ(b->id, before + 2);
    EXPECT_EQ(c->id, before + 3);
    EXPECT_EQ(d->id, before + 4);
    EXPECT_EQ(ParameterDescriptions::count(), before + 4);
    EXPECT_EQ(ParameterDescriptions::add(b), b->id);
    EXPECT_EQ(ParameterDescriptions::count(), before + 4);

    // Every id handed out so far, whichever test made it, is its own place from 1 up.
    for (uint32_t id = 1; id <= ParameterDescriptions::count(); ++id)
        ASSERT_EQ(ParameterDescriptions::get(id)->id, id);
    EXPECT_EQ(ParameterDescriptions::get(b->id).get(), b.get());
    EXPECT_EQ(ParameterDescriptions::find(c->id), c.get());
    EXPECT_EQ(ParameterDescriptions::get(0), nullptr);
    EXPECT_EQ(ParameterDescriptions::get(ParameterDescriptions::count() + 1), nullptr);
    EXPECT_EQ(ParameterDescriptions::findId("RegC"), c->id);
    EXPECT_EQ(ParameterDescriptions::findId("NoSuchParameter"), 0u);
}

TEST(DescriptionTest, LookupsRunWhileOthersRegister)
{
    std::atomic<bool> done{false};
    std::atomic<int> bad{0};
    std::thread reader(
        [&]
        {
            while (!done.load())
            {
                const uint32_t n = ParameterDescriptions::count();
                if (n > 0 && ParameterDescriptions::get(n)->id != n)
                    ++bad;
            }
        });
    for (int i = 0; i < 600; ++i)
        makeBoolDescription("Concurrent" + juce::String(i), "", "", false);
    done = true;
    reader.join();
    EXPECT_EQ(bad.load(), 0);
}

TEST(DescriptionTest, FloatGetsAMapperFromItsRange)
{
    auto plain = makeFloatDescription("Plain", "", "", -40.0f, 20.0f, 0.0f, ParameterUnit::decibels);
    auto synced =
        makeFloatDescription("Synced", "", "", 0.0f, 2000.0f, 100.0f, ParameterUnit::syncMilliseconds);
    auto logged = makeFloatDescription("Logged", "", "", 100.0f, 10000.0f, 1000.0f, ParameterUnit::frequency,
                                       std::make_shared<LogMapper>(100.0f, 10000.0f, 0.0f));

    ASSERT_NE(plain->mapper, nullptr);
    EXPECT_FLOAT_EQ(plain->denormalise(nullptr, 0.5f), -10.0f);
    EXPECT_FLOAT_EQ(synced->denormalise(nullptr, 0.5f), 1000.0f);
    EXPECT_FLOAT_EQ(plain->normalise(nullptr, 20.0f), 1.0f);
    EXPECT_NEAR(logged->denormalise(nullptr, 0.5f), 1000.0f, 1.0e-2f);
    EXPECT_NEAR(logged->normalise(nullptr, 1000.0f), 0.5f, 1.0e-6f);
}

TEST(DescriptionTest, FloatFormatAndParse)
{
    auto gain = makeFloatDescription("Gain", "Reverb Gain", "", -20.0f, 20.0f, 0.0f, ParameterUnit::decibels);
    EXPECT_EQ(gain->format(-6.0f), "-6.00 dB");
    EXPECT_FLOAT_EQ(gain->parse("-oo dB"), -20.0f); // clamped like a loaded value
    EXPECT_FLOAT_EQ(gain->parse("loud"), 0.0f);     // the default
    EXPECT_EQ(gain->formatValueText(3.0), "3.00 dB");

    auto mix = makeFloatDescription("Mix", "", "", 0.0f, 1.0f, 0.3f, ParameterUnit::percent, nullptr,
                                    &scaledPercent);
    EXPECT_EQ(mix->format(0.3f), "30.00 %");
    EXPECT_FLOAT_EQ(mix->parse("30.00 %"), 0.3f);
    EXPECT_FLOAT_EQ(mix->parse("45"), 0.45f);

    auto depth = makeFloatDescription("Depth", "", "", 0.0f, 100.0f, 1.0f, ParameterUnit::none, nullptr,
                                      &formatPercent);
    EXPECT_FLOAT_EQ(depth->parse(depth->format(42.5f)), 42.5f);
    EXPECT_FLOAT_EQ(depth->parse("0.5 %"), 0.5f);

    auto ratio = makeFloatDescription("Ratio", "", "", 0.0f, 10.0f, 1.0f, ParameterUnit::none,
                                      std::make_shared<ConformalMapper>(0.0f, 10.0f, 1.0f), &formatRatio);
    EXPECT_FLOAT_EQ(ratio->parse("/ 2.00"), 0.5f);
    EXPECT_FLOAT_EQ(ratio->parse("None"), 0.0f);

    auto time =
        makeFloatDescription("Time", "", "", 0.1f, 10000.0f, 2.0f, ParameterUnit::none, nullptr, &formatTime);
    EXPECT_FLOAT_EQ(time->parse("250 ms"), 0.25f);
    EXPECT_FLOAT_EQ(time->parse("+oo"), 10000.0f);

    auto freq = makeFloatDescription("Freq", "", "", 10.0f, 200.0f, 50.0f, ParameterUnit::frequency);
    EXPECT_EQ(freq->format(50.0f), "50 Hz");
    EXPECT_FLOAT_EQ(freq->parse("1.20 kHz"), 200.0f);
    EXPECT_FLOAT_EQ(freq->clamp(5.0f), 10.0f);

    // A reversed range is never clamped.
    auto open = makeFloatDescription("Open", "", "", 1.0f, 0.0f, 0.0f);
    EXPECT_FLOAT_EQ(open->clamp(5.0f), 5.0f);
}

struct FakeElementTag
{
    int unused = 0;
};
FakeElementTag syncedTag;
const Element* const syncedElement = reinterpret_cast<const Element*>(&syncedTag);

TEST(DescriptionTest, TempoSyncedUnitFollowsTheHook)
{
    const SyncToHostQuery previous = getSyncToHostQuery();
    setSyncToHostQuery([](const Element* e) { return e == syncedElement; });
    auto rate = makeFloatDescription("Rate", "", "", 0.0f, 2000.0f, 100.0f, ParameterUnit::syncMilliseconds);

    EXPECT_EQ(rate->format(250.0f), "250 ms");
    EXPECT_EQ(rate->format(1.0f, syncedElement), "1/4");
    EXPECT_FLOAT_EQ(rate->denormalise(syncedElement, 1.0f), 1.0f / 24.0f);
    EXPECT_FLOAT_EQ(rate->denormalise(nullptr, 1.0f), 2000.0f);
    // A synced value is a row, outside the range's own scale: it is not clamped.
    EXPECT_FLOAT_EQ(rate->parse("32/1", syncedElement), 128.0f);
    EXPECT_FLOAT_EQ(rate->parse("1.50 s"), 1500.0f);
    setSyncToHostQuery(previous);
}

TEST(DescriptionTest, IntFormatParseAndNormalise)
{
    auto quality = makeIntDescription("Quality", "", "", 0, 2, 1, {}, &qualityLabel);
    EXPECT_EQ(quality->format(2), "High");
    EXPECT_EQ(quality->parse("medium"), 1);
    EXPECT_EQ(quality->parse("7"), 2);
    EXPECT_EQ(quality->parse("?"), 1);
    EXPECT_FLOAT_EQ(quality->normalise(1), 0.5f);
    EXPECT_EQ(quality->denormalise(0.74f), 1);
    EXPECT_EQ(quality->denormalise(0.75f), 2);
    EXPECT_EQ(quality->formatValueText(0.0), "Low");

    auto material = makeIntDescription("Material", "", "", 1, 3, 1, {"Steel", "Gold", "Copper"});
    EXPECT_EQ(material->format(3), "Copper");
    EXPECT_EQ(material->format(9), "9");
    EXPECT_EQ(material->parse("Gold"), 2);
    EXPECT_EQ(material->clamp(-4), 1);

    auto count = makeIntDescription("Count", "", "", -5, 5, 0);
    EXPECT_EQ(count->format(-3), "-3");
    EXPECT_EQ(count->parse("-3"), -3);
    EXPECT_EQ(count->parse("2.6"), 3);
}

TEST(DescriptionTest, BoolAndString)
{
    auto lock = makeBoolDescription("GeometryLock", "", "", false, 0);
    EXPECT_FALSE(lock->hasFlag(ParameterFlags::isSaved));
    EXPECT_EQ(lock->format(false), "off");
    EXPECT_TRUE(lock->parse("1"));
    EXPECT_FALSE(lock->parse("OFF"));
    EXPECT_FALSE(lock->parse("maybe"));
    EXPECT_EQ(lock->formatValueText(1.0), "on");

    auto label = makeStringDescription("Label", "", "", "Default");
    EXPECT_EQ(label->formatValueText(0.0), "Default");
}

} // namespace
} // namespace qor
