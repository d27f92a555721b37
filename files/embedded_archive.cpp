#include "files/embedded_archive.h"

// The build zips resource/ and passes the zip's path in QOR_RESOURCE_ZIP_PATH; the assembler copies its bytes
// into a read-only section, so no generated source is needed and no JUCE tool has to run.
#ifndef QOR_RESOURCE_ZIP_PATH
#error "QOR_RESOURCE_ZIP_PATH must name the zipped resource folder"
#endif

__asm__(".pushsection .rodata.qor_resource, \"a\", @progbits\n"
        ".balign 16\n"
        ".globl qor_resource_zip_begin\n"
        ".hidden qor_resource_zip_begin\n"
        "qor_resource_zip_begin:\n"
        ".incbin \"" QOR_RESOURCE_ZIP_PATH "\"\n"
        ".globl qor_resource_zip_end\n"
        ".hidden qor_resource_zip_end\n"
        "qor_resource_zip_end:\n"
        ".byte 0\n"
        ".popsection\n");

extern "C" const unsigned char qor_resource_zip_begin[];
extern "C" const unsigned char qor_resource_zip_end[];

namespace qor
{

EmbeddedArchive getEmbeddedArchive()
{
    return {qor_resource_zip_begin, static_cast<size_t>(qor_resource_zip_end - qor_resource_zip_begin)};
}

} // namespace qor
