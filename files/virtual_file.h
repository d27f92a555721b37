#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace qor
{

class Volume;

/** What a volume knows about one path. Four bytes, in this order. */
struct FileStatus
{
    bool exists = false;
    bool isDirectory = false;
    bool isFile = false;
    bool isWritable = false;

    bool operator==(const FileStatus&) const = default;
};

/** A path on the virtual file layer: "$Name/rest" for a mounted volume, "/..." for the native file system,
    "$" for the root of all volumes. A cheap value (one shared string); every constructor turns backslashes
    into "/". An empty path means no file. */
class VirtualFile
{
public:
    VirtualFile() = default;
    VirtualFile(const juce::String& path);
    VirtualFile(const char* path);
    /** The native path of a file of the operating system. */
    explicit VirtualFile(const juce::File& file);

    const juce::String& getPath() const { return path; }
    bool isEmpty() const { return path.isEmpty(); }

    /** Text before the last "/", ignoring one trailing "/"; "/" directly under the root; empty without "/".
     */
    VirtualFile getParent() const;
    /** Joins with exactly one "/". */
    VirtualFile getChild(const juce::String& relative) const;
    juce::String getFileName() const;
    juce::String getFileNameWithoutExtension() const;
    /** With the dot; empty when there is none. */
    juce::String getExtension() const;

    /** The volume that owns this path, or null. */
    std::shared_ptr<Volume> getVolume() const;
    /** The path below the volume's root, without a leading "/". */
    juce::String relativePath(const Volume& volume) const;

    FileStatus status() const;
    bool exists() const { return status().exists; }
    bool isDirectory() const { return status().isDirectory; }

    /** The entries of this folder with their full paths; "$" lists the roots of all volumes. False when the
        path has no volume or the volume cannot list it. */
    bool list(std::vector<VirtualFile>& out) const;
    std::unique_ptr<juce::InputStream> openInput() const;
    std::unique_ptr<juce::OutputStream> openOutput(bool append = false) const;
    bool createDirectory(bool recursive) const;
    bool remove(bool recursive = false) const;
    /** Replaces the file with `data` in one piece, or leaves it as it was: a save that fails halfway (a full
        disk) must not have destroyed what stood there. */
    bool writeWhole(const void* data, std::size_t size) const;
    /** Copies the bytes of this file into `other`, in blocks of 4096 bytes. */
    bool copyTo(const VirtualFile& other) const;
    /** The file of the operating system behind this path, or an empty path when there is none. */
    VirtualFile nativePath() const;

    /** Equal after removing one trailing "/" from each side. */
    bool samePath(const VirtualFile& other) const;
    bool operator==(const VirtualFile& other) const { return samePath(other); }

    /** The next file of a depth-first walk, entering folders and climbing out of them up to `stopAt`. False
        at the end of the tree; the walk never wraps around. */
    bool findNext(VirtualFile& out, const VirtualFile& stopAt, bool sorted, bool foldersFirst) const;
    bool findPrevious(VirtualFile& out, const VirtualFile& stopAt, bool sorted, bool foldersFirst) const;
    /** The following entry of the parent folder that is not a dot-file. */
    bool nextSibling(VirtualFile& out, bool sorted, bool foldersFirst) const;
    bool previousSibling(VirtualFile& out, bool sorted, bool foldersFirst) const;

    /** Follows favourites (aliases) to the path they stand for; any other path is returned as it is. */
    VirtualFile resolveAlias() const;

private:
    juce::String path;
};

/** Natural order of two names: white space is skipped, digit runs compare as numbers, and runs that begin
   with "0" compare digit by digit from the left (as fractions). Negative, zero or positive like strcmp. */
int naturalCompare(const juce::String& a, const juce::String& b);

/** Lists `folder` and orders it the way the preset walks see it. */
std::vector<VirtualFile> listOrdered(const VirtualFile& folder, bool sorted, bool foldersFirst);

} // namespace qor
