#include "files/volume.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qor
{

namespace
{
constexpr int outputBufferSize = 32768;

/** A file that holds bytes on the disk. A pipe or a device has no end that a reader could wait for. */
bool isRegularFile(const juce::File& file)
{
    struct stat info = {};
    return ::stat(file.getFullPathName().toRawUTF8(), &info) == 0 && S_ISREG(info.st_mode);
}
} // namespace

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
    st.isFile = isRegularFile(file);
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
    if (!isRegularFile(file))
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

bool NativeFS::writeWhole(const VirtualFile& path, const void* data, std::size_t size)
{
    auto file = toFile(path);
    // A link is written through: the file it points at is replaced, the link stays.
    if (file.isSymbolicLink())
        file = file.getLinkedTarget();
    const auto folder = file.getParentDirectory();
    if (file == juce::File() || file.isDirectory() || folder.createDirectory().failed())
        return false;

    // In the same folder, so that the rename stays on one file system and replaces the target in one step.
    const auto temporary = folder.getNonexistentChildFile("." + file.getFileName(), ".tmp", false);
    const auto temporaryPath = temporary.getFullPathName().toStdString();
    const int fd = ::open(temporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    bool ok = true;
    for (auto* next = static_cast<const char*>(data); ok && size > 0;)
    {
        const auto written = ::write(fd, next, size);
        if (written < 0 && errno == EINTR)
            continue;
        ok = written > 0; // a short write is taken again from where it stopped; none at all is a failure
        if (ok)
        {
            next += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    ok = ok && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    ok = ok && ::rename(temporaryPath.c_str(), file.getFullPathName().toRawUTF8()) == 0;
    if (!ok)
        ::unlink(temporaryPath.c_str());
    return ok;
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
