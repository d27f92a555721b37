#include "tools/render/render_parameters.h"

#include "engine/element.h"
#include "tools/render/render_options.h"

namespace qor::render
{

namespace
{
juce::String number(double value)
{
    return juce::String(value, 6).trimCharactersAtEnd("0").trimCharactersAtEnd(".");
}

/** "0.2 to 10000 (default 2)", with the value texts where a formatter gives them. */
juce::String rangeText(const ParameterInfo<float>& info)
{
    const auto& d = info.getTypedDescription();
    return number(d.range.min) + " to " + number(d.range.max) + " (default " + number(d.defaultValue) + ")";
}

juce::String rangeText(const ParameterInfo<int32_t>& info)
{
    const auto& d = info.getTypedDescription();
    auto text = juce::String(d.range.min) + " to " + juce::String(d.range.max);
    if (d.range.max - d.range.min <= 16)
    {
        juce::StringArray labels;
        for (int v = d.range.min; v <= d.range.max; ++v)
        {
            const auto label = d.format(v);
            if (label.isNotEmpty() && label != juce::String(v))
                labels.add(juce::String(v) + " " + label);
        }
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
        const auto value = parseNumber(valueText);
        if (!value)
            return key + " takes a number from " + rangeText(*f) + ", not '" + valueText + "'";
        if (d.range.min <= d.range.max && (*value < d.range.min || *value > d.range.max))
            return key + "=" + valueText + " is out of range: " + key + " takes " + rangeText(*f);
        element.setParameterDeferred(id, static_cast<float>(*value), false);
        return {};
    }
    if (auto* n = element.hasIntParameter(id))
    {
        const auto& d = n->getTypedDescription();
        auto value = parseInteger(valueText);
        if (!value && d.range.max - d.range.min <= 100000)
            for (int v = d.range.min; v <= d.range.max; ++v)
                if (const auto label = d.format(v);
                    label.isNotEmpty() && label.equalsIgnoreCase(valueText.trim()))
                    value = v;
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

juce::String describeParameters(const Element& element)
{
    if (element.getNumParameters() == 0)
        return "The element '" + element.getName() + "' has no parameters.\n";

    juce::StringArray keys, names, ranges, values;
    for (std::size_t i = 0; i < element.getNumParameters(); ++i)
    {
        const auto* info = element.getParameterInfo(i);
        const auto id = info->getId();
        const auto& d = info->getDescription();
        keys.add(d.name);
        names.add(d.getDisplayName());
        if (auto* f = element.hasFloatParameter(id))
            ranges.add(rangeText(*f));
        else if (auto* n = element.hasIntParameter(id))
            ranges.add(rangeText(*n));
        else if (auto* b = element.hasBoolParameter(id))
            ranges.add(juce::String("off/on (default ") +
                       (b->getTypedDescription().defaultValue ? "on" : "off") + ")");
        else
            ranges.add("text");
        auto shown = element.getParameterValueText(id).trim();
        if (element.hasFloatParameter(id) != nullptr)
            shown = number(element.getParameter(id)) + (shown.isNotEmpty() ? "  (" + shown + ")" : "");
        else if (auto* n = element.hasIntParameter(id);
                 n != nullptr && shown != juce::String(element.getIntParameter(id)))
            shown =
                juce::String(element.getIntParameter(id)) + (shown.isNotEmpty() ? "  (" + shown + ")" : "");
        values.add(shown);
    }

    auto width = [](const juce::StringArray& column, const char* title)
    {
        int w = static_cast<int>(strlen(title));
        for (const auto& s : column)
            w = juce::jmax(w, s.length());
        return w;
    };
    const int wk = width(keys, "Key"), wn = width(names, "Name"), wr = width(ranges, "Range");
    auto row = [&](const juce::String& k, const juce::String& n, const juce::String& r, const juce::String& v)
    {
        return k.paddedRight(' ', wk) + "  " + n.paddedRight(' ', wn) + "  " + r.paddedRight(' ', wr) + "  " +
               v + "\n";
    };

    juce::String out = row("Key", "Name", "Range", "Value");
    for (int i = 0; i < keys.size(); ++i)
        out << row(keys[i], names[i], ranges[i], values[i]);
    return out;
}

} // namespace qor::render
