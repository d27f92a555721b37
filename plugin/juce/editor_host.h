#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>

namespace qor
{

/** The host's editor: it holds the plug-in's own window and takes its size, so that a layout switch or a new
    zoom in the window resizes the host's. */
class EditorHost final : public juce::AudioProcessorEditor, private juce::ComponentListener
{
public:
    EditorHost(juce::AudioProcessor& processor, std::unique_ptr<juce::Component> window);
    ~EditorHost() override;

private:
    void componentMovedOrResized(juce::Component& component, bool wasMoved, bool wasResized) override;
    void follow();

    std::unique_ptr<juce::Component> window;
};

} // namespace qor
