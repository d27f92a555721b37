#include "ui/widgets/param_label.h"

#include "engine/element.h"
#include "ui/look/colours.h"
#include "ui/look/tt_fonts.h"

namespace qor
{

ParamLabel::ParamLabel()
{
    setComponentID("ParamLabel");
    setColour(juce::Label::textColourId, colours::numericValue);
    setJustificationType(juce::Justification::centredLeft);
    setBorderSize({0, 0, 0, 0});
    setEditable(false, true, false);
    setArchiveFont(fontPaths::values, 15.0f);
}

void ParamLabel::setArchiveFont(const juce::String& path, float height)
{
    fontPath = path;
    setFont(TTFonts::instance().getFont(path, height));
}

void ParamLabel::paint(juce::Graphics& g)
{
    if (isBeingEdited() || TTFonts::instance().has(fontPath))
        juce::Label::paint(g);
}

void ParamLabel::parameterValueChanged()
{
    setEditable(false, getKind() == Kind::real || getKind() == Kind::integer, false);
    if (!isBeingEdited())
        setText(getValueText(), juce::dontSendNotification);
}

juce::TextEditor* ParamLabel::createEditorComponent()
{
    auto* editor = juce::Label::createEditorComponent();
    editor->setJustification(juce::Justification::centredLeft);
    return editor;
}

void ParamLabel::textWasEdited()
{
    setValueFromText(getText());
    setText(getValueText(), juce::dontSendNotification);
}

SourceParamLabel::SourceParamLabel() = default;

Caption::Caption(const juce::String& text, float height, juce::Justification justification)
{
    setText(text, juce::dontSendNotification);
    setFont(TTFonts::instance().getFont(fontPaths::values, height));
    setColour(juce::Label::textColourId, colours::caption);
    setJustificationType(justification);
    setBorderSize({0, 0, 0, 0});
    setInterceptsMouseClicks(false, false);
}

void Caption::paint(juce::Graphics& g)
{
    if (TTFonts::instance().has(fontPaths::values))
        juce::Label::paint(g);
}

ElementPropertyLabel::ElementPropertyLabel()
{
    setComponentID("ElementPropertyLabel");
}

ElementPropertyLabel::~ElementPropertyLabel()
{
    unbind();
}

void ElementPropertyLabel::bind(EngineProxy& newProxy, const juce::String& path,
                                const juce::String& propertyKey, Formatter newFormatter)
{
    unbind();
    proxy = &newProxy;
    key = propertyKey;
    formatter = std::move(newFormatter);
    proxy->addElementBoundListener(path, this);
}

void ElementPropertyLabel::unbind()
{
    disconnectAllSignals();
    if (proxy != nullptr)
        proxy->removeElementBoundListener(this);
    proxy = nullptr;
    element = nullptr;
}

void ElementPropertyLabel::elementBound(const juce::String&, Element* newElement)
{
    disconnectAllSignals();
    element = newElement;
    if (element != nullptr)
        element->signals().propertyChanged.connect(this, &ElementPropertyLabel::onPropertyChanged);
    refresh();
}

void ElementPropertyLabel::onPropertyChanged(Element* source, juce::String changedKey, juce::String)
{
    if (source == element && changedKey == key)
        refresh();
}

void ElementPropertyLabel::refresh()
{
    if (element == nullptr)
        return;
    const auto value = element->getProperty(key);
    setText(formatter ? formatter(value) : value, juce::dontSendNotification);
}

} // namespace qor
