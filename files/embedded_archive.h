#pragma once

#include <cstddef>

namespace qor
{

/** The bytes of the zipped resource/ folder that the build links into this binary. */
struct EmbeddedArchive
{
    const void* data;
    size_t size;
};

EmbeddedArchive getEmbeddedArchive();

} // namespace qor
