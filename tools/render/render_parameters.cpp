#include "tools/render/render_parameters.h"

#include "engine/element.h"
#include "engine/parameter_format.h"
#include "modal/lamina/materials.h"
#include "tools/render/render_options.h"

#include <cmath>

namespace qor::render
{

namespace
{
juce::String number(double value)
{
    return juce::String(value, 6).trimCharactersAtEnd("0").trimCharactersAtEnd(".");
}

/** "0.2 to 10000 (default 2)". */
juce::String rangeText(const ParameterInfo<float>& info)
{
    const auto& d = info.getTypedDescription();
    return number(d.range.min) + " to " + number(d.range.max) + " (default " + number(d.defaultValue) + ")";
}

/** The names a choice answers to, the one shown first. The material's name stands beside its symbol, so that
    the reference material, whose symbol is empty, can be named too. */
juce::StringArray choiceLabels(const ParameterInfo<int32_t>& info, int value)
{
    const auto& d = info.getTypedDescription();
    juce::StringArray labels;
    if (d.name == "Material" && value >= 0 && value < numLaminaMaterials)
    {
        labels.add(laminaMaterials[value].name);
        labels.add(laminaMaterials[value].symbol);
    }
    else
        labels.add(d.format(value));
    labels.removeEmptyStrings();
    labels.removeString(juce::String(value));
    return labels;
}

/** The label shown for a choice: "Gold (Au)", "High"; empty when it has none. */
juce::String choiceText(const ParameterInfo<int32_t>& info, int value)
{
    const auto labels = choiceLabels(info, value);
    if (labels.size() > 1)
        return labels[0] + " (" + labels[1] + ")";
    return labels[0];
}

juce::String rangeText(const ParameterInfo<int32_t>& info)
{
    const auto& d = info.getTypedDescription();
    auto text = juce::String(d.range.min) + " to " + juce::String(d.range.max);
    if (d.range.max - d.range.min <= 16)
    {
        juce::StringArray labels;
        for (int v = d.range.min; v <= d.range.max; ++v)
            if (const auto label = choiceText(info, v); label.isNotEmpty())
                labels.add(juce::String(v) + " " + label);
        if (!labels.isEmpty())
            text << " [" << labels.joinIntoString(", ") << "]";
    }
    return text + " (default " + juce::String(d.defaultValue) + ")";
}

const ParameterInfoBase* findByKey(const Element& element, const juce::String& key)
{
    for (std::size_t i = 0; i < element.getNumParameters(); ++i)
        if (auto* info = element.getParameterInfo(i); info->getDescription().name == key)
            return info;
    return nullptr;
}

juce::String unknownKeyMessage(const Element& element, const juce::String& key)
{
    juce::String message = "unknown parameter '" + key + "'";
    for (std::size_t i = 0; i < element.getNumParameters(); ++i)
    {
        const auto& name = element.getParameterInfo(i)->getDescription().name;
        if (name.equalsIgnoreCase(key))
            return message + " (did you mean '" + name + "'?)";
    }
    if (element.getNumParameters() == 0)
        return message + ": the element has no parameters";
    return message + "; --list-params shows the keys";
}

bool endsInDecibels(const juce::String& text)
{
    return text.trim().endsWithIgnoreCase("dB");
}

/** How a real parameter shows its values: the kind of its text and the factor from its own units to the
   number shown, found by formatting a value and reading the text back ("30.0 %" for 0.3 gives percent and
   100). */
struct ShownScale
{
    ParsedValueText::Kind kind = ParsedValueText::Kind::plain;
    bool decibels = false;
    double factor = 1.0;
};

std::optional<ShownScale> shownScale(const ParameterDescription<float>& d, const Element& element)
{
    for (float probe : {d.defaultValue, d.range.max, d.range.min, (d.range.min + d.range.max) * 0.5f})
    {
        const auto text = d.format(probe, &element);
        const auto shown = parseValueText(text);
        if (probe == 0.0f || !shown || !std::isfinite(shown->value) || shown->value == 0.0)
            continue;
        // Scales are powers of ten; the text may have rounded the probe.
        const double factor = std::pow(10.0, std::round(std::log10(std::abs(shown->value / probe))));
        return ShownScale{shown->kind, endsInDecibels(text), factor};
    }
    return std::nullopt;
}

juce::String unitWords(const ShownScale& scale)
{
    if (scale.decibels)
        return "decibels (\"-3dB\")";
    switch (scale.kind)
    {
    case ParsedValueText::Kind::seconds:
        return "a time (\"3.5s\", \"350ms\")";
    case ParsedValueText::Kind::frequency:
        return "a frequency (\"2kHz\", \"150Hz\")";
    case ParsedValueText::Kind::percent:
        return "a percentage (\"30%\")";
    case ParsedValueText::Kind::plain:
        break;
    }
    return "a plain number";
}

/** The value of a real parameter, in its own units, from text as --list-params shows it. Answers the value,
   or sets `error`. */
std::optional<double> readRealSetting(const ParameterInfo<float>& info, const Element& element,
                                      const juce::String& key, const juce::String& valueText,
                                      juce::String& error)
{
    const auto& d = info.getTypedDescription();
    // A bare number is in the parameter's own units, those of its range.
    if (const auto plain = parseNumber(valueText))
        return *plain;

    const auto typed = parseValueText(valueText);
    const auto scale = shownScale(d, element);
    if (!typed || !scale)
    {
        error = key + " takes a number from " + rangeText(info) +
                (scale ? juce::String(" or ") + unitWords(*scale) : juce::String()) + ", not '" + valueText +
                "'";
        return std::nullopt;
    }
    if (std::isinf(typed->value))
    {
        // "+oo" stands for the end of the range that shows it.
        for (float end : {d.range.max, d.range.min})
            if (const auto shown = parseValueText(d.format(end, &element));
                shown && std::isinf(shown->value) && (shown->value > 0) == (typed->value > 0))
                return end;
        error = key + " has no value '" + valueText + "'; it takes " + rangeText(info);
        return std::nullopt;
    }
    const bool typedDecibels = endsInDecibels(valueText);
    // Plain readings ("3,5", "x 2", "-3dB" on a level) are numbers in the parameter's own units.
    const bool fits = typedDecibels
                          ? scale->decibels
                          : typed->kind == ParsedValueText::Kind::plain || typed->kind == scale->kind;
    if (!fits)
    {
        error = key + " takes " + unitWords(*scale) + " or a number from " + rangeText(info) + ", not '" +
                valueText + "'";
        return std::nullopt;
    }
    if (typed->kind == ParsedValueText::Kind::plain)
        return typed->value;
    return typed->value / scale->factor;
}
} // namespace

juce::String applySetting(Element& element, const juce::String& key, const juce::String& valueText)
{
    const auto* info = findByKey(element, key);
    if (info == nullptr)
        return unknownKeyMessage(element, key);
    const uint32_t id = info->getId();

    if (auto* f = element.hasFloatParameter(id))
    {
        const auto& d = f->getTypedDescription();
        juce::String error;
        const auto value = readRealSetting(*f, element, key, valueText, error);
        if (!value)
            return error;
        // A unit conversion may land a rounding step outside an end of the range that was typed exactly.
        const double slack =
            1e-6 * juce::jmax(1.0, std::abs(double(d.range.min)), std::abs(double(d.range.max)));
        if (d.range.min <= d.range.max && (*value < d.range.min - slack || *value > d.range.max + slack))
        {
            auto message = key + "=" + valueText + " is out of range: " + key + " takes " + rangeText(*f);
            const auto low = d.format(d.range.min, &element), high = d.format(d.range.max, &element);
            if (low != number(d.range.min) || high != number(d.range.max))
                message << ", that is " << low << " to " << high;
            if (const auto scale = shownScale(d, element);
                scale && scale->kind == ParsedValueText::Kind::percent && parseNumber(valueText))
                message << "; for a percentage write \"" << number(*value) << "%\"";
            return message;
        }
        element.setParameterDeferred(id, d.clamp(static_cast<float>(*value)), false);
        return {};
    }
    if (auto* n = element.hasIntParameter(id))
    {
        const auto& d = n->getTypedDescription();
        auto value = parseInteger(valueText);
        if (!value && d.range.max - d.range.min <= 100000)
            for (int v = d.range.min; v <= d.range.max && !value; ++v)
            {
                auto labels = choiceLabels(*n, v);
                labels.add(choiceText(*n, v)); // "Gold (Au)", as the listing shows it
                for (const auto& label : labels)
                    if (label.equalsIgnoreCase(valueText.trim()))
                        value = v;
            }
        if (!value)
            return key + " takes a whole number " + rangeText(*n) + ", not '" + valueText + "'";
        if (*value < d.range.min || *value > d.range.max)
            return key + "=" + valueText + " is out of range: " + key + " takes " + rangeText(*n);
        element.setParameterDeferred(id, static_cast<int32_t>(*value), false);
        return {};
    }
    if (element.hasBoolParameter(id) != nullptr)
    {
        const auto text = valueText.trim().toLowerCase();
        bool value = false;
        if (text == "on" || text == "true" || text == "yes" || text == "1")
            value = true;
        else if (!(text == "off" || text == "false" || text == "no" || text == "0"))
            return key + " is a switch: on/off, true/false or 1/0, not '" + valueText + "'";
        element.setParameterDeferred(id, value, false);
        return {};
    }
    return key + " is a text parameter, which the renderer does not set";
}

juce::String parameterNote(const juce::String& key)
{
    if (key == "Fmin" || key == "Fmax")
        return "unused by the sound: kept for the editor and later versions";
    if (key == "ModeTruncationThreshold")
        return "read once per process, by its first build of the modes";
    if (key == "LowCutGain")
        return "at 0 dB (the default) the low cut does nothing";
    if (key == "LowCutFreq" || key == "EnableLowcut")
        return "acts only when LowCutGain is below 0 dB";
    return {};
}

juce::String shownValue(const Element& element, const juce::String& key)
{
    const auto* info = findByKey(element, key);
    if (info == nullptr)
        return {};
    const auto id = info->getId();
    if (auto* n = element.hasIntParameter(id))
    {
        const int v = element.getIntParameter(id);
        const auto labels = choiceLabels(*n, v);
        return labels[0].isNotEmpty() ? labels[0] : juce::String(v);
    }
    if (element.hasBoolParameter(id) != nullptr)
        return element.getBoolParameter(id) ? "on" : "off";
    const auto shown = element.getParameterValueText(id).trim();
    return shown.isNotEmpty() ? shown : number(element.getParameter(id));
}

juce::String describeParameters(const Element& element)
{
    if (element.getNumParameters() == 0)
        return "The element '" + element.getName() + "' has no parameters.\n";

    juce::StringArray keys, names, ranges, values, notes;
    for (std::size_t i = 0; i < element.getNumParameters(); ++i)
    {
        const auto* info = element.getParameterInfo(i);
        const auto id = info->getId();
        const auto& d = info->getDescription();
        keys.add(d.name);
        names.add(d.getDisplayName());
        notes.add(parameterNote(d.name));
        auto shown = element.getParameterValueText(id).trim();
        if (auto* f = element.hasFloatParameter(id))
        {
            ranges.add(rangeText(*f));
            shown = number(element.getParameter(id)) + (shown.isNotEmpty() ? "  (" + shown + ")" : "");
        }
        else if (auto* n = element.hasIntParameter(id))
        {
            ranges.add(rangeText(*n));
            const int v = element.getIntParameter(id);
            const auto label = choiceText(*n, v);
            shown = juce::String(v) + (label.isNotEmpty() ? "  (" + label + ")" : "");
        }
        else if (auto* b = element.hasBoolParameter(id))
            ranges.add(juce::String("off/on (default ") +
                       (b->getTypedDescription().defaultValue ? "on" : "off") + ")");
        else
            ranges.add("text");
        values.add(shown);
    }

    auto width = [](const juce::StringArray& column, const char* title)
    {
        int w = static_cast<int>(strlen(title));
        for (const auto& s : column)
            w = juce::jmax(w, s.length());
        return w;
    };
    const int wk = width(keys, "Key"), wn = width(names, "Name"), wr = width(ranges, "Range"),
              wv = width(values, "Value");
    auto row = [&](const juce::String& k, const juce::String& n, const juce::String& r, const juce::String& v,
                   const juce::String& note)
    {
        auto line =
            k.paddedRight(' ', wk) + "  " + n.paddedRight(' ', wn) + "  " + r.paddedRight(' ', wr) + "  ";
        line << (note.isEmpty() ? v : v.paddedRight(' ', wv) + "  " + note);
        return line + "\n";
    };

    juce::String out = row("Key", "Name", "Range", "Value", "Note");
    for (int i = 0; i < keys.size(); ++i)
        out << row(keys[i], names[i], ranges[i], values[i], notes[i]);
    return out;
}

} // namespace qor::render
