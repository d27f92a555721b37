#include "ui/sheet/geometry_param_spinner.h"

namespace qor
{

GeometryParamSpinner::GeometryParamSpinner() = default;

} // namespace qor
