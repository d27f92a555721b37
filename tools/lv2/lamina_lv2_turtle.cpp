// lamina-lv2-turtle: completes the Turtle of the LV2 bundle after JUCE's helper has written it. JUCE writes
// every parameter as a linear float over the range its processor reports, with integers for whole numbers,
// scale points on a 0-to-1 scale and defaults that went through the mapper twice. LV2 hosts read everything
// from this text, so the parameters are written again here from the plug-in's own descriptions: real ranges
// and defaults as floats, logarithmic marks, integer choices with labels, symbols and units. The plug-in's
// own block gets its licence, homepage and maintainer; the manifest keeps only named presets.
//
// Usage: lamina-lv2-turtle <bundle folder> <plug-in URI> <licence URI> <homepage URI>
#include "modal/lamina/lamina.h"
#include "modal/lamina/materials.h"
#include "modal/lamina/value_texts.h"
#include "plugin/lamina_plugin.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qor
{
namespace
{

/** One host parameter as LV2 hosts should see it. */
struct Lv2Parameter
{
    enum class Kind
    {
        real,
        integer,
        toggle
    };

    std::string key; // its IRI in the bundle is "<plug-in URI>:<key>", which the wrapper maps at run time
    std::string label;
    std::string comment;
    Kind kind = Kind::real;
    float minimum = 0.0f;
    float maximum = 1.0f;
    float defaultValue = 0.0f;
    bool logarithmic = false;
    std::string unit; // a unit of LV2's units extension, or empty
    std::vector<std::pair<float, std::string>> scalePoints;
};

/** One entry of the manifest's presets: a program of the processor, which JUCE's wrapper loads by index. */
struct Lv2Preset
{
    std::string label;
    int program = 0;
};

struct BundleFacts
{
    std::string pluginUri;
    std::string licence;
    std::string homepage;
    std::string maintainer;
};

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what);
}

/** The shortest decimal that reads back as the same float, always with a point: LV2 wants floats, and a
   Turtle number without a point is an integer. */
std::string turtleFloat(float value)
{
    char text[64];
    const auto result = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed);
    std::string s(text, result.ptr);
    if (s.find('.') == std::string::npos)
        s += ".0";
    return s;
}

std::string turtleString(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            out += '\\';
        if (c == '\n')
            out += "\\n";
        else if (c != '\r')
            out += c;
    }
    return out + "\"";
}

/** Mapped on a log or conformal curve: LV2's logarithmic scale (min · (max/min)^x) is the nearest a host's
    slider can follow, and needs a positive minimum. */
bool isLogarithmic(const ParameterMapper* mapper, float minimum)
{
    const bool curved = dynamic_cast<const LogMapper*>(mapper) != nullptr ||
                        dynamic_cast<const ConformalMapper*>(mapper) != nullptr;
    return curved && minimum > 0.0f;
}

std::string unitOf(const ParameterDescription<float>& d)
{
    if (d.formatter == &formatLaminaTime)
        return "s";
    switch (d.unit)
    {
    case ParameterUnit::seconds:
        return "s";
    case ParameterUnit::milliseconds:
        return "ms";
    case ParameterUnit::frequency:
        return "hz";
    case ParameterUnit::decibels:
        return "db";
    default:
        return {};
    }
}

/** A host's menu needs a word for every choice; the sheet shows its reference material by no symbol at all.
 */
std::string choiceLabel(const std::string& key, int value, const juce::String& text)
{
    if (key == "Material")
        return materialAt(value).name;
    return text.isNotEmpty() ? text.toStdString() : std::to_string(value);
}

