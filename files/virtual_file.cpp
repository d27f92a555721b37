#include "files/virtual_file.h"

#include "files/vfs_holder.h"
#include "files/volume.h"

#include <algorithm>

namespace qor
{

namespace
{

juce::String withoutTrailingSlash(const juce::String& s)
{
    return s.endsWithChar('/') ? s.dropLastCharacters(1) : s;
}

bool isDotName(const juce::String& name)
{
    return name.startsWithChar('.');
}

// Aliases may point at aliases; a cycle must not hang the caller.
constexpr int maxAliasDepth = 32;

} // namespace

VirtualFile::VirtualFile(const juce::String& p) : path(p.replaceCharacter('\\', '/')) {}

VirtualFile::VirtualFile(const char* p) : VirtualFile(juce::String::fromUTF8(p)) {}

VirtualFile::VirtualFile(const juce::File& file) : VirtualFile(file.getFullPathName()) {}

VirtualFile VirtualFile::getParent() const
{
    const auto trimmed = withoutTrailingSlash(path);
    const int slash = trimmed.lastIndexOfChar('/');
    if (slash < 0)
        return {};
    if (slash == 0)
        return VirtualFile(juce::String("/"));
    return VirtualFile(trimmed.substring(0, slash));
}

VirtualFile VirtualFile::getChild(const juce::String& relative) const
{
    const juce::String right = relative.replaceCharacter('\\', '/');
    const bool leftSlash = path.endsWithChar('/');
    const bool rightSlash = right.startsWithChar('/');
    if (leftSlash && rightSlash)
        return VirtualFile(path + right.substring(1));
    if (leftSlash || rightSlash)
        return VirtualFile(path + right);
    return VirtualFile(path + "/" + right);
}

juce::String VirtualFile::getFileName() const
{
    const auto trimmed = withoutTrailingSlash(path);
    return trimmed.substring(trimmed.lastIndexOfChar('/') + 1);
}

juce::String VirtualFile::getFileNameWithoutExtension() const
{
    const auto name = getFileName();
    const int dot = name.lastIndexOfChar('.');
    return dot < 0 ? name : name.substring(0, dot);
}

juce::String VirtualFile::getExtension() const
{
    const auto name = getFileName();
    const int dot = name.lastIndexOfChar('.');
    return dot < 0 ? juce::String() : name.substring(dot);
}

std::shared_ptr<Volume> VirtualFile::getVolume() const
{
    return VFSHolder::instance().findVolume(path);
}

juce::String VirtualFile::relativePath(const Volume& volume) const
{
    return volume.relativePart(*this);
}

FileStatus VirtualFile::status() const
{
    if (auto volume = getVolume())
        return volume->status(*this);
    if (path == "$")
        return {true, true, true, true};
    return {};
}

bool VirtualFile::list(std::vector<VirtualFile>& out) const
{
    if (path == "$")
    {
        const auto roots = VFSHolder::instance().roots();
        out.insert(out.end(), roots.begin(), roots.end());
        return true;
    }
    if (auto volume = getVolume())
        return volume->list(*this, out);
    return false;
}

std::unique_ptr<juce::InputStream> VirtualFile::openInput() const
{
    if (auto volume = getVolume())
        return volume->openInput(*this);
    return nullptr;
}

std::unique_ptr<juce::OutputStream> VirtualFile::openOutput(bool append) const
{
    if (auto volume = getVolume())
        return volume->openOutput(*this, append);
    return nullptr;
}

bool VirtualFile::writeWhole(const void* data, std::size_t size) const
{
    if (auto volume = getVolume())
        return volume->writeWhole(*this, data, size);
    return false;
}

bool VirtualFile::createDirectory(bool recursive) const
{
    auto volume = getVolume();
    if (volume == nullptr)
        return false;
    const auto st = volume->status(*this);
    if (st.exists)
        return st.isDirectory;
    if (recursive)
    {
        const auto parent = getParent();
        // Climbing stops at the volume's root, which exists or not by itself.
        if (!parent.isEmpty() && !parent.samePath(*this) && !parent.samePath(volume->rootName()) &&
            parent.getVolume() != nullptr && !parent.exists() && !parent.createDirectory(true))
            return false;
    }
    return volume->createDirectory(*this);
}

bool VirtualFile::remove(bool recursive) const
{
    if (auto volume = getVolume())
        return volume->remove(*this, recursive);
    return false;
}

bool VirtualFile::copyTo(const VirtualFile& other) const
{
    const auto st = status();
    if (!st.exists || st.isDirectory || !st.isFile)
        return false;
    auto in = openInput();
    if (in == nullptr)
        return false;
    auto out = other.openOutput(false);
    if (out == nullptr)
        return false;
    char buffer[4096];
    for (;;)
    {
        const int n = in->read(buffer, (int)sizeof(buffer));
        if (n <= 0)
            break;
        if (!out->write(buffer, (size_t)n))
            return false;
    }
    out->flush();
    return true;
}

VirtualFile VirtualFile::nativePath() const
{
    if (auto volume = getVolume())
        return volume->nativePath(*this);
    return {};
}

bool VirtualFile::samePath(const VirtualFile& other) const
{
    return withoutTrailingSlash(path) == withoutTrailingSlash(other.path);
}

std::vector<VirtualFile> listOrdered(const VirtualFile& folder, bool sorted, bool foldersFirst)
{
    std::vector<VirtualFile> items;
    folder.list(items);
    if (sorted)
        std::stable_sort(items.begin(), items.end(),
                         [](const VirtualFile& a, const VirtualFile& b)
                         { return naturalCompare(a.getFileName(), b.getFileName()) < 0; });
    if (foldersFirst)
        std::stable_partition(items.begin(), items.end(),
                              [](const VirtualFile& f) { return f.isDirectory(); });
    return items;
}

namespace
{

bool siblingStep(const VirtualFile& file, VirtualFile& out, bool sorted, bool foldersFirst, bool forward)
{
    const auto parent = file.getParent();
    if (parent.isEmpty())
        return false;
    const auto items = listOrdered(parent, sorted, foldersFirst);
    const auto n = (std::ptrdiff_t)items.size();
    std::ptrdiff_t at = -1;
    for (std::ptrdiff_t i = 0; i < n; ++i)
        if (items[(size_t)i].samePath(file))
        {
            at = i;
            break;
        }
    if (at < 0)
        return false;
    const std::ptrdiff_t step = forward ? 1 : -1;
    for (auto i = at + step; i >= 0 && i < n; i += step)
        if (!isDotName(items[(size_t)i].getFileName()))
        {
            out = items[(size_t)i];
            return true;
        }
    return false;
}

/** The first (or last) file reached by descending from `entry`; a folder without real children counts as a
    file. Not the start of the walk. */
bool descend(const VirtualFile& entry, const VirtualFile& start, VirtualFile& out, bool sorted,
             bool foldersFirst, bool forward, int depth)
{
    VirtualFile current = entry;
    for (; depth < 256; ++depth)
    {
        if (current.isDirectory())
        {
            const auto items = listOrdered(current, sorted, foldersFirst);
            const VirtualFile* pick = nullptr;
            if (forward)
            {
                for (const auto& item : items)
                    if (!isDotName(item.getFileName()))
                    {
                        pick = &item;
                        break;
                    }
            }
            else
            {
                for (auto it = items.rbegin(); it != items.rend(); ++it)
                    if (!isDotName(it->getFileName()))
                    {
                        pick = &*it;
                        break;
                    }
            }
            if (pick != nullptr && !pick->samePath(current))
            {
                current = *pick;
                continue;
            }
        }
        if (current.samePath(start))
            return false;
        out = current;
        return true;
    }
    return false;
}

bool walk(const VirtualFile& self, VirtualFile& out, const VirtualFile& stopAt, bool sorted,
          bool foldersFirst, bool forward)
{
    const VirtualFile start = self; // `out` may be the caller's reference to `self`
    out = start;
    VirtualFile found;
    if (start.isDirectory() && descend(start, start, found, sorted, foldersFirst, forward, 0))
    {
        out = found;
        return true;
    }
    VirtualFile current = start;
    for (int guard = 0; guard < 4096; ++guard)
    {
        VirtualFile sibling;
        if (siblingStep(current, sibling, sorted, foldersFirst, forward))
        {
            if (descend(sibling, start, found, sorted, foldersFirst, forward, 0))
            {
                out = found;
                return true;
            }
            current = sibling;
            continue;
        }
        const auto parent = current.getParent();
        if (parent.isEmpty() || parent.samePath(current) || parent.samePath(stopAt))
            return false;
        current = parent;
    }
    return false;
}

} // namespace

bool VirtualFile::nextSibling(VirtualFile& out, bool sorted, bool foldersFirst) const
{
    return siblingStep(*this, out, sorted, foldersFirst, true);
}

bool VirtualFile::previousSibling(VirtualFile& out, bool sorted, bool foldersFirst) const
{
    return siblingStep(*this, out, sorted, foldersFirst, false);
}

bool VirtualFile::findNext(VirtualFile& out, const VirtualFile& stopAt, bool sorted, bool foldersFirst) const
{
    return walk(*this, out, stopAt, sorted, foldersFirst, true);
}

bool VirtualFile::findPrevious(VirtualFile& out, const VirtualFile& stopAt, bool sorted,
                               bool foldersFirst) const
{
    return walk(*this, out, stopAt, sorted, foldersFirst, false);
}

VirtualFile VirtualFile::resolveAlias() const
{
    VirtualFile current = *this;
    for (int i = 0; i < maxAliasDepth; ++i)
    {
        auto volume = current.getVolume();
        if (volume == nullptr || volume->kind != Volume::favorite)
            return current;
        const auto relative = volume->relativePart(current);
        current = relative.isEmpty() ? volume->rootPath : volume->rootPath.getChild(relative);
    }
    return current;
}

} // namespace qor
