#pragma once

#include <cstddef>

namespace tinyxml2
{
class XMLDocument;
}

namespace qor
{

/** What a document that holds element trees (a host state, a preset) may be. Real ones are a few kilobytes
    with under a hundred attributes on their largest element; the limits leave ample room above that. */
struct ElementDocumentLimits
{
    std::size_t maxBytes = std::size_t{1} << 20;
    int maxAttributesPerElement = 256;
    int maxAttributes = 4096;
};

/** Parses `text` into `document`, unless a scan of the text finds more than `limits` allow. The parser checks
    each new attribute of an element against all earlier ones, so its time grows with the square of their
    number: the scan, one pass over the bytes, refuses such text before the parser sees it. Answers false for
    refused or malformed text, and leaves the document empty then. */
bool parseElementDocument(tinyxml2::XMLDocument& document, const char* text, std::size_t size,
                          const ElementDocumentLimits& limits = {});

/** The scan alone: whether `text` stays within `limits`. */
bool isWithinElementDocumentLimits(const char* text, std::size_t size,
                                   const ElementDocumentLimits& limits = {});

} // namespace qor
