#include "files/volume.h"

namespace qor
{

namespace
{
constexpr int outputBufferSize = 32768;
}

NativeFS::NativeFS(const juce::String& volumeName, const juce::String& volumeLabel, const juce::File& root,
                   int32_t media)
{
    name = volumeName;
    label = volumeLabel;
    rootPath = VirtualFile(root);
    kind = native;
    mediaKind = media;
    valid = root.isDirectory();
    if (!valid)
        error = "No such folder: " + root.getFullPathName();
}

juce::File NativeFS::toFile(const VirtualFile& path) const
{
    const auto relative = relativePart(path);
    const auto absolute = relative.isEmpty() ? rootPath : rootPath.getChild(relative);
    auto text = absolute.getPath();
    // juce::File wants an absolute path; anything else is not ours.
    if (!juce::File::isAbsolutePath(text))
        return {};
    // Symbolic links are followed by the operating system itself.
    return juce::File(text);
}

bool NativeFS::list(const VirtualFile& path, std::vector<VirtualFile>& out)
{
    const auto dir = toFile(path);
    if (!dir.isDirectory())
        return false;
    const auto relative = relativePart(path);
    const auto base = relative.isEmpty() ? rootName() : rootName().getChild(relative);
    for (const auto& entry :
         juce::RangedDirectoryIterator(dir, false, "*", juce::File::findFilesAndDirectories))
        out.push_back(base.getChild(entry.getFile().getFileName()));
    return true;
}

FileStatus NativeFS::status(const VirtualFile& path)
{
    const auto file = toFile(path);
    if (file == juce::File())
        return {};
    FileStatus st;
    st.isWritable = file.hasWriteAccess();
    if (!file.exists())
        return st;
    st.exists = true;
    st.isDirectory = file.isDirectory();
    st.isFile = file.existsAsFile();
    return st;
}

VirtualFile NativeFS::nativePath(const VirtualFile& path)
{
    const auto file = toFile(path);
    return file == juce::File() ? VirtualFile() : VirtualFile(file);
}

std::unique_ptr<juce::InputStream> NativeFS::openInput(const VirtualFile& path)
{
    const auto file = toFile(path);
    if (!file.existsAsFile())
        return nullptr;
    auto stream = std::make_unique<juce::FileInputStream>(file);
    if (stream->failedToOpen())
        return nullptr;
    return stream;
}

std::unique_ptr<juce::OutputStream> NativeFS::openOutput(const VirtualFile& path, bool append)
{
    const auto file = toFile(path);
    if (file == juce::File() || file.isDirectory())
        return nullptr;
    if (!append && !file.deleteFile() && file.existsAsFile())
    {
        // A file that cannot be deleted may still be writable: empty it in place.
        juce::FileOutputStream existing(file);
        if (existing.openedOk())
        {
            existing.setPosition(0);
            existing.truncate();
        }
    }
    if (file.create().failed())
        return nullptr;
    auto stream = std::make_unique<juce::FileOutputStream>(file, outputBufferSize);
    if (stream->failedToOpen())
        return nullptr;
    return stream;
}

bool NativeFS::createDirectory(const VirtualFile& path)
{
    const auto dir = toFile(path);
    if (dir == juce::File())
        return false;
    if (dir.isDirectory())
        return true;
    // One level only: the parents are the caller's business.
    if (!dir.getParentDirectory().isDirectory())
        return false;
    return dir.createDirectory().wasOk();
}

bool NativeFS::remove(const VirtualFile& path, bool recursive)
{
    const auto file = toFile(path);
    if (file == juce::File() || !file.exists())
        return false;
    if (recursive)
        return file.deleteRecursively();
    return file.deleteFile();
}

} // namespace qor
