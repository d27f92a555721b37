#include "ui/shell/right_panel.h"

#include "engine/parameter_description.h"
#include "files/settings_store.h"
#include "ui/displays/lamina_decay_display.h"
#include "ui/displays/lamina_eq_display.h"
#include "ui/displays/spectrum_display.h"
#include "ui/shell/editor_settings.h"

namespace qor
{

namespace
{
// Window coordinates of the pages are given relative to the window; the panel stands at 482, 45.
constexpr int panelX = 482, panelY = 45;
constexpr int columnX[] = {509, 629, 749};
constexpr int rowY[] = {327, 370};
constexpr int switchY = 292, switchW = 98, switchH = 30;
constexpr int smallKnob = 33;
const juce::String ring = "resource/svg/knob_common-ring_46x46.svg";
const juce::String line = "resource/svg/knob_common-line_46x46.svg";

struct LowerKnob
{
    const char* parameter;
    const char* caption;
    int x, captionX, captionW;
};
constexpr LowerKnob lowerRow[] = {{"Drive", "Drive", 32, 88, 60},
                                  {"PreDelay", "Pre-delay", 159, 215, 60},
                                  {"StereoWidth", "Width", 295, 351, 60},
                                  {"Gain", "Gain", 416, 472, 87}};
constexpr int lowerCaptionY = 436, lowerCaptionH = 21;
constexpr int lowerKnobY = 434;
} // namespace

RightPanel::RightPanel(const EditorContext& c)
    : context(c), eqButton("EQ", "resource/svg/decay_sidebar_EQ_off_25x25.svg",
                           "resource/svg/decay_sidebar_EQ_on_25x25.svg"),
      rtaButton("RTA", "resource/svg/decay_sidebar_RTA_off_25x25.svg",
                "resource/svg/decay_sidebar_RTA_on_25x25.svg")
{
    setComponentID("RightPanel");
    // Clicks on the panel itself pass to what lies under it (the meters and the expand button).
    setInterceptsMouseClicks(false, true);
    showEQ = context.settings.getBoolValue(settingsKeys::showEQ, false);
    showControls = context.settings.getBoolValue(settingsKeys::showControls, true);
    showRTA = context.settings.getBoolValue(settingsKeys::showRTA, false);

    spectrum = std::make_unique<SpectrumDisplay>(context);
    decayDisplay = std::make_unique<LaminaDecayDisplay>(context);
    eqDisplay = std::make_unique<LaminaEQDisplay>(context);
    // Back to front: the analyser, the displays, the pages' knobs and switches, the sidebar.
    addChildComponent(*spectrum);
    addChildComponent(*decayDisplay);
    addChildComponent(*eqDisplay);

    buildPage(decayPage, false);
    buildPage(eqPage, true);
    addChildComponent(decayPage);
    addChildComponent(eqPage);

    eqButton.setTooltip("switch between the decay editor and the EQ screens");
    eqButton.setToggleState(showEQ, juce::dontSendNotification);
    eqButton.onClick = [this] { setShowEQ(eqButton.getToggleState()); };
    rtaButton.setTooltip("toggles the real-time frequency analyzer");
    rtaButton.setToggleState(showRTA, juce::dontSendNotification);
    rtaButton.onClick = [this] { setShowRTA(rtaButton.getToggleState()); };
    addAndMakeVisible(eqButton);
    addAndMakeVisible(rtaButton);

    for (const auto& row : lowerRow)
    {
        auto knob = std::make_unique<ParamSlider>();
        knob->setName(row.parameter);
        knob->setKnobImages(ring, line);
        knob->bind(context.proxy, context.elementPath, row.parameter);
        if (auto* d = knob->getParameterDescription())
            knob->setTooltip(d->description);
        knob->setBounds(row.x, lowerKnobY, smallKnob, smallKnob);
        addAndMakeVisible(*knob);
        lowerKnobs.push_back(std::move(knob));

        auto caption = std::make_unique<Caption>(row.caption, 15.0f, juce::Justification::centredLeft);
        caption->setBounds(row.captionX, lowerCaptionY, row.captionW, lowerCaptionH);
        addAndMakeVisible(*caption);
        lowerCaptions.push_back(std::move(caption));
    }

    for (const char* parameter :
         {"EnablePorousDamp", "EnableViscousDamp", "EnableRadiationDamp", "EnableLowcut"})
        followSwitch(parameter);
    updatePages();
}

RightPanel::~RightPanel()
{
    context.settings.setValue(settingsKeys::showEQ, showEQ);
    context.settings.setValue(settingsKeys::showControls, true);
    context.settings.setValue(settingsKeys::showRTA, showRTA);
}

void RightPanel::buildPage(Page& page, bool eq)
{
    page.setInterceptsMouseClicks(false, true);
    if (eq)
    {
        addColumnKnob(page, 0, 0, "LowCutGain", "Gain", "EnableLowcut");
        addColumnKnob(page, 0, 1, "LowCutFreq", "Frequency", "EnableLowcut");
        addSwitch(page, 514, "EnableLowcut", "Lowcut", "Enable Lowcut");
        addSwitch(page, 634, "EnableEQ", "BandEQ", "Enable octave band equalizer");
        return;
    }
    addColumnKnob(page, 0, 0, "Decay", "Decay (low)", "EnablePorousDamp");
    addColumnKnob(page, 0, 1, "PorousFreq", "Frequency", "EnablePorousDamp");
    addColumnKnob(page, 1, 0, "ThermalDampMult", "Damp", "EnableViscousDamp");
    addColumnKnob(page, 1, 1, "ThermalFreqMult", "Frequency", "EnableViscousDamp");
    addColumnKnob(page, 2, 0, "RadiationMult", "Damp", "EnableRadiationDamp");
    addColumnKnob(page, 2, 1, "RadiationFreqMult", "Frequency", "EnableRadiationDamp");
    addSwitch(page, 514, "EnablePorousDamp", "Damper",
              "Enable the damping caused by applying a porous medium damper onto the lamina");
    addSwitch(page, 634, "EnableViscousDamp", "Friction",
              "Enable the damping caused by thermo-elastic losses within the lamina");
    addSwitch(page, 754, "EnableRadiationDamp", "Air", "Enable the damping caused by air radiation");
    addSwitch(page, 874, "EnableBandDamp", "BandDecay", "Enable custom octave band decay damping");
}

void RightPanel::addColumnKnob(Page& page, int column, int row, const juce::String& parameter,
                               const juce::String& caption, const juce::String& enabledBy)
{
    auto knob = std::make_unique<ParamSlider>();
    knob->setName(parameter);
    knob->setKnobImages(ring, line);
    knob->bind(context.proxy, context.elementPath, parameter);
    if (auto* d = knob->getParameterDescription())
        knob->setTooltip(d->description.isNotEmpty() ? d->description : d->getDisplayName());
    knob->getProperties().set("enabledByParamId", int(ParameterDescriptions::findId(enabledBy)));
    knob->setBounds(columnX[column] - panelX, rowY[row] - panelY, smallKnob, smallKnob);
    page.addAndMakeVisible(*knob);

    auto label = std::make_unique<Caption>(caption, 14.0f, juce::Justification::centredLeft);
    label->setBounds(knob->getRight() + 5, knob->getY() + 6, 120 - smallKnob - 8, 21);
    page.addAndMakeVisible(*label);
    page.knobs.push_back(std::move(knob));
    page.captions.push_back(std::move(label));
}

void RightPanel::addSwitch(Page& page, int x, const juce::String& parameter, const juce::String& label,
                           const juce::String& tooltip)
{
    auto button = std::make_unique<ParamButton>(label);
    const auto base = "resource/svg/decay_ALL_" + label + "_";
    button->setImages(base + "on_98x30.svg", base + "off_98x30.svg");
    button->bind(context.proxy, context.elementPath, parameter);
    button->setTooltip(tooltip);
    button->setBounds(x - panelX, switchY - panelY, switchW, switchH);
    page.addAndMakeVisible(*button);
    page.switches.push_back(std::move(button));
}

void RightPanel::followSwitch(const juce::String& parameter)
{
    auto follower = std::make_unique<ParamFollower>();
    const int id = int(ParameterDescriptions::findId(parameter));
    follower->onChange = [this, id](float value)
    {
        for (auto* knob : getKnobs())
            if (int(knob->getProperties().getWithDefault("enabledByParamId", 0)) == id)
                knob->setEnabled(value > 0.5f);
    };
    follower->bind(context.proxy, context.elementPath, parameter);
    switchFollowers.push_back(std::move(follower));
}

std::vector<ParamSlider*> RightPanel::getKnobs() const
{
    std::vector<ParamSlider*> all;
    for (const auto* page : {&decayPage, &eqPage})
        for (const auto& knob : page->knobs)
            all.push_back(knob.get());
    for (const auto& knob : lowerKnobs)
        all.push_back(knob.get());
    return all;
}

void RightPanel::setShowEQ(bool show)
{
    showEQ = show;
    eqButton.setToggleState(show, juce::dontSendNotification);
    updatePages();
}

void RightPanel::setShowRTA(bool show)
{
    showRTA = show;
    rtaButton.setToggleState(show, juce::dontSendNotification);
    updatePages();
}

void RightPanel::applySetting(const juce::String& key, bool value)
{
    // One key at a time: the others may hold what the panel's own buttons have changed since.
    if (key == settingsKeys::showEQ)
        setShowEQ(value);
    else if (key == settingsKeys::showRTA)
        setShowRTA(value);
    else if (key == settingsKeys::showControls)
    {
        showControls = value;
        updatePages();
    }
}

void RightPanel::updatePages()
{
    spectrum->setVisible(showRTA);
    decayDisplay->setVisible(!showEQ);
    eqDisplay->setVisible(showEQ);
    decayPage.setVisible(!showEQ);
    eqPage.setVisible(showEQ);
    for (auto* page : {&decayPage, &eqPage})
        for (auto& knob : page->knobs)
            knob->setVisible(showControls);
}

void RightPanel::resized()
{
    const juce::Rectangle<int> display(displayX, displayY, displayW, displayH);
    spectrum->setBounds(display);
    decayDisplay->setBounds(display);
    eqDisplay->setBounds(display);
    decayPage.setBounds(getLocalBounds());
    eqPage.setBounds(getLocalBounds());
    eqButton.setBounds(40, displayY + 8, 25, 25);
    rtaButton.setBounds(40, displayY + 38, 25, 25);
}

} // namespace qor
