#include "tools/render/render_source.h"

#include "tools/render/audio_data_extent.h"

#include <cmath>

namespace qor::render
{

namespace
{
class BufferSource final : public RenderSource
{
public:
    BufferSource(juce::AudioBuffer<float> a, double rate, juce::String text)
        : audio(std::move(a)), sampleRate(rate)
    {
        description = std::move(text);
    }

    int getNumChannels() const override { return audio.getNumChannels(); }
    double getSampleRate() const override { return sampleRate; }
    int64_t getLength() const override { return audio.getNumSamples(); }

    void read(juce::AudioBuffer<float>& block, int numSamples) override
    {
        const int available =
            static_cast<int>(juce::jlimit<int64_t>(0, numSamples, audio.getNumSamples() - position));
        for (int c = 0; c < audio.getNumChannels(); ++c)
        {
            block.clear(c, 0, numSamples);
            if (available > 0)
            {
                block.copyFrom(c, 0, audio, c, static_cast<int>(position), available);
                peak = juce::jmax(peak, block.getMagnitude(c, 0, available));
            }
        }
        position += numSamples;
    }

private:
    juce::AudioBuffer<float> audio;
    double sampleRate;
    int64_t position = 0;
};

/** Reads a file in order, at its own rate, converting the channel count. */
class FileReader
{
public:
    FileReader(std::unique_ptr<juce::AudioFormatReader> r, int64_t frames, int outChannels)
        : reader(std::move(r)), length(frames), channels(outChannels),
          scratch(static_cast<int>(reader->numChannels), chunk)
    {
    }

    int64_t getLength() const { return length; }
    bool hasFailed() const { return failed; }

    /** The next `numSamples` samples into `out` from `offset` on; zeros after the end. */
    void read(juce::AudioBuffer<float>& out, int offset, int numSamples, float& peak)
    {
        while (numSamples > 0)
        {
            const int n = juce::jmin(numSamples, chunk);
            const int available = static_cast<int>(juce::jlimit<int64_t>(0, n, length - position));
            scratch.clear();
            if (available > 0 &&
                !reader->read(&scratch, 0, available, position, true, scratch.getNumChannels() > 1))
                failed = true;
            const int fileChannels = scratch.getNumChannels();
            for (int c = 0; c < channels; ++c)
            {
                if (fileChannels == channels)
                    out.copyFrom(c, offset, scratch, c, 0, n);
                else if (channels == 1) // stereo mixed down
                {
                    out.copyFromWithRamp(c, offset, scratch.getReadPointer(0), n, 0.5f, 0.5f);
                    out.addFrom(c, offset, scratch, 1, 0, n, 0.5f);
                }
                else // mono duplicated
                    out.copyFrom(c, offset, scratch, 0, 0, n);
                peak = juce::jmax(peak, out.getMagnitude(c, offset, n));
            }
            position += n;
            offset += n;
            numSamples -= n;
        }
    }

private:
    static constexpr int chunk = 4096;
    std::unique_ptr<juce::AudioFormatReader> reader;
    int64_t length;
    int channels;
    juce::AudioBuffer<float> scratch;
    int64_t position = 0;
    bool failed = false;
};

class FileSource final : public RenderSource
{
public:
    FileSource(std::unique_ptr<juce::AudioFormatReader> r, int64_t frames, int channels, double fileRate,
               double renderRate)
        : file(std::move(r), frames, channels), channels(channels), renderRate(renderRate),
          ratio(fileRate / renderRate)
    {
        if (ratio != 1.0)
        {
            interpolators.resize(static_cast<std::size_t>(channels));
            pending.setSize(channels, inputCapacity);
            pending.clear();
            // The interpolator answers its base latency late, in input samples. Its first step is shortened
            // so that after `late` outputs, thrown away, the next output lies exactly on the input's first
            // sample.
            const double latency = juce::WindowedSincInterpolator::getBaseLatency();
            const int late = static_cast<int>(std::floor(latency / ratio)) + 1;
            juce::AudioBuffer<float> discard(channels, 1);
            resample(discard, 1, latency - (late - 1) * ratio);
            for (int done = 1; done < late; ++done)
                resample(discard, 1, ratio);
        }
    }

    int getNumChannels() const override { return channels; }
    double getSampleRate() const override { return renderRate; }
    int64_t getLength() const override
    {
        return ratio == 1.0 ? file.getLength()
                            : static_cast<int64_t>(std::ceil(static_cast<double>(file.getLength()) / ratio));
    }

    bool hasFailed() const override { return file.hasFailed(); }

