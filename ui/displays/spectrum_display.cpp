#include "ui/displays/spectrum_display.h"

#include "modal/lamina/lamina.h"
#include "ui/displays/display_axes.h"

#include <cmath>

namespace qor
{

namespace
{
constexpr double twoPi = 6.283185307179586;
}

SpectrumAnalyzerView2::SpectrumAnalyzerView2(int size, int blocks, double rate, int bufferSize)
    : fftSize(size), blockCount(blocks), sampleRate(rate), history(size_t(std::max(size, bufferSize)), 0.0f),
      window(size_t(size)), bins(size_t(size)), twiddles(size_t(size / 2))
{
    jassert(juce::isPowerOfTwo(size));
    setInterceptsMouseClicks(false, false);
    // Four-term Blackman-Harris, scaled so that the sum of its squares is one.
    double sumOfSquares = 0;
    for (int n = 0; n < size; ++n)
    {
        const double a = twoPi * n / size;
        const double w =
            0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a);
        window[size_t(n)] = float(w);
        sumOfSquares += w * w;
    }
    const float scale = float(1.0 / std::sqrt(sumOfSquares));
    for (auto& w : window)
        w *= scale;
    for (int k = 0; k < size / 2; ++k)
        twiddles[size_t(k)] = std::polar(1.0f, float(-twoPi * k / size));
}

void SpectrumAnalyzerView2::setRange(float minF, float maxF, float minDb, float maxDb)
{
    lowFrequency = minF;
    maxFrequency = maxF;
    lowDb = minDb;
    highDb = maxDb;
    analysed = false;
}

void SpectrumAnalyzerView2::pushSamples(const float* samples, int count)
{
    const size_t capacity = history.size();
    if (size_t(count) > capacity)
    {
        samples += size_t(count) - capacity;
        count = int(capacity);
    }
    for (int i = 0; i < count; ++i)
    {
        history[writePosition] = samples[i];
        writePosition = (writePosition + 1) % capacity;
    }
    fresh += count;
}

float SpectrumAnalyzerView2::xForFrequency(float f) const
{
    return displayAxes::xForFrequency(f, float(getWidth()));
}

float SpectrumAnalyzerView2::frequencyForX(float x) const
{
    return displayAxes::frequencyForX(x, float(getWidth()));
}

float SpectrumAnalyzerView2::yForDb(float db) const
{
    return (highDb - db) / (highDb - lowDb) * float(getHeight());
}

float SpectrumAnalyzerView2::dbForY(float y) const
{
    return highDb - y / float(getHeight()) * (highDb - lowDb);
}

float SpectrumAnalyzerView2::tiltAt(float f) const
{
    const float middle = frequencyForX(xForFrequency(maxFrequency) * 0.5f);
    return slope * std::log2(f / middle);
}

void SpectrumAnalyzerView2::transform()
{
    // Iterative radix-2 on the windowed samples; the upper half mirrors the lower and is not read.
    const size_t n = size_t(fftSize);
    const size_t capacity = history.size();
    size_t read = (writePosition + capacity - n) % capacity;
    for (size_t i = 0; i < n; ++i, read = (read + 1) % capacity)
        bins[i] = {history[read] * window[i], 0.0f};
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(bins[i], bins[j]);
    }
    for (size_t length = 2; length <= n; length <<= 1)
    {
        const size_t half = length / 2, stride = n / length;
        for (size_t start = 0; start < n; start += length)
            for (size_t k = 0; k < half; ++k)
            {
                const auto t = twiddles[k * stride] * bins[start + k + half];
                bins[start + k + half] = bins[start + k] - t;
                bins[start + k] += t;
            }
    }
}

bool SpectrumAnalyzerView2::analyse()
{
    if ((fresh == 0 && analysed) || getWidth() <= 20 || getHeight() <= 0)
        return false;
    fresh = 0;
    analysed = true;
    transform();

    const float h = float(getHeight());
    points.clear();
    bool first = true;
    for (int k = 1; k <= fftSize / 2; ++k)
    {
        const float f = float(k * sampleRate / fftSize);
        if (f < lowFrequency)
            continue;
        if (f > maxFrequency)
            break;
        float db = 10.0f * std::log10(std::max(std::norm(bins[size_t(k)]), 1e-20f)) + tiltAt(f);
        if (first)
            db = std::min(db, 0.0f);
        first = false;
        const juce::Point<float> p(xForFrequency(f), juce::jlimit(0.0f, h, yForDb(db)));
        // Near the top bins crowd into fractions of a pixel; keep the loudest of each crowd.
        if (!points.empty() && p.x - points.back().x < 0.5f)
        {
            if (p.y < points.back().y)
                points.back() = p;
            continue;
        }
        points.push_back(p);
    }
    path.clear();
    path.startNewSubPath(0.0f, h);
    for (const auto& p : points)
        path.lineTo(p);
    path.lineTo(float(getWidth()) - 20.0f, h);
    path.closeSubPath();
    return true;
}

void SpectrumAnalyzerView2::paint(juce::Graphics& g)
{
    if (path.isEmpty())
        return;
    const float h = float(getHeight());
    g.setGradientFill(
        juce::ColourGradient(juce::Colour(0x58f0c070), 0.0f, 0.0f, juce::Colour(0x06f0c070), 0.0f, h, false));
    g.fillPath(path);
    g.setColour(juce::Colour(0x78f5d9a0));
    g.strokePath(path, juce::PathStrokeType(1.0f));
}

SpectrumDisplay::SpectrumDisplay(const EditorContext& c) : context(c)
{
    setComponentID("SpectrumDisplay");
    setInterceptsMouseClicks(false, false);
    context.tap.addListener(this);
    refresh();
    startTimer(intervalMs);
}

SpectrumDisplay::~SpectrumDisplay()
{
    stopTimer();
    context.tap.removeListener(this);
}

void SpectrumDisplay::refresh()
{
    auto* current = context.tap.getElement();
    if (current != element)
    {
        element = current;
        view.reset();
        if (element != nullptr && element->getSampleRate() > 0)
        {
            const double rate = element->getSampleRate();
            // Room for a little more than a tenth of a second: a timer tick's worth and more, at any rate.
            view =
                std::make_unique<SpectrumAnalyzerView2>(4096, 8, rate, juce::nextPowerOfTwo(int(rate / 8)));
            view->setRange(20.0f, 20000.0f, -60.0f, 30.0f);
            addAndMakeVisible(*view);
            view->setBounds(getLocalBounds());
        }
        repaint();
    }
    if (view != nullptr && isVisible() && view->analyse())
        view->repaint();
}

void SpectrumDisplay::tapSamples(AudioTap::Side side, const float* samples, int count)
{
    if (side == AudioTap::Side::output && view != nullptr)
        view->pushSamples(samples, count);
}

void SpectrumDisplay::resized()
{
    if (view != nullptr)
        view->setBounds(getLocalBounds());
}

} // namespace qor
