#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The live spectrum of the output behind the decay and EQ displays, shown while "editor.showRTA" is on. Its
    samples come from the editor's audio tap (context.tap, the output side): the element keeps one ring, which
    the tap holds. Empty for now: it takes no clicks and draws nothing. */
class SpectrumDisplay : public juce::Component
{
public:
    explicit SpectrumDisplay(const EditorContext& context);

private:
    EditorContext context;
};

} // namespace qor
