#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <memory>

namespace qor::render
{

/** The input of one render as the plug-in hears it: samples at the render rate, in one or two channels, read
    block by block in order. Past its end a source gives silence. */
class RenderSource
{
public:
    virtual ~RenderSource() = default;

    virtual int getNumChannels() const = 0;
    virtual double getSampleRate() const = 0;
    /** Samples at the render rate, before the tail. */
    virtual int64_t getLength() const = 0;
    /** Fills the first `numSamples` samples of the first getNumChannels() channels of `block` with the next
        samples of the input. */
    virtual void read(juce::AudioBuffer<float>& block, int numSamples) = 0;
    /** True once a read from disk failed part-way. */
    virtual bool hasFailed() const { return false; }

    /** "take.wav (WAV, 44100 Hz, 2 ch)", "the built-in demo phrase", "a unit impulse". */
    juce::String description;
    /** What the user should know before trusting the render: a file cut short. */
    juce::StringArray warnings;
    /** What is worth saying but not wrong: an empty input. */
    juce::StringArray notes;
    /** The largest magnitude read so far. */
    float peak = 0.0f;
};

/** The whole input already in memory: the demo phrase or the impulse. */
std::unique_ptr<RenderSource> makeBufferSource(juce::AudioBuffer<float> audio, double sampleRate,
                                               juce::String description);

/** A file streamed from disk: only a few blocks are in memory at any time, whatever its length. The header's
    length is not trusted: a WAV or AIFF file is read only as far as it holds samples, with a warning when its
    header declares more. `channels` converts (mixes down or duplicates) when given; `renderRate` resamples
   when given and different from the file's. Answers null and sets `error` when the file cannot be read. */
std::unique_ptr<RenderSource> openFileSource(const juce::File& file, juce::AudioFormatManager& formats,
                                             std::optional<int> channels, std::optional<double> renderRate,
                                             juce::String& error);

} // namespace qor::render
