#include "tools/render/render_decay.h"

#include "engine/element.h"
#include "modal/lamina/damping.h"
#include "modal/lamina/lamina.h"

#include <cmath>

namespace qor::render
{

namespace
{
constexpr double lowestCentre = 62.5, highestCentre = 16000.0;

/** Coefficients of an RBJ low-pass or high-pass biquad, normalised by a0. */
std::array<double, 5> edgeBiquad(bool highPass, double frequency, double q, double sampleRate)
{
    const double w0 = 2.0 * juce::MathConstants<double>::pi * frequency / sampleRate;
    const double cosW = std::cos(w0), alpha = std::sin(w0) / (2.0 * q);
    const double a0 = 1.0 + alpha;
    const double b1 = highPass ? -(1.0 + cosW) : 1.0 - cosW;
    const double b0 = std::abs(b1) * 0.5;
    return {b0 / a0, b1 / a0, b0 / a0, -2.0 * cosW / a0, (1.0 - alpha) / a0};
}

juce::String secondsText(double seconds)
{
    if (!std::isfinite(seconds))
        return "+oo";
    return juce::String(seconds, seconds < 1.0 ? 3 : 2) + " s";
}

juce::String jsonNumber(std::optional<double> value)
{
    if (!value || !std::isfinite(*value))
        return "null";
    return juce::String(*value, 4).trimCharactersAtEnd("0").trimCharactersAtEnd(".");
}
} // namespace

std::vector<double> octaveBandCentres(double sampleRate)
{
    // A band is measured only where its upper edge lies below the Nyquist frequency.
    std::vector<double> centres;
    for (double centre = lowestCentre; centre <= highestCentre; centre *= 2.0)
        if (centre * std::sqrt(2.0) < sampleRate * 0.5)
            centres.push_back(centre);
    return centres;
}

juce::String octaveBandName(double centre)
{
    if (centre >= 1000.0)
        return juce::String(std::lround(centre / 1000.0)) + " kHz";
    return juce::String(std::lround(centre)) + " Hz";
}

double OctaveDecayMeter::Section::run(double x)
{
    const double y = b0 * x + s1;
    s1 = b1 * x - a1 * y + s2;
    s2 = b2 * x - a2 * y;
    return y;
}

OctaveDecayMeter::OctaveDecayMeter(double sampleRate, int numChannels)
    : rate(sampleRate), channels(numChannels),
      binLength(juce::jmax(1, juce::roundToInt(sampleRate / 1000.0))),
      bandCentres(octaveBandCentres(sampleRate))
{
    // Butterworth Q values of the two sections of a 4th order edge.
    constexpr double q1 = 0.5411961001461969, q2 = 1.3065629648763766;
    for (double centre : bandCentres)
    {
        Band band;
        const double low = centre / std::sqrt(2.0), high = centre * std::sqrt(2.0);
        int i = 0;
        for (const auto& [highPass, frequency, q] :
             {std::tuple{true, low, q1}, std::tuple{true, low, q2}, std::tuple{false, high, q1},
              std::tuple{false, high, q2}})
        {
            const auto c = edgeBiquad(highPass, frequency, q, rate);
            band.sections[static_cast<std::size_t>(i++)] = Section{c[0], c[1], c[2], c[3], c[4]};
        }
        for (int channel = 0; channel < channels; ++channel)
            bands.push_back(band);
    }
}

void OctaveDecayMeter::push(const float* const* input, int numSamples)
{
    for (int i = 0; i < numSamples; ++i)
    {
        for (std::size_t b = 0; b < bandCentres.size(); ++b)
            for (int c = 0; c < channels; ++c)
            {
                auto& band = bands[b * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)];
                double y = input[c][i];
                for (auto& section : band.sections)
                    y = section.run(y);
                band.binEnergy += y * y;
            }
        if (++filledInBin == binLength)
        {
            for (auto& band : bands)
            {
                band.bins.push_back(static_cast<float>(band.binEnergy));
                band.binEnergy = 0;
            }
            filledInBin = 0;
        }
    }
    pushed += numSamples;
}

