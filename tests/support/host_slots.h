#pragma once

// The 25 host slots as a host must see them, in slot order: the parameter key (the plug-in's id) and the name
// shown. Kept once for every test that checks what a host is offered.

namespace qor::test
{

constexpr int numHostSlots = 25;

constexpr const char* hostSlotKeys[numHostSlots] = {"Decay",
                                                    "Mix",
                                                    "LowCutGain",
                                                    "Material",
                                                    "Area",
                                                    "AspectRatio",
                                                    "Tension",
                                                    "Gain",
                                                    "StereoWidth",
                                                    "EnablePorousDamp",
                                                    "PorousFreq",
                                                    "EnableViscousDamp",
                                                    "ThermalDampMult",
                                                    "ThermalFreqMult",
                                                    "EnableRadiationDamp",
                                                    "RadiationMult",
                                                    "RadiationFreqMult",
                                                    "EnableBandDamp",
                                                    "PreDelay",
                                                    "Anisotropy",
                                                    "Modulation",
                                                    "Drive",
                                                    "EnableLowcut",
                                                    "LowCutFreq",
                                                    "EnableEQ"};

constexpr const char* hostSlotNames[numHostSlots] = {"Decay",
                                                     "Mix",
                                                     "Lowcut Gain",
                                                     "Material",
                                                     "Area",
                                                     "Aspect Ratio",
                                                     "Tension",
                                                     "Reverb Gain",
                                                     "Stereo Width",
                                                     "Enable Damper",
                                                     "Damper Freq",
                                                     "Enable Friction Damp",
                                                     "Friction Damp Mult",
                                                     "Friction Freq Mult",
                                                     "Enable Air Damp",
                                                     "Air Damp Mult",
                                                     "Air Freq Mult",
                                                     "Enable Band Decay",
                                                     "Pre Delay",
                                                     "Anisotropy",
                                                     "Modulation",
                                                     "Drive",
                                                     "Enable Lowcut",
                                                     "Lowcut Freq",
                                                     "Enable EQ"};

} // namespace qor::test
