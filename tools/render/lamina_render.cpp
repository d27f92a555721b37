// lamina-render: drives LaminaPlugin offline through the calling order of a host and writes the result.
#include "engine/element.h"
#include "engine/process_context.h"
#include "plugin/lamina_plugin.h"
#include "tools/render/demo_signal.h"
#include "tools/render/render_options.h"
#include "tools/render/render_parameters.h"
#include "tools/render/render_preset.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <iostream>
#include <memory>
#include <unistd.h>

using namespace qor;
using namespace qor::render;

namespace
{
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;
constexpr int exitInterrupted = 130;
constexpr uint32_t defaultSampleRate = 48000;
constexpr int outputChannels = 2;

std::atomic<bool> interrupted{false};

/** A failure that ends the program with a message and a status. */
struct Failure
{
    juce::String message;
    int status = exitFailure;
};

[[noreturn]] void fail(const juce::String& message, int status = exitFailure)
{
    throw Failure{message, status};
}

juce::String secondsText(double seconds)
{
    return juce::String(seconds, 2) + " s";
}

/** The input as the plug-in will see it: samples at the render rate, in one or two channels. */
struct Source
{
    juce::AudioBuffer<float> audio;
    double sampleRate = defaultSampleRate;
    juce::String description;
};

juce::AudioBuffer<float> resample(const juce::AudioBuffer<float>& in, double fromRate, double toRate)
{
    const double ratio = fromRate / toRate;
    const int latency =
        static_cast<int>(std::lround(juce::WindowedSincInterpolator::getBaseLatency() / ratio));
    const int outLength = static_cast<int>(std::ceil(in.getNumSamples() / ratio));
    // Zeros behind the input let the interpolator run past its end while the latency is taken off the front.
    const int padded = in.getNumSamples() + static_cast<int>(std::ceil((latency + 64) * ratio)) + 256;
    juce::AudioBuffer<float> source(in.getNumChannels(), padded);
    source.clear();
    juce::AudioBuffer<float> out(in.getNumChannels(), outLength);
    std::vector<float> scratch(static_cast<std::size_t>(outLength + latency));
    for (int c = 0; c < in.getNumChannels(); ++c)
    {
        source.copyFrom(c, 0, in, c, 0, in.getNumSamples());
        juce::WindowedSincInterpolator interpolator;
        interpolator.process(ratio, source.getReadPointer(c), scratch.data(), outLength + latency);
        out.copyFrom(c, 0, scratch.data() + latency, outLength);
    }
    return out;
}

Source loadInput(const RenderOptions& options, juce::AudioFormatManager& formats)
{
    Source source;
    const int wantedChannels = static_cast<int>(options.inputChannels.value_or(2));
    if (options.impulseResponse)
    {
        source.sampleRate = options.sampleRate.value_or(defaultSampleRate);
        source.audio = makeImpulse(wantedChannels, 1);
        source.description = "unit impulse";
        return source;
    }
    if (options.inputPath.isEmpty())
    {
        source.sampleRate = options.sampleRate.value_or(defaultSampleRate);
        source.audio = makeDemoSignal(source.sampleRate, wantedChannels);
        source.description = "built-in demo phrase";
        return source;
    }

    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile(options.inputPath);
    if (file.isDirectory())
        fail("input '" + options.inputPath + "' is a folder, not an audio file");
    if (!file.existsAsFile())
        fail("input file not found: " + file.getFullPathName());
    std::unique_ptr<juce::AudioFormatReader> reader(formats.createReaderFor(file));
    if (reader == nullptr)
        fail("cannot read '" + file.getFullPathName() +
             "': not a WAV, AIFF, FLAC or Ogg Vorbis file, or damaged");
    if (reader->numChannels < 1 || reader->numChannels > 2)
        fail("'" + file.getFileName() + "' has " + juce::String(reader->numChannels) +
             " channels; the reverb takes mono or stereo input");
    if (reader->lengthInSamples <= 0)
        fail("'" + file.getFileName() + "' holds no audio");
    if (reader->lengthInSamples > std::numeric_limits<int>::max() / 2 || reader->sampleRate <= 0.0)
        fail("'" + file.getFileName() + "' is too long or has no valid sample rate");

    const int length = static_cast<int>(reader->lengthInSamples);
    juce::AudioBuffer<float> audio(static_cast<int>(reader->numChannels), length);
    if (!reader->read(&audio, 0, length, 0, true, true))
        fail("reading '" + file.getFullPathName() + "' failed part-way");

    // --channels converts a file as it does the demo: mix stereo down, or duplicate mono.
    if (options.inputChannels && wantedChannels != audio.getNumChannels())
    {
        juce::AudioBuffer<float> converted(wantedChannels, length);
        if (wantedChannels == 1)
        {
            converted.copyFrom(0, 0, audio, 0, 0, length);
            converted.addFrom(0, 0, audio, 1, 0, length);
            converted.applyGain(0.5f);
        }
        else
            for (int c = 0; c < 2; ++c)
                converted.copyFrom(c, 0, audio, 0, 0, length);
        audio = std::move(converted);
    }

    source.sampleRate = reader->sampleRate;
    source.description = file.getFileName() + " (" + reader->getFormatName() + ", " +
                         juce::String(static_cast<int>(reader->sampleRate)) + " Hz, " +
                         juce::String(reader->numChannels) + " ch)";
    if (options.sampleRate && static_cast<double>(*options.sampleRate) != reader->sampleRate)
    {
        audio = resample(audio, reader->sampleRate, *options.sampleRate);
        source.sampleRate = *options.sampleRate;
        source.description << ", resampled to " << juce::String(*options.sampleRate) << " Hz";
    }
    source.audio = std::move(audio);
    return source;
}

/** The writer's format for the file's extension, with its bit depth and quality option. */
struct OutputFormat
{
    std::unique_ptr<juce::AudioFormat> format;
    int bitsPerSample = 24;
    int qualityIndex = 0;
    juce::String label;
};

OutputFormat outputFormatFor(const juce::File& file)
{
    OutputFormat out;
    const auto extension = file.getFileExtension().toLowerCase();
    if (extension == ".wav")
        out.format = std::make_unique<juce::WavAudioFormat>();
    else if (extension == ".aif" || extension == ".aiff")
        out.format = std::make_unique<juce::AiffAudioFormat>();
    else if (extension == ".flac")
        out.format = std::make_unique<juce::FlacAudioFormat>();
    else if (extension == ".ogg")
    {
        out.format = std::make_unique<juce::OggVorbisAudioFormat>();
        out.bitsPerSample = 16;
        out.qualityIndex = juce::jmax(0, out.format->getQualityOptions().size() * 3 / 4);
    }
    else
        fail("cannot write '" + extension + "' files; use .wav, .aif, .aiff, .flac or .ogg", exitUsage);
    out.label = out.format->getFormatName();
    if (extension != ".ogg")
        out.label = "24-bit " + out.label;
    return out;
}

/** Draws "[#####.....]  45 %" on a terminal; silent when stderr is not one. */
class ProgressBar
{
public:
    explicit ProgressBar(bool enabled) : shown(enabled && isatty(STDERR_FILENO) != 0) {}

