// lamina-render as a user meets it: the built program is run, its files are read back and measured.
#include "tools/render/render_options.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace qor::render;

namespace
{
struct Run
{
    int exitCode = -1;
    juce::String output; // stdout and stderr together
};

Run runRenderer(const juce::StringArray& args, const juce::File& folder)
{
    juce::StringArray command{QOR_LAMINA_RENDER, "--quiet"};
    command.addArray(args);
    // Relative paths resolve in `folder`, as they would in the user's shell.
    const auto previous = juce::File::getCurrentWorkingDirectory();
    folder.setAsCurrentWorkingDirectory();
    juce::ChildProcess process;
    Run run;
    if (process.start(command, juce::ChildProcess::wantStdOut | juce::ChildProcess::wantStdErr))
    {
        run.output = process.readAllProcessOutput();
        process.waitForProcessToFinish(600000);
        run.exitCode = static_cast<int>(process.getExitCode());
    }
    previous.setAsCurrentWorkingDirectory();
    return run;
}

struct Audio
{
    juce::AudioBuffer<float> samples;
    double sampleRate = 0.0;
    unsigned bitsPerSample = 0;
};

Audio readAudio(const juce::File& file)
{
    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    Audio audio;
    std::unique_ptr<juce::AudioFormatReader> reader(formats.createReaderFor(file));
    if (reader == nullptr)
        return audio;
    audio.sampleRate = reader->sampleRate;
    audio.bitsPerSample = reader->bitsPerSample;
    audio.samples.setSize(static_cast<int>(reader->numChannels), static_cast<int>(reader->lengthInSamples));
    reader->read(&audio.samples, 0, audio.samples.getNumSamples(), 0, true, true);
    return audio;
}

void writeWav(const juce::File& file, const juce::AudioBuffer<float>& samples, double sampleRate)
{
    file.deleteFile();
    auto stream = std::make_unique<juce::FileOutputStream>(file);
    ASSERT_TRUE(stream->openedOk());
    juce::WavAudioFormat wav;
    std::unique_ptr<juce::AudioFormatWriter> writer(wav.createWriterFor(
        stream.get(), sampleRate, static_cast<unsigned>(samples.getNumChannels()), 24, {}, 0));
    ASSERT_NE(writer, nullptr);
    stream.release();
    ASSERT_TRUE(writer->writeFromAudioSampleBuffer(samples, 0, samples.getNumSamples()));
}

/** Root mean square over [from, to) seconds, both channels. */
double rms(const Audio& audio, double from, double to)
{
    const int a = static_cast<int>(from * audio.sampleRate), b = static_cast<int>(to * audio.sampleRate);
    double sum = 0.0;
    for (int c = 0; c < audio.samples.getNumChannels(); ++c)
        for (int i = a; i < b; ++i)
            sum += double(audio.samples.getSample(c, i)) * audio.samples.getSample(c, i);
    return std::sqrt(sum / std::max(1, (b - a) * audio.samples.getNumChannels()));
}

/** The value column of one row of --list-params. */
juce::String listedValue(const juce::String& listing, const juce::String& key)
{
    const auto lines = juce::StringArray::fromLines(listing);
    const int column = lines[0].indexOf("Value");
    for (const auto& line : lines)
        if (line.startsWith(key + " "))
            return line.substring(column).trim();
    return "(no row " + key + ")";
}

bool hasParameter(const juce::File& folder, const juce::String& key)
{
    const auto run = runRenderer({"--list-params"}, folder);
    return run.exitCode == 0 && run.output.contains("\n" + key + " ");
}

class RenderCli : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(folder.createDirectory().wasOk()); }
    void TearDown() override { folder.deleteRecursively(); }
    juce::File dir() const { return folder; }
    int numFiles() const { return dir().getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"); }

    juce::File folder = juce::File::getSpecialLocation(juce::File::tempDirectory)
                            .getNonexistentChildFile("lamina_render_test", "", false);
};
} // namespace

