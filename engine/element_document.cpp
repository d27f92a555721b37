#include "engine/element_document.h"

#include <tinyxml2.h>

#include <cstring>
#include <string_view>

namespace qor
{

namespace
{
/** Where `end` next occurs in text[from, size), or size. */
std::size_t find(std::string_view text, std::size_t from, std::string_view end)
{
    const auto at = text.find(end, from);
    return at == std::string_view::npos ? text.size() : at;
}
} // namespace

bool isWithinElementDocumentLimits(const char* data, std::size_t size, const ElementDocumentLimits& limits)
{
    if (data == nullptr || size > limits.maxBytes)
        return false;
    const std::string_view text(data, size);
    int total = 0;
    for (std::size_t i = text.find('<'); i < text.size(); i = text.find('<', i))
    {
        const auto rest = text.substr(i);
        // Comments, character data, declarations and instructions hold no attributes for the parser to
        // compare.
        if (rest.starts_with("<!--"))
            i = find(text, i + 4, "-->") + 3;
        else if (rest.starts_with("<![CDATA["))
            i = find(text, i + 9, "]]>") + 3;
        else if (rest.starts_with("<?"))
            i = find(text, i + 2, "?>") + 2;
        else if (rest.starts_with("<!") || rest.starts_with("</"))
            i = find(text, i + 2, ">") + 1;
        else
        {
            // A start tag: every '=' outside a quoted value begins an attribute's value.
            int attributes = 0;
            char quote = 0;
            for (++i; i < text.size(); ++i)
            {
                const char c = text[i];
                if (quote != 0)
                    quote = c == quote ? char(0) : quote;
                else if (c == '"' || c == '\'')
                    quote = c;
                else if (c == '=')
                {
                    if (++attributes > limits.maxAttributesPerElement || ++total > limits.maxAttributes)
                        return false;
                }
                else if (c == '>')
                    break;
            }
        }
    }
    return true;
}

bool parseElementDocument(tinyxml2::XMLDocument& document, const char* text, std::size_t size,
                          const ElementDocumentLimits& limits)
{
    document.Clear();
    if (!isWithinElementDocumentLimits(text, size, limits) ||
        document.Parse(text, size) != tinyxml2::XML_SUCCESS)
    {
        document.Clear();
        return false;
    }
    return true;
}

} // namespace qor
