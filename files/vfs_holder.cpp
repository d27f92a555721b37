#include "files/vfs_holder.h"

#include "files/resource_fs.h"
#include "files/settings_store.h"

namespace qor
{

VFSHolder& VFSHolder::instance()
{
    // Never destroyed: volumes may be reached from static destructors and late threads.
    static VFSHolder* holder = new VFSHolder();
    return *holder;
}

std::shared_ptr<Volume> VFSHolder::findVolume(const juce::String& path) const
{
    if (path.isEmpty())
        return nullptr;
    const juce::ScopedLock sl(lock);
    if (auto exact = volumes.find(path); exact != volumes.end())
        return exact->second;

    const auto rest = path.startsWithChar('$') ? path.substring(1) : path;
    std::shared_ptr<Volume> best;
    for (const auto& [key, volume] : volumes)
    {
        const bool candidate =
            volume->kind == Volume::native ? rest.startsWithIgnoreCase(key) : rest.startsWith(key);
        // Only a strictly longer name replaces the one kept: of equal lengths the first in map order wins.
        if (candidate && (best == nullptr || key.length() > best->name.length()))
            best = volume;
    }
    return best;
}

Volume* VFSHolder::getVolume(const juce::String& path) const
{
    return findVolume(path).get();
}

bool VFSHolder::mount(std::shared_ptr<Volume> volume)
{
    if (volume == nullptr || !volume->valid)
        return false;
    {
        const juce::ScopedLock sl(lock);
        if (!volumes.emplace(volume->name, volume).second)
            return false;
    }
    std::vector<MountListener> toCall;
    {
        const juce::ScopedLock sl(listenersLock);
        for (const auto& entry : listeners)
            toCall.push_back(entry.second);
    }
    for (const auto& listener : toCall)
        listener(volume.get());
    return true;
}

bool VFSHolder::unmount(const juce::String& volumeName)
{
    const juce::ScopedLock sl(lock);
    return volumes.erase(volumeName) > 0;
}

bool VFSHolder::mountArchive(const juce::String& name, bool zipped, const juce::File& backingFolder)
{
    auto volume = std::make_shared<ResourceFS>(zipped, backingFolder);
    const bool ok = mount(volume);
    const juce::ScopedLock sl(lock);
    if (ok)
        lastError.clear();
    else if (!volume->valid)
        lastError = name + ": " + volume->error;
    else
        lastError =
            "Unable to mount the Volume from '" + backingFolder.getFullPathName() + "' (already mounted)";
    return ok;
}

void VFSHolder::mountDrives()
{
    mount(std::make_shared<NativeFS>("/", "/", juce::File("/"), Volume::fixedDrive));
    const auto home = juce::File::getSpecialLocation(juce::File::userHomeDirectory);
    if (home.isDirectory())
        mount(std::make_shared<Favorite>("Home folder", VirtualFile(home)));
}

void VFSHolder::mountStandardPlaces(const juce::String& company, const juce::String& product)
{
    SettingsStore settings("SOFTWARE\\" + company + "\\" + product);
    std::unique_ptr<juce::XmlElement> folders = juce::parseXML(settings.getValue("Folders"));
    if (folders == nullptr || !folders->hasTagName("Folders"))
        folders = std::make_unique<juce::XmlElement>("Folders");

    if (!settings.containsKey("standardPlaces.mounted"))
    {
        settings.setValue("standardPlaces.mounted", true);
        const std::pair<const char*, juce::File::SpecialLocationType> places[] = {
            {"Home folder", juce::File::userHomeDirectory},
            {"Desktop", juce::File::userDesktopDirectory},
            {"Documents", juce::File::userDocumentsDirectory},
            {"Music", juce::File::userMusicDirectory},
        };
        for (const auto& [placeName, location] : places)
        {
            const auto folder = juce::File::getSpecialLocation(location);
            if (!folder.isDirectory())
                continue;
            auto* element = folders->createNewChildElement("Folder");
            element->setAttribute("Name", placeName);
            element->setAttribute("Path", folder.getFullPathName());
        }
        settings.setValue("Folders", folders->toString(juce::XmlElement::TextFormat().singleLine()));
    }

    for (auto* element : folders->getChildIterator())
    {
        const auto placeName = element->getStringAttribute("Name");
        const VirtualFile target(element->getStringAttribute("Path"));
        if (element->hasTagName("Folder"))
            mount(std::make_shared<Favorite>(placeName, target));
        else if (element->hasTagName("DiskImage"))
            mount(std::make_shared<DummyFavorite>(placeName, target)); // disk images are not supported here
    }
}

std::vector<VirtualFile> VFSHolder::roots() const
{
    std::vector<VirtualFile> out;
    const juce::ScopedLock sl(lock);
    for (const auto& entry : volumes)
        out.push_back(entry.second->rootName());
    return out;
}

bool VFSHolder::hasVolumes() const
{
    const juce::ScopedLock sl(lock);
    return !volumes.empty();
}

int VFSHolder::addMountListener(MountListener listener)
{
    const juce::ScopedLock sl(listenersLock);
    const int id = nextListenerId++;
    listeners.emplace_back(id, std::move(listener));
    return id;
}

void VFSHolder::removeMountListener(int id)
{
    const juce::ScopedLock sl(listenersLock);
    std::erase_if(listeners, [id](const auto& entry) { return entry.first == id; });
}

juce::String VFSHolder::getLastError() const
{
    const juce::ScopedLock sl(lock);
    return lastError;
}

VirtualFile userPresetsFolder()
{
    const auto documents = juce::File::getSpecialLocation(juce::File::userDocumentsDirectory);
    return VirtualFile(documents).getChild("Qor/Lamina/User Presets/");
}

} // namespace qor