    void read(juce::AudioBuffer<float>& block, int numSamples) override
    {
        if (ratio == 1.0)
            file.read(block, 0, numSamples, peak);
        else
            resample(block, numSamples, ratio);
    }

private:
    /** The next `numSamples` outputs, each `step` input samples after the one before. */
    void resample(juce::AudioBuffer<float>& out, int numSamples, double step)
    {
        // Enough input for every output the block asks for: the interpolator takes about `step` inputs each.
        const int needed = static_cast<int>(std::ceil(numSamples * step)) + 4;
        if (pendingCount < needed)
        {
            if (pending.getNumSamples() < needed)
                pending.setSize(pending.getNumChannels(), needed, true, true);
            file.read(pending, pendingCount, needed - pendingCount, peak);
            pendingCount = needed;
        }
        int used = 0;
        for (int c = 0; c < pending.getNumChannels(); ++c)
            used = interpolators[static_cast<std::size_t>(c)].process(step, pending.getReadPointer(c),
                                                                      out.getWritePointer(c), numSamples);
        // Keep what the interpolator has not consumed at the front.
        for (int c = 0; c < pending.getNumChannels(); ++c)
        {
            auto* p = pending.getWritePointer(c);
            std::memmove(p, p + used, sizeof(float) * static_cast<std::size_t>(pendingCount - used));
        }
        pendingCount -= used;
    }

    static constexpr int inputCapacity = 8192;
    FileReader file;
    int channels;
    double renderRate, ratio;
    std::vector<juce::WindowedSincInterpolator> interpolators;
    juce::AudioBuffer<float> pending;
    int pendingCount = 0;
};

juce::String secondsText(double seconds)
{
    return juce::String(seconds, 2) + " s";
}
} // namespace

std::unique_ptr<RenderSource> makeBufferSource(juce::AudioBuffer<float> audio, double sampleRate,
                                               juce::String description)
{
    return std::make_unique<BufferSource>(std::move(audio), sampleRate, std::move(description));
}

std::unique_ptr<RenderSource> openFileSource(const juce::File& file, juce::AudioFormatManager& formats,
                                             std::optional<int> channels, std::optional<double> renderRate,
                                             juce::String& error)
{
    if (file.isDirectory())
    {
        error = "input '" + file.getFullPathName() + "' is a folder, not an audio file";
        return nullptr;
    }
    if (!file.existsAsFile())
    {
        error = "input file not found: " + file.getFullPathName();
        return nullptr;
    }
    std::unique_ptr<juce::AudioFormatReader> reader(formats.createReaderFor(file));
    if (reader == nullptr)
    {
        error = "cannot read '" + file.getFullPathName() +
                "': not a WAV, AIFF, FLAC or Ogg Vorbis file, or damaged";
        return nullptr;
    }
    if (reader->numChannels < 1 || reader->numChannels > 2)
    {
        error = "'" + file.getFileName() + "' has " + juce::String(reader->numChannels) +
                " channels; the reverb takes mono or stereo input";
        return nullptr;
    }
    if (!(reader->sampleRate >= 1000.0 && reader->sampleRate <= 1.0e6))
    {
        error = "'" + file.getFileName() + "' has no usable sample rate (" +
                juce::String(reader->sampleRate) + " Hz)";
        return nullptr;
    }

    const double fileRate = reader->sampleRate;
    int64_t frames = juce::jmax<int64_t>(0, reader->lengthInSamples);
    juce::StringArray warnings;
    // A header may claim more than the file holds (cut short, or forged): read only what is there.
    const auto format = reader->getFormatName();
    const int bytesPerFrame = static_cast<int>(reader->numChannels * ((reader->bitsPerSample + 7) / 8));
    if ((format.startsWith("WAV") || format.startsWith("AIFF")) && bytesPerFrame > 0)
    {
        juce::FileInputStream stream(file);
        if (const auto extent = stream.openedOk() ? findAudioData(stream) : std::nullopt)
        {
            const int64_t held = extent->heldBytes / bytesPerFrame;
            if (held < frames)
            {
                warnings.add("'" + file.getFileName() + "' declares " + secondsText(frames / fileRate) +
                             " of audio but holds " + secondsText(held / fileRate) + " (" +
                             juce::String(held) + " samples); rendering what it holds");
                frames = held;
            }
        }
    }
    juce::StringArray notes;
    if (frames == 0)
        notes.add("'" + file.getFileName() + "' holds no samples: the render is the tail alone, in silence");

    const int outChannels = channels.value_or(static_cast<int>(reader->numChannels));
    const double rate = renderRate.value_or(fileRate);
    auto description = file.getFileName() + " (" + reader->getFormatName() + ", " +
                       juce::String(static_cast<int>(fileRate)) + " Hz, " +
                       juce::String(reader->numChannels) + " ch)";
    if (rate != fileRate)
        description << ", resampled to " << juce::String(static_cast<int>(rate)) << " Hz";

    auto source = std::make_unique<FileSource>(std::move(reader), frames, outChannels, fileRate, rate);
    source->description = description;
    source->warnings = warnings;
    source->notes = notes;
    return source;
}

} // namespace qor::render