TEST_F(RenderCli, DemoRendersToAStereoWavOfTheExpectedLengthWithATailThatRings)
{
    const auto run =
        runRenderer({"--output", "sub/demo.wav", "--tail", "2", "--sample-rate", "32000"}, dir());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const auto file = dir().getChildFile("sub/demo.wav");
    const auto audio = readAudio(file);
    ASSERT_EQ(audio.samples.getNumChannels(), 2);
    EXPECT_EQ(audio.sampleRate, 32000.0);
    EXPECT_EQ(audio.bitsPerSample, 24u);
    // The phrase is 1.6 s long; two seconds of tail follow it.
    EXPECT_EQ(audio.samples.getNumSamples(), 51200 + 64000);
    EXPECT_EQ(dir().getChildFile("sub").getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 1)
        << "a temporary file was left behind";

    const double phrase = rms(audio, 0.0, 1.5);
    const double earlyTail = rms(audio, 1.7, 2.2);
    const double lateTail = rms(audio, 3.1, 3.6);
    EXPECT_GT(phrase, 0.01);
    // The input is silent from 1.5 s: what sounds after it is the reverb, and it dies away.
    EXPECT_GT(earlyTail, phrase * 1e-3) << "no reverb tail after the input ends";
    EXPECT_LT(lateTail, earlyTail);
}

TEST_F(RenderCli, ImpulseResponseLastsTheTailAndDecays)
{
    const auto run = runRenderer({"--ir", "--tail", "1.5", "--sample-rate", "32000", "-o", "ir.wav"}, dir());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const auto audio = readAudio(dir().getChildFile("ir.wav"));
    ASSERT_EQ(audio.samples.getNumSamples(), 48000);
    const double windows[] = {rms(audio, 0.01, 0.3), rms(audio, 0.3, 0.7), rms(audio, 0.7, 1.1),
                              rms(audio, 1.1, 1.5)};
    EXPECT_GT(windows[0], 1e-5) << "the impulse does not ring";
    for (int i = 1; i < 4; ++i)
        EXPECT_LT(windows[i], windows[i - 1]) << "window " << i;
}

TEST_F(RenderCli, MonoInputFileGivesAStereoRenderOfInputPlusTail)
{
    juce::AudioBuffer<float> burst(1, 12000);
    burst.clear();
    juce::Random random(7);
    for (int i = 0; i < 2000; ++i)
        burst.setSample(0, i, 0.5f * (random.nextFloat() * 2.0f - 1.0f));
    writeWav(dir().getChildFile("mono.wav"), burst, 24000.0);

    const auto run = runRenderer({"mono.wav", "--tail", "1"}, dir());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const auto audio = readAudio(dir().getChildFile("mono-lamina.wav"));
    ASSERT_EQ(audio.samples.getNumChannels(), 2);
    EXPECT_EQ(audio.samples.getNumSamples(), 12000 + 24000);
    for (int c = 0; c < 2; ++c)
        EXPECT_GT(audio.samples.getMagnitude(c, 4000, 12000), 1e-5f)
            << "channel " << c << " is silent after the burst";
}

TEST_F(RenderCli, AnInputAtAnotherRateIsResampledToTheRenderRate)
{
    juce::AudioBuffer<float> tone(2, 4800);
    for (int i = 0; i < tone.getNumSamples(); ++i)
        for (int c = 0; c < 2; ++c)
            tone.setSample(c, i, 0.25f * std::sin(0.05f * static_cast<float>(i)));
    writeWav(dir().getChildFile("tone.wav"), tone, 48000.0);

    const auto run =
        runRenderer({"tone.wav", "--sample-rate", "24000", "--tail", "0.5", "-o", "tone.flac"}, dir());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const auto audio = readAudio(dir().getChildFile("tone.flac"));
    EXPECT_EQ(audio.sampleRate, 24000.0);
    EXPECT_EQ(audio.samples.getNumSamples(), 2400 + 12000);
}

