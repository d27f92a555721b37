#include "tools/render/render_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

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
} // namespace

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

    for (int i = 0; i < args.size() && result.ok(); ++i)
    {
        const auto& arg = args[i];
        juce::String name, inlineValue;
        const bool hasInline = splitInlineValue(arg, name, inlineValue);

        // Fetches the value of an option that takes one, from "--name=value" or from the next argument.
        auto value = [&](juce::String& out) -> bool
        {
            if (hasInline)
                out = inlineValue;
            else if (i + 1 < args.size())
                out = args[++i];
            else
            {
                result.error = "option " + name + " needs a value";
                return false;
            }
            return true;
        };
        auto flag = [&](bool& out)
        {
            if (hasInline)
                result.error = "option " + name + " takes no value";
            else
                out = true;
        };
        auto unsignedIn = [&](uint32_t lo, uint32_t hi, const char* what) -> std::optional<uint32_t>
        {
            juce::String text;
            if (!value(text))
                return std::nullopt;
            const auto n = parseInteger(text);
            if (!n || *n < lo || *n > hi)
            {
                result.error = juce::String(what) + " must be a whole number from " + juce::String(lo) +
                               " to " + juce::String(hi) + ", not '" + text + "'";
                return std::nullopt;
            }
            return static_cast<uint32_t>(*n);
        };

        if (name == "-h" || name == "--help")
            flag(o.showHelp);
        else if (name == "-o" || name == "--output")
            value(o.outputPath);
        else if (name == "--preset")
            value(o.presetPath);
        else if (name == "--set")
        {
            juce::String text;
            if (!value(text))
                break;
            const int equals = text.indexOfChar('=');
            const auto key = text.substring(0, juce::jmax(equals, 0)).trim();
            if (equals <= 0 || key.isEmpty())
            {
                result.error = "--set takes Key=value (e.g. --set Decay=3.5), not '" + text + "'";
                break;
            }
            o.settings.emplace_back(key, text.substring(equals + 1).trim());
        }
        else if (name == "--ir")
            flag(o.impulseResponse);
        else if (name == "--tail")
        {
            juce::String text;
            if (!value(text))
                break;
            const auto seconds = parseNumber(text);
            if (!seconds || *seconds < 0.0 || *seconds > maxTailSeconds)
            {
                result.error =
                    "--tail takes seconds from 0 to " + juce::String(maxTailSeconds) + ", not '" + text + "'";
                break;
            }
            o.tailSeconds = *seconds;
            o.tailGiven = true;
        }
        else if (name == "--sample-rate")
        {
            if (auto n = unsignedIn(minSampleRate, maxSampleRate, "--sample-rate"))
                o.sampleRate = *n;
        }
        else if (name == "--block-size")
        {
            if (auto n = unsignedIn(minBlockSize, maxBlockSize, "--block-size"))
                o.blockSize = *n;
        }
        else if (name == "--channels")
        {
            if (auto n = unsignedIn(1, 2, "--channels"))
                o.inputChannels = *n;
        }
        else if (name == "--list-params")
            flag(o.listParameters);
        else if (name == "--list-presets")
            flag(o.listPresets);
        else if (name == "-q" || name == "--quiet")
            flag(o.quiet);
        else if (name.startsWith("-") && name != "-")
            result.error = "unknown option '" + name + "' (see --help)";
        else if (o.inputPath.isNotEmpty())
            result.error = "only one input file is taken; got '" + o.inputPath + "' and '" + arg + "'";
        else
            o.inputPath = arg;
    }

    if (result.ok() && o.impulseResponse && o.inputPath.isNotEmpty())
        result.error = "--ir renders an impulse and takes no input file";
    if (result.ok() && o.impulseResponse && o.tailSeconds <= 0.0)
        result.error = "--ir needs a length above 0 s (--tail)";
    return result;
}

juce::File resolveOutputFile(const RenderOptions& options, const juce::File& workingFolder)
{
    if (options.outputPath.isNotEmpty())
    {
        auto file = workingFolder.getChildFile(options.outputPath);
        if (file.getFileExtension().isNotEmpty())
            return file;
        return file.withFileExtension(".wav");
    }
    if (options.impulseResponse)
        return workingFolder.getChildFile("lamina-ir.wav");
    if (options.inputPath.isEmpty())
        return workingFolder.getChildFile("lamina-demo.wav");
    return workingFolder.getChildFile(juce::File(options.inputPath).getFileNameWithoutExtension() +
                                      "-lamina.wav");
}

juce::String renderUsage()
{
    return R"(lamina-render: runs audio through the Lamina plate reverb, offline, as a host would.

Usage: lamina-render [options] [INPUT]

  INPUT                 WAV, AIFF, FLAC or Ogg Vorbis file, mono or stereo. Without it a built-in
                        demo phrase (plucked notes and a snare hit) is rendered.
  -o, --output FILE     Where to write; the format follows the extension (.wav, .aif/.aiff, .flac,
                        .ogg), 24-bit where the format has a bit depth. A name without extension
                        gets .wav. Default: INPUT-lamina.wav, lamina-demo.wav or lamina-ir.wav.
      --preset PRESET   Load a preset before rendering: a .preset file, or a factory preset by
                        name, e.g. "Classics/Studio Plate Short" (see --list-presets).
      --set Key=value   Set one parameter in its own units (repeatable; applied after --preset).
                        Numbers for real parameters, whole numbers or their labels for choices
                        (e.g. Quality), on/off for switches. See --list-params.
      --ir              Impulse-response mode: a unit impulse in, the response out. Add
                        --set Mix=1 for the wet signal alone.
      --tail SECONDS    Time rendered after the input ends (default 4); with --ir the whole length.
      --sample-rate HZ  Rate of the render (default: the input's rate, else 48000). An input at
                        another rate is resampled.
      --block-size N    Samples per block handed to the plug-in (default 512).
      --channels 1|2    Input channels for the demo and --ir (default 2). 1 renders mono in,
                        stereo out.
      --list-params     Print every parameter: key, name, range, default and current value (after
                        --preset and --set), then exit.
      --list-presets    Print the names of the factory presets, then exit.
  -q, --quiet           No progress bar and no summary.
  -h, --help            This text.

Exit status: 0 on success, 1 when the render or a file fails, 2 for a bad command line.
)";
}

} // namespace qor::render
