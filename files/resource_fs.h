#pragma once

#include "files/volume.h"

#include <tinyxml2.h>

#include <map>
#include <thread>

namespace qor
{

/** The zipped resource folder as a read-only volume, "$Resource/...". The directory tree is built once from
    the archive's entry names; status and listing never touch the archive. Each thread gets its own ZIP
   reader, so any thread may read at any time. */
class ResourceFS : public Volume
{
public:
    /** Over the archive linked into this binary. `zipped` off is refused (the unzipped form does not exist
        here); `backingFolder` is where the archive came from, kept for display. */
    ResourceFS(bool zipped, const juce::File& backingFolder);
    /** Over any ZIP in memory; the bytes are copied. */
    explicit ResourceFS(const juce::MemoryBlock& zipData, const juce::String& name = "Resource");
    ~ResourceFS() override;

    bool list(const VirtualFile& path, std::vector<VirtualFile>& out) override;
    FileStatus status(const VirtualFile& path) override;
    std::unique_ptr<juce::InputStream> openInput(const VirtualFile& path) override;
    std::unique_ptr<juce::OutputStream> openOutput(const VirtualFile&, bool) override { return nullptr; }
    bool createDirectory(const VirtualFile&) override { return false; }
    bool remove(const VirtualFile&, bool) override { return false; }

    bool isZipped() const { return zipped; }
    const juce::File& getBackingFolder() const { return backingFolder; }
    /** How many entries the archive holds. */
    int getNumEntries();

    struct Reader;

private:
    void open(const juce::String& volumeName);
    std::shared_ptr<Reader> readerForThisThread();
    const tinyxml2::XMLElement* find(const juce::String& relative) const;

    tinyxml2::XMLDocument tree;
    bool zipped = true;
    juce::File backingFolder;
    const void* data = nullptr;
    size_t size = 0;
    std::shared_ptr<const juce::MemoryBlock> ownedData;
    juce::CriticalSection readersLock;
    std::map<std::thread::id, std::shared_ptr<Reader>> readers;
};

} // namespace qor
