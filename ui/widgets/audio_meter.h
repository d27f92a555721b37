#pragma once

#include "ui/look/resource_images.h"
#include "ui/widgets/audio_tap.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** A level meter on one side of the audio tap. Peak ballistics: it jumps to a new peak at once and falls by
    `releaseDbPerSecond`; its range is `floorDb` to 0 dBFS. */
class AudioMeter : public juce::Component, private juce::Timer, private AudioTap::Listener
{
public:
    static constexpr float floorDb = -60.0f;
    static constexpr float releaseDbPerSecond = 24.0f;
    static constexpr int intervalMs = 30;

    AudioMeter(AudioTap& tap, AudioTap::Side side);
    ~AudioMeter() override;

    float getLevelDb() const { return levelDb; }
    /** 0 at the floor, 1 at 0 dBFS. */
    float getLevelProportion() const { return (levelDb - floorDb) / -floorDb; }
    /** Moves the ballistics on by `seconds` with the peak that arrived meanwhile (the timer calls it). */
    void advance(double seconds);

private:
    void timerCallback() override;
    void tapSamples(AudioTap::Side side, const float* samples, int count) override;

    AudioTap& tap;
    AudioTap::Side side;
    float pendingPeak = 0.0f;
    float levelDb = floorDb;
    double lastTime = 0.0;
};

/** The meter as a strip of the VU drawing (8 x 18), stacked from the bottom up to the level; unlit segments
    stay faint. An output meter takes the tint of the material. */
class AudioMeterVU : public AudioMeter
{
public:
    AudioMeterVU(AudioTap& tap, AudioTap::Side side, const juce::String& imagePath);

    void setImage(const juce::String& path);
    const juce::String& getImagePath() const { return imagePath; }
    void setTint(juce::Colour colour);
    juce::Colour getTint() const { return tint; }

    void paint(juce::Graphics& g) override;

private:
    juce::String imagePath;
    ResourceImagePtr image;
    juce::Colour tint = juce::Colours::transparentBlack;
};

/** Marks in dB beside a meter, from 0 down to the floor. */
class AudioMeterScale : public juce::Component
{
public:
    AudioMeterScale();
    void paint(juce::Graphics& g) override;
};

} // namespace qor
