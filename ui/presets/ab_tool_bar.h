#pragma once

#include "ui/presets/header_button.h"
#include "ui/presets/module_preset_display.h"
#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

class Element;

/** The bar along the top of the window (0, 0, width, 45): the A/B memory and the preset display. The other
    memory lives in the element's property "ABFxState", which is never saved, so A/B lasts as long as the
    plug-in instance and lands in no preset or state. */
class ABToolBar : public juce::Component
{
public:
    static constexpr int height = 45;
    static constexpr const char* memoryProperty = "ABFxState";

    explicit ABToolBar(const EditorContext& context);

    /** What a click on "A/B" does: stores the element's state as the other memory and restores the one stored
        before (the first click only stores). */
    void clickAB();
    int getABState() const { return abState; }

    HeaderButton& getABButton() { return abButton; }
    ModulePresetDisplay& getPresetDisplay() { return presetDisplay; }

    void resized() override;

    /** Swaps the element with the memory in its "ABFxState" property, under the element's lock. */
    static void swap(Element& element);

private:
    EditorContext context;
    int abState = 0;
    HeaderButton abButton;
    ModulePresetDisplay presetDisplay;
};

} // namespace qor
