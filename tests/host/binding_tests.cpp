// The binding in this process, linked with the plug-in's shared code: its processor driven the way a host's
// audio and message threads drive it, with the timing of their meetings chosen by the test.
#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_events/juce_events.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter();

namespace
{
constexpr double rate = 48000.0;
constexpr int blockSize = 256;

std::unique_ptr<juce::AudioProcessor> makeProcessor()
{
    std::unique_ptr<juce::AudioProcessor> processor(createPluginFilter());
    processor->setPlayConfigDetails(2, 2, rate, blockSize);
    processor->prepareToPlay(rate, blockSize);
    return processor;
}

juce::AudioProcessorParameter& parameterNamed(juce::AudioProcessor& processor, const juce::String& name)
{
    for (auto* p : processor.getParameters())
        if (p->getName(100) == name)
            return *p;
    throw std::runtime_error(("no parameter " + name).toStdString());
}

/** One block of a steady input on both sides. With Mix at 1 no dry signal is left in a block that ran, so a
    block whose output is its input exactly is one that passed dry. */
bool blockPassesDry(juce::AudioProcessor& processor)
{
    juce::AudioBuffer<float> buffer(2, blockSize);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < blockSize; ++i)
            buffer.setSample(c, i, 0.25f + 0.001f * float(i));
    juce::MidiBuffer midi;
    processor.processBlock(buffer, midi);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < blockSize; ++i)
            if (buffer.getSample(c, i) != 0.25f + 0.001f * float(i))
                return false;
    return true;
}

/** Calls back on every change of one parameter that is told to listeners. */
struct OnChange : juce::AudioProcessorParameter::Listener
{
    OnChange(juce::AudioProcessorParameter& p, std::function<void()> f) : parameter(p), action(std::move(f))
    {
        parameter.addListener(this);
    }
    ~OnChange() override { parameter.removeListener(this); }
    void parameterValueChanged(int, float) override { action(); }
    void parameterGestureChanged(int, bool) override {}
    juce::AudioProcessorParameter& parameter;
    std::function<void()> action;
};
} // namespace

// The stand-alone, an editor's widgets and the VST3 wrapper when the transport stops all write on the message
// thread while blocks run: no block may pass dry for it.
TEST(Binding, HostWritesWhileBlocksRunMakeNoBlockPassDry)
{
    auto processor = makeProcessor();
    parameterNamed(*processor, "Mix").setValueNotifyingHost(1.0f);
    auto& gain = parameterNamed(*processor, "Reverb Gain");
    ASSERT_FALSE(blockPassesDry(*processor));

    constexpr int blocks = 400;
    std::atomic<bool> running{true};
    int dry = 0;
    std::thread audio(
        [&]
        {
            for (int b = 0; b < blocks; ++b)
                dry += blockPassesDry(*processor) ? 1 : 0;
            running = false;
        });
    int writes = 0;
    while (running.load())
        gain.setValueNotifyingHost((++writes % 2) != 0 ? 0.4f : 0.6f);
    audio.join();
    EXPECT_EQ(dry, 0) << "of " << blocks << " blocks, against " << writes << " writes";
    RecordProperty("writes", writes);
}

// A state load tells the host of the values it restored; at that moment a block runs on the audio thread and
// the host writes another value from there. The block must run, and the write must be in the next saved state
// even though the host bypasses the plug-in right after (a bypassed plug-in runs no blocks that could apply
// it).
TEST(Binding, ABlockAndAWriteMeetingAStateLoadBothGoThroughAndTheWriteIsSaved)
{
    auto processor = makeProcessor();
    juce::MemoryBlock saved;
    processor->getStateInformation(saved); // Mix at its default, 0.3
    auto& mix = parameterNamed(*processor, "Mix");
    auto& decay = parameterNamed(*processor, "Decay");
    auto& bypass = *processor->getBypassParameter();
    mix.setValueNotifyingHost(1.0f);

    int calls = 0;
    bool dryDuringLoad = true;
    const float written = 0.9f;
    OnChange meet(mix,
                  [&]
                  {
                      if (calls++ != 0)
                          return;
                      std::thread audio(
                          [&]
                          {
                              dryDuringLoad = blockPassesDry(*processor);
                              decay.setValue(written);
                          });
                      audio.join();
                  });
    processor->setStateInformation(saved.getData(), int(saved.getSize()));
    ASSERT_EQ(calls, 1) << "the load told the host of the restored Mix";
    EXPECT_FALSE(dryDuringLoad);

    bypass.setValueNotifyingHost(1.0f);
    juce::MemoryBlock after;
    processor->getStateInformation(after);
    auto restored = makeProcessor();
    restored->setStateInformation(after.getData(), int(after.getSize()));
    EXPECT_NEAR(parameterNamed(*restored, "Decay").getValue(), written, 1e-5f);
    EXPECT_NEAR(parameterNamed(*restored, "Mix").getValue(), 0.3f, 1e-6f);
}

TEST(Binding, DefaultIsTheFirstProgramAndTheMasterBypassTravelsWithTheState)
{
    auto processor = makeProcessor();
    ASSERT_EQ(processor->getNumPrograms(), 53);
    EXPECT_EQ(processor->getProgramName(0), "Default");

    auto& bypass = *processor->getBypassParameter();
    EXPECT_EQ(bypass.getName(100), "Master Bypass");
    bypass.setValueNotifyingHost(1.0f);
    juce::MemoryBlock on;
    processor->getStateInformation(on);
    bypass.setValueNotifyingHost(0.0f);
    juce::MemoryBlock off;
    processor->getStateInformation(off);

    auto restored = makeProcessor();
    restored->setStateInformation(on.getData(), int(on.getSize()));
    EXPECT_EQ(restored->getBypassParameter()->getValue(), 1.0f);
    restored->setStateInformation(off.getData(), int(off.getSize()));
    EXPECT_EQ(restored->getBypassParameter()->getValue(), 0.0f);
}

// What the VST3 wrapper hands over from a host's queue, unchecked.
TEST(Binding, QueueValuesThatAreNoNumbersChangeNothingAndInfinitiesEndTheScale)
{
    auto processor = makeProcessor();
    auto& decay = parameterNamed(*processor, "Decay");
    const float before = decay.getValue();
    decay.setValue(std::nanf(""));
    EXPECT_EQ(decay.getValue(), before);
    decay.setValue(INFINITY);
    EXPECT_EQ(decay.getValue(), 1.0f);
    decay.setValue(-INFINITY);
    EXPECT_EQ(decay.getValue(), 0.0f);
    EXPECT_EQ(decay.getText(decay.getValue(), 100), "200 ms");
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // JUCE goes down before static destruction begins.
    auto juce = std::make_unique<juce::ScopedJuceInitialiser_GUI>();
    const int result = RUN_ALL_TESTS();
    juce.reset();
    return result;
}