double OctaveDecayMeter::lengthSeconds() const
{
    return static_cast<double>(pushed) / rate;
}

std::vector<double> OctaveDecayMeter::remainingEnergy(std::size_t bandIndex, int channel) const
{
    const auto& band =
        bands[bandIndex * static_cast<std::size_t>(channels) + static_cast<std::size_t>(channel)];
    std::vector<double> bins(band.bins.begin(), band.bins.end());
    if (filledInBin > 0)
        bins.push_back(band.binEnergy);

    // Schroeder: the energy that remains from each bin on, backwards from the end.
    std::vector<double> remaining(bins.size() + 1, 0.0);
    for (std::size_t i = bins.size(); i-- > 0;)
        remaining[i] = remaining[i + 1] + bins[i];
    return remaining;
}

std::vector<float> OctaveDecayMeter::decayCurveDb(std::size_t bandIndex, int channel) const
{
    if (bandIndex >= bandCentres.size() || channel < 0 || channel >= channels)
        return {};
    const auto remaining = remainingEnergy(bandIndex, channel);
    const double total = remaining[0];
    if (!(total > 1e-30) || !std::isfinite(total))
        return {};
    std::vector<float> curve;
    curve.reserve(remaining.size() - 1);
    for (std::size_t i = 0; i + 1 < remaining.size(); ++i)
        curve.push_back(static_cast<float>(10.0 * std::log10(juce::jmax(remaining[i], 1e-300) / total)));
    return curve;
}

std::optional<double> OctaveDecayMeter::t60(std::size_t bandIndex, int channel) const
{
    if (bandIndex >= bandCentres.size() || channel < 0 || channel >= channels)
        return std::nullopt;
    const auto remaining = remainingEnergy(bandIndex, channel);
    const std::size_t binCount = remaining.size() - 1;
    const double total = remaining[0];
    if (!(total > 1e-30) || !std::isfinite(total))
        return std::nullopt;

    const double start = total * std::pow(10.0, fitStartDb / 10.0),
                 end = total * std::pow(10.0, fitEndDb / 10.0);
    const double binSeconds = getBinSeconds();
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    int count = 0;
    bool reachedEnd = false;
    for (std::size_t i = 0; i < binCount; ++i)
    {
        if (remaining[i] > start)
            continue;
        if (remaining[i] < end)
        {
            reachedEnd = true;
            break;
        }
        const double t = static_cast<double>(i) * binSeconds;
        const double db = 10.0 * std::log10(remaining[i] / total);
        sx += t;
        sy += db;
        sxx += t * t;
        sxy += t * db;
        ++count;
    }
    if (!reachedEnd || count < 4)
        return std::nullopt;
    const double slope = (count * sxy - sx * sy) / (count * sxx - sx * sx);
    if (!(slope < 0.0))
        return std::nullopt;
    const double seconds = -60.0 / slope;
    // The integral bends down where the response stops: a decay longer than the response is not measured.
    if (seconds > lengthSeconds())
        return std::nullopt;
    return seconds;
}

std::optional<double> BandDecayFigure::ratio() const
{
    double sum = 0;
    int count = 0;
    for (const auto& m : measured)
        if (m)
        {
            sum += *m;
            ++count;
        }
    if (count == 0 || !(model > 0.0) || !std::isfinite(model))
        return std::nullopt;
    return sum / count / model;
}

