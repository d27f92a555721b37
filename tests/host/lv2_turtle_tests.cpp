// The built LV2 bundle's Turtle as hosts read it: parsed by Debian's sordi into triples and checked against
// the parameter table, and for what an LV2 linter asks of a bundle (floats, licence, homepage, a real
// e-mail).
#include "tests/support/host_slots.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace
{
const std::string lv2 = "http://lv2plug.in/ns/lv2core#";
const std::string rdfs = "http://www.w3.org/2000/01/rdf-schema#";
const std::string rdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
const std::string xsd = "http://www.w3.org/2001/XMLSchema#";
const std::string doap = "http://usefulinc.com/ns/doap#";
const std::string foaf = "http://xmlns.com/foaf/0.1/";
const std::string patch = "http://lv2plug.in/ns/ext/patch#";
const std::string plugin = QOR_LV2_URI;

struct Term
{
    std::string text;
    std::string datatype; // literals only
    bool literal = false;
};

/** The triples of one Turtle file, as sordi writes them in N-Triples. */
class Graph
{
public:
    explicit Graph(const std::string& file)
    {
        const auto command = std::string(QOR_SORDI) + " 'file://" + file + "' 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr)
            return;
        char line[8192];
        while (fgets(line, sizeof(line), pipe) != nullptr)
            parseLine(line);
        status = pclose(pipe);
    }

    std::vector<Term> objects(const std::string& subject, const std::string& predicate) const
    {
        std::vector<Term> found;
        const auto range = triples.equal_range(subject);
        for (auto it = range.first; it != range.second; ++it)
            if (it->second.first == predicate)
                found.push_back(it->second.second);
        return found;
    }
    std::vector<std::string> subjectsWith(const std::string& predicate, const std::string& object) const
    {
        std::vector<std::string> found;
        for (const auto& [s, po] : triples)
            if (po.first == predicate && po.second.text == object)
                found.push_back(s);
        return found;
    }
    bool has(const std::string& subject, const std::string& predicate, const std::string& object) const
    {
        for (const auto& o : objects(subject, predicate))
            if (o.text == object)
                return true;
        return false;
    }
    /** The single literal of subject and predicate, or an empty term. */
    Term one(const std::string& subject, const std::string& predicate) const
    {
        const auto all = objects(subject, predicate);
        return all.size() == 1 ? all[0] : Term{};
    }

    int status = -1;
    std::size_t count() const { return triples.size(); }
    std::multimap<std::string, std::pair<std::string, Term>> triples;

private:
    static Term readTerm(const std::string& line, std::size_t& at)
    {
        Term term;
        if (line[at] == '"')
        {
            term.literal = true;
            for (++at; at < line.size() && line[at] != '"'; ++at)
                term.text += line[at] == '\\' ? line[++at] : line[at];
            ++at;
            if (line.compare(at, 3, "^^<") == 0)
            {
                const auto end = line.find('>', at);
                term.datatype = line.substr(at + 3, end - at - 3);
                at = end + 1;
            }
            while (at < line.size() && line[at] != ' ')
                ++at; // a language tag
        }
        else
        {
            const auto end = line.find(line[at] == '<' ? '>' : ' ', at);
            term.text = line.substr(line[at] == '<' ? at + 1 : at, end - at - (line[at] == '<' ? 1 : 0));
            at = line[at] == '<' ? end + 1 : end;
        }
        while (at < line.size() && line[at] == ' ')
            ++at;
        return term;
    }

    void parseLine(const std::string& line)
    {
        if (line.empty() || (line[0] != '<' && line[0] != '_'))
            return;
        std::size_t at = 0;
        const auto s = readTerm(line, at);
        const auto p = readTerm(line, at);
        const auto o = readTerm(line, at);
        triples.emplace(s.text, std::make_pair(p.text, o));
    }
};

/** A number that LV2 reads as a float: decimal or double, never an integer. */
bool isFloatLiteral(const Term& t)
{
    return t.literal &&
           (t.datatype == xsd + "decimal" || t.datatype == xsd + "double" || t.datatype == xsd + "float");
}

enum class Curve
{
    linear,
    logarithmic,
    choice,
    toggle
};

struct Expected
{
    float min, max, def;
    Curve curve;
};

// Slot order. Log and conformal mappers over a range from 0 cannot be logarithmic in LV2 (min · (max/min)^x).
const Expected table[qor::test::numHostSlots] = {
    {0.2f, 10000, 2, Curve::logarithmic},   // Decay
    {0, 1, 0.3f, Curve::linear},            // Mix
    {-40, 0, 0, Curve::linear},             // LowCutGain
    {0, 4, 0, Curve::choice},               // Material
    {0.6f, 6, 2, Curve::logarithmic},       // Area
    {0.05f, 20, 2, Curve::logarithmic},     // AspectRatio
    {0, 2000, 1, Curve::linear},            // Tension
    {-20, 20, 0, Curve::linear},            // Gain
    {0, 1, 1, Curve::linear},               // StereoWidth
    {0, 1, 1, Curve::toggle},               // EnablePorousDamp
    {100, 10000, 1000, Curve::logarithmic}, // PorousFreq
    {0, 1, 1, Curve::toggle},               // EnableViscousDamp
    {0, 10, 1, Curve::linear},              // ThermalDampMult
    {0.01f, 100, 1, Curve::logarithmic},    // ThermalFreqMult
    {0, 1, 1, Curve::toggle},               // EnableRadiationDamp
    {0, 10, 1, Curve::linear},              // RadiationMult
    {0.01f, 100, 1, Curve::logarithmic},    // RadiationFreqMult
    {0, 1, 1, Curve::toggle},               // EnableBandDamp
    {0, 1000, 0, Curve::linear},            // PreDelay
    {0, 1, 0.2f, Curve::linear},            // Anisotropy
    {0, 1, 0, Curve::linear},               // Modulation
    {0, 1, 0, Curve::linear},               // Drive
    {0, 1, 1, Curve::toggle},               // EnableLowcut
    {10, 200, 50, Curve::logarithmic},      // LowCutFreq
    {0, 1, 1, Curve::toggle},               // EnableEQ
};

const char* materials[] = {"Steel", "Gold", "Silver", "Titanium", "Aluminium"};

class Lv2Turtle : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        dsp = new Graph(std::string(QOR_LV2_BUNDLE) + "/dsp.ttl");
        manifest = new Graph(std::string(QOR_LV2_BUNDLE) + "/manifest.ttl");
    }
    static void TearDownTestSuite()
    {
        delete dsp;
        delete manifest;
    }
    static Graph* dsp;
    static Graph* manifest;
};
Graph* Lv2Turtle::dsp = nullptr;
Graph* Lv2Turtle::manifest = nullptr;

