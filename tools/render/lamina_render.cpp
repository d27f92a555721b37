// lamina-render: drives LaminaPlugin offline through the calling order of a host and writes the result.
#include "engine/element.h"
#include "engine/process_context.h"
#include "engine/processing_element.h"
#include "plugin/lamina_plugin.h"
#include "tools/render/demo_signal.h"
#include "tools/render/render_decay.h"
#include "tools/render/render_options.h"
#include "tools/render/render_parameters.h"
#include "tools/render/render_pictures.h"
#include "tools/render/render_preset.h"
#include "tools/render/render_source.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <functional>
#include <iostream>
#include <map>
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

/** A failure that ends the render (or the program) with a message and a status. */
struct Failure
{
    juce::String message;
    int status = exitFailure;
};

[[noreturn]] void fail(const juce::String& message, int status = exitFailure)
{
    throw Failure{message, status};
}

void warn(const juce::String& message)
{
    std::cerr << "lamina-render: warning: " << message << "\n";
}

juce::String secondsText(double seconds)
{
    return juce::String(seconds, 2) + " s";
}

/** The writer's format for the file's extension, with its sample format and quality option. */
struct OutputFormat
{
    std::unique_ptr<juce::AudioFormat> format;
    int bitsPerSample = 24;
    bool isFloat = false;
    int qualityIndex = 0;
    juce::String label;
};

OutputFormat outputFormatFor(const juce::File& file, std::optional<SampleDepth> depth)
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
        if (depth)
            fail("--bits does not apply to Ogg Vorbis, which stores no sample format", exitUsage);
        out.format = std::make_unique<juce::OggVorbisAudioFormat>();
        out.bitsPerSample = 16;
        out.qualityIndex = juce::jmax(0, out.format->getQualityOptions().size() * 3 / 4);
        out.label = out.format->getFormatName();
        return out;
    }
    else
        fail("cannot write '" + extension + "' files; use .wav, .aif, .aiff, .flac or .ogg", exitUsage);

    switch (depth.value_or(SampleDepth::int24))
    {
    case SampleDepth::int16:
        out.bitsPerSample = 16;
        break;
    case SampleDepth::int24:
        out.bitsPerSample = 24;
        break;
    case SampleDepth::float32:
        if (extension != ".wav")
            fail("--bits 32f writes .wav files only; " + extension + " takes 16 or 24", exitUsage);
        out.bitsPerSample = 32;
        out.isFloat = true;
        break;
    }
    out.label = juce::String(out.bitsPerSample) + "-bit " + (out.isFloat ? "float " : "") +
                out.format->getFormatName();
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

/** The plug-in of one render, with the preset and the settings of the command line applied. */
struct ConfiguredPlugin
{
    std::unique_ptr<Plugin> plugin;
    Element* element = nullptr;
};

ConfiguredPlugin makePlugin()
{
    ConfiguredPlugin made;
    made.plugin.reset(LaminaPluginFactory::instance().create(static_cast<int32_t>(PluginFormat::offline)));
    auto* lamina = dynamic_cast<LaminaPlugin*>(made.plugin.get());
    made.element = lamina != nullptr ? lamina->getEngine()->findElement("/Lamina") : nullptr;
    if (made.element == nullptr)
        fail("the plug-in holds no element at /Lamina");
    return made;
}

void configure(ConfiguredPlugin& made, const RenderOptions& options)
{
    if (options.presetPath.isNotEmpty())
    {
        auto* processing = dynamic_cast<ProcessingElement*>(made.element);
        if (processing == nullptr)
            fail("the element at /Lamina takes no presets");
        if (auto error =
                applyPreset(*processing, options.presetPath, juce::File::getCurrentWorkingDirectory());
            error.isNotEmpty())
            fail(error);
    }
    for (const auto& [key, value] : options.settings)
        if (auto error = applySetting(*made.element, key, value); error.isNotEmpty())
            fail(error, exitUsage);
}

