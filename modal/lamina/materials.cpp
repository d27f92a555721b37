#include "modal/lamina/materials.h"

#include <algorithm>
#include <cmath>

namespace qor
{

LaminaMaterial materialAt(int i)
{
    return laminaMaterials[std::clamp(i, 0, numLaminaMaterials - 1)];
}

double laminaStiffness(const LaminaMaterial& material)
{
    const double nu = material.poissonRatio;
    const double h = material.thickness;
    return (0.08333333333333333 / ((1 - nu * nu) * material.density)) * (h * material.youngsModulus * h);
}

double laminaScale(const LaminaMaterial& material)
{
    const LaminaMaterial& steel = laminaMaterials[0];
    const double nuS = steel.poissonRatio;
    const double hS = steel.thickness;
    const double b = laminaStiffness(material);
    return std::sqrt(((1 - nuS * nuS) * (steel.density * 12) * b) / (steel.youngsModulus * hS * hS));
}

QualityLevel qualityAt(int i)
{
    return qualityLevels[std::clamp(i, 0, numQualityLevels - 1)];
}

int qualityForModeCount(int64_t n)
{
    for (const QualityLevel& level : qualityLevels)
        if (n >= 0 && level.modeLimit <= static_cast<uint64_t>(n))
            return level.index;
    return 1;
}

LaminaDimensions laminaDimensions(float area, float aspect)
{
    const float width = std::sqrt(area * aspect);
    return {width, area / width};
}

} // namespace qor