double modelDecaySeconds(const Element& element, double frequency)
{
    const auto& ids = Lamina::ids();
    auto real = [&](uint32_t id) { return element.getParameter(id); };
    auto enabled = [&](uint32_t id) { return element.getBoolParameter(id); };

    DampingSettings settings;
    settings.thermalDampMult = real(ids.thermalDampMult);
    settings.decay = real(ids.decay);
    settings.thermalFreqMult = real(ids.thermalFreqMult);
    settings.radiationFreqMult = real(ids.radiationFreqMult);
    settings.radiationMult = real(ids.radiationMult);
    settings.porousFreq = real(ids.porousFreq);
    settings.viscousDepth = dampingDepth(enabled(ids.enableViscousDamp), real(ids.viscousDamp));
    settings.porousDepth = dampingDepth(enabled(ids.enablePorousDamp), real(ids.porousDamp));
    settings.radiationDepth = dampingDepth(enabled(ids.enableRadiationDamp), real(ids.radiationDamp));
    settings.bandDepth = dampingDepth(enabled(ids.enableBandDamp), real(ids.bandDamp));
    settings.material = materialAt(element.getIntParameter(ids.material));
    settings.dims = laminaDimensions(real(ids.area), real(ids.aspectRatio));

    std::array<float, 12> bandSeconds{};
    for (std::size_t i = 0; i < bandSeconds.size(); ++i)
        bandSeconds[i] = real(ids.bandDecay[i]);
    MonotoneCubicTable bandTable;
    setBandDecayTable(bandTable, bandSeconds);

    const double rate = settings.rateAt(static_cast<float>(frequency), bandTable);
    return rate > 0.0 ? ln1000 / rate : std::numeric_limits<double>::infinity();
}

std::vector<BandDecayFigure> decayFigures(const OctaveDecayMeter& meter, const Element& element)
{
    std::vector<BandDecayFigure> figures;
    for (std::size_t b = 0; b < meter.centres().size(); ++b)
    {
        BandDecayFigure figure;
        figure.centre = meter.centres()[b];
        for (int c = 0; c < meter.numChannels(); ++c)
            figure.measured.push_back(meter.t60(b, c));
        figure.model = modelDecaySeconds(element, figure.centre);
        figures.push_back(std::move(figure));
    }
    return figures;
}

juce::String decayTable(const std::vector<BandDecayFigure>& figures)
{
    const int channels = figures.empty() ? 0 : static_cast<int>(figures.front().measured.size());
    auto cell = [](const juce::String& text) { return text.paddedRight(' ', 10); };

    juce::String out;
    out << "T60 per octave band, measured from the response (Schroeder integral, line fitted from "
        << juce::String(OctaveDecayMeter::fitStartDb, 0) << " to "
        << juce::String(OctaveDecayMeter::fitEndDb, 0)
        << " dB),\nbeside the damping model at the band centre (ln 1000 / dampingRate)\n";
    out << cell("Band");
    for (int c = 0; c < channels; ++c)
        out << cell(channels == 2 ? (c == 0 ? "Left" : "Right") : "Ch " + juce::String(c + 1));
    out << cell("Model") << "Measured/model\n";
    bool anyMissing = false;
    for (const auto& figure : figures)
    {
        out << cell(octaveBandName(figure.centre));
        for (const auto& m : figure.measured)
        {
            out << cell(m ? secondsText(*m) : juce::String("-"));
            anyMissing = anyMissing || !m;
        }
        const auto ratio = figure.ratio();
        out << cell(secondsText(figure.model)) << (ratio ? juce::String(*ratio, 2) : juce::String("-"))
            << "\n";
    }
    if (anyMissing)
        out << "- : no energy in the band, or a decay longer than the response (raise --tail)\n";
    return out;
}

juce::String decayJson(const std::vector<BandDecayFigure>& figures, double sampleRate)
{
    juce::String out;
    out << "{\n  \"sampleRate\": " << juce::String(sampleRate, 0) << ",\n  \"fitDb\": ["
        << juce::String(OctaveDecayMeter::fitStartDb, 0) << ", "
        << juce::String(OctaveDecayMeter::fitEndDb, 0) << "],\n  \"bands\": [";
    for (std::size_t i = 0; i < figures.size(); ++i)
    {
        const auto& figure = figures[i];
        juce::StringArray measured;
        for (const auto& m : figure.measured)
            measured.add(jsonNumber(m));
        out << (i == 0 ? "\n" : ",\n") << "    {\"centre\": " << jsonNumber(figure.centre) << ", \"name\": \""
            << octaveBandName(figure.centre) << "\", \"measured\": [" << measured.joinIntoString(", ")
            << "], \"model\": " << jsonNumber(figure.model) << ", \"ratio\": " << jsonNumber(figure.ratio())
            << "}";
    }
    out << "\n  ]\n}\n";
    return out;
}

} // namespace qor::render
