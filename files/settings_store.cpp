#include "files/settings_store.h"

namespace qor
{

namespace
{

juce::CriticalSection& rootLock()
{
    static juce::CriticalSection lock;
    return lock;
}

juce::File& rootOverride()
{
    static juce::File folder;
    return folder;
}

constexpr const char* rootTag = "Settings";

} // namespace

juce::File SettingsStore::getRootFolder()
{
    const juce::ScopedLock sl(rootLock());
    if (rootOverride() != juce::File())
        return rootOverride();
    return juce::File::getSpecialLocation(juce::File::userApplicationDataDirectory);
}

void SettingsStore::setRootFolder(const juce::File& folder)
{
    const juce::ScopedLock sl(rootLock());
    rootOverride() = folder;
}

juce::File SettingsStore::fileForKey(const juce::String& keyPath)
{
    juce::StringArray parts;
    parts.addTokens(keyPath.replaceCharacter('/', '\\'), "\\", "");
    parts.removeEmptyStrings();
    // The registry's top level says nothing on a per-user file system.
    if (parts.size() > 1 && parts[0].equalsIgnoreCase("SOFTWARE"))
        parts.remove(0);
    for (auto& part : parts)
    {
        part = juce::File::createLegalFileName(part);
        if (part == "." || part == ".." || part.isEmpty())
            part = "_";
    }
    if (parts.isEmpty())
        parts.add("_");
    auto file = getRootFolder();
    for (int i = 0; i < parts.size() - 1; ++i)
        file = file.getChildFile(parts[i]);
    return file.getChildFile(parts[parts.size() - 1] + ".settings");
}

SettingsStore::SettingsStore(const juce::String& keyPath) : SettingsStore(fileForKey(keyPath)) {}

SettingsStore::SettingsStore(const juce::File& f) : file(f)
{
    reload();
}

void SettingsStore::reload()
{
    const juce::ScopedLock sl(lock);
    values.clear();
    if (!file.existsAsFile())
        return;
    // A damaged file is treated as no file: settings are a convenience, never a reason to fail.
    if (auto xml = juce::parseXML(file); xml != nullptr && xml->hasTagName(rootTag))
        values.restoreFromXml(*xml);
}

juce::String SettingsStore::getValue(const juce::String& key, const juce::String& defaultValue) const
{
    const juce::ScopedLock sl(lock);
    return values.getValue(key, defaultValue);
}

int SettingsStore::getIntValue(const juce::String& key, int defaultValue) const
{
    const juce::ScopedLock sl(lock);
    return values.getIntValue(key, defaultValue);
}

bool SettingsStore::getBoolValue(const juce::String& key, bool defaultValue) const
{
    const juce::ScopedLock sl(lock);
    return values.getBoolValue(key, defaultValue);
}

bool SettingsStore::containsKey(const juce::String& key) const
{
    const juce::ScopedLock sl(lock);
    return values.containsKey(key);
}

juce::StringPairArray SettingsStore::getAllValues() const
{
    const juce::ScopedLock sl(lock);
    return values.getAllProperties();
}

bool SettingsStore::setValue(const juce::String& key, const juce::String& value)
{
    const juce::ScopedLock sl(lock);
    values.setValue(key, value);
    return save();
}

bool SettingsStore::removeValue(const juce::String& key)
{
    const juce::ScopedLock sl(lock);
    values.removeValue(key);
    return save();
}

bool SettingsStore::save() const
{
    const juce::ScopedLock sl(lock);
    if (file == juce::File() || !file.getParentDirectory().createDirectory().wasOk())
        return false;
    const auto xml = values.createXml(rootTag);
    // Written beside the target and renamed over it, so a crash never leaves half a file.
    juce::TemporaryFile temp(file);
    if (!temp.getFile().replaceWithText(xml->toString()))
        return false;
    return temp.overwriteTargetFileWithTemporary();
}

} // namespace qor
