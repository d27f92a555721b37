#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** the damping curves of the decay page, drawn and edited with the mouse. It stands at 32, 23, 486, 253 in
   the right panel, over the analyser. Empty for now: it takes no clicks and draws nothing. */
class LaminaDecayDisplay : public juce::Component
{
public:
    explicit LaminaDecayDisplay(const EditorContext& context);

private:
    EditorContext context;
};

} // namespace qor
