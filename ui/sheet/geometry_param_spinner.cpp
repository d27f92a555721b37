#include "ui/sheet/geometry_param_spinner.h"

#include <utility>

namespace qor
{

GeometryParamSpinner::GeometryParamSpinner() = default;

GeometryParamSpinner::~GeometryParamSpinner()
{
    release();
}

void GeometryParamSpinner::mouseDown(const juce::MouseEvent& e)
{
    // Alt-click and the right button change the value at once or not at all: nothing to hold for them.
    const bool drags = !e.mods.isAltDown() && !e.mods.isPopupMenu() && getElement() != nullptr;
    if (drags && getProxy() != nullptr)
    {
        if (geometryLock.getProxy() != getProxy() || geometryLock.getPath() != getPath())
            geometryLock.bind(*getProxy(), getPath(), "GeometryLock");
        geometryLock.setParameterValue(1.0f);
        lockHeld = true;
    }
    ParamSpinnerLabel::mouseDown(e);
}

void GeometryParamSpinner::mouseUp(const juce::MouseEvent& e)
{
    ParamSpinnerLabel::mouseUp(e);
    release();
}

void GeometryParamSpinner::release()
{
    if (std::exchange(lockHeld, false))
        geometryLock.setParameterValue(0.0f);
}

} // namespace qor
