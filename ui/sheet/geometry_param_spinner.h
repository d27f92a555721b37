#pragma once

#include "ui/widgets/param_slider.h"

namespace qor
{

/** The numeric field of `Area` and `AspectRatio` beside the sheet: a spinner that will take its own
   mouse-down handling; for now it behaves as any spinner. */
class GeometryParamSpinner : public ParamSpinnerLabel
{
public:
    GeometryParamSpinner();
};

} // namespace qor
