// lamina-render as a user meets it: the built program is run, its files are read back and measured.
#include "tools/render/audio_data_extent.h"
#include "tools/render/render_options.h"

#include <juce_audio_formats/juce_audio_formats.h>
#if QOR_RENDER_PICTURES
#include <juce_graphics/juce_graphics.h>
#endif

#include <gtest/gtest.h>

#include <cmath>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

using namespace qor::render;

namespace
{
struct Run
{
    int exitCode = -1;
    juce::String out, err;
    long peakKilobytes = 0; // the program's own peak resident memory
    juce::String output() const { return out + err; }
};

/** Runs the built program in `folder` (relative paths resolve there, as in the user's shell) and collects
   what it printed and how much memory it took at most. */
Run runRenderer(const juce::StringArray& args, const juce::File& folder, bool quiet = true)
{
    std::vector<std::string> words{QOR_LAMINA_RENDER};
    if (quiet)
        words.emplace_back("--quiet");
    for (const auto& a : args)
        words.push_back(a.toStdString());
    std::vector<char*> argv;
    for (auto& w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);
    const auto where = folder.getFullPathName().toStdString();

    Run run;
    int outPipe[2], errPipe[2];
    if (pipe(outPipe) != 0 || pipe(errPipe) != 0)
        return run;
    const pid_t pid = fork();
    if (pid == 0)
    {
        dup2(outPipe[1], 1);
        dup2(errPipe[1], 2);
        for (int fd : {outPipe[0], outPipe[1], errPipe[0], errPipe[1]})
            close(fd);
        // The renderer never needs a display, the pictures included.
        unsetenv("DISPLAY");
        if (chdir(where.c_str()) == 0)
            execv(argv[0], argv.data());
        _exit(127);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    juce::MemoryOutputStream texts[2];
    for (int open = 2; open > 0;)
    {
        if (poll(fds, 2, -1) < 0)
            break;
        for (int i = 0; i < 2; ++i)
        {
            if (fds[i].fd < 0 || fds[i].revents == 0)
                continue;
            char buffer[4096];
            const auto n = read(fds[i].fd, buffer, sizeof(buffer));
            if (n > 0)
                texts[i].write(buffer, static_cast<size_t>(n));
            else
            {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    int status = 0;
    rusage usage{};
    if (pid > 0 && wait4(pid, &status, 0, &usage) == pid)
    {
        run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        run.peakKilobytes = usage.ru_maxrss;
    }
    run.out = texts[0].toString();
    run.err = texts[1].toString();
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
    const int column = lines[0].indexOf("Value"), note = lines[0].indexOf("Note");
    for (const auto& line : lines)
        if (line.startsWith(key + " "))
            return line.substring(column, note).trim();
    return "(no row " + key + ")";
}

/** The note column of one row of --list-params. */
juce::String listedNote(const juce::String& listing, const juce::String& key)
{
    const auto lines = juce::StringArray::fromLines(listing);
    for (const auto& line : lines)
        if (line.startsWith(key + " "))
            return line.substring(lines[0].indexOf("Note")).trim();
    return "(no row " + key + ")";
}

/** Quiet noise, the same for the same seed. */
juce::AudioBuffer<float> noise(int channels, int samples, int seed)
{
    juce::AudioBuffer<float> out(channels, samples);
    juce::Random random(seed);
    for (int c = 0; c < channels; ++c)
        for (int i = 0; i < samples; ++i)
            out.setSample(c, i, 0.1f * (random.nextFloat() * 2.0f - 1.0f));
    return out;
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
    ASSERT_EQ(run.exitCode, 0) << run.output();
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

/** The octave-band figures of --ir, read from its JSON: measured T60 of each channel and the model's, per
 * band. */
struct BandFigures
{
    double centre = 0;
    std::vector<double> measured; // 0 where the tool measured nothing
    double model = 0;
};

std::vector<BandFigures> readDecayJson(const juce::String& json)
{
    std::vector<BandFigures> bands;
    const auto parsed = juce::JSON::parse(json);
    if (const auto* list = parsed["bands"].getArray())
        for (const auto& band : *list)
        {
            BandFigures figures{static_cast<double>(band["centre"]), {}, static_cast<double>(band["model"])};
            if (const auto* measured = band["measured"].getArray())
                for (const auto& m : *measured)
                    figures.measured.push_back(m.isVoid() ? 0.0 : static_cast<double>(m));
            bands.push_back(figures);
        }
    return bands;
}

TEST_F(RenderCli, ImpulseResponseDecaysPerOctaveAsTheModelSays)
{
    // The default response (4 s, dry part included) as a user gets it: the table's measured/model column
    // within 10 % from 250 Hz to 8 kHz. (A channel alone strays a little further where the band holds few
    // modes.) With a shorter Decay both move, so the model reads the settings that the sheet hears.
    const struct
    {
        juce::StringArray settings;
        double lowestCentre;
        int seconds;
    } cases[] = {{{}, 250.0, 4}, {{"--set", "Decay=1s", "--tail", "2"}, 1000.0, 2}};
    for (const auto& c : cases)
    {
        auto args = c.settings;
        args.addArray({"--ir", "--json", "-o", "ir.wav"});
        const auto run = runRenderer(args, dir());
        ASSERT_EQ(run.exitCode, 0) << run.output();
        EXPECT_EQ(readAudio(dir().getChildFile("ir.wav")).samples.getNumSamples(), c.seconds * 48000);
        const auto bands = readDecayJson(run.out);
        ASSERT_EQ(bands.size(), 9u) << run.out;
        for (const auto& band : bands)
        {
            if (band.centre < c.lowestCentre || band.centre > 8000.0)
                continue;
            ASSERT_EQ(band.measured.size(), 2u);
            const double mean = (band.measured[0] + band.measured[1]) / 2;
            EXPECT_NEAR(mean / band.model, 1.0, 0.1)
                << c.settings.joinIntoString(" ") << " " << band.centre << " Hz: measured "
                << band.measured[0] << " and " << band.measured[1] << " s, model " << band.model << " s";
        }
    }

    // The table for people; a response too short for the low bands says so instead of guessing.
    const auto table = runRenderer({"--ir", "--tail", "0.5", "-o", "ir.wav"}, dir(), false);
    ASSERT_EQ(table.exitCode, 0) << table.output();
    EXPECT_TRUE(table.out.contains("Band      Left      Right     Model     Measured/model")) << table.out;
    EXPECT_TRUE(table.out.contains("\n1 kHz     ")) << table.out;
    EXPECT_TRUE(table.out.contains("raise --tail")) << table.out;
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
    ASSERT_EQ(run.exitCode, 0) << run.output();
    const auto audio = readAudio(dir().getChildFile("mono-lamina.wav"));
    ASSERT_EQ(audio.samples.getNumChannels(), 2);
    EXPECT_EQ(audio.samples.getNumSamples(), 12000 + 24000);
    for (int c = 0; c < 2; ++c)
        EXPECT_GT(audio.samples.getMagnitude(c, 4000, 12000), 1e-5f)
            << "channel " << c << " is silent after the burst";
}

TEST_F(RenderCli, AnInputAtAnotherRateIsStreamedThroughTheResamplerWithoutASeamOrADelay)
{
    // Dry alone (Mix 0) the render is the resampled input; odd blocks put the seams everywhere.
    juce::AudioBuffer<float> tone(2, 48000);
    for (int i = 0; i < tone.getNumSamples(); ++i)
        for (int c = 0; c < 2; ++c)
            tone.setSample(c, i,
                           0.5f * static_cast<float>(std::sin(2.0 * juce::MathConstants<double>::pi * 1000.0 *
                                                              i / 48000.0)));
    writeWav(dir().getChildFile("tone.wav"), tone, 48000.0);

    const auto run = runRenderer({"tone.wav", "--sample-rate", "32000", "--block-size", "100", "--tail",
                                  "0.5", "--set", "Mix=0", "-o", "tone.flac"},
                                 dir());
    ASSERT_EQ(run.exitCode, 0) << run.output();
    const auto audio = readAudio(dir().getChildFile("tone.flac"));
    EXPECT_EQ(audio.sampleRate, 32000.0);
    ASSERT_EQ(audio.samples.getNumSamples(), 32000 + 16000);
    float worst = 0.0f;
    for (int i = 1000; i < 31000; ++i)
        worst = std::max(worst,
                         std::abs(audio.samples.getSample(0, i) -
                                  0.5f * static_cast<float>(std::sin(2.0 * juce::MathConstants<double>::pi *
                                                                     1000.0 * i / 32000.0))));
    // The interpolator passes 1 kHz 0.1 dB low (0.005 here); a third of a sample late would be 0.033.
    EXPECT_LT(worst, 0.01f) << "the resampled tone is off in level, phase or continuity";
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
        {{"--json", "-o", "out.wav"}, "--json prints the decay figures of --ir", 2},
        {{"--bits", "20", "-o", "out.wav"}, "--bits takes 16, 24 or 32f", 2},
        {{"--bits", "32f", "-o", "out.flac"}, "--bits 32f writes .wav files only", 2},
        {{"--bits", "16", "-o", "out.ogg"}, "--bits does not apply to Ogg Vorbis", 2},
        {{"--set", "Decay=2kHz", "-o", "out.wav"}, "Decay takes a time", 2},
        {{"--set", "Mix=30", "-o", "out.wav"}, "for a percentage write \"30%\"", 2},
        {{"--set", "PreDelay=2s", "-o", "out.wav"}, "that is 0 ms to 1.00 s", 2},
        {{"--set", "Material=Lead", "-o", "out.wav"}, "[0 Steel, 1 Gold (Au)", 2},
        {{"garbage.wav", "sub/garbage.wav", "-o", "renders"}, "would both be written to", 2},
        {{"--save-preset", "blocker/p"}, "is a file, not a folder", 1},
        {{"--set", "Decay=0.01"}, "Decay=0.01 is out of range: Decay takes 0.2 to 10000 (default 2)", 2},
        {{"--set", "decay=3"}, "did you mean 'Decay'?", 2},
        {{"--set", "Quality=9"}, "Quality=9 is out of range", 2},
        {{"--set", "EnableEQ=maybe"}, "EnableEQ is a switch", 2},
        {{"--plot-eq", "eq.jpg"}, "pictures are written as PNG", 2},
        {{"--expanded"}, "--expanded chooses the layout of --snapshot", 2},
        {{"--plot-ir", "ir.png", "garbage.wav"}, "--plot-ir renders an impulse and takes no input file", 2},
    };
    for (const auto& c : cases)
    {
        const auto run = runRenderer(c.args, dir());
        EXPECT_EQ(run.exitCode, c.status) << c.args.joinIntoString(" ") << "\n" << run.output();
        EXPECT_TRUE(run.output().contains(c.message)) << c.args.joinIntoString(" ") << "\n" << run.output();
        EXPECT_FALSE(run.err.contains("(see --help) (see --help)")) << run.err;
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
    EXPECT_EQ(run.exitCode, 1) << run.output();
    EXPECT_TRUE(run.output().contains("cannot write in")) << run.output();
    EXPECT_EQ(locked.getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 0);
}

/** Every row of a --list-params listing: key and the value text shown ("3.50 s", "High", "on"). */
std::vector<std::pair<juce::String, juce::String>> shownValues(const juce::String& listing)
{
    std::vector<std::pair<juce::String, juce::String>> rows;
    const auto lines = juce::StringArray::fromLines(listing);
    for (int i = 1; i < lines.size(); ++i)
    {
        const auto key = lines[i].upToFirstOccurrenceOf(" ", false, false);
        auto value = listedValue(listing, key);
        if (key.isEmpty() || key == "Role")
            continue;
        if (value.contains("  ("))
            value = value.fromFirstOccurrenceOf("  (", false, false).dropLastCharacters(1);
        rows.emplace_back(key, value);
    }
    return rows;
}

TEST_F(RenderCli, SettingsTakeTheTextsThatTheListingShowsWithUnitsAndLabels)
{
    auto listed = runRenderer({"--set",        "Decay=3.5s",
                               "--set",        "PreDelay=350ms",
                               "--set",        "PorousFreq=2kHz",
                               "--set",        "Gain=-3dB",
                               "--set",        "Mix=30%",
                               "--set",        "Material=Au",
                               "--set",        "Material=Steel",
                               "--set",        "Quality=high",
                               "--set",        "EnableEQ=off",
                               "--set",        "ThermalDampMult=x 2",
                               "--set",        "RadiationFreqMult=/ 4",
                               "--list-params"},
                              dir());
    ASSERT_EQ(listed.exitCode, 0) << listed.output();
    EXPECT_EQ(listedValue(listed.out, "Decay"), "3.5  (3.50 s)");
    EXPECT_EQ(listedValue(listed.out, "PreDelay"), "350  (350 ms)");
    EXPECT_EQ(listedValue(listed.out, "PorousFreq"), "2000  (2.00 kHz)");
    EXPECT_EQ(listedValue(listed.out, "Gain"), "-3  (-3.00 dB)");
    EXPECT_EQ(listedValue(listed.out, "Mix"), "0.3  (30.0 %)");
    EXPECT_EQ(listedValue(listed.out, "Material"), "0  (Steel)");
    EXPECT_EQ(listedValue(listed.out, "Quality"), "2  (High)");
    EXPECT_EQ(listedValue(listed.out, "EnableEQ"), "off");
    EXPECT_EQ(listedValue(listed.out, "ThermalDampMult"), "2  (x 2.00)");
    EXPECT_EQ(listedValue(listed.out, "RadiationFreqMult"), "0.25  (/ 4.00)");

    // Whatever a factory preset shows, typed back, shows the same: units, labels, "+oo" and switches alike.
    const auto before = runRenderer({"--preset", "Materials/Gold Leaf", "--list-params"}, dir());
    ASSERT_EQ(before.exitCode, 0) << before.output();
    juce::StringArray args{"--list-params"};
    for (const auto& [key, shown] : shownValues(before.out))
        args.addArray({"--set", key + "=" + shown});
    ASSERT_GT(args.size(), 140);
    const auto after = runRenderer(args, dir());
    ASSERT_EQ(after.exitCode, 0) << after.output();
    EXPECT_EQ(shownValues(after.out), shownValues(before.out));

    // The listing says which parameters the sound ignores, and when the low cut acts.
    EXPECT_TRUE(listedNote(before.out, "Fmin").contains("unused by the sound"));
    EXPECT_TRUE(listedNote(before.out, "Fmax").contains("unused by the sound"));
    EXPECT_TRUE(listedNote(before.out, "ModeTruncationThreshold").contains("once per process"));
    EXPECT_TRUE(
        listedNote(before.out, "LowCutGain").contains("at 0 dB (the default) the low cut does nothing"));
    EXPECT_TRUE(listedNote(before.out, "LowCutFreq").contains("only when LowCutGain is below 0 dB"));
    EXPECT_EQ(listedNote(before.out, "Decay"), "");
    EXPECT_EQ(numFiles(), 0) << "--list-params wrote a file";
}

TEST_F(RenderCli, ASettingActsFromTheFirstBlock)
{
    // Wet only, 100 ms of pre-delay: nothing may come out before it, and the plate rings after it.
    const auto run = runRenderer({"--ir", "--tail", "0.5", "--sample-rate", "32000", "--set", "Mix=1",
                                  "--set", "PreDelay=100", "-o", "d.wav"},
                                 dir());
    ASSERT_EQ(run.exitCode, 0) << run.output();
    const auto audio = readAudio(dir().getChildFile("d.wav"));
    ASSERT_EQ(audio.samples.getNumSamples(), 16000);
    EXPECT_LT(rms(audio, 0.0, 0.095), 1e-6);
    EXPECT_GT(rms(audio, 0.1, 0.2), 1e-4);
}

TEST_F(RenderCli, PresetsLoadByFileOrBareNameAndASavedPresetLoadsBackTheSameSettings)
{
    // A preset's values are limited to their ranges, it leaves bypass alone, and --set comes after it.
    dir()
        .getChildFile("p.preset")
        .replaceWithText("<ModulePreset>\n    <Lamina Name=\"Lamina\" Decay=\"99999\" Mix=\"0.75\" "
                         "Bypass=\"1\"/>\n</ModulePreset>\n");
    auto listed = runRenderer({"--preset", "p.preset", "--set", "Mix=0.5", "--list-params"}, dir());
    ASSERT_EQ(listed.exitCode, 0) << listed.output();
    EXPECT_EQ(listedValue(listed.out, "Decay"), "10000  (+oo)");
    EXPECT_EQ(listedValue(listed.out, "Mix"), "0.5  (50.0 %)");
    EXPECT_EQ(listedValue(listed.out, "Bypass"), "off");

    // A bare factory name finds its preset; saving writes what --set made of it, and nothing is rendered.
    const auto saved =
        runRenderer({"--preset", "Vocal Plate", "--set", "Decay=4.2s", "--set", "Material=Ti", "--set",
                     "BandGain3=-6dB", "--save-preset", "mine/vocal", "--list-params"},
                    dir());
    ASSERT_EQ(saved.exitCode, 0) << saved.output();
    EXPECT_EQ(runRenderer({"--preset", "Classics/Vocal Plate", "--list-params"}, dir()).out,
              runRenderer({"--preset", "Vocal Plate", "--list-params"}, dir()).out);
    ASSERT_TRUE(dir().getChildFile("mine/vocal.preset").existsAsFile());
    const auto loaded = runRenderer({"--preset", "mine/vocal.preset", "--list-params"}, dir());
    ASSERT_EQ(loaded.exitCode, 0) << loaded.output();
    EXPECT_EQ(loaded.out, saved.out);
    EXPECT_EQ(listedValue(loaded.out, "Material"), "3  (Titanium (Ti))");
    EXPECT_EQ(dir().getChildFile("mine").getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 1);
    EXPECT_EQ(numFiles(), 2) << "saving a preset rendered something";
}

TEST_F(RenderCli, TheReadmeNamesEveryFactoryPreset)
{
    const auto readme = juce::File(QOR_SOURCE_DIR).getChildFile("README.md").loadFileAsString();
    const auto listed = runRenderer({"--list-presets"}, dir());
    ASSERT_EQ(listed.exitCode, 0) << listed.output();
    const auto names = juce::StringArray::fromLines(listed.out.trim());
    ASSERT_GT(names.size(), 0);
    for (const auto& name : names)
    {
        const auto category = name.upToFirstOccurrenceOf("/", false, false);
        auto entries =
            juce::StringArray::fromTokens(readme.fromFirstOccurrenceOf("\n- " + category + ": ", false, false)
                                              .upToFirstOccurrenceOf("\n", false, false),
                                          ",", "");
        entries.trim();
        EXPECT_TRUE(entries.contains(name.fromFirstOccurrenceOf("/", false, false)))
            << name << " is missing from the README's list of factory presets";
    }
}

TEST_F(RenderCli, AForgedLengthIsReadForWhatTheFileHoldsAndLongInputsStreamInBoundedMemory)
{
    // 60 s of stereo noise, and a WAV header that then claims some 2 GB more.
    writeWav(dir().getChildFile("short.wav"), noise(2, 8000, 1), 8000.0);
    writeWav(dir().getChildFile("long.wav"), noise(2, 60 * 8000, 2), 8000.0);
    juce::MemoryBlock bytes;
    ASSERT_TRUE(dir().getChildFile("long.wav").loadFileAsData(bytes));
    const auto extent = [&]
    {
        juce::MemoryInputStream in(bytes, false);
        return findAudioData(in);
    }();
    ASSERT_TRUE(extent && extent->heldBytes == 60 * 8000 * 6) << "the test's own WAV is not as expected";
    auto* size = static_cast<uint8_t*>(bytes.getData()) + extent->offset - 4;
    for (uint32_t i = 0, forged = 0x7ffff000u; i < 4; ++i)
        size[i] = static_cast<uint8_t>(forged >> (8 * i));
    ASSERT_TRUE(dir().getChildFile("forged.wav").replaceWithData(bytes.getData(), bytes.getSize()));

    auto render = [&](const char* input) {
        return runRenderer({input, "--tail", "0.25", "--set", "Quality=Low", "--bits", "16"}, dir());
    };
    const auto reference = render("short.wav");
    const auto run = render("forged.wav");
    ASSERT_EQ(reference.exitCode, 0) << reference.output();
    ASSERT_EQ(run.exitCode, 0) << run.output();
    EXPECT_TRUE(run.err.contains("warning: 'forged.wav' declares")) << run.err;
    EXPECT_TRUE(run.err.contains("but holds 60.00 s")) << run.err;
    EXPECT_EQ(readAudio(dir().getChildFile("forged-lamina.wav")).samples.getNumSamples(), 60 * 8000 + 2000);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // A minute of input costs no more memory than a second: 60 s of stereo floats alone would be 3.7 MB.
    // (Sanitizers keep freed blocks for a while, so their peaks say nothing about this.)
    EXPECT_LT(run.peakKilobytes, reference.peakKilobytes + 1500)
        << "peak " << run.peakKilobytes << " kB against " << reference.peakKilobytes << " kB for one second";
#endif
}

TEST_F(RenderCli, EmptyAndSilentInputsRenderTheirTailWithANote)
{
    writeWav(dir().getChildFile("empty.wav"), juce::AudioBuffer<float>(2, 0), 16000.0);
    juce::AudioBuffer<float> silence(1, 16000);
    silence.clear();
    writeWav(dir().getChildFile("silent.wav"), silence, 16000.0);

    const auto empty = runRenderer({"empty.wav", "--tail", "0.5"}, dir());
    ASSERT_EQ(empty.exitCode, 0) << empty.output();
    EXPECT_TRUE(empty.err.contains("note: 'empty.wav' holds no samples")) << empty.err;
    EXPECT_EQ(readAudio(dir().getChildFile("empty-lamina.wav")).samples.getNumSamples(), 8000);

    const auto silent = runRenderer({"silent.wav", "--tail", "0.5"}, dir(), false);
    ASSERT_EQ(silent.exitCode, 0) << silent.output();
    EXPECT_TRUE(silent.err.contains("note: the input is silent")) << silent.err;
    EXPECT_TRUE(silent.out.contains("silent\n")) << silent.out;
    EXPECT_EQ(readAudio(dir().getChildFile("silent-lamina.wav")).samples.getNumSamples(), 24000);
}

TEST_F(RenderCli, SeveralInputsGoEachToItsOwnFileInTheFolderThatOutputNamesAtTheDepthAsked)
{
    writeWav(dir().getChildFile("a.wav"), noise(1, 4000, 3), 16000.0);
    writeWav(dir().getChildFile("b.wav"), noise(2, 6000, 4), 16000.0);
    auto run = runRenderer({"a.wav", "b.wav", "--tail", "0.25", "-o", "out", "--bits", "16"}, dir());
    ASSERT_EQ(run.exitCode, 0) << run.output();
    auto a = readAudio(dir().getChildFile("out/a-lamina.wav"));
    auto b = readAudio(dir().getChildFile("out/b-lamina.wav"));
    EXPECT_EQ(a.samples.getNumSamples(), 4000 + 4000);
    EXPECT_EQ(b.samples.getNumSamples(), 6000 + 4000);
    EXPECT_EQ(a.bitsPerSample, 16u);

    // An existing folder named alone takes the derived name; a render far above full scale survives as float.
    run = runRenderer({"a.wav", "--tail", "0.25", "-o", "out", "--bits", "32f", "--set", "Gain=20dB", "--set",
                       "Mix=1", "--set", "Drive=0"},
                      dir(), false);
    ASSERT_EQ(run.exitCode, 0) << run.output();
    a = readAudio(dir().getChildFile("out/a-lamina.wav"));
    EXPECT_EQ(a.bitsPerSample, 32u);
    EXPECT_GT(a.samples.getMagnitude(0, a.samples.getNumSamples()), 1.0f);
    EXPECT_TRUE(run.out.contains("32-bit float WAV")) << run.out;
    EXPECT_TRUE(run.out.contains("kept intact")) << run.out;
    EXPECT_EQ(dir().getChildFile("out").getNumberOfChildFiles(juce::File::findFilesAndDirectories, "*"), 2);
}

#if QOR_RENDER_PICTURES
namespace
{
/** Pixels that differ from the picture's most common colour, and how many colours it holds. */
struct PictureContent
{
    juce::Rectangle<int> size;
    double drawnFraction = 0;
    std::size_t colours = 0;
};

PictureContent contentOf(const juce::File& file)
{
    const auto image = juce::ImageFileFormat::loadFrom(file);
    PictureContent content{image.getBounds()};
    std::unordered_map<uint32_t, int> counts;
    const juce::Image::BitmapData pixels(image, juce::Image::BitmapData::readOnly);
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x)
            ++counts[pixels.getPixelColour(x, y).getARGB()];
    int most = 0;
    for (const auto& [colour, count] : counts)
        most = std::max(most, count);
    content.colours = counts.size();
    if (!image.isNull())
        content.drawnFraction = 1.0 - double(most) / (image.getWidth() * image.getHeight());
    return content;
}

/** The share of the pixels in `area` that differ between two pictures of one size. */
double differingFraction(const juce::File& a, const juce::File& b, juce::Rectangle<int> area)
{
    const auto first = juce::ImageFileFormat::loadFrom(a), second = juce::ImageFileFormat::loadFrom(b);
    area = area.getIntersection(first.getBounds());
    if (first.getBounds() != second.getBounds() || area.isEmpty())
        return 0.0;
    const juce::Image::BitmapData one(first, juce::Image::BitmapData::readOnly),
        other(second, juce::Image::BitmapData::readOnly);
    int differing = 0;
    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
            differing += one.getPixelColour(x, y) != other.getPixelColour(x, y) ? 1 : 0;
    return double(differing) / (area.getWidth() * area.getHeight());
}
} // namespace
#endif

TEST_F(RenderCli, PicturesAreDrawnWithoutADisplayAtTheirSizesAndFollowTheSettings)
{
    const juce::StringArray pictures{"--plot-decay", "decay.png",  "--plot-eq",
                                     "eq",           "--snapshot", "editor.png"};
    auto run = runRenderer(pictures, dir());
#if QOR_RENDER_PICTURES
    ASSERT_EQ(run.exitCode, 0) << run.output();
    EXPECT_EQ(numFiles(), 3) << "pictures alone render nothing";
    run =
        runRenderer({"--plot-decay", "short.png", "--set", "Decay=0.5s", "--set", "Material=Au", "--snapshot",
                     "wide.png", "--expanded", "--plot-ir", "ir.png", "--tail", "1", "-o", "ir.wav"},
                    dir());
    ASSERT_EQ(run.exitCode, 0) << run.output();
    EXPECT_TRUE(dir().getChildFile("ir.wav").existsAsFile()) << "--plot-ir renders as --ir does";

    const struct
    {
        const char* file;
        int width, height;
    } expected[] = {{"decay.png", 1120, 720}, {"eq.png", 1120, 720},   {"editor.png", 508, 555},
                    {"short.png", 1120, 720}, {"wide.png", 1058, 555}, {"ir.png", 1600, 1040}};
    for (const auto& e : expected)
    {
        const auto content = contentOf(dir().getChildFile(e.file));
        EXPECT_EQ(content.size, juce::Rectangle<int>(e.width, e.height)) << e.file;
        // Text, curves and art: far more than a background with a frame.
        EXPECT_GT(content.drawnFraction, 0.05) << e.file;
        EXPECT_GT(content.colours, 500u) << e.file;
    }
    // The display draws the settings given: below the title, a short gold plate is another picture.
    EXPECT_GT(differingFraction(dir().getChildFile("decay.png"), dir().getChildFile("short.png"),
                                {0, 130, 1120, 520}),
              0.02);
#else
    EXPECT_EQ(run.exitCode, 1) << run.output();
    EXPECT_TRUE(run.err.contains("built without the editor")) << run.err;
    EXPECT_EQ(numFiles(), 0);
#endif
}

TEST(AudioDataExtent, AnyBytesAreSafeAndTheExtentNeverPassesTheFile)
{
    // A real header, then the same cut, flipped and overwritten at random: no crash, and nothing the file
    // does not hold.
    juce::MemoryBlock real;
    {
        auto stream = std::make_unique<juce::MemoryOutputStream>(real, false);
        juce::WavAudioFormat format;
        std::unique_ptr<juce::AudioFormatWriter> writer(
            format.createWriterFor(stream.release(), 44100, 2, 16, {}, 0));
        ASSERT_NE(writer, nullptr);
        const auto samples = noise(2, 300, 5);
        writer->writeFromAudioSampleBuffer(samples, 0, samples.getNumSamples());
    }
    juce::Random random(11);
    for (int trial = 0; trial < 20000; ++trial)
    {
        juce::MemoryBlock bytes(real);
        if (trial % 4 == 0)
            bytes.setSize(static_cast<size_t>(random.nextInt(static_cast<int>(real.getSize()) + 1)));
        for (int flips = random.nextInt(6); flips-- > 0 && bytes.getSize() > 0;)
            bytes[random.nextInt(static_cast<int>(bytes.getSize()))] = static_cast<char>(random.nextInt(256));
        if (trial % 7 == 0)
            for (size_t i = 0; i < bytes.getSize(); ++i)
                bytes[i] = static_cast<char>(random.nextInt(256));
        if (trial % 5 == 0 && bytes.getSize() >= 4) // an AIFF form around the same chunks
            std::memcpy(bytes.getData(), "FORM", 4);
        juce::MemoryInputStream in(bytes, false);
        if (const auto extent = findAudioData(in))
        {
            ASSERT_GE(extent->offset, 0);
            ASSERT_LE(extent->offset, static_cast<int64_t>(bytes.getSize()));
            ASSERT_GE(extent->heldBytes, 0);
            ASSERT_LE(extent->heldBytes, extent->declaredBytes);
            ASSERT_LE(extent->offset + extent->heldBytes, static_cast<int64_t>(bytes.getSize()));
        }
    }
    juce::MemoryInputStream in(real, false);
    const auto whole = findAudioData(in);
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->heldBytes, 300 * 4);
    EXPECT_EQ(whole->declaredBytes, 300 * 4);
}

TEST(RenderOptions, ValuesComeInlineOrAsTheNextArgumentAndOutputNamesFollowTheInputs)
{
    auto parsed = parseRenderOptions({"in.aiff", "--set=Mix=0.5", "--set", " Decay = 3 ", "--tail=2.5",
                                      "--channels", "1", "--block-size=64", "--bits", "32f", "x/in2.wav"});
    ASSERT_TRUE(parsed.ok()) << parsed.error;
    const auto& o = parsed.options;
    ASSERT_EQ(o.inputPaths.size(), 2u);
    EXPECT_EQ(o.inputPaths[0], "in.aiff");
    ASSERT_EQ(o.settings.size(), 2u);
    EXPECT_EQ(o.settings[0].first, "Mix");
    EXPECT_EQ(o.settings[0].second, "0.5");
    EXPECT_EQ(o.settings[1].first, "Decay");
    EXPECT_EQ(o.settings[1].second, "3");
    EXPECT_DOUBLE_EQ(o.tailSeconds, 2.5);
    EXPECT_EQ(o.inputChannels, 1u);
    EXPECT_EQ(o.blockSize, 64u);
    EXPECT_EQ(o.depth, SampleDepth::float32);

    const juce::File cwd("/tmp/x");
    EXPECT_EQ(resolveOutputFile(o, 0, cwd).getFullPathName(), "/tmp/x/in-lamina.wav");
    EXPECT_EQ(resolveOutputFile(o, 1, cwd).getFullPathName(), "/tmp/x/in2-lamina.wav");
    RenderOptions named = o;
    named.outputPath = "renders";
    EXPECT_EQ(resolveOutputFile(named, 1, cwd).getFullPathName(), "/tmp/x/renders/in2-lamina.wav");
    named.inputPaths = {"in.aiff"};
    EXPECT_EQ(resolveOutputFile(named, 0, cwd).getFullPathName(), "/tmp/x/renders.wav");
    named.outputPath = "renders/";
    EXPECT_EQ(resolveOutputFile(named, 0, cwd).getFullPathName(), "/tmp/x/renders/in-lamina.wav");
    named.outputPath = "take.FLAC";
    EXPECT_EQ(resolveOutputFile(named, 0, cwd).getFullPathName(), "/tmp/x/take.FLAC");

    EXPECT_TRUE(parseRenderOptions({"--save-preset", "p"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--save-preset", "p"}).options.wantsRender());
    EXPECT_TRUE(parseRenderOptions({"--save-preset", "p", "--ir"}).options.wantsRender());
    EXPECT_TRUE(parseRenderOptions({}).options.wantsRender());
    EXPECT_FALSE(parseRenderOptions({"--snapshot", "editor"}).options.wantsRender());
    EXPECT_EQ(parseRenderOptions({"--snapshot", "editor"}).options.snapshotPath, "editor.png");
    EXPECT_TRUE(parseRenderOptions({"--plot-ir", "ir.png"}).options.impulseResponse);
    EXPECT_FALSE(parseRenderOptions({"--output"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--ir=1"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--tail", "-1"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--tail", "nan"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--ir", "--tail", "0"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--sample-rate", "44100.5"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--channels", "3"}).ok());
    EXPECT_FALSE(parseRenderOptions({"--json"}).ok());
}
