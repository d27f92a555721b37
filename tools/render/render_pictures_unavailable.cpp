// The renderer built without the editor (QOR_BUILD_UI=OFF): no pictures, and a message that says why.
#include "tools/render/render_pictures.h"

namespace qor::render
{

namespace
{
const juce::String unavailable = "this lamina-render was built without the editor (QOR_BUILD_UI=OFF), which "
                                 "draws the pictures; build with the editor for --plot-* and --snapshot";
} // namespace

struct PictureSession::State
{
};

PictureSession::PictureSession() = default;
PictureSession::~PictureSession() = default;

juce::String picturesUnavailable()
{
    return unavailable;
}

juce::String drawDisplayPicture(LaminaPlugin&, bool, const PictureTitle&, const juce::File&)
{
    return unavailable;
}

juce::String drawEditorSnapshot(LaminaPlugin&, bool, const juce::File&)
{
    return unavailable;
}

juce::String drawImpulsePicture(const std::vector<float>&, double, const OctaveDecayMeter&,
                                const std::vector<BandDecayFigure>&, const PictureTitle&, const juce::File&)
{
    return unavailable;
}

} // namespace qor::render