std::vector<Lv2Parameter> describeHostParameters(const DefaultPluginBase& plugin)
{
    std::vector<Lv2Parameter> result;
    for (uint32_t slot = 0; slot < plugin.getNumParameters(); ++slot)
    {
        const auto* exported = plugin.getExportedParameter(slot);
        if (exported == nullptr || !exported->isBound())
            fail("host slot " + std::to_string(slot) + " has no parameter");
        const auto* info = exported->getElement()->findParameter(exported->getParameterId());
        Lv2Parameter p;
        p.key = exported->getDefaultTarget().second.toStdString();
        p.label = exported->getName().toStdString();
        p.comment = info->getDescription().description.toStdString();
        switch (info->getType())
        {
        case ParameterType::Float:
        {
            const auto& d = static_cast<const ParameterInfo<float>*>(info)->getTypedDescription();
            p.minimum = d.range.min;
            p.maximum = d.range.max;
            p.defaultValue = d.defaultValue;
            p.logarithmic = isLogarithmic(d.mapper.get(), d.range.min);
            p.unit = unitOf(d);
            break;
        }
        case ParameterType::Int:
        {
            const auto& d = static_cast<const ParameterInfo<int32_t>*>(info)->getTypedDescription();
            p.kind = Lv2Parameter::Kind::integer;
            p.minimum = float(d.range.min);
            p.maximum = float(d.range.max);
            p.defaultValue = float(d.defaultValue);
            for (int v = d.range.min; v <= d.range.max; ++v)
                p.scalePoints.emplace_back(float(v), choiceLabel(p.key, v, d.format(v)));
            break;
        }
        case ParameterType::Bool:
        {
            const auto& d = static_cast<const ParameterInfo<bool>*>(info)->getTypedDescription();
            p.kind = Lv2Parameter::Kind::toggle;
            p.defaultValue = d.defaultValue ? 1.0f : 0.0f;
            break;
        }
        case ParameterType::String:
            fail("host slot " + std::to_string(slot) + " is text");
        }
        result.push_back(std::move(p));
    }
    return result;
}

std::string parameterBlock(const Lv2Parameter& p)
{
    std::ostringstream os;
    os << "plug:" << p.key << "\n"
       << "\ta lv2:Parameter ;\n"
       << "\trdfs:label " << turtleString(p.label) << " ;\n";
    if (!p.comment.empty())
        os << "\trdfs:comment " << turtleString(p.comment) << " ;\n";
    // jalv and other lilv hosts name a parameter by its symbol (-c Decay=5.5); without one they make it up
    // from the whole IRI.
    os << "\tlv2:symbol " << turtleString(p.key) << " ;\n"
       << "\trdfs:range atom:Float ;\n"
       << "\tlv2:default " << turtleFloat(p.defaultValue) << " ;\n"
       << "\tlv2:minimum " << turtleFloat(p.minimum) << " ;\n"
       << "\tlv2:maximum " << turtleFloat(p.maximum);
    if (!p.unit.empty())
        os << " ;\n\tunits:unit units:" << p.unit;
    switch (p.kind)
    {
    case Lv2Parameter::Kind::real:
        if (p.logarithmic)
            os << " ;\n\tlv2:portProperty pprop:logarithmic";
        break;
    case Lv2Parameter::Kind::toggle:
        os << " ;\n\tlv2:portProperty lv2:toggled";
        break;
    case Lv2Parameter::Kind::integer:
        os << " ;\n\tlv2:portProperty lv2:integer";
        if (!p.scalePoints.empty())
        {
            os << " , lv2:enumeration ;\n\tlv2:scalePoint";
            for (std::size_t i = 0; i < p.scalePoints.size(); ++i)
                os << (i == 0 ? " [\n" : " , [\n") << "\t\trdfs:label "
                   << turtleString(p.scalePoints[i].second) << " ;\n\t\trdf:value "
                   << turtleFloat(p.scalePoints[i].first) << " ;\n\t]";
        }
        break;
    }
    os << " .\n";
    return os.str();
}

/** Statements of JUCE's files are separated by blank lines and none holds one. */
std::vector<std::string> splitStatements(const std::string& text)
{
    std::vector<std::string> blocks;
    std::size_t start = 0;
    while (start < text.size())
    {
        const auto end = text.find("\n\n", start);
        blocks.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start + 1));
        if (end == std::string::npos)
            break;
        start = end + 2;
        while (start < text.size() && text[start] == '\n')
            ++start;
    }
    return blocks;
}