    void update(int64_t done, int64_t total)
    {
        if (!shown || total <= 0)
            return;
        const int percent = static_cast<int>(100 * done / total);
        if (percent == lastPercent)
            return;
        lastPercent = percent;
        constexpr int width = 40;
        const int filled = percent * width / 100;
        std::cerr << "\rrendering [" << std::string(static_cast<std::size_t>(filled), '#')
                  << std::string(static_cast<std::size_t>(width - filled), '.') << "] " << percent << " %"
                  << std::flush;
    }
    void finish()
    {
        if (shown && lastPercent >= 0)
            std::cerr << "\r" << std::string(60, ' ') << "\r" << std::flush;
        lastPercent = -1;
    }

private:
    bool shown;
    int lastPercent = -1;
};

juce::File prepareOutputFolder(const juce::File& target)
{
    if (target.isDirectory())
        fail("output '" + target.getFullPathName() + "' is a folder");
    const auto folder = target.getParentDirectory();
    if (folder.existsAsFile())
        fail("cannot write '" + target.getFullPathName() + "': '" + folder.getFullPathName() +
             "' is a file, not a folder");
    if (!folder.isDirectory() && !folder.createDirectory().wasOk())
        fail("cannot create the output folder '" + folder.getFullPathName() + "'");
    return folder;
}

TimeInfo offlineTimeInfo(int64_t samplePosition, double sampleRate)
{
    TimeInfo info;
    info.tempo = 120.0f;
    info.isPlaying = 1;
    info.isOffline = true;
    const double beatsPerSample = info.tempo / 60.0 / sampleRate;
    info.positionBeats = static_cast<double>(samplePosition) * beatsPerSample;
    info.playPositionBeats = info.positionBeats;
    const double beatsPerBar = info.meterNumerator * 4.0 / info.meterDenominator;
    info.positionInBar = std::fmod(info.positionBeats, beatsPerBar);
    info.samplesToNextBar = (beatsPerBar - info.positionInBar) / beatsPerSample;
    return info;
}

void handleInterrupt(int)
{
    interrupted.store(true);
}

int run(const juce::StringArray& args)
{
    auto parsed = parseRenderOptions(args);
    if (!parsed.ok())
        fail(parsed.error + " (see --help)", exitUsage);
    const auto& options = parsed.options;
    if (options.showHelp)
    {
        std::cout << renderUsage();
        return 0;
    }

    std::unique_ptr<Plugin> plugin(
        LaminaPluginFactory::instance().create(static_cast<int32_t>(PluginFormat::offline)));
    auto* lamina = dynamic_cast<LaminaPlugin*>(plugin.get());
    auto* element = lamina != nullptr ? lamina->getEngine()->findElement("/Lamina") : nullptr;
    if (element == nullptr)
        fail("the plug-in holds no element at /Lamina");

    if (options.listPresets)
    {
        for (const auto& name : factoryPresetNames())
            std::cout << name << "\n";
        return 0;
    }
    if (options.presetPath.isNotEmpty())
    {
        auto* processing = dynamic_cast<ProcessingElement*>(element);
        if (processing == nullptr)
            fail("the element at /Lamina takes no presets");
        if (auto error =
                applyPreset(*processing, options.presetPath, juce::File::getCurrentWorkingDirectory());
            error.isNotEmpty())
            fail(error);
    }
    for (const auto& [key, value] : options.settings)
        if (auto error = applySetting(*element, key, value); error.isNotEmpty())
            fail(error, exitUsage);

    if (options.listParameters)
    {
        std::cout << describeParameters(*element);
        return 0;
    }

    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    const auto source = loadInput(options, formats);

    const auto target = resolveOutputFile(options, juce::File::getCurrentWorkingDirectory());
    auto format = outputFormatFor(target);
    prepareOutputFolder(target);
    // A hidden name next to the target: the rename at the end is then atomic, and a failed render leaves
    // nothing that looks like a result.
    juce::TemporaryFile temporary(
        target, target.getSiblingFile("." + target.getFileName() + ".part-" + juce::String(getpid())));
    auto stream = std::make_unique<juce::FileOutputStream>(temporary.getFile());
    if (!stream->openedOk())
        fail("cannot write in '" + target.getParentDirectory().getFullPathName() +
             "': " + stream->getStatus().getErrorMessage());
    const double rate = source.sampleRate;
    std::unique_ptr<juce::AudioFormatWriter> writer(format.format->createWriterFor(
        stream.get(), rate, outputChannels, format.bitsPerSample, {}, format.qualityIndex));
    if (writer == nullptr)
        fail(format.format->getFormatName() + " cannot be written at " + juce::String(rate) + " Hz");
    stream.release(); // the writer owns it now

    const int inputChannels = source.audio.getNumChannels();
    const ChannelConfig config{static_cast<uint32_t>(inputChannels), static_cast<uint32_t>(outputChannels)};
    const auto blockSize = static_cast<int>(options.blockSize);
    plugin->prepare(44100, config, 1024);
    plugin->prepare(static_cast<uint32_t>(std::lround(rate)), config, options.blockSize);

    const int64_t inputLength = options.impulseResponse ? 0 : source.audio.getNumSamples();
    const auto tailLength = static_cast<int64_t>(std::llround(options.tailSeconds * rate));
    const int64_t totalLength = juce::jmax<int64_t>(inputLength + tailLength, 1);

    juce::AudioBuffer<float> block(outputChannels, blockSize);
    PluginAudioBuffer hostBlock;
    ProgressBar progress(!options.quiet);
    float peak = 0.0f;
    std::signal(SIGINT, handleInterrupt);
    std::signal(SIGTERM, handleInterrupt);

    for (int64_t position = 0; position < totalLength; position += blockSize)
    {
        if (interrupted.load())
        {
            progress.finish();
            fail("interrupted; no file written", exitInterrupted);
        }
        const int n = static_cast<int>(juce::jmin<int64_t>(blockSize, totalLength - position));
        // The host's part: the dry input goes onto the output channels, which the plug-in works on in place.
        block.clear();
        const int64_t available = juce::jmax<int64_t>(0, source.audio.getNumSamples() - position);
        for (int c = 0; c < inputChannels; ++c)
            if (available > 0)
                block.copyFrom(c, 0, source.audio, c, static_cast<int>(position),
                               static_cast<int>(juce::jmin<int64_t>(n, available)));
        hostBlock.setChannels(outputChannels, n, block.getArrayOfWritePointers());
        plugin->setTimeInfo(offlineTimeInfo(position, rate));
        plugin->process(hostBlock);

        for (int c = 0; c < outputChannels; ++c)
        {
            const float* samples = block.getReadPointer(c);
            for (int i = 0; i < n; ++i)
            {
                if (!std::isfinite(samples[i]))
                {
                    progress.finish();
                    fail("the render produced " +
                         juce::String(std::isnan(samples[i]) ? "NaN" : "an infinite value") + " at " +
                         secondsText(static_cast<double>(position + i) / rate) + " (channel " +
                         juce::String(c + 1) + "); no file written");
                }
                peak = juce::jmax(peak, std::abs(samples[i]));
            }
        }
        if (!writer->writeFromAudioSampleBuffer(block, 0, n))
        {
            progress.finish();
            fail("writing to '" + temporary.getFile().getFullPathName() + "' failed (disk full?)");
        }
        progress.update(position + n, totalLength);
    }
    progress.finish();

    writer.reset(); // flushes and closes the file
    if (!temporary.overwriteTargetFileWithTemporary())
        fail("cannot move the finished file to '" + target.getFullPathName() + "'");

    if (!options.quiet)
    {
        const double peakDb = juce::Decibels::gainToDecibels(peak, -200.0f);
        std::cout << "Rendered " << source.description << " with "
                  << (options.impulseResponse ? "" : "+" + secondsText(options.tailSeconds) + " tail ")
                  << "through Lamina\n"
                  << "Wrote " << target.getFullPathName() << "\n  " << secondsText(totalLength / rate) << ", "
                  << juce::String(static_cast<int>(std::lround(rate))) << " Hz, stereo, " << format.label
                  << ", peak " << juce::String(peakDb, 1) << " dBFS\n";
        if (peak > 1.0f && !target.hasFileExtension(".ogg"))
            std::cerr
                << "lamina-render: warning: the peak is above 0 dBFS and clips in the file; lower Gain or "
                   "Mix\n";
    }
    return 0;
}
} // namespace

int main(int argc, char* argv[])
{
    juce::StringArray args;
    for (int i = 1; i < argc; ++i)
        args.add(juce::String::fromUTF8(argv[i]));
    try
    {
        return run(args);
    }
    catch (const Failure& failure)
    {
        std::cerr << "lamina-render: error: " << failure.message << "\n";
        return failure.status;
    }
}
