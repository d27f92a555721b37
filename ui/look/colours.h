#pragma once

#include <juce_graphics/juce_graphics.h>

namespace qor::colours
{

// The colours that the whole editor shares.
inline const juce::Colour numericValue{0xff00c9af};
inline const juce::Colour sheetDimension{0xff00c4af};
inline const juce::Colour toggleOff{0xff474747};
inline const juce::Colour toggleOver{0xff76c5e5};
inline const juce::Colour toggleOn{0xffb9b9b9};
inline const juce::Colour comboText{0xff56b6c2};
inline const juce::Colour presetName{0xff999999};
inline const juce::Colour headerButton{0xff919191};
inline const juce::Colour footerText{0xff646464};
inline const juce::Colour graphGrid{0xff737373};
inline const juce::Colour sheetFrame{0xff241e19};
inline const juce::Colour dimensionLine = juce::Colour(0xff08231a).withAlpha(0.1f);

// The few shared shades behind menus, tooltips, bubbles and text boxes.
inline const juce::Colour panel{0xff1b1d1f};
inline const juce::Colour panelRaised{0xff26292c};
inline const juce::Colour outline{0xff3a3f44};
inline const juce::Colour text{0xffd8d8d8};
inline const juce::Colour caption{0xffa9a9a9};

/** The alpha of the scale ticks drawn around the main knobs. */
constexpr float scaleAlpha = 0.55f;

} // namespace qor::colours