std::string joinStatements(const std::vector<std::string>& blocks)
{
    std::string out;
    for (const auto& block : blocks)
        out += block + "\n";
    return out;
}

bool startsWith(const std::string& s, const std::string& prefix)
{
    return s.compare(0, prefix.size(), prefix) == 0;
}

void replaceOnce(std::string& text, const std::string& from, const std::string& to)
{
    const auto at = text.find(from);
    if (at == std::string::npos)
        fail("JUCE's Turtle has no \"" + from + "\"");
    text.replace(at, from.size(), to);
}

/** A parameter JUCE wrote (the host's bypass) gets its symbol, and its whole numbers become floats. */
std::string completeJuceParameter(std::string block, const std::string& key)
{
    replaceOnce(block, "\ta lv2:Parameter ;\n",
                "\ta lv2:Parameter ;\n\tlv2:symbol " + turtleString(key) + " ;\n");
    for (const std::string property : {"lv2:default ", "lv2:minimum ", "lv2:maximum ", "rdf:value "})
        for (auto at = block.find(property); at != std::string::npos; at = block.find(property, at + 1))
        {
            const auto from = at + property.size();
            auto to = from;
            while (to < block.size() &&
                   (std::isdigit(static_cast<unsigned char>(block[to])) || block[to] == '-' ||
                    block[to] == '.' || block[to] == 'e' || block[to] == '+'))
                ++to;
            const auto number = block.substr(from, to - from);
            if (number.empty())
                fail("JUCE's Turtle has no number after " + property);
            block.replace(from, number.size(), turtleFloat(std::stof(number)));
        }
    return block;
}

std::string rewriteDsp(const std::string& juceDsp, const std::vector<Lv2Parameter>& parameters,
                       const BundleFacts& facts)
{
    std::map<std::string, const Lv2Parameter*> byKey;
    for (const auto& p : parameters)
        byKey[p.key] = &p;

    auto blocks = splitStatements(juceDsp);
    std::size_t replaced = 0;
    bool pluginSeen = false;
    for (auto& block : blocks)
    {
        if (startsWith(block, "plug:") && block.find("\ta lv2:Parameter ;") != std::string::npos)
        {
            const auto key = block.substr(5, block.find('\n') - 5);
            if (const auto it = byKey.find(key); it != byKey.end())
            {
                block = parameterBlock(*it->second);
                ++replaced;
            }
            else
                block = completeJuceParameter(block, key);
        }
        else if (startsWith(block, "<" + facts.pluginUri + ">\n"))
        {
            pluginSeen = true;
            replaceOnce(block, "\ta lv2:Plugin ;\n", "\ta lv2:Plugin , lv2:ReverbPlugin ;\n");
            const auto maintainer = block.find("\tdoap:maintainer [\n");
            const auto maintainerEnd = block.find("\t] ;\n", maintainer);
            if (maintainer == std::string::npos || maintainerEnd == std::string::npos)
                fail("JUCE's Turtle has no maintainer block");
            // No address: JUCE writes an empty one, which hosts read as the file's own URI.
            block.replace(maintainer, maintainerEnd + 5 - maintainer,
                          "\tdoap:license <" + facts.licence + "> ;\n\tdoap:homepage <" + facts.homepage +
                              "> ;\n\tdoap:maintainer [\n\t\ta foaf:Organization ;\n\t\tfoaf:name " +
                              turtleString(facts.maintainer) + " ;\n\t\tfoaf:homepage <" + facts.homepage +
                              "> ;\n\t] ;\n");
        }
    }
    if (replaced != parameters.size())
        fail("JUCE's Turtle lists " + std::to_string(replaced) + " of the " +
             std::to_string(parameters.size()) + " host parameters");
    if (!pluginSeen)
        fail("JUCE's Turtle has no block for " + facts.pluginUri);
    return joinStatements(blocks);
}

