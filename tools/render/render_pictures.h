#pragma once
// The renderer's pictures, drawn off screen by the editor's own components. A build without the editor
// answers every request with an error instead (render_pictures_unavailable.cpp).

#include "tools/render/render_decay.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace qor
{
class LaminaPlugin;
}

namespace qor::render
{

/** The two lines over a picture: the preset's name and the settings that shape the sound most. */
struct PictureTitle
{
    juce::String name, settings;
};

/** Sizes in pixels of the PNG files. */
constexpr int plotWidth = 1120, plotHeight = 720;
constexpr int impulsePlotWidth = 1600, impulsePlotHeight = 1040;
constexpr int condensedSnapshotWidth = 508, expandedSnapshotWidth = 1058, snapshotHeight = 555;

/** JUCE's GUI for the run, and the editor's settings in a private folder, so that every picture shows the
    editor's default layout and the user's own settings stay untouched. Made before the plug-in. */
class PictureSession
{
public:
    PictureSession();
    ~PictureSession();

private:
    struct State;
    std::unique_ptr<State> state;
};

/** Why this build cannot draw (it does not link the editor); empty when it can. */
juce::String picturesUnavailable();

/** The decay page's display (eq false) or the EQ page's (eq true) for the plug-in's settings, with a title
    and a legend. Answers an error message, empty when the file was written. */
juce::String drawDisplayPicture(LaminaPlugin& plugin, bool eq, const PictureTitle& title,
                                const juce::File& file);

/** The whole editor in its condensed or expanded layout, as a host would show it. */
juce::String drawEditorSnapshot(LaminaPlugin& plugin, bool expanded, const juce::File& file);

/** A rendered impulse response: its spectrogram (from `samples`, one channel or a mix), the Schroeder curves
    of the octave bands from `meter`, and the measured 60 dB times beside the model's. */
juce::String drawImpulsePicture(const std::vector<float>& samples, double sampleRate,
                                const OctaveDecayMeter& meter, const std::vector<BandDecayFigure>& figures,
                                const PictureTitle& title, const juce::File& file);

} // namespace qor::render
