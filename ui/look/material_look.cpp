#include "ui/look/material_look.h"

namespace qor
{

const MaterialLook& materialLook(int index)
{
    static const MaterialLook rows[numMaterialLooks] = {
        {"Steel", "resource/textures/lamina_tex_steel.png", "resource/svg/VU_out_steel_8x18.svg", 0xff95a9b3},
        {"Gold", "resource/textures/lamina_tex_gold.png", "resource/svg/VU_out_gold_8x18.svg", 0xffedb418},
        {"Silver", "resource/textures/lamina_tex_silver.png", "resource/svg/VU_out_silver_8x18.svg",
         0xffd9d9d9},
        {"Titanium", "resource/textures/lamina_tex_titanium.png", "resource/svg/VU_out_titanium_8x18.svg",
         0xff7f7f7f},
        {"Aluminium", "resource/textures/lamina_tex_aluminum.png", "resource/svg/VU_out_aluminum_8x18.svg",
         0xffbfbfbf},
    };
    return rows[juce::jlimit(0, numMaterialLooks - 1, index)];
}

} // namespace qor
