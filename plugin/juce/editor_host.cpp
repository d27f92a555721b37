#include "plugin/juce/editor_host.h"

namespace qor
{

EditorHost::EditorHost(juce::AudioProcessor& processor, std::unique_ptr<juce::Component> w)
    : juce::AudioProcessorEditor(processor), window(std::move(w))
{
    setResizable(false, false);
    addAndMakeVisible(*window);
    window->addComponentListener(this);
    follow();
}

EditorHost::~EditorHost()
{
    window->removeComponentListener(this);
    window.reset();
}

void EditorHost::componentMovedOrResized(juce::Component&, bool, bool)
{
    follow();
}

void EditorHost::follow()
{
    // The window's bounds in this component include its zoom.
    const auto bounds = window->getBoundsInParent();
    setSize(bounds.getRight(), bounds.getBottom());
}

} // namespace qor
