#include "files/resource_fs.h"

#include "files/embedded_archive.h"

namespace qor
{

/** One thread's ZIP reader over the archive's bytes. Streams it hands out keep it (and the bytes) alive. */
struct ResourceFS::Reader
{
    Reader(const void* data, size_t size, std::shared_ptr<const juce::MemoryBlock> owner)
        : keepAlive(std::move(owner)), zip(new juce::MemoryInputStream(data, size, false), true)
    {
    }

    std::shared_ptr<const juce::MemoryBlock> keepAlive;
    juce::ZipFile zip;
};

namespace
{

/** An entry's stream together with the reader it reads through. */
class EntryStream : public juce::InputStream
{
public:
    EntryStream(std::shared_ptr<ResourceFS::Reader> r, std::unique_ptr<juce::InputStream> s)
        : reader(std::move(r)), stream(std::move(s))
    {
    }

    juce::int64 getTotalLength() override { return stream->getTotalLength(); }
    bool isExhausted() override { return stream->isExhausted(); }
    int read(void* dest, int maxBytes) override { return stream->read(dest, maxBytes); }
    juce::int64 getPosition() override { return stream->getPosition(); }
    bool setPosition(juce::int64 pos) override { return stream->setPosition(pos); }
    void skipNextBytes(juce::int64 n) override { stream->skipNextBytes(n); }

private:
    std::shared_ptr<ResourceFS::Reader> reader; // declared first: outlives the stream
    std::unique_ptr<juce::InputStream> stream;
};

juce::StringArray components(const juce::String& relative)
{
    juce::StringArray parts;
    parts.addTokens(relative, "/", "");
    parts.removeEmptyStrings();
    return parts;
}

} // namespace

ResourceFS::ResourceFS(bool isZipped, const juce::File& folder) : zipped(isZipped), backingFolder(folder)
{
    if (!zipped)
    {
        name = "Resource";
        label = "Resource";
        kind = archive;
        rootPath = VirtualFile("Resource");
        valid = false;
        error = "Windows must use zipped resource";
        return;
    }
    const auto embedded = getEmbeddedArchive();
    data = embedded.data;
    size = embedded.size;
    open("Resource");
}

ResourceFS::ResourceFS(const juce::MemoryBlock& zipData, const juce::String& volumeName)
{
    auto copy = std::make_shared<juce::MemoryBlock>(zipData);
    data = copy->getData();
    size = copy->getSize();
    ownedData = std::move(copy);
    open(volumeName);
}

ResourceFS::~ResourceFS() = default;

void ResourceFS::open(const juce::String& volumeName)
{
    name = volumeName;
    label = volumeName;
    kind = archive;
    rootPath = VirtualFile(volumeName);
    auto* root = tree.NewElement("Resource");
    tree.InsertEndChild(root);
    valid = true;

    // A missing or damaged archive leaves the tree empty: every lookup then fails quietly.
    if (data == nullptr || size == 0)
        return;
    auto reader = readerForThisThread();
    const int n = reader->zip.getNumEntries();
    for (int i = 0; i < n; ++i)
    {
        const auto* entry = reader->zip.getEntry(i);
        if (entry == nullptr)
            continue;
        const auto parts = components(entry->filename);
        // Names that climb or stand still would make paths that no lookup can reach sensibly.
        if (parts.contains("..") || parts.contains("."))
            continue;
        tinyxml2::XMLElement* node = root;
        for (const auto& part : parts)
        {
            const auto utf8 = part.toStdString();
            auto* child = node->FirstChildElement(utf8.c_str());
            if (child == nullptr)
                child = node->InsertNewChildElement(utf8.c_str());
            node = child;
        }
    }
}

std::shared_ptr<ResourceFS::Reader> ResourceFS::readerForThisThread()
{
    const auto id = std::this_thread::get_id();
    const juce::ScopedLock sl(readersLock);
    auto& slot = readers[id];
    if (slot == nullptr)
        slot = std::make_shared<Reader>(data, size, ownedData);
    return slot;
}

int ResourceFS::getNumEntries()
{
    if (data == nullptr || size == 0)
        return 0;
    return readerForThisThread()->zip.getNumEntries();
}

const tinyxml2::XMLElement* ResourceFS::find(const juce::String& relative) const
{
    const tinyxml2::XMLElement* node = tree.RootElement();
    for (const auto& part : components(relative))
    {
        if (node == nullptr)
            return nullptr;
        node = node->FirstChildElement(part.toStdString().c_str());
    }
    return node;
}

FileStatus ResourceFS::status(const VirtualFile& path)
{
    const auto* node = find(relativePart(path));
    if (node == nullptr)
        return {};
    // Folders in the archive report isFile as well; callers tell folders by isDirectory first.
    return {true, node->FirstChildElement() != nullptr, true, false};
}

bool ResourceFS::list(const VirtualFile& path, std::vector<VirtualFile>& out)
{
    const auto relative = relativePart(path);
    const auto* node = find(relative);
    if (node == nullptr)
        return false;
    const auto base = relative.isEmpty() ? rootName() : rootName().getChild(relative);
    for (auto* child = node->FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        const auto childName = juce::String::fromUTF8(child->Name());
        if (childName == "." || childName == "..")
            continue;
        out.push_back(base.getChild(childName));
    }
    return true;
}

std::unique_ptr<juce::InputStream> ResourceFS::openInput(const VirtualFile& path)
{
    if (data == nullptr || size == 0)
        return nullptr;
    const auto relative = relativePart(path);
    if (relative.isEmpty())
        return nullptr;
    auto reader = readerForThisThread();
    const int index = reader->zip.getIndexOfFileName(relative, false);
    if (index < 0)
        return nullptr;
    std::unique_ptr<juce::InputStream> stream(reader->zip.createStreamForEntry(index));
    if (stream == nullptr)
        return nullptr;
    return std::make_unique<EntryStream>(std::move(reader), std::move(stream));
}

} // namespace qor
