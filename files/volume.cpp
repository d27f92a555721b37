#include "files/volume.h"

namespace qor
{

VirtualFile Volume::nativePath(const VirtualFile&)
{
    return {};
}

VirtualFile Volume::rootName() const
{
    if (kind != native)
        return VirtualFile("$" + name);
    return VirtualFile(name);
}

juce::String Volume::relativePart(const VirtualFile& path) const
{
    const auto& text = path.getPath();
    const auto root = rootName().getPath();
    // The owner was found by a prefix match (case-insensitive for native volumes), so drop by length.
    auto rest = text.length() >= root.length() ? text.substring(root.length()) : juce::String();
    if (rest.startsWithChar('/'))
        rest = rest.substring(1);
    return rest;
}

bool hasParentReference(const juce::String& relative)
{
    juce::StringArray parts;
    parts.addTokens(relative, "/", "");
    return parts.contains("..");
}

Favorite::Favorite(const juce::String& volumeName, const VirtualFile& target)
{
    name = volumeName;
    label = volumeName;
    rootPath = target;
    kind = favorite;
    valid = !volumeName.isEmpty() && !target.isEmpty();
    if (!valid)
        error = "A favourite needs a name and a folder";
}

VirtualFile Favorite::target(const VirtualFile& path) const
{
    const auto relative = relativePart(path);
    if (hasParentReference(relative))
        return {};
    return relative.isEmpty() ? rootPath : rootPath.getChild(relative);
}

bool Favorite::list(const VirtualFile& path, std::vector<VirtualFile>& out)
{
    const auto resolved = target(path);
    if (resolved.isEmpty())
        return false;
    std::vector<VirtualFile> items;
    if (!resolved.list(items))
        return false;
    // Keep the listing inside the favourite's own name space.
    const auto base =
        path.getPath().endsWithChar('/') ? VirtualFile(path.getPath().dropLastCharacters(1)) : path;
    for (const auto& item : items)
        out.push_back(base.getChild(item.getFileName()));
    return true;
}

FileStatus Favorite::status(const VirtualFile& path)
{
    const auto resolved = target(path);
    return resolved.isEmpty() ? FileStatus{} : resolved.status();
}

VirtualFile Favorite::nativePath(const VirtualFile& path)
{
    const auto resolved = target(path);
    return resolved.isEmpty() ? VirtualFile() : resolved.nativePath();
}

std::unique_ptr<juce::InputStream> Favorite::openInput(const VirtualFile& path)
{
    const auto resolved = target(path);
    return resolved.isEmpty() ? nullptr : resolved.openInput();
}

std::unique_ptr<juce::OutputStream> Favorite::openOutput(const VirtualFile& path, bool append)
{
    const auto resolved = target(path);
    return resolved.isEmpty() ? nullptr : resolved.openOutput(append);
}

bool Favorite::writeWhole(const VirtualFile& path, const void* data, std::size_t size)
{
    const auto resolved = target(path);
    return !resolved.isEmpty() && resolved.writeWhole(data, size);
}

bool Favorite::createDirectory(const VirtualFile& path)
{
    const auto resolved = target(path);
    return !resolved.isEmpty() && resolved.createDirectory(false);
}

bool Favorite::remove(const VirtualFile& path, bool recursive)
{
    const auto resolved = target(path);
    return !resolved.isEmpty() && resolved.remove(recursive);
}

DummyFavorite::DummyFavorite(const juce::String& volumeName, const VirtualFile& target)
{
    name = volumeName;
    label = volumeName;
    rootPath = target;
    kind = favorite;
    valid = !volumeName.isEmpty();
}

} // namespace qor
