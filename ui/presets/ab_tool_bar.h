#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The bar along the top of the window (0, 0, width, 45): the A/B memory and the preset display. Empty for
    now: it takes no clicks and draws nothing. */
class ABToolBar : public juce::Component
{
public:
    static constexpr int height = 45;

    explicit ABToolBar(const EditorContext& context);

private:
    EditorContext context;
};

} // namespace qor
