#pragma once

#include "files/virtual_file.h"

#include <cstddef>
#include <cstdint>

namespace qor
{

/** A mounted file system: the native disk, the embedded archive, or a favourite folder. Operations take the
    full virtual path and work on its part below `rootName()`. */
class Volume
{
public:
    enum Kind : int32_t
    {
        native = 0,
        favorite = 1,
        archive = 3
    };
    enum MediaKind : int32_t
    {
        fixedDrive = 3,
        removableDrive = 4
    };

    juce::String name;  // key in the mount table: the path prefix without "$"
    juce::String label; // for display
    VirtualFile rootPath;
    int32_t kind = native;
    int32_t mediaKind = fixedDrive; // native volumes only
    uint8_t flags[2] = {0, 0};      // set at construction; no volume here uses them
    bool valid = false;             // an invalid volume is never mounted
    juce::String error;             // why it is not valid

    virtual ~Volume() = default;
    virtual bool list(const VirtualFile& path, std::vector<VirtualFile>& out) = 0;
    virtual FileStatus status(const VirtualFile& path) = 0;
    /** The file of the operating system behind `path`, or an empty path. */
    virtual VirtualFile nativePath(const VirtualFile& path);
    virtual const juce::String& getName() const { return name; }
    /** "$name" for a named volume; a native volume's name is its root. */
    virtual VirtualFile rootName() const;
    virtual std::unique_ptr<juce::InputStream> openInput(const VirtualFile& path) = 0;
    virtual std::unique_ptr<juce::OutputStream> openOutput(const VirtualFile& path, bool append) = 0;
    virtual bool createDirectory(const VirtualFile& path) = 0;
    virtual bool remove(const VirtualFile& path, bool recursive) = 0;
    /** Replaces the file with `data`, whole or not at all; a volume that cannot do that refuses. */
    virtual bool writeWhole(const VirtualFile& path, const void* data, std::size_t size)
    {
        juce::ignoreUnused(path, data, size);
        return false;
    }

    /** `path` below this volume's root, without a leading "/". */
    juce::String relativePart(const VirtualFile& path) const;
};

/** The disk of the operating system below `rootPath`. The name of a drive volume is its root ("/"). */
class NativeFS : public Volume
{
public:
    NativeFS(const juce::String& name, const juce::String& label, const juce::File& root,
             int32_t mediaKind = fixedDrive);

    bool list(const VirtualFile& path, std::vector<VirtualFile>& out) override;
    FileStatus status(const VirtualFile& path) override;
    VirtualFile nativePath(const VirtualFile& path) override;
    std::unique_ptr<juce::InputStream> openInput(const VirtualFile& path) override;
    std::unique_ptr<juce::OutputStream> openOutput(const VirtualFile& path, bool append) override;
    bool createDirectory(const VirtualFile& path) override;
    bool remove(const VirtualFile& path, bool recursive) override;
    /** Writes a hidden file beside the target, checks every write and the flush to the disk, then renames it
        over the target: a full disk leaves the old file as it was. */
    bool writeWhole(const VirtualFile& path, const void* data, std::size_t size) override;

    juce::File toFile(const VirtualFile& path) const;
};

/** A named alias of a folder elsewhere: "$Desktop/x" stands for `rootPath` + "/x". Paths that would climb
    out of the folder with ".." are refused. */
class Favorite : public Volume
{
public:
    Favorite(const juce::String& name, const VirtualFile& target);

    bool list(const VirtualFile& path, std::vector<VirtualFile>& out) override;
    FileStatus status(const VirtualFile& path) override;
    VirtualFile nativePath(const VirtualFile& path) override;
    std::unique_ptr<juce::InputStream> openInput(const VirtualFile& path) override;
    std::unique_ptr<juce::OutputStream> openOutput(const VirtualFile& path, bool append) override;
    bool createDirectory(const VirtualFile& path) override;
    bool remove(const VirtualFile& path, bool recursive) override;
    bool writeWhole(const VirtualFile& path, const void* data, std::size_t size) override;

    /** The target of `path`, or an empty path when it leaves the folder. */
    VirtualFile target(const VirtualFile& path) const;
};

/** A favourite that holds a place in the table and does nothing. */
class DummyFavorite : public Volume
{
public:
    DummyFavorite(const juce::String& name, const VirtualFile& target);

    bool list(const VirtualFile&, std::vector<VirtualFile>&) override { return false; }
    FileStatus status(const VirtualFile&) override { return {}; }
    std::unique_ptr<juce::InputStream> openInput(const VirtualFile&) override { return nullptr; }
    std::unique_ptr<juce::OutputStream> openOutput(const VirtualFile&, bool) override { return nullptr; }
    bool createDirectory(const VirtualFile&) override { return false; }
    bool remove(const VirtualFile&, bool) override { return false; }
};

/** True when a "/"-separated relative path has a ".." component. */
bool hasParentReference(const juce::String& relative);

} // namespace qor
