#pragma once

#include <juce_graphics/juce_graphics.h>

namespace qor
{

/** How one material of the sheet looks: the label of its button, its texture, the drawing of the output meter
    and that meter's tint. The file names say "aluminum" where the label says "Aluminium"; both stand as they
    are. */
struct MaterialLook
{
    const char* label;
    const char* texture;
    const char* outputMeter;
    juce::uint32 tint;
};

/** The row of a `Material` index, limited to the table. */
const MaterialLook& materialLook(int index);
constexpr int numMaterialLooks = 5;

} // namespace qor
