#pragma once

#include "ui/shell/editor_context.h"
#include "ui/widgets/audio_tap.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <complex>
#include <memory>
#include <vector>

namespace qor
{

class Lamina;

/** One spectrum of the last fftSize samples, Blackman-Harris windowed, as a path from the bottom left through
    the bins to the bottom right, tilted by `slope` dB per octave about the middle of the frequency axis so
   that pink noise lies flat. Message thread only. */
class SpectrumAnalyzerView2 : public juce::Component
{
public:
    SpectrumAnalyzerView2(int fftSize, int blockCount, double sampleRate, int bufferSize);

    void setRange(float minFrequency, float maxFrequency, float minDb, float maxDb);
    /** Keeps the newest samples; the oldest fall out once bufferSize have come. */
    void pushSamples(const float* samples, int count);
    /** Analyses the last fftSize samples if any came since the last time; returns whether it did. */
    bool analyse();

    /** x of a frequency: the axis of the decay and EQ displays. */
    float xForFrequency(float f) const;
    float frequencyForX(float x) const;
    float yForDb(float db) const;
    float dbForY(float y) const;
    /** The tilt added at frequency f. */
    float tiltAt(float f) const;

    const juce::Path& getPath() const { return path; }
    /** The merged points, in pixels, between the two bottom corners. */
    const std::vector<juce::Point<float>>& getPoints() const { return points; }
    double getSampleRate() const { return sampleRate; }
    int getBufferSize() const { return int(history.size()); }

    void paint(juce::Graphics& g) override;
    void resized() override { analysed = false; }

    const int fftSize;
    const int blockCount;
    const float slope = 4.5f;

private:
    void transform();

    double sampleRate;
    float lowFrequency = 20, maxFrequency = 20000, lowDb = -60, highDb = 30;
    std::vector<float> history;
    size_t writePosition = 0;
    int fresh = 0;
    bool analysed = false;
    std::vector<float> window;
    std::vector<std::complex<float>> bins;
    std::vector<std::complex<float>> twiddles;
    std::vector<juce::Point<float>> points;
    juce::Path path;
};

/** The live spectrum of the output behind the decay and EQ displays, shown while "editor.showRTA" is on. Its
    samples come from the output side of the editor's audio tap; every 20 ms it analyses what arrived. It
   holds a view only while the tap has an element to read, and a new one for each new element. */
class SpectrumDisplay : public juce::Component, private juce::Timer, private AudioTap::Listener
{
public:
    static constexpr int intervalMs = 20;

    explicit SpectrumDisplay(const EditorContext& context);
    ~SpectrumDisplay() override;

    /** Follows the tap's element and analyses what came (the timer does this every 20 ms). */
    void refresh();
    SpectrumAnalyzerView2* getView() const { return view.get(); }

    void resized() override;

private:
    void timerCallback() override { refresh(); }
    void tapSamples(AudioTap::Side side, const float* samples, int count) override;

    EditorContext context;
    Lamina* element = nullptr;
    std::unique_ptr<SpectrumAnalyzerView2> view;
};

} // namespace qor