TEST_F(RenderCli, BadInputsExitNonZeroWithAMessageAndLeaveNoFile)
{
    dir()
        .getChildFile("garbage.wav")
        .replaceWithText("this is not audio, only text pretending to be a WAV file");
    dir().getChildFile("blocker").replaceWithText("a file where a folder is expected");
    const int before = numFiles();

    const struct
    {
        juce::StringArray args;
        const char* message;
        int status;
    } cases[] = {
        {{"missing.wav", "-o", "out.wav"}, "input file not found", 1},
        {{"garbage.wav", "-o", "out.wav"}, "not a WAV, AIFF, FLAC or Ogg Vorbis file", 1},
        {{"--set", "NoSuchKey=1", "-o", "out.wav"}, "unknown parameter 'NoSuchKey'", 2},
        {{"--set", "Decay", "-o", "out.wav"}, "--set takes Key=value", 2},
        {{"--tail", "long", "-o", "out.wav"}, "--tail takes seconds", 2},
        {{"--block-size", "0", "-o", "out.wav"}, "--block-size must be a whole number from 1 to 8192", 2},
        {{"--frobnicate", "-o", "out.wav"}, "unknown option '--frobnicate'", 2},
        {{"--ir", "garbage.wav"}, "--ir renders an impulse and takes no input file", 2},
        {{"--tail", "0.1", "-o", "out.mp3"}, "cannot write '.mp3' files", 2},
        {{"--tail", "0.1", "-o", "blocker/out.wav"}, "is a file, not a folder", 1},
        {{"--preset", "missing.preset", "-o", "out.wav"}, "preset file not found", 1},
        {{"--preset", "garbage.wav", "-o", "out.wav"}, "not a preset file", 1},
    };
    for (const auto& c : cases)
    {
        const auto run = runRenderer(c.args, dir());
        EXPECT_EQ(run.exitCode, c.status) << c.args.joinIntoString(" ") << "\n" << run.output;
        EXPECT_TRUE(run.output.contains(c.message)) << c.args.joinIntoString(" ") << "\n" << run.output;
    }
    EXPECT_EQ(numFiles(), before) << "a failed render left a file behind";
}

TEST_F(RenderCli, AFolderWithoutWritePermissionIsRefused)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind root";
    const auto locked = dir().getChildFile("locked");
    ASSERT_TRUE(locked.createDirectory().wasOk());
    ASSERT_TRUE(locked.setReadOnly(true));
    const auto run = runRenderer({"--tail", "0.1", "-o", "locked/out.wav"}, dir());
    locked.setReadOnly(false);
    EXPECT_EQ(run.exitCode, 1) << run.output;
    EXPECT_TRUE(run.output.contains("cannot write in")) << run.output;
    EXPECT_EQ(locked.getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 0);
}