std::unique_ptr<RenderSource> makeSource(const RenderOptions& options, std::size_t index,
                                         juce::AudioFormatManager& formats)
{
    const int channels = static_cast<int>(options.inputChannels.value_or(2));
    const double rate = options.sampleRate.value_or(defaultSampleRate);
    if (options.impulseResponse)
        return makeBufferSource(makeImpulse(channels, 1), rate, "a unit impulse");
    if (options.inputPaths.empty())
        return makeBufferSource(makeDemoSignal(rate, channels), rate, "the built-in demo phrase");

    juce::String error;
    std::optional<int> wantedChannels;
    if (options.inputChannels)
        wantedChannels = static_cast<int>(*options.inputChannels);
    std::optional<double> wantedRate;
    if (options.sampleRate)
        wantedRate = static_cast<double>(*options.sampleRate);
    auto source =
        openFileSource(juce::File::getCurrentWorkingDirectory().getChildFile(options.inputPaths[index]),
                       formats, wantedChannels, wantedRate, error);
    if (source == nullptr)
        fail(error);
    return source;
}

/** Renders `source` through the plug-in into `target`, and feeds the output to `meter` when there is one. */
void render(ConfiguredPlugin& made, RenderSource& source, const juce::File& target,
            const OutputFormat& format, const RenderOptions& options, OctaveDecayMeter* meter,
            std::vector<float>* kept = nullptr)
{
    auto& plugin = *made.plugin;
    prepareOutputFolder(target);
    // A hidden name next to the target: the rename at the end is then atomic, and a failed render leaves
    // nothing that looks like a result.
    juce::TemporaryFile temporary(
        target, target.getSiblingFile("." + target.getFileName() + ".part-" + juce::String(getpid())));
    auto stream = std::make_unique<juce::FileOutputStream>(temporary.getFile());
    if (!stream->openedOk())
        fail("cannot write in '" + target.getParentDirectory().getFullPathName() +
             "': " + stream->getStatus().getErrorMessage());
    const double rate = source.getSampleRate();
    std::unique_ptr<juce::AudioFormatWriter> writer(format.format->createWriterFor(
        stream.get(), rate, outputChannels, format.bitsPerSample, {}, format.qualityIndex));
    if (writer == nullptr)
        fail(format.format->getFormatName() + " cannot be written at " + juce::String(rate) + " Hz");
    stream.release(); // the writer owns it now

    const int inputChannels = source.getNumChannels();
    const ChannelConfig config{static_cast<uint32_t>(inputChannels), static_cast<uint32_t>(outputChannels)};
    const auto blockSize = static_cast<int>(options.blockSize);
    plugin.prepare(44100, config, 1024);
    plugin.prepare(static_cast<uint32_t>(std::lround(rate)), config, options.blockSize);

    const int64_t inputLength = options.impulseResponse ? 0 : source.getLength();
    const auto tailLength = static_cast<int64_t>(std::llround(options.tailSeconds * rate));
    const int64_t totalLength = juce::jmax<int64_t>(inputLength + tailLength, 1);

    juce::AudioBuffer<float> block(outputChannels, blockSize);
    PluginAudioBuffer hostBlock;
    ProgressBar progress(!options.quiet);
    float peak = 0.0f;

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
        source.read(block, n);
        hostBlock.setChannels(outputChannels, n, block.getArrayOfWritePointers());
        plugin.setTimeInfo(offlineTimeInfo(position, rate));
        plugin.process(hostBlock);

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
        if (meter != nullptr)
            meter->push(block.getArrayOfReadPointers(), n);
        if (kept != nullptr)
            for (int i = 0; i < n; ++i)
                kept->push_back(0.5f * (block.getSample(0, i) + block.getSample(1, i)));
        if (!writer->writeFromAudioSampleBuffer(block, 0, n))
        {
            progress.finish();
            fail("writing to '" + temporary.getFile().getFullPathName() + "' failed (disk full?)");
        }
        progress.update(position + n, totalLength);
    }
    progress.finish();
    if (source.hasFailed())
        fail("reading " + source.description + " failed part-way; no file written");

    writer.reset(); // flushes and closes the file
    if (!temporary.overwriteTargetFileWithTemporary())
        fail("cannot move the finished file to '" + target.getFullPathName() + "'");

    if (source.getLength() > 0 && source.peak == 0.0f && !options.impulseResponse)
        std::cerr << "lamina-render: note: the input is silent (every sample is 0), and so is the render\n";

    // With --json, stdout carries the figures alone.
    auto& info = options.json ? std::cerr : std::cout;
    const double peakDb = juce::Decibels::gainToDecibels(static_cast<double>(peak), -1000.0);
    const auto peakText =
        peak == 0.0f ? juce::String("silent")
                     : "peak " + juce::String(peakDb > 0.0 ? "+" : "") + juce::String(peakDb, 1) + " dBFS";
    if (!options.quiet)
    {
        info << "Rendered " << source.description << " through Lamina"
             << (options.impulseResponse ? " (" + secondsText(totalLength / rate) + ")"
                                         : ", with a " + secondsText(options.tailSeconds) + " tail")
             << "\nWrote " << target.getFullPathName() << "\n  " << secondsText(totalLength / rate) << ", "
             << juce::String(static_cast<int>(std::lround(rate))) << " Hz, stereo, " << format.label << ", "
             << peakText;
        if (peak > 1.0f && format.isFloat)
            info << " (kept intact: a float file holds levels above 0 dBFS)";
        info << "\n";
    }
    if (peak > 1.0f && !format.isFloat && !target.hasFileExtension(".ogg"))
        warn("the " + peakText + " clips in the " + format.label +
             " file; lower Gain or Mix, or write a 32-bit " + "float WAV (--bits 32f)");
    std::cout << std::flush;
}

