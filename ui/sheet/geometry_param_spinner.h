#pragma once

#include "ui/widgets/param_slider.h"

namespace qor
{

/** The numeric field of `Area` or `AspectRatio` beside the sheet. A drag of the number holds `GeometryLock`
    from press to release, as a drag of the sheet's outline does, so the sheet is rebuilt once, when the
    button comes up, and not at every step on the way. */
class GeometryParamSpinner : public ParamSpinnerLabel
{
public:
    GeometryParamSpinner();
    ~GeometryParamSpinner() override;

    void mouseDown(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

private:
    void release();

    ParamBinding geometryLock;
    bool lockHeld = false;
};

} // namespace qor
