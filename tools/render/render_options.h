#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <utility>
#include <vector>

namespace qor::render
{

/** Everything the command line of lamina-render asks for. */
struct RenderOptions
{
    juce::String inputPath;  // empty: the built-in demo phrase (or the impulse with impulseResponse)
    juce::String outputPath; // empty: a name derived from the input
    juce::String presetPath;
    std::vector<std::pair<juce::String, juce::String>> settings; // --set Key=value, in command-line order
    bool impulseResponse = false;
    double tailSeconds = 4.0;
    bool tailGiven = false;
    std::optional<uint32_t> sampleRate;
    uint32_t blockSize = 512;
    std::optional<uint32_t> inputChannels;
    bool listParameters = false;
    bool listPresets = false;
    bool showHelp = false;
    bool quiet = false;
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

/** The output name: the one given (".wav" added when it has no extension), else one derived from the input.
 */
juce::File resolveOutputFile(const RenderOptions& options, const juce::File& workingFolder);

} // namespace qor::render
