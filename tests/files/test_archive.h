#pragma once

#include <juce_core/juce_core.h>

#include <utility>
#include <vector>

namespace qor::test
{

/** A ZIP in memory with the given entries, in the given order. */
inline juce::MemoryBlock makeZip(const std::vector<std::pair<juce::String, juce::String>>& entries)
{
    juce::ZipFile::Builder builder;
    for (const auto& [name, text] : entries)
    {
        juce::MemoryBlock content(text.toRawUTF8(), text.getNumBytesAsUTF8());
        builder.addEntry(new juce::MemoryInputStream(content, true), 9, name, juce::Time(2020, 0, 1, 0, 0));
    }
    juce::MemoryOutputStream out;
    builder.writeToStream(out, nullptr);
    return out.getMemoryBlock();
}

inline juce::String readAll(juce::InputStream* in)
{
    return in == nullptr ? juce::String("<null>") : in->readEntireStreamAsString();
}

/** A fresh folder under the system's temporary folder, deleted with the object. */
struct TempFolder
{
    TempFolder()
        : folder(juce::File::getSpecialLocation(juce::File::tempDirectory)
                     .getNonexistentChildFile("qor_files_test", ""))
    {
        folder.createDirectory();
    }
    ~TempFolder() { folder.deleteRecursively(); }

    juce::File folder;
};

} // namespace qor::test
