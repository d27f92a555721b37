#pragma once

#include "ui/shell/editor_context.h"
#include "ui/widgets/param_binding.h"
#include "ui/widgets/param_button.h"
#include "ui/widgets/param_label.h"
#include "ui/widgets/param_slider.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace qor
{

class LaminaDecayDisplay;
class LaminaEQDisplay;
class SpectrumDisplay;

/** The right half of the expanded window (482, 45, 576, height - 45): the decay or the EQ page with its
    display, knob columns and switches, the analyser behind them, the two sidebar buttons and the lower row of
    four knobs. It reads "editor.showEQ", "editor.showControls" and "editor.showRTA" when made, follows the
    preferences' changes of them, and writes them when it goes. */
class RightPanel : public juce::Component
{
public:
    /** The displays' place in the panel. */
    static constexpr int displayX = 32, displayY = 23, displayW = 486, displayH = 253;

    explicit RightPanel(const EditorContext& context);
    ~RightPanel() override;

    bool isShowingEQ() const { return showEQ; }
    bool isShowingRTA() const { return showRTA; }
    void setShowEQ(bool show);
    void setShowRTA(bool show);
    /** Shows a change of "editor.showEQ", "editor.showControls" or "editor.showRTA" made elsewhere. */
    void applySetting(const juce::String& key, bool value);

    juce::Button& getEQButton() { return eqButton; }
    juce::Button& getRTAButton() { return rtaButton; }
    LaminaDecayDisplay& getDecayDisplay() { return *decayDisplay; }
    LaminaEQDisplay& getEQDisplay() { return *eqDisplay; }
    SpectrumDisplay& getSpectrumDisplay() { return *spectrum; }
    /** Every knob of the panel, for the lock menu and tests. */
    std::vector<ParamSlider*> getKnobs() const;

    void resized() override;

private:
    /** The knob columns and switches of one page. */
    struct Page : public juce::Component
    {
        std::vector<std::unique_ptr<ParamSlider>> knobs;
        std::vector<std::unique_ptr<Caption>> captions;
        std::vector<std::unique_ptr<ParamButton>> switches;
    };

    void buildPage(Page& page, bool eq);
    void addColumnKnob(Page& page, int column, int row, const juce::String& parameter,
                       const juce::String& caption, const juce::String& enabledBy);
    void addSwitch(Page& page, int x, const juce::String& parameter, const juce::String& label,
                   const juce::String& tooltip);
    void followSwitch(const juce::String& parameter);
    void updatePages();

    EditorContext context;
    bool showEQ = false;
    bool showControls = true;
    bool showRTA = false;

    std::unique_ptr<SpectrumDisplay> spectrum;
    std::unique_ptr<LaminaDecayDisplay> decayDisplay;
    std::unique_ptr<LaminaEQDisplay> eqDisplay;
    Page decayPage;
    Page eqPage;
    ImageToggleButton eqButton;
    ImageToggleButton rtaButton;
    std::vector<std::unique_ptr<ParamSlider>> lowerKnobs;
    std::vector<std::unique_ptr<Caption>> lowerCaptions;
    std::vector<std::unique_ptr<ParamFollower>> switchFollowers;
};

} // namespace qor
