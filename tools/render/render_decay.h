#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <optional>
#include <vector>

namespace qor
{
class Element;
}

namespace qor::render
{

/** The octave bands of the decay figures: centres 1000 * 2^k Hz from 62.5 Hz to 16 kHz, as the band tables of
    the sheet lie. */
std::vector<double> octaveBandCentres(double sampleRate);

/** "63 Hz", "125 Hz", "1 kHz", "16 kHz": the nominal name of an octave band. */
juce::String octaveBandName(double centre);

/** Collects the energy of a stereo (or mono) stream in octave bands, in bins of about 1 ms, so that a 60 dB
   time can be read from the Schroeder integral of each band afterwards. Memory grows with the length by one
   float per band, channel and bin; the samples themselves are not kept. */
class OctaveDecayMeter
{
public:
    OctaveDecayMeter(double sampleRate, int numChannels);

    /** Feeds the next `numSamples` samples of every channel. */
    void push(const float* const* channels, int numSamples);

    /** Fit of the Schroeder curve, in dB below the total energy: T20 read as T60. */
    static constexpr double fitStartDb = -5.0, fitEndDb = -25.0;

    /** The 60 dB time of one band and channel, from a line fitted to the Schroeder curve between fitStartDb
       and fitEndDb. Empty when the band holds no energy, or when the fit runs into the end of the response (a
        longer response is needed then). */
    std::optional<double> t60(std::size_t band, int channel) const;

    /** The Schroeder curve of one band and channel: the energy that remains from each bin on, in dB below the
        total, one value per bin of getBinSeconds(). Empty when the band holds no energy. */
    std::vector<float> decayCurveDb(std::size_t band, int channel) const;
    double getBinSeconds() const { return binLength / rate; }

    const std::vector<double>& centres() const { return bandCentres; }
    int numChannels() const { return channels; }
    double lengthSeconds() const;

private:
    struct Section
    {
        double b0, b1, b2, a1, a2;
        double s1 = 0, s2 = 0;
        double run(double x);
    };
    struct Band
    {
        std::array<Section, 4> sections; // two high-pass and two low-pass: 4th order Butterworth at each edge
        double binEnergy = 0;
        std::vector<float> bins;
    };

    /** The Schroeder integral of one band and channel, with a trailing 0; `band` and `channel` must exist. */
    std::vector<double> remainingEnergy(std::size_t band, int channel) const;

    double rate;
    int channels;
    int binLength;
    int filledInBin = 0;
    int64_t pushed = 0;
    std::vector<double> bandCentres;
    std::vector<Band> bands; // band-major: bands[b * channels + c]
};

/** One row of the decay figures: the measured 60 dB time of each channel beside the model's. */
struct BandDecayFigure
{
    double centre = 0;
    std::vector<std::optional<double>> measured; // one per channel
    double model = 0;                            // ln 1000 / dampingRate at the centre, in seconds
    /** Measured (the mean of the channels that have a figure) over model; empty without a measurement. */
    std::optional<double> ratio() const;
};

/** The model's 60 dB time at `frequency` for the element's current damping settings: ln 1000 over
   dampingRate. `element` must be a sheet ("Lamina"). */
double modelDecaySeconds(const Element& element, double frequency);

/** The measured bands of `meter` beside the model of `element`. */
std::vector<BandDecayFigure> decayFigures(const OctaveDecayMeter& meter, const Element& element);

/** The figures as a table for the terminal. */
juce::String decayTable(const std::vector<BandDecayFigure>& figures);

/** The figures as one JSON object: sample rate, fit range and a row per band, null where nothing was
 * measured.
 */
juce::String decayJson(const std::vector<BandDecayFigure>& figures, double sampleRate);

} // namespace qor::render
