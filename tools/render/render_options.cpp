#include "tools/render/render_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>

namespace qor::render
{

namespace
{
constexpr uint32_t minSampleRate = 8000, maxSampleRate = 384000;
constexpr uint32_t minBlockSize = 1, maxBlockSize = 8192;
constexpr double maxTailSeconds = 600.0;

/** Splits "--name=value" into its two halves; a plain "--name" gives an empty value and false. */
bool splitInlineValue(const juce::String& arg, juce::String& name, juce::String& value)
{
    const int equals = arg.indexOfChar('=');
    if (!arg.startsWith("--") || equals < 0)
    {
        name = arg;
        return false;
    }
    name = arg.substring(0, equals);
    value = arg.substring(equals + 1);
    return true;
}

/** One option of the command line: its names, and what it does with its value (or, for a flag, without one).
    A handler answers an error message, empty when the value was taken. */
struct CommandOption
{
    const char* shortName; // "" when there is none
    const char* longName;
    bool takesValue;
    std::function<juce::String(const juce::String& value)> apply;
};

std::vector<CommandOption> optionTable(RenderOptions& o)
{
    auto flag = [](bool& target)
    {
        return [&target](const juce::String&)
        {
            target = true;
            return juce::String();
        };
    };
    auto text = [](juce::String& target)
    {
        return [&target](const juce::String& value)
        {
            target = value;
            return juce::String();
        };
    };
    auto whole = [](std::optional<uint32_t>& target, uint32_t lo, uint32_t hi, const char* name)
    {
        return [&target, lo, hi, name](const juce::String& value)
        {
            const auto n = parseInteger(value);
            if (!n || *n < lo || *n > hi)
                return juce::String(name) + " must be a whole number from " + juce::String(lo) + " to " +
                       juce::String(hi) + ", not '" + value + "'";
            target = static_cast<uint32_t>(*n);
            return juce::String();
        };
    };

    return {
        {"-h", "--help", false, flag(o.showHelp)},
        {"-o", "--output", true, text(o.outputPath)},
        {"", "--preset", true, text(o.presetPath)},
        {"", "--save-preset", true, text(o.savePresetPath)},
        {"", "--set", true,
         [&o](const juce::String& value)
         {
             const int equals = value.indexOfChar('=');
             const auto key = value.substring(0, juce::jmax(equals, 0)).trim();
             if (equals <= 0 || key.isEmpty())
                 return "--set takes Key=value (e.g. --set Decay=3.5s), not '" + value + "'";
             o.settings.emplace_back(key, value.substring(equals + 1).trim());
             return juce::String();
         }},
        {"", "--ir", false, flag(o.impulseResponse)},
        {"", "--json", false, flag(o.json)},
        {"", "--tail", true,
         [&o](const juce::String& value)
         {
             auto text = value.trim();
             if (text.endsWithIgnoreCase("s"))
                 text = text.dropLastCharacters(1);
             const auto seconds = parseNumber(text);
             if (!seconds || *seconds < 0.0 || *seconds > maxTailSeconds)
                 return "--tail takes seconds from 0 to " + juce::String(maxTailSeconds) + ", not '" + value +
                        "'";
             o.tailSeconds = *seconds;
             o.tailGiven = true;
             return juce::String();
         }},
        {"", "--sample-rate", true, whole(o.sampleRate, minSampleRate, maxSampleRate, "--sample-rate")},
        {"", "--block-size", true,
         [&o, whole](const juce::String& value)
         {
             std::optional<uint32_t> n;
             auto error = whole(n, minBlockSize, maxBlockSize, "--block-size")(value);
             if (n)
                 o.blockSize = *n;
             return error;
         }},
        {"", "--channels", true, whole(o.inputChannels, 1, 2, "--channels")},
        {"", "--bits", true,
         [&o](const juce::String& value)
         {
             const auto v = value.trim().toLowerCase();
             if (v == "16")
                 o.depth = SampleDepth::int16;
             else if (v == "24")
                 o.depth = SampleDepth::int24;
             else if (v == "32f")
                 o.depth = SampleDepth::float32;
             else
                 return "--bits takes 16, 24 or 32f (32-bit float), not '" + value + "'";
             return juce::String();
         }},
        {"", "--plot-decay", true, text(o.plotDecayPath)},
        {"", "--plot-eq", true, text(o.plotEQPath)},
        {"", "--plot-ir", true, text(o.plotIRPath)},
        {"", "--snapshot", true, text(o.snapshotPath)},
        {"", "--expanded", false, flag(o.expanded)},
        {"", "--list-params", false, flag(o.listParameters)},
        {"", "--list-presets", false, flag(o.listPresets)},
        {"-q", "--quiet", false, flag(o.quiet)},
    };
}
} // namespace

bool RenderOptions::wantsRender() const
{
    return !inputPaths.empty() || impulseResponse ||
           (savePresetPath.isEmpty() && !listParameters && !listPresets && !wantsPictures());
}

bool RenderOptions::wantsPictures() const
{
    return plotDecayPath.isNotEmpty() || plotEQPath.isNotEmpty() || plotIRPath.isNotEmpty() ||
           snapshotPath.isNotEmpty();
}

std::optional<double> parseNumber(const juce::String& text)
{
    const auto trimmed = text.trim().toStdString();
    if (trimmed.empty())
        return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(trimmed.c_str(), &end);
    if (end != trimmed.c_str() + trimmed.size() || errno == ERANGE || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<int64_t> parseInteger(const juce::String& text)
{
    const auto trimmed = text.trim().toStdString();
    if (trimmed.empty())
        return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(trimmed.c_str(), &end, 10);
    if (end != trimmed.c_str() + trimmed.size() || errno == ERANGE)
        return std::nullopt;
    return static_cast<int64_t>(value);
}

ParseResult parseRenderOptions(const juce::StringArray& args)
{
    ParseResult result;
    auto& o = result.options;
    const auto table = optionTable(o);

    for (int i = 0; i < args.size() && result.ok(); ++i)
    {
        const auto& arg = args[i];
        juce::String name, inlineValue;
        const bool hasInline = splitInlineValue(arg, name, inlineValue);

        const CommandOption* option = nullptr;
        for (const auto& candidate : table)
            if (name == candidate.longName || (candidate.shortName[0] != 0 && name == candidate.shortName))
                option = &candidate;

        if (option == nullptr)
        {
            if (name.startsWith("-") && name != "-")
                result.error = "unknown option '" + name + "'";
            else
                o.inputPaths.push_back(arg);
            continue;
        }
        juce::String value;
        if (option->takesValue)
        {
            if (hasInline)
                value = inlineValue;
            else if (i + 1 < args.size())
                value = args[++i];
            else
            {
                result.error = "option " + name + " needs a value";
                break;
            }
        }
        else if (hasInline)
        {
            result.error = "option " + name + " takes no value";
            break;
        }
        result.error = option->apply(value);
    }

    if (!result.ok())
        return result;
    for (auto* path : {&o.plotDecayPath, &o.plotEQPath, &o.plotIRPath, &o.snapshotPath})
    {
        if (path->isNotEmpty() &&
            juce::File::createFileWithoutCheckingPath(*path).getFileExtension().isEmpty())
            *path += ".png";
        if (path->isNotEmpty() && !path->endsWithIgnoreCase(".png"))
        {
            result.error = "pictures are written as PNG: name a .png file, not '" + *path + "'";
            return result;
        }
    }
    if (o.plotIRPath.isNotEmpty() && !o.inputPaths.empty())
        result.error = "--plot-ir renders an impulse and takes no input file";
    else if (o.expanded && o.snapshotPath.isEmpty())
        result.error = "--expanded chooses the layout of --snapshot; add --snapshot FILE";
    o.impulseResponse = o.impulseResponse || o.plotIRPath.isNotEmpty();
    if (!result.ok())
        return result;
    if (o.impulseResponse && !o.inputPaths.empty())
        result.error = "--ir renders an impulse and takes no input file";
    else if (o.impulseResponse && o.tailSeconds <= 0.0)
        result.error = "--ir needs a length above 0 s (--tail)";
    else if (o.json && !o.impulseResponse)
        result.error = "--json prints the decay figures of --ir; add --ir";
    return result;
}

juce::File resolveOutputFile(const RenderOptions& options, std::size_t index, const juce::File& workingFolder)
{
    juce::String derived;
    if (options.impulseResponse)
        derived = "lamina-ir.wav";
    else if (options.inputPaths.empty())
        derived = "lamina-demo.wav";
    else
    {
        const auto& input = options.inputPaths[juce::jmin(index, options.inputPaths.size() - 1)];
        derived = workingFolder.getChildFile(input).getFileNameWithoutExtension() + "-lamina.wav";
    }

    if (options.outputPath.isEmpty())
        return workingFolder.getChildFile(derived);
    const auto named = workingFolder.getChildFile(options.outputPath);
    const bool namesFolder =
        options.inputPaths.size() > 1 || named.isDirectory() || options.outputPath.endsWithChar('/');
    if (namesFolder)
        return named.getChildFile(derived);
    if (named.getFileExtension().isNotEmpty())
        return named;
    return named.withFileExtension(".wav");
}

juce::String renderUsage()
{
    return R"(lamina-render: runs audio through the Lamina plate reverb, offline, as a host would.

Usage: lamina-render [options] [INPUT...]

  INPUT                 WAV, AIFF, FLAC or Ogg Vorbis file, mono or stereo; several may be given, each is
                        rendered to its own output. Without one, a built-in demo phrase (plucked notes
                        and a snare hit) is rendered.
  -o, --output PATH     Where to write. A file name: the format follows the extension (.wav, .aif/.aiff,
                        .flac, .ogg); a name without extension gets .wav. An existing folder, a name
                        ending in '/', or any PATH with several inputs: a folder that receives
                        INPUT-lamina.wav for each input. Default: INPUT-lamina.wav, lamina-demo.wav or
                        lamina-ir.wav in the current folder.
      --bits 16|24|32f  Sample format of .wav, .aif and .flac files (default 24). 32f (32-bit float,
                        .wav only) keeps levels above 0 dBFS intact.
      --preset PRESET   Load a preset before rendering: a .preset file, or a factory preset by name,
                        e.g. "Classics/Studio Plate Short", or by its bare name when that is unique
                        ("Vocal Plate"). See --list-presets.
      --set Key=value   Set one parameter (repeatable; applied after --preset). Values as --list-params
                        shows them: a number in the parameter's own units, or with a unit ("3.5s",
                        "350ms", "2kHz", "-3dB", "30%", "x 2"); choices by number or label (Quality=High,
                        Material=Steel); switches on/off.
      --save-preset FILE
                        Write the settings after --preset and --set as a .preset file (".preset" is
                        added when missing). Without INPUT or --ir nothing is rendered.
      --ir              Impulse-response mode: a unit impulse in, the response out, and a table of the
                        T60 per octave band measured from it beside the damping model's. Add
                        --set Mix=1 for the wet signal alone.
      --json            With --ir: the T60 figures as JSON on stdout instead of the table.
      --tail SECONDS    Time rendered after the input ends (default 4); with --ir the whole length.
      --sample-rate HZ  Rate of the render (default: the input's rate, else 48000). An input at another
                        rate is resampled.
      --block-size N    Samples per block handed to the plug-in (default 512).
      --channels 1|2    Input channels for the demo and --ir (default 2); an input file is mixed down
                        or duplicated to match. The output is always stereo.
      --plot-decay FILE The decay display of the editor for these settings, as a PNG: the 60 dB time
                        against frequency of each damping mechanism and of all together.
      --plot-eq FILE    The EQ display: the twelve-band curve and the low cut.
      --plot-ir FILE    Render the impulse response (as --ir) and draw its spectrogram, the energy
                        decay of each octave band and the measured T60 beside the model's.
      --snapshot FILE   The whole editor as a PNG; --expanded for the expanded layout. Pictures are
                        drawn off screen (no display needed); without INPUT or --ir nothing is rendered.
      --list-params     Print every parameter: key, name, range, default and current value (after
                        --preset and --set), with a note where the sound ignores it or where it acts
                        only with another; then exit.
      --list-presets    Print the names of the factory presets, then exit.
  -q, --quiet           No progress bar, no summary and no T60 table (warnings still show).
  -h, --help            This text.

Exit status: 0 on success, 1 when the render or a file fails, 2 for a bad command line.
)";
}

} // namespace qor::render