TEST_F(RenderCli, SettingsAndPresetsReachTheParametersAndRangesAreChecked)
{
    if (!hasParameter(dir(), "Decay"))
        GTEST_SKIP() << "the element has no Decay parameter yet";

    auto listed = runRenderer(
        {"--set", "Decay=3.5", "--set", "EnableEQ=off", "--set", "Quality=high", "--list-params"}, dir());
    ASSERT_EQ(listed.exitCode, 0) << listed.output;
    EXPECT_EQ(listedValue(listed.output, "Decay"), "3.5  (3.50 s)");
    EXPECT_EQ(listedValue(listed.output, "EnableEQ"), "off");
    EXPECT_EQ(listedValue(listed.output, "Quality"), "2  (High)");

    const auto outOfRange = runRenderer({"--set", "Decay=0.01"}, dir());
    EXPECT_EQ(outOfRange.exitCode, 2);
    EXPECT_TRUE(
        outOfRange.output.contains("Decay=0.01 is out of range: Decay takes 0.2 to 10000 (default 2)"))
        << outOfRange.output;
    EXPECT_TRUE(runRenderer({"--set", "decay=3"}, dir()).output.contains("did you mean 'Decay'?"));
    EXPECT_TRUE(runRenderer({"--set", "Quality=9"}, dir()).output.contains("Quality=9 is out of range"));
    EXPECT_TRUE(runRenderer({"--set", "EnableEQ=maybe"}, dir()).output.contains("EnableEQ is a switch"));

    // A preset's values are limited to their ranges, it leaves bypass alone, and --set comes after it.
    dir()
        .getChildFile("p.preset")
        .replaceWithText("<ModulePreset>\n    <Lamina Name=\"Lamina\" Decay=\"99999\" Mix=\"0.75\" "
                         "Bypass=\"1\"/>\n</ModulePreset>\n");
    listed = runRenderer({"--preset", "p.preset", "--set", "Mix=0.5", "--list-params"}, dir());
    ASSERT_EQ(listed.exitCode, 0) << listed.output;
    EXPECT_EQ(listedValue(listed.output, "Decay"), "10000  (+oo)");
    EXPECT_EQ(listedValue(listed.output, "Mix"), "0.5  (50.0 %)");
    EXPECT_EQ(listedValue(listed.output, "Bypass"), "off");
    EXPECT_EQ(numFiles(), 1) << "--list-params wrote a file";
}

TEST_F(RenderCli, ASettingActsFromTheFirstBlock)
{
    if (!hasParameter(dir(), "PreDelay"))
        GTEST_SKIP() << "the element has no PreDelay parameter yet";
    // Wet only, 100 ms of pre-delay: nothing may come out before it, and the plate rings after it.
    const auto run = runRenderer({"--ir", "--tail", "0.5", "--sample-rate", "32000", "--set", "Mix=1",
                                  "--set", "PreDelay=100", "-o", "d.wav"},
                                 dir());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const auto audio = readAudio(dir().getChildFile("d.wav"));
    ASSERT_EQ(audio.samples.getNumSamples(), 16000);
    EXPECT_LT(rms(audio, 0.0, 0.095), 1e-6);
    EXPECT_GT(rms(audio, 0.1, 0.2), 1e-4);
}

TEST(RenderOptions, ValuesComeInlineOrAsTheNextArgumentAndOutputNamesDefaultToWav)
{
    auto parsed = parseRenderOptions({"in.aiff", "--set=Mix=0.5", "--set", " Decay = 3 ", "--tail=2.5",
                                      "--channels", "1", "--block-size=64"});
    ASSERT_TRUE(parsed.ok()) << parsed.error;
    const auto& o = parsed.options;
    EXPECT_EQ(o.inputPath, "in.aiff");
    ASSERT_EQ(o.settings.size(), 2u);
    EXPECT_EQ(o.settings[0].first, "Mix");
    EXPECT_EQ(o.settings[0].second, "0.5");
    EXPECT_EQ(o.settings[1].first, "Decay");
    EXPECT_EQ(o.settings[1].second, "3");
    EXPECT_DOUBLE_EQ(o.tailSeconds, 2.5);
    EXPECT_EQ(o.inputChannels, 1u);
    EXPECT_EQ(o.blockSize, 64u);

    const juce::File cwd("/tmp/x");
    EXPECT_EQ(resolveOutputFile(o, cwd).getFullPathName(), "/tmp/x/in-lamina.wav");
    RenderOptions named;
    named.outputPath = "renders/take";
    EXPECT_EQ(resolveOutputFile(named, cwd).getFullPathName(), "/tmp/x/renders/take.wav");
    named.outputPath = "take.FLAC";
    EXPECT_EQ(resolveOutputFile(named, cwd).getFullPathName(), "/tmp/x/take.FLAC");

    EXPECT_FALSE(parseRenderOptions({"--output"}).ok());
    EXPECT_FALSE(parseRenderOptions({"a.wav", "b.wav"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--ir=1"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--tail", "-1"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--tail", "nan"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--ir", "--tail", "0"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--sample-rate", "44100.5"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--channels", "3"}).ok());
}
