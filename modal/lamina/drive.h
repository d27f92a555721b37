#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace qor
{

/** Coefficients of an elliptic halfband low-pass made of two chains of first-order allpass sections in z^-2,
    H(z) = (A0(z^2) + z^-1 A1(z^2)) / 2, for a transition band of the given width (as a fraction of the rate
    the filter runs at) centred on a quarter of that rate. Rising order: A0 takes the first, third, ...
    coefficient, A1 the others. Allocates. */
std::vector<double> designHalfband(int numCoefficients, double transitionWidth);

/** Two channels side by side: the filters are recursive, and two independent channels let the processor
    overlap what one would leave waiting. */
struct StereoSample
{
    double v[2];
};

/** One octave of up- and down-sampling through a halfband of designHalfband, for two channels: each branch
    runs at the lower rate, so a section costs one multiply per sample and channel at that rate. The sections
    run one after the other over a whole buffer, the two branches and two channels side by side, so that four
    independent recursions keep the processor busy. */
class HalfbandStage
{
public:
    void setCoefficients(const std::vector<double>& coefficients);
    /** count samples in, 2 * count out, at twice the rate; the two work buffers take count samples each. */
    void upsample(const StereoSample* in, StereoSample* out, uint32_t count, StereoSample* evenWork,
                  StereoSample* oddWork);
    /** 2 * count samples in, count out, at half the rate; the work buffers as for upsample. */
    void downsample(const StereoSample* in, StereoSample* out, uint32_t count, StereoSample* evenWork,
                    StereoSample* oddWork);
    void reset();

    static constexpr int maxSections = 8;

    /** A chain of sections y = a (x - y1) + x1, each with its own x1 and y1 for each channel. */
    struct Chain
    {
        std::array<double, maxSections> a{};
        std::array<StereoSample, maxSections> x1{};
        std::array<StereoSample, maxSections> y1{};
        int size = 0;
    };

private:
    // One pair of chains for the way up and one for the way down; the way down keeps the odd sample of the
    // last pair for the second branch.
    Chain upEven, upOdd, downEven, downOdd;
    StereoSample downHeld{};
};

/** The Drive shaper, y = tanh(k x) * drive / tanh(k) + x * (1 - drive) with k = 4^drive, run at sixteen times
    the rate between halfbands, so that the harmonics it makes above half the rate are removed instead of
    folding back as inharmonic tones. The oversampled path lags the direct one by about five samples. At drive
    0 it leaves the signal untouched and costs nothing; switching between 0 and a drive crossfades over 5 ms
    so that the lag never shows as a step. */
class DriveShaper
{
public:
    static constexpr uint32_t factor = 16;

    /** Designs the halfbands and clears; allocates nothing after this. */
    void prepare(double sampleRate);
    void reset();
    /** In place on one or two channels; drive is taken for the whole call. */
    void process(float* const* channels, uint32_t numChannels, uint32_t count, float drive);

private:
    static constexpr int numStages = 4;
    /** Samples at the base rate per pass through the stages. */
    static constexpr uint32_t pass = 64;

    std::array<HalfbandStage, numStages> stages;
    std::array<StereoSample, pass * factor> bufferA{};
    std::array<StereoSample, pass * factor> bufferB{};
    std::array<StereoSample, pass * factor / 2> evenWork{};
    std::array<StereoSample, pass * factor / 2> oddWork{};
    /** Weight of the oversampled path against the direct one, moving by crossfadeStep per sample. */
    float weight = 0;
    float crossfadeStep = 1;
};

} // namespace qor