void expectFloat(const Term& t, float expected, const std::string& what)
{
    EXPECT_TRUE(isFloatLiteral(t)) << what << " is \"" << t.text << "\" of type <" << t.datatype << ">";
    EXPECT_EQ(std::strtof(t.text.c_str(), nullptr), expected) << what << " is " << t.text;
}
} // namespace

TEST_F(Lv2Turtle, EveryHostParameterHasTheTablesRangeDefaultScaleAndLabels)
{
    ASSERT_EQ(dsp->status, 0) << "sordi could not parse dsp.ttl";
    for (int i = 0; i < qor::test::numHostSlots; ++i)
    {
        const std::string key = qor::test::hostSlotKeys[i];
        const auto iri = plugin + ":" + key;
        const auto& e = table[i];
        SCOPED_TRACE(key);
        EXPECT_TRUE(dsp->has(iri, rdf + "type", lv2 + "Parameter"));
        EXPECT_TRUE(dsp->has(plugin, patch + "writable", iri));
        EXPECT_EQ(dsp->one(iri, rdfs + "label").text, qor::test::hostSlotNames[i]);
        EXPECT_EQ(dsp->one(iri, lv2 + "symbol").text, key) << "jalv -c and lilv hosts name it by its symbol";
        expectFloat(dsp->one(iri, lv2 + "minimum"), e.min, "minimum");
        expectFloat(dsp->one(iri, lv2 + "maximum"), e.max, "maximum");
        expectFloat(dsp->one(iri, lv2 + "default"), e.def, "default");

        const bool log =
            dsp->has(iri, lv2 + "portProperty", "http://lv2plug.in/ns/ext/port-props#logarithmic");
        EXPECT_EQ(log, e.curve == Curve::logarithmic);
        EXPECT_EQ(dsp->has(iri, lv2 + "portProperty", lv2 + "toggled"), e.curve == Curve::toggle);
        EXPECT_EQ(dsp->has(iri, lv2 + "portProperty", lv2 + "integer"), e.curve == Curve::choice);
        EXPECT_EQ(dsp->has(iri, lv2 + "portProperty", lv2 + "enumeration"), e.curve == Curve::choice);

        const auto points = dsp->objects(iri, lv2 + "scalePoint");
        if (e.curve != Curve::choice)
        {
            EXPECT_TRUE(points.empty());
            continue;
        }
        std::map<float, std::string> labels;
        for (const auto& point : points)
        {
            const auto value = dsp->one(point.text, rdf + "value");
            EXPECT_TRUE(isFloatLiteral(value)) << value.text;
            labels[std::strtof(value.text.c_str(), nullptr)] = dsp->one(point.text, rdfs + "label").text;
        }
        ASSERT_EQ(labels.size(), 5u) << "one point for each whole value from 0 to 4";
        for (int v = 0; v < 5; ++v)
            EXPECT_EQ(labels[float(v)], materials[v]) << "at the real value " << v;
    }
}

TEST_F(Lv2Turtle, TheBundleSaysWhatALinterAsksAndListsNoNamelessPreset)
{
    ASSERT_EQ(dsp->status, 0);
    ASSERT_EQ(manifest->status, 0);
    // Every number a host reads as a bound, a default or a point is a float, the bypass included.
    for (const auto& [subject, po] : dsp->triples)
        for (const auto& predicate : {lv2 + "minimum", lv2 + "maximum", lv2 + "default", rdf + "value"})
        {
            if (po.first == predicate)
            {
                EXPECT_TRUE(isFloatLiteral(po.second))
                    << subject << " " << predicate << " " << po.second.text;
            }
        }

    EXPECT_EQ(dsp->objects(plugin, doap + "license").size(), 1u);
    EXPECT_EQ(dsp->objects(plugin, doap + "homepage").size(), 1u);
    EXPECT_TRUE(dsp->has(plugin, rdf + "type", lv2 + "ReverbPlugin"));
    const auto maintainers = dsp->objects(plugin, doap + "maintainer");
    ASSERT_EQ(maintainers.size(), 1u);
    EXPECT_FALSE(dsp->one(maintainers[0].text, foaf + "name").text.empty());
    // An e-mail is a mailto: address or absent; an empty IRI would resolve to the file itself.
    for (const auto& [subject, po] : dsp->triples)
    {
        if (po.first == foaf + "mbox")
        {
            EXPECT_EQ(po.second.text.rfind("mailto:", 0), 0u) << po.second.text;
        }
    }

    for (const auto& preset : manifest->subjectsWith(rdf + "type", "http://lv2plug.in/ns/ext/presets#Preset"))
        EXPECT_FALSE(manifest->one(preset, rdfs + "label").text.empty()) << preset << " has no name";
}
