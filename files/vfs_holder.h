#pragma once

#include "files/volume.h"

#include <functional>
#include <map>

namespace qor
{

/** The single table of mounted volumes of the process. Made on first use, never destroyed. Any thread may
    look a volume up; the map is locked only while it is searched or changed. */
class VFSHolder
{
public:
    using MountListener = std::function<void(Volume*)>;

    static VFSHolder& instance();

    /** The volume that owns `path`: an exact name first, then the longest name that begins the path (without
        its "$"), case-insensitive for native volumes. Null when none fits. */
    Volume* getVolume(const juce::String& path) const;
    std::shared_ptr<Volume> findVolume(const juce::String& path) const;

    /** Refuses an invalid volume and a name already mounted; otherwise enters it and tells the listeners. */
    bool mount(std::shared_ptr<Volume> volume);
    /** Removes a volume by name; the plug-in never does, tests clean up with it. */
    bool unmount(const juce::String& name);

    /** Mounts the archive linked into this binary as "$Resource". `name` says who asks (for example the
        format's display name) and is kept as the volume's error context only. */
    bool mountArchive(const juce::String& name, bool zipped, const juce::File& backingFolder);
    /** The root "/" of the native file system, and the home folder as the favourite "Home folder". */
    void mountDrives();
    /** The user's favourites, kept in the settings store under "SOFTWARE\\company\\product". The first time
        for a key, the standard places that exist are added to them. */
    void mountStandardPlaces(const juce::String& company, const juce::String& product);

    /** The roots of all mounted volumes, in map order. */
    std::vector<VirtualFile> roots() const;
    bool hasVolumes() const;

    int addMountListener(MountListener listener);
    void removeMountListener(int id);

    /** Why the last mount through mountArchive failed, empty after a success. */
    juce::String getLastError() const;

private:
    VFSHolder() = default;

    mutable juce::CriticalSection lock;
    std::map<juce::String, std::shared_ptr<Volume>> volumes;
    juce::CriticalSection listenersLock;
    std::vector<std::pair<int, MountListener>> listeners;
    int nextListenerId = 1;
    juce::String lastError;
};

/** "Qor/Lamina/User Presets/" in the user's documents folder. */
VirtualFile userPresetsFolder();

} // namespace qor