/** The programs JUCE listed from the processor, in its order. */
std::vector<Lv2Preset> readPrograms(const std::string& juceManifest)
{
    std::vector<Lv2Preset> presets;
    for (const auto& block : splitStatements(juceManifest))
    {
        if (block.find("\ta pset:Preset ;") == std::string::npos)
            continue;
        const auto labelAt = block.find("\trdfs:label \"");
        const auto labelEnd = block.find("\" ;\n", labelAt);
        const auto programAt = block.find(":Program> \"");
        if (labelAt == std::string::npos || labelEnd == std::string::npos || programAt == std::string::npos)
            fail("a preset of JUCE's manifest has no label or program");
        const auto labelStart = labelAt + 13;
        presets.push_back(
            {block.substr(labelStart, labelEnd - labelStart), std::stoi(block.substr(programAt + 11))});
    }
    return presets;
}

/** Characters that may stand in an IRI of the bundle; the rest become '_'. */
std::string iriSegment(const std::string& label)
{
    std::string out;
    for (const char c : label)
        out += std::isalnum(static_cast<unsigned char>(c)) || c == '/' || c == '-' || c == '.' ? c : '_';
    return out;
}

/** The manifest without JUCE's presets, then one preset for each named program. A preset's IRI follows its
    label, so a host that saved it in a session finds the same preset after the library grows; its state names
    the program, which the processor loads. */
std::string rewriteManifest(const std::string& juceManifest, const std::vector<Lv2Preset>& presets,
                            const BundleFacts& facts)
{
    std::vector<std::string> kept;
    for (const auto& block : splitStatements(juceManifest))
        if (block.find("\ta pset:Preset ;") == std::string::npos)
            kept.push_back(block);

    std::map<std::string, int> usedIris;
    for (const auto& preset : presets)
    {
        if (preset.label.empty())
            continue;
        auto iri = facts.pluginUri + ":preset/" + iriSegment(preset.label);
        if (const int n = usedIris[iri]++; n > 0)
            iri += "_" + std::to_string(n + 1);
        kept.push_back("<" + iri + ">\n\ta pset:Preset ;\n\tlv2:appliesTo <" + facts.pluginUri +
                       "> ;\n\trdfs:label " + turtleString(preset.label) + " ;\n\tstate:state [ <" +
                       facts.pluginUri + ":Program> \"" + std::to_string(preset.program) +
                       "\"^^xsd:int ] .\n");
    }
    return joinStatements(kept);
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        fail("cannot read " + path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text)
{
    // Written beside and renamed, so that an interrupted build never leaves half a bundle description.
    const auto temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        if (!out.flush())
            fail("cannot write " + temporary);
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
        fail("cannot replace " + path);
}

} // namespace
} // namespace qor

int main(int argc, char** argv)
{
    if (argc != 5)
    {
        std::cerr << "usage: lamina-lv2-turtle <bundle folder> <plug-in URI> <licence URI> <homepage URI>\n";
        return 2;
    }
    try
    {
        const std::string bundle = argv[1];
        const qor::BundleFacts facts{argv[2], argv[3], argv[4],
                                     qor::getPluginDefinition().getManufacturerName().toStdString()};

        std::vector<qor::Lv2Parameter> parameters;
        {
            qor::LaminaPlugin plugin(int32_t(qor::PluginFormat::lv2));
            parameters = qor::describeHostParameters(plugin);
        }
        const auto dsp = qor::readFile(bundle + "/dsp.ttl");
        const auto manifest = qor::readFile(bundle + "/manifest.ttl");
        qor::writeFile(bundle + "/dsp.ttl", qor::rewriteDsp(dsp, parameters, facts));
        qor::writeFile(bundle + "/manifest.ttl",
                       qor::rewriteManifest(manifest, qor::readPrograms(manifest), facts));
    }
    catch (const std::exception& e)
    {
        std::cerr << "lamina-lv2-turtle: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
