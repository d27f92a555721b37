#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The rows of the application properties shown in the "Lamina Preferences" dialogue (400 x 300). Empty for
    now. */
class PreferencesPanel : public juce::Component
{
public:
    explicit PreferencesPanel(const EditorContext& context);

private:
    EditorContext context;
};

} // namespace qor
