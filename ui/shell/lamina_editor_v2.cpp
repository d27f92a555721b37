#include "ui/shell/lamina_editor_v2.h"

#include "files/settings_store.h"
#include "ui/look/colours.h"
#include "ui/look/material_look.h"
#include "ui/look/tt_fonts.h"
#include "ui/sheet/geometry_param_spinner.h"
#include "ui/sheet/lamina_rectangle.h"
#include "ui/shell/editor_settings.h"
#include "ui/shell/knob_scales.h"
#include "ui/shell/right_panel.h"

namespace qor
{

namespace
{
struct MaterialButtonPlace
{
    int x, w;
};
constexpr MaterialButtonPlace materialPlaces[] = {{54, 35}, {123, 35}, {190, 43}, {259, 68}, {352, 72}};
constexpr int materialY = 63, materialH = 23;

struct ReadoutPlace
{
    const char* parameter;
    int x, w;
};
constexpr ReadoutPlace readoutPlaces[] = {{"Area", 35, 49},        {"AspectRatio", 90, 49},
                                          {"Anisotropy", 150, 67}, {"Tension", 221, 67},
                                          {"Modulation", 293, 63}, {"Quality", 357, 93}};
constexpr int readoutY = 372, readoutH = 20;

struct MainKnobPlace
{
    const char* parameter;
    const char* caption;
    int knobX, captionX, captionW, valueX, valueW;
};
constexpr MainKnobPlace mainKnobs[] = {{"Decay", "Decay", 34, 120, 50, 120, 50},
                                       {"Mix", "Mix", 182, 253, 50, 253, 66},
                                       {"LowCutGain", "Low Cut", 319, 390, 70, 390, 70}};
constexpr int knobY = 460, knobSize = 56, captionY = 467, captionH = 21, valueY = 490, valueH = 17;

constexpr int meterY = 67, meterW = 8;

const juce::String ring = "resource/svg/knob_common-ring_46x46.svg";
const juce::String line = "resource/svg/knob_common-line_46x46.svg";
} // namespace

LaminaEditorv2::LaminaEditorv2(const EditorContext& c)
    : context(c),
      expandButton("Expand", "resource/svg/cnd-exp_off_29x30.svg", "resource/svg/cnd-exp_on_29x30.svg")
{
    setComponentID("LaminaEditorv2");
    expanded.setValue(context.settings.getBoolValue(settingsKeys::expanded, false));

    for (int i = 0; i < numMaterialLooks; ++i)
    {
        const juce::String name = materialLook(i).label;
        const auto& place = materialPlaces[i];
        const auto base = "$Resource/resource/svg/lamina_mat-" + name + "_";
        const auto size = "_" + juce::String(place.w) + "x23.svg";
        auto button = std::make_unique<ParamButton>(name);
        button->setImages(base + "on" + size, base + "off" + size);
        button->setRadioIndex(i);
        button->bind(context.proxy, context.elementPath, "Material");
        button->setTooltip("Changes the lamina material to " + name);
        button->setBounds(place.x, materialY, place.w, materialH);
        addAndMakeVisible(*button);
        materialButtons.push_back(std::move(button));
    }

    rectangle = std::make_unique<LaminaRectangle>(context);
    rectangle->setBounds(10, 92, 456, 296);
    addAndMakeVisible(*rectangle);

    for (const auto& place : readoutPlaces)
    {
        const juce::String parameter = place.parameter;
        std::unique_ptr<ParamSpinnerLabel> readout;
        if (parameter == "Area" || parameter == "AspectRatio")
            readout = std::make_unique<GeometryParamSpinner>();
        else
            readout = std::make_unique<ParamSpinnerLabel>();
        readout->setName(parameter);
        readout->setTextColour(colours::numericValue);
        readout->bind(context.proxy, context.elementPath, parameter);
        if (auto* d = readout->getParameterDescription())
            readout->setTooltip(d->description);
        readout->setBounds(place.x, readoutY, place.w, readoutH);
        addAndMakeVisible(*readout);
        readouts.push_back(std::move(readout));
    }

    for (const auto& place : mainKnobs)
    {
        auto knob = std::make_unique<ParamSlider>();
        knob->setName(place.parameter);
        knob->setKnobImages(ring, line);
        knob->bind(context.proxy, context.elementPath, place.parameter);
        if (auto* d = knob->getParameterDescription())
            knob->setTooltip(d->description);
        knob->setBounds(place.knobX, knobY, knobSize, knobSize);
        addAndMakeVisible(*knob);
        knobs.push_back(std::move(knob));

        auto caption = std::make_unique<Caption>(place.caption, 17.0f, juce::Justification::centredLeft);
        caption->setBounds(place.captionX, captionY, place.captionW, captionH);
        addAndMakeVisible(*caption);
        captions.push_back(std::move(caption));

        auto value = std::make_unique<ParamLabel>();
        value->setName(juce::String(place.parameter) + "Value");
        value->setArchiveFont(fontPaths::values, 15.0f);
        value->bind(context.proxy, context.elementPath, place.parameter);
        value->setBounds(place.valueX, valueY, place.valueW, valueH);
        addAndMakeVisible(*value);
        valueLabels.push_back(std::move(value));
    }

    inputMeter =
        std::make_unique<AudioMeterVU>(context.tap, AudioTap::Side::input, "resource/svg/VU_in_8x18.svg");
    outputMeter =
        std::make_unique<AudioMeterVU>(context.tap, AudioTap::Side::output, materialLook(0).outputMeter);
    addAndMakeVisible(*inputMeter);
    addAndMakeVisible(*outputMeter);

    expandButton.setTooltip("Shows or hides the decay, EQ and output controls");
    expandButton.setToggleState(isExpanded(), juce::dontSendNotification);
    expandButton.onClick = [this] { setExpanded(expandButton.getToggleState()); };
    addAndMakeVisible(expandButton);

    material.onChange = [this](float value) { setMaterial(juce::roundToInt(value)); };
    material.bind(context.proxy, context.elementPath, "Material");

    expanded.addListener(this);
    applyLayout();
}

LaminaEditorv2::~LaminaEditorv2()
{
    expanded.removeListener(this);
}

juce::Rectangle<int> LaminaEditorv2::getLayoutBounds() const
{
    return {0, 0, isExpanded() ? expandedWidth : condensedWidth, windowHeight};
}

ParamSlider& LaminaEditorv2::getKnob(const juce::String& parameter) const
{
    for (auto& knob : knobs)
        if (knob->getName() == parameter)
            return *knob;
    jassertfalse;
    return *knobs.front();
}

ParamLabel& LaminaEditorv2::getValueLabel(const juce::String& parameter) const
{
    for (auto& label : valueLabels)
        if (label->getName() == parameter + "Value")
            return *label;
    jassertfalse;
    return *valueLabels.front();
}

ParamSpinnerLabel& LaminaEditorv2::getReadout(const juce::String& parameter) const
{
    for (auto& readout : readouts)
        if (readout->getName() == parameter)
            return *readout;
    jassertfalse;
    return *readouts.front();
}

void LaminaEditorv2::setExpanded(bool shouldBeExpanded)
{
    expanded.setValue(shouldBeExpanded);
    expanded.getValueSource().sendChangeMessage(true);
}

void LaminaEditorv2::valueChanged(juce::Value&)
{
    context.settings.setValue(settingsKeys::expanded, isExpanded());
    expandButton.setToggleState(isExpanded(), juce::dontSendNotification);
    applyLayout();
}

void LaminaEditorv2::applyLayout()
{
    const bool wide = isExpanded();
    const auto suffix = wide ? juce::String("exp") : juce::String("cnd");
    background.reset();
    overlay.reset();
    background = std::make_unique<ImageDisplay>("$Resource/resource/images/_bkg_" + suffix + ".png");
    overlay = std::make_unique<ImageDisplay>("$Resource/resource/images/_overlay_" + suffix + ".png");
    addAndMakeVisible(*overlay);
    addAndMakeVisible(*background);
    overlay->toBack();
    background->toBack();

    const auto bounds = getLayoutBounds();
    setSize(bounds.getWidth(), bounds.getHeight());

    if (!wide)
        rightPanel.reset();
    else if (rightPanel == nullptr)
    {
        rightPanel = std::make_unique<RightPanel>(context);
        rightPanel->setBounds(482, 45, 576, windowHeight - 45);
        addAndMakeVisible(*rightPanel);
        // The meters and the expand button stand inside the panel's area, above it.
        inputMeter->toFront(false);
        outputMeter->toFront(false);
        expandButton.toFront(false);
    }
    placeMeters();
    resized();
    if (onLayoutChanged)
        onLayoutChanged(bounds.getWidth(), bounds.getHeight());
}

void LaminaEditorv2::placeMeters()
{
    const bool wide = isExpanded();
    const int x = wide ? 1015 : 465, height = wide ? 360 : 301;
    inputMeter->setBounds(x, meterY, meterW, height);
    outputMeter->setBounds(x + 16, meterY, meterW, height);
    // The expand button sits under the meter pair.
    expandButton.setBounds(x - 2, meterY + height + 8, 29, 30);
}

void LaminaEditorv2::setMaterial(int index)
{
    const auto& look = materialLook(index);
    outputMeter->setImage(look.outputMeter);
    outputMeter->setTint(juce::Colour(look.tint));
    rectangle->setTexture(look.texture);
}

void LaminaEditorv2::resized()
{
    if (background != nullptr)
        background->setBounds(getLocalBounds());
    if (overlay != nullptr)
        overlay->setBounds(getLocalBounds());
}

void LaminaEditorv2::paintOverChildren(juce::Graphics& g)
{
    auto normaliserOf = [this](const char* parameter) -> ScaleNormaliser
    {
        auto* knob = &getKnob(parameter);
        return [knob](float value) { return knob->normalise(value); };
    };
    const bool labels = TTFonts::instance().has(fontPaths::handles);
    const auto font = TTFonts::instance().getFont(fontPaths::handles, 10.0f);
    if (getKnob("Decay").getParameterDescription() != nullptr)
        knobScales::paint(g, knobScales::decay(normaliserOf("Decay")), font, labels);
    if (getKnob("Mix").getParameterDescription() != nullptr)
        knobScales::paint(g, knobScales::mix(normaliserOf("Mix")), font, labels);
    if (getKnob("LowCutGain").getParameterDescription() != nullptr)
        knobScales::paint(g, knobScales::lowCutGain(normaliserOf("LowCutGain")), font, labels);
}

} // namespace qor
