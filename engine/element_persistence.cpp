#include "engine/element.h"

#include <tinyxml2.h>

#include <cmath>

namespace qor
{

tinyxml2::XMLElement* Element::saveToXml(tinyxml2::XMLElement* parentXml, const SaveContext& context)
{
    auto* doc = parentXml->GetDocument();
    auto* xml = doc->NewElement(typeName.toString().toRawUTF8());
    parentXml->InsertEndChild(xml);

    int version = 0;
    saveParameters(xml, version);
    if (version > 0)
        xml->SetAttribute((typeName.toString() + "Version").toRawUTF8(), version);

    // Modulation connections do not exist in this product; an empty "Connections" would be deleted again.
    juce::ignoreUnused(context);

    if (properties != nullptr)
    {
        auto* props = doc->NewElement("Properties");
        bool any = false;
        for (auto& [key, property] : *properties)
            if (property.isSaved)
            {
                props->SetAttribute(key.toRawUTF8(), property.value.toRawUTF8());
                any = true;
            }
        if (any)
            xml->InsertEndChild(props);
        else
            doc->DeleteNode(props);
    }
    return xml;
}

void Element::saveParameters(tinyxml2::XMLElement* xml, int& version)
{
    juce::ignoreUnused(version);
    xml->SetAttribute("Name", name.toRawUTF8());
    for (auto& info : parameters)
    {
        const auto& d = info->getDescription();
        if (!d.hasFlag(ParameterFlags::isSaved))
            continue;
        const auto* key = d.name.toRawUTF8();
        switch (d.type)
        {
        case ParameterType::Float:
            xml->SetAttribute(key, getParameter(d.id));
            break;
        case ParameterType::Int:
            xml->SetAttribute(key, getIntParameter(d.id));
            break;
        case ParameterType::Bool:
            xml->SetAttribute(key, getBoolParameter(d.id) ? 1 : 0);
            break;
        case ParameterType::String:
            xml->SetAttribute(key, getStringParameter(d.id).toRawUTF8());
            break;
        }
    }
}

bool Element::loadFromXml(const tinyxml2::XMLElement* xml, const LoadContext& context, int /*version*/)
{
    if (xml == nullptr)
        return false;
    if (context.filter && !context.filter(*this))
        return false;

    loadParameters(xml);

    removeSavedProperties();
    if (const auto* props = xml->FirstChildElement("Properties"))
        for (auto* a = props->FirstAttribute(); a != nullptr; a = a->Next())
            setProperty(juce::String::fromUTF8(a->Name()), juce::String::fromUTF8(a->Value()), true);

    syncParameters(controlState.get());
    return true;
}

void Element::loadParameters(const tinyxml2::XMLElement* xml)
{
    const char* nameAttr = xml->Attribute("Name");
    name = nameAttr != nullptr ? juce::String::fromUTF8(nameAttr) : juce::String();

    // Bools first: a range check below may depend on "SyncToHost".
    for (int pass = 0; pass < 2; ++pass)
        for (auto& info : parameters)
        {
            const auto& d = info->getDescription();
            if ((d.type == ParameterType::Bool) != (pass == 0))
                continue;
            if (!d.hasFlag(ParameterFlags::isSaved) || d.hasFlag(ParameterFlags::noState))
                continue;
            const auto* key = d.name.toRawUTF8();
            switch (d.type)
            {
            case ParameterType::Float:
            {
                auto& fd = static_cast<ParameterInfo<float>&>(*info).getTypedDescription();
                float v = 0.0f;
                if (xml->QueryFloatAttribute(key, &v) != tinyxml2::XML_SUCCESS || !std::isfinite(v))
                    v = fd.defaultValue;
                else if (fd.range.min <= fd.range.max &&
                         !(isTempoSyncUnit(fd.unit) && getBoolParameterByName("SyncToHost")))
                    v = juce::jlimit(fd.range.min, fd.range.max, v);
                setParameterDeferred(d.id, v, false);
                break;
            }
            case ParameterType::Int:
            {
                auto& id = static_cast<ParameterInfo<int32_t>&>(*info).getTypedDescription();
                int v = 0;
                if (xml->QueryIntAttribute(key, &v) != tinyxml2::XML_SUCCESS)
                    v = id.defaultValue;
                else if (id.range.min <= id.range.max)
                    v = juce::jlimit(id.range.min, id.range.max, v);
                setParameterDeferred(d.id, static_cast<int32_t>(v), false);
                break;
            }
            case ParameterType::Bool:
            {
                auto& bd = static_cast<ParameterInfo<bool>&>(*info).getTypedDescription();
                int v = 0;
                const bool value =
                    xml->QueryIntAttribute(key, &v) == tinyxml2::XML_SUCCESS ? v != 0 : bd.defaultValue;
                setParameterDeferred(d.id, value, false);
                break;
            }
            case ParameterType::String:
            {
                auto& sd = static_cast<ParameterInfo<juce::String>&>(*info).getTypedDescription();
                const char* text = xml->Attribute(key);
                setParameterDeferred(d.id, text != nullptr ? juce::String::fromUTF8(text) : sd.defaultValue,
                                     false);
                break;
            }
            }
        }
}

} // namespace qor