/** The picture's title: the preset's name and the settings that shape the plate most. */
PictureTitle pictureTitle(const RenderOptions& options, const Element& element)
{
    PictureTitle title;
    if (options.presetPath.isEmpty())
        title.name = "Lamina, default settings";
    else
    {
        const auto file = juce::File::getCurrentWorkingDirectory().getChildFile(options.presetPath);
        title.name = file.existsAsFile() ? file.getFileNameWithoutExtension()
                                         : options.presetPath.fromLastOccurrenceOf("/", false, false);
    }
    if (!options.settings.empty())
        title.name << " (with --set)";
    juce::StringArray shown;
    shown.add(shownValue(element, "Material"));
    // The area is shown as a bare number; the sheet's sides are in metres.
    if (const auto area = shownValue(element, "Area"); area.isNotEmpty())
        shown.add("area " + area + (area.containsAnyOf("m") ? "" : juce::String::fromUTF8(" m\u00b2")));
    for (const auto& [key, label] :
         {std::pair{"AspectRatio", "aspect"}, std::pair{"Tension", "tension"}, std::pair{"Decay", "decay"},
          std::pair{"PreDelay", "pre-delay"}, std::pair{"Mix", "mix"}})
        if (const auto value = shownValue(element, key); value.isNotEmpty())
            shown.add(juce::String(label) + " " + value);
    shown.removeEmptyStrings();
    title.settings = shown.joinIntoString(juce::String::fromUTF8("  \u00b7  "));
    return title;
}

