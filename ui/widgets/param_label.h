#pragma once

#include "engine/engine_proxy.h"
#include "ui/widgets/param_binding.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The formatted value of one parameter; double click edits it when the parameter has a value text (reals and
    integers), and the entry is one change gesture. */
class ParamLabel : public juce::Label, public ParamBinding
{
public:
    ParamLabel();

    /** A font of the archive; with the file missing the label stays blank. */
    void setArchiveFont(const juce::String& fontPath, float height);

    void paint(juce::Graphics& g) override;
    void textWasEdited() override;

protected:
    void parameterValueChanged() override;
    juce::TextEditor* createEditorComponent() override;

private:
    juce::String fontPath;
};

/** A label of a modulation source's parameter: a ParamLabel, for the look and feel to tell apart. */
class SourceParamLabel : public ParamLabel
{
public:
    SourceParamLabel();
};

/** A fixed text in a font of the archive (a knob's caption); blank while the font is missing. */
class Caption : public juce::Label
{
public:
    Caption(const juce::String& text, float height, juce::Justification justification);
    void paint(juce::Graphics& g) override;
};

/** The text of an element property through a formatter (a preset's name from its path, for instance); it
    follows the element at a path like the parameter widgets. No parameter, no gesture. */
class ElementPropertyLabel : public juce::Label, public EngineProxy::ElementBoundListener, public Trackable
{
public:
    using Formatter = std::function<juce::String(const juce::String& value)>;

    ElementPropertyLabel();
    ~ElementPropertyLabel() override;

    void bind(EngineProxy& proxy, const juce::String& path, const juce::String& propertyKey,
              Formatter formatter = {});
    void unbind();
    Element* getElement() const { return element; }
    /** Reads the property again. */
    void refresh();

private:
    void elementBound(const juce::String& path, Element* element) override;
    void onPropertyChanged(Element* source, juce::String key, juce::String value);

    EngineProxy* proxy = nullptr;
    Element* element = nullptr;
    juce::String key;
    Formatter formatter;
};

} // namespace qor
