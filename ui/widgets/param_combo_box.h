#pragma once

#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The value names of an integer parameter in a list; a choice is one change gesture. The component property
    "menuHeight" sets the height of the list's items (the look and feel's when absent). */
class ParamComboBox : public juce::ComboBox, public ParamBinding
{
public:
    ParamComboBox();

    void showPopup() override;
    void mouseDown(const juce::MouseEvent& e) override;

protected:
    void parameterValueChanged() override;

private:
    void rebuildItems();
    int itemCount = -1;
};

} // namespace qor