void drawPicture(const juce::String& what, const juce::String& path,
                 const std::function<juce::String(const juce::File&)>& draw, const RenderOptions& options)
{
    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile(path);
    if (auto error = draw(file); error.isNotEmpty())
        fail(error);
    if (!options.quiet)
        (options.json ? std::cerr : std::cout) << "Drew " << what << " in " << file.getFullPathName() << "\n";
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

    std::unique_ptr<PictureSession> pictures;
    if (options.wantsPictures())
    {
        if (auto reason = picturesUnavailable(); reason.isNotEmpty())
            fail(reason);
        pictures = std::make_unique<PictureSession>();
    }

    auto first = makePlugin();
    if (options.listPresets)
    {
        for (const auto& name : factoryPresetNames())
            std::cout << name << "\n";
        return 0;
    }
    configure(first, options);

    const auto workingFolder = juce::File::getCurrentWorkingDirectory();
    if (options.savePresetPath.isNotEmpty())
    {
        auto* processing = dynamic_cast<ProcessingElement*>(first.element);
        if (processing == nullptr)
            fail("the element at /Lamina takes no presets");
        juce::File written;
        if (auto error = savePreset(*processing, options.savePresetPath, workingFolder, written);
            error.isNotEmpty())
            fail(error);
        if (!options.quiet && !options.listParameters)
            (options.json ? std::cerr : std::cout) << "Saved preset " << written.getFullPathName() << "\n";
    }
    if (options.listParameters)
    {
        std::cout << describeParameters(*first.element);
        return 0;
    }
    if (options.plotDecayPath.isNotEmpty() || options.plotEQPath.isNotEmpty() ||
        options.snapshotPath.isNotEmpty())
    {
        auto& lamina = dynamic_cast<LaminaPlugin&>(*first.plugin);
        lamina.prepare(options.sampleRate.value_or(defaultSampleRate), {2, outputChannels},
                       options.blockSize);
        const auto title = pictureTitle(options, *first.element);
        if (options.plotDecayPath.isNotEmpty())
            drawPicture(
                "the decay display", options.plotDecayPath,
                [&](const juce::File& f) { return drawDisplayPicture(lamina, false, title, f); }, options);
        if (options.plotEQPath.isNotEmpty())
            drawPicture(
                "the EQ display", options.plotEQPath,
                [&](const juce::File& f) { return drawDisplayPicture(lamina, true, title, f); }, options);
        if (options.snapshotPath.isNotEmpty())
            drawPicture(
                options.expanded ? "the expanded editor" : "the editor", options.snapshotPath,
                [&](const juce::File& f) { return drawEditorSnapshot(lamina, options.expanded, f); },
                options);
    }
    if (!options.wantsRender())
        return 0;

    // Every output is named and its format checked before the first render starts.
    const std::size_t count = juce::jmax<std::size_t>(1, options.inputPaths.size());
    std::vector<juce::File> targets;
    std::vector<OutputFormat> formatsOut;
    std::map<juce::String, std::size_t> seen;
    for (std::size_t i = 0; i < count; ++i)
    {
        targets.push_back(resolveOutputFile(options, i, workingFolder));
        const auto key = targets.back().getFullPathName();
        if (const auto other = seen.find(key); other != seen.end())
            fail("'" + options.inputPaths[other->second] + "' and '" + options.inputPaths[i] +
                     "' would both be written to " + key + "; render them apart",
                 exitUsage);
        seen[key] = i;
        formatsOut.push_back(outputFormatFor(targets.back(), options.depth));
    }

    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    std::signal(SIGINT, handleInterrupt);
    std::signal(SIGTERM, handleInterrupt);

    int status = 0;
    for (std::size_t i = 0; i < count; ++i)
    {
        try
        {
            // Each render starts from a plug-in that has heard nothing.
            auto made = i == 0 ? std::move(first) : makePlugin();
            if (i > 0)
                configure(made, options);
            auto source = makeSource(options, i, formats);
            for (const auto& warning : source->warnings)
                warn(warning);
            for (const auto& note : source->notes)
                std::cerr << "lamina-render: note: " << note << "\n";
            std::unique_ptr<OctaveDecayMeter> meter;
            if (options.impulseResponse)
                meter = std::make_unique<OctaveDecayMeter>(source->getSampleRate(), outputChannels);
            std::vector<float> kept;
            const bool keep = options.plotIRPath.isNotEmpty();
            render(made, *source, targets[i], formatsOut[i], options, meter.get(), keep ? &kept : nullptr);
            if (meter != nullptr)
            {
                const auto figures = decayFigures(*meter, *made.element);
                if (keep)
                    drawPicture(
                        "the impulse response", options.plotIRPath,
                        [&](const juce::File& f)
                        {
                            auto title = pictureTitle(options, *made.element);
                            title.settings << juce::String::fromUTF8("  \u00b7  ")
                                           << juce::String(source->getSampleRate() / 1000.0, 1)
                                           << " kHz impulse response";
                            return drawImpulsePicture(kept, source->getSampleRate(), *meter, figures, title,
                                                      f);
                        },
                        options);
                if (options.json)
                    std::cout << decayJson(figures, source->getSampleRate());
                else if (!options.quiet)
                    std::cout << "\n" << decayTable(figures);
            }
        }
        catch (const Failure& failure)
        {
            if (count == 1 || failure.status == exitInterrupted)
                throw;
            std::cerr << "lamina-render: error: " << failure.message << "\n";
            status = juce::jmax(status, failure.status);
        }
    }
    return status;
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
