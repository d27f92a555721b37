#include "tools/render/demo_signal.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace qor::render
{

namespace
{
constexpr double pi = 3.14159265358979323846;
constexpr double totalSeconds = 1.6;

/** Uniform noise in [-1, 1) from a fixed seed, so that every demo is the same file. */
class Noise
{
public:
    explicit Noise(uint32_t seed) : state(seed) {}
    float next()
    {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) / 8388608.0f - 1.0f;
    }

private:
    uint32_t state;
};

/** A plucked string (Karplus-Strong), faded out `length` seconds after its onset. */
void addPluck(juce::AudioBuffer<float>& out, double sampleRate, double onset, double frequency, double length,
              float pan, Noise& noise)
{
    const auto period = static_cast<std::size_t>(std::lround(sampleRate / frequency));
    std::vector<float> line(period);
    for (auto& s : line)
        s = noise.next();

    const auto start = static_cast<int>(onset * sampleRate);
    const auto count = static_cast<int>(length * sampleRate);
    const auto fade = static_cast<int>(0.05 * sampleRate);
    const float gains[2] = {std::sqrt(0.5f * (1.0f - pan)), std::sqrt(0.5f * (1.0f + pan))};
    std::size_t index = 0;
    for (int n = 0; n < count && start + n < out.getNumSamples(); ++n)
    {
        const std::size_t nextIndex = (index + 1) % period;
        const float y = line[index];
        line[index] = 0.4985f * (line[index] + line[nextIndex]);
        index = nextIndex;
        const float release =
            n < count - fade ? 1.0f : static_cast<float>(count - n) / static_cast<float>(fade);
        for (int c = 0; c < out.getNumChannels(); ++c)
            out.addSample(c, start + n, y * release * (out.getNumChannels() == 1 ? 0.7f : gains[c]));
    }
}

/** A snare-like hit: bright noise and a low drum tone, each decaying fast. */
void addSnare(juce::AudioBuffer<float>& out, double sampleRate, double onset, Noise& noise)
{
    const auto start = static_cast<int>(onset * sampleRate);
    const auto count = static_cast<int>(0.3 * sampleRate);
    float previous = 0.0f;
    for (int n = 0; n < count && start + n < out.getNumSamples(); ++n)
    {
        const double t = n / sampleRate;
        const float white = noise.next();
        const float bright = white - 0.7f * previous; // tilt the noise up: a snare's rattle is high
        previous = white;
        const auto body = static_cast<float>(std::sin(2.0 * pi * 185.0 * t) * std::exp(-t / 0.035));
        const auto rattle = static_cast<float>(bright * std::exp(-t / 0.06));
        const float tail = n < count - 200 ? 1.0f : static_cast<float>(count - n) / 200.0f;
        for (int c = 0; c < out.getNumChannels(); ++c)
            out.addSample(c, start + n, (0.6f * body + 0.5f * rattle) * tail);
    }
}
} // namespace

juce::AudioBuffer<float> makeDemoSignal(double sampleRate, int numChannels)
{
    juce::AudioBuffer<float> out(numChannels, static_cast<int>(std::ceil(totalSeconds * sampleRate)));
    out.clear();
    Noise noise(0x1a3e5u);

    // E minor-ish arpeggio, spread across the stereo field, then the snare in the middle.
    const struct
    {
        double onset, frequency, length;
        float pan;
    } notes[] = {{0.00, 164.81, 0.45, -0.5f},
                 {0.22, 246.94, 0.40, 0.3f},
                 {0.44, 329.63, 0.40, -0.2f},
                 {0.66, 392.00, 0.45, 0.5f}};
    for (const auto& note : notes)
        addPluck(out, sampleRate, note.onset, note.frequency, note.length, note.pan, noise);
    addSnare(out, sampleRate, 1.15, noise);

    const float peak = out.getMagnitude(0, out.getNumSamples());
    if (peak > 0.0f)
        out.applyGain(0.5f / peak);
    return out;
}

juce::AudioBuffer<float> makeImpulse(int numChannels, int numSamples)
{
    juce::AudioBuffer<float> out(numChannels, numSamples);
    out.clear();
    for (int c = 0; c < numChannels && numSamples > 0; ++c)
        out.setSample(c, 0, 1.0f);
    return out;
}

} // namespace qor::render
