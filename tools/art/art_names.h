#pragma once

#include <juce_core/juce_core.h>

namespace qor::art
{

/** Every SVG the editor loads by name, below "$Resource/resource/svg/". */
inline juce::StringArray namedSvgs()
{
    juce::StringArray names{
        "knob_common-ring_46x46.svg",
        "knob_common-line_46x46.svg",
        "VU_in_8x18.svg",
        "cnd-exp_on_29x30.svg",
        "cnd-exp_off_29x30.svg",
        "decay_sidebar_EQ_off_25x25.svg",
        "decay_sidebar_RTA_off_25x25.svg",
        "lock_7x10.svg",
        "lamina_io-OUT_L_black_29x29.svg",
        "lamina_io-OUT_R_black_29x29.svg",
        "lamina_io-IN_L_black_29x29.svg",
        "lamina_io-IN_R_black_29x29.svg",
        "header_a-b_off_39x26.svg",
        "header_b-to-a_off_39x26.svg",
        "header_a-to-b_off_39x26.svg",
        "header_folder_off_35x26.svg",
        "header_bwd_26x26.svg",
        "header_fwd_26x26.svg",
    };
    const std::pair<const char*, int> materials[] = {
        {"Steel", 35}, {"Gold", 35}, {"Silver", 43}, {"Titanium", 68}, {"Aluminium", 72}};
    for (auto [name, width] : materials)
        for (auto state : {"on", "off"})
            names.add(juce::String("lamina_mat-") + name + "_" + state + "_" + juce::String(width) +
                      "x23.svg");
    for (auto metal : {"steel", "gold", "silver", "titanium", "aluminum"})
        names.add(juce::String("VU_out_") + metal + "_8x18.svg");
    for (auto sw : {"Damper", "Friction", "Air", "BandDecay", "Lowcut", "BandEQ"})
        for (auto state : {"on", "off"})
            names.add(juce::String("decay_ALL_") + sw + "_" + state + "_98x30.svg");
    return names;
}

/** The size a file's name gives: "knob_common-ring_46x46.svg" is 46 x 46. */
inline juce::Point<int> sizeFromName(const juce::String& name)
{
    const auto stem = name.upToLastOccurrenceOf(".", false, false).fromLastOccurrenceOf("_", false, false);
    return {stem.upToFirstOccurrenceOf("x", false, false).getIntValue(),
            stem.fromFirstOccurrenceOf("x", false, false).getIntValue()};
}

/** The fonts of the look and feel, by role: values and captions, handles and axis text, the default sans. */
inline juce::StringArray fontPaths()
{
    return {"$Resource/resource/fonts/RobotoCondensed-Regular.ttf",
            "$Resource/resource/fonts/RobotoCondensed-Medium.ttf",
            "$Resource/resource/fonts/Inter-Regular.otf"};
}

} // namespace qor::art
