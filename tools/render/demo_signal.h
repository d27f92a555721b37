#pragma once

#include <juce_audio_basics/juce_audio_basics.h>

namespace qor::render
{

/** A short phrase to hear the plate on: four plucked notes, a snare hit, then silence. The same samples on
    every call (the noise is seeded). Its peak is -6 dBFS. */
juce::AudioBuffer<float> makeDemoSignal(double sampleRate, int numChannels);

/** Seconds from the start of the demo phrase after which it is silent. */
constexpr double demoSoundingSeconds = 1.5;

/** A unit impulse at the first sample of every channel, followed by `numSamples` - 1 zeros. */
juce::AudioBuffer<float> makeImpulse(int numChannels, int numSamples);

} // namespace qor::render
