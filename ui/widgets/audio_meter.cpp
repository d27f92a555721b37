#include "ui/widgets/audio_meter.h"

#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"

#include <cmath>

namespace qor
{

AudioMeter::AudioMeter(AudioTap& t, AudioTap::Side s) : tap(t), side(s)
{
    setInterceptsMouseClicks(false, false);
    tap.addListener(this);
    lastTime = juce::Time::getMillisecondCounterHiRes();
    startTimer(intervalMs);
}

AudioMeter::~AudioMeter()
{
    stopTimer();
    tap.removeListener(this);
}

void AudioMeter::tapSamples(AudioTap::Side s, const float* samples, int count)
{
    if (s != side)
        return;
    for (int i = 0; i < count; ++i)
        pendingPeak = std::max(pendingPeak, std::abs(samples[i]));
}

void AudioMeter::advance(double seconds)
{
    const float peakDb = pendingPeak > 0.0f ? 20.0f * std::log10(pendingPeak) : floorDb;
    pendingPeak = 0.0f;
    const float fallen = levelDb - float(seconds) * releaseDbPerSecond;
    const float next = juce::jlimit(floorDb, 0.0f, std::max(peakDb, fallen));
    if (next != levelDb)
    {
        levelDb = next;
        repaint();
    }
}

void AudioMeter::timerCallback()
{
    const double now = juce::Time::getMillisecondCounterHiRes();
    advance((now - lastTime) * 0.001);
    lastTime = now;
}

AudioMeterVU::AudioMeterVU(AudioTap& t, AudioTap::Side s, const juce::String& path) : AudioMeter(t, s)
{
    setImage(path);
}

void AudioMeterVU::setImage(const juce::String& path)
{
    imagePath = path;
    image = ResourceImage::load(path);
    repaint();
}

void AudioMeterVU::setTint(juce::Colour colour)
{
    tint = colour;
    repaint();
}

void AudioMeterVU::paint(juce::Graphics& g)
{
    if (image == nullptr)
        return;
    const float w = float(getWidth());
    const float segment =
        w * image->getLogicalBounds().getHeight() / std::max(1.0f, image->getLogicalBounds().getWidth());
    const int segments = std::max(1, int(float(getHeight()) / segment));
    const int lit = juce::roundToInt(getLevelProportion() * float(segments));
    const float scale = juce::Component::getApproximateScaleFactorForComponent(this);
    const auto mask = image->render(juce::Rectangle<float>(w, segment).getSmallestIntegerContainer(), scale);
    for (int i = 0; i < segments; ++i)
    {
        const juce::Rectangle<float> area(0.0f, float(getHeight()) - segment * float(i + 1), w, segment);
        const bool on = i < lit;
        image->draw(g, area, on ? 1.0f : 0.18f);
        if (on && !tint.isTransparent())
        {
            const juce::Graphics::ScopedSaveState state(g);
            g.reduceClipRegion(
                mask, juce::AffineTransform::scale(1.0f / scale).translated(area.getX(), area.getY()));
            g.setColour(tint.withAlpha(0.6f));
            g.fillRect(area);
        }
    }
}

AudioMeterScale::AudioMeterScale()
{
    setInterceptsMouseClicks(false, false);
}

void AudioMeterScale::paint(juce::Graphics& g)
{
    if (!TTFonts::instance().has(fontPaths::handles))
        return;
    g.setFont(TTFonts::instance().getFont(fontPaths::handles, 9.0f));
    g.setColour(colours::graphGrid);
    for (float db : {0.0f, -6.0f, -12.0f, -24.0f, -48.0f})
    {
        const float y = float(getHeight()) * (db / AudioMeter::floorDb);
        g.drawText(juce::String(juce::roundToInt(db)),
                   juce::Rectangle<float>(0.0f, y - 5.0f, float(getWidth()), 10.0f)
                       .constrainedWithin(getLocalBounds().toFloat()),
                   juce::Justification::centredRight);
    }
}

} // namespace qor
