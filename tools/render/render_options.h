#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <utility>
#include <vector>

namespace qor::render
{

/** How the samples of an output file are stored. */
enum class SampleDepth
{
    int16,
    int24,
    float32
};

/** Everything the command line of lamina-render asks for. */
struct RenderOptions
{
    std::vector<juce::String>
        inputPaths;          // none: the built-in demo phrase (or the impulse with impulseResponse)
    juce::String outputPath; // empty: names derived from the inputs
    juce::String presetPath;
    juce::String savePresetPath;
    std::vector<std::pair<juce::String, juce::String>> settings; // --set Key=value, in command-line order
    bool impulseResponse = false;
    bool json = false;
    double tailSeconds = 4.0;
    bool tailGiven = false;
    std::optional<uint32_t> sampleRate;
    uint32_t blockSize = 512;
    std::optional<uint32_t> inputChannels;
    std::optional<SampleDepth> depth; // empty: the format's default
    // Pictures (PNG). --plot-ir renders the impulse response as --ir does.
    juce::String plotDecayPath, plotEQPath, plotIRPath, snapshotPath;
    bool expanded = false; // the snapshot's layout
    bool listParameters = false;
    bool listPresets = false;
    bool showHelp = false;
    bool quiet = false;

    /** True when the call asks for audio: an input, --ir, or none of the actions that stand alone
        (--save-preset, --list-params, --list-presets). The demo is rendered only when nothing else was asked.
     */
    bool wantsRender() const;
    bool wantsPictures() const;
};

/** A parse that failed carries the message to print; `options` is then incomplete. */
struct ParseResult
{
    RenderOptions options;
    juce::String error;
    bool ok() const { return error.isEmpty(); }
};

ParseResult parseRenderOptions(const juce::StringArray& args);

/** The text of --help. */
juce::String renderUsage();

/** Strict number parsing: the whole text must be one finite number. */
std::optional<double> parseNumber(const juce::String& text);
std::optional<int64_t> parseInteger(const juce::String& text);

/** The file that the render of input `index` is written to (for the demo and --ir, index 0 of no input).
    -o names a file when one thing is rendered and names no existing folder; ".wav" is added to a name without
    extension. Otherwise the name is derived from the input ("take.flac" gives "take-lamina.wav") and lies in
    the folder that -o names, or in `workingFolder`. */
juce::File resolveOutputFile(const RenderOptions& options, std::size_t index,
                             const juce::File& workingFolder);

} // namespace qor::render
