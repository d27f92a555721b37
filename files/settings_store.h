#pragma once

#include <juce_core/juce_core.h>

namespace qor
{

/** A small per-user store of string settings, kept as an XML file named after a key path: the key path
    "SOFTWARE\\QOR\\Lamina\\VST3" names the file "QOR/Lamina/VST3.settings" below the user's application data
    folder. Every change is written through at once, atomically (a temporary file renamed over the old one). A
    missing or unreadable file gives an empty store. Safe to use from several threads. */
class SettingsStore
{
public:
    explicit SettingsStore(const juce::String& keyPath);
    /** A store in an explicit file. */
    explicit SettingsStore(const juce::File& file);

    juce::String getValue(const juce::String& key, const juce::String& defaultValue = {}) const;
    int getIntValue(const juce::String& key, int defaultValue = 0) const;
    bool getBoolValue(const juce::String& key, bool defaultValue = false) const;
    bool containsKey(const juce::String& key) const;
    juce::StringPairArray getAllValues() const;

    /** Sets and saves; false when the file could not be written (the value is kept in memory). */
    bool setValue(const juce::String& key, const juce::String& value);
    bool setValue(const juce::String& key, int value) { return setValue(key, juce::String(value)); }
    bool setValue(const juce::String& key, bool value) { return setValue(key, juce::String(value ? 1 : 0)); }
    bool removeValue(const juce::String& key);

    bool save() const;
    /** Reads the file again, dropping what is in memory. */
    void reload();
    const juce::File& getFile() const { return file; }

    /** The file for a key path such as "SOFTWARE\\QOR\\Lamina\\VST3". */
    static juce::File fileForKey(const juce::String& keyPath);
    /** The folder below which key paths are placed; the user's application data folder unless changed (tests
        point it at a temporary folder). */
    static juce::File getRootFolder();
    static void setRootFolder(const juce::File& folder);

private:
    juce::File file;
    mutable juce::CriticalSection lock;
    mutable juce::PropertySet values{false}; // mutable: PropertySet lacks const accessors
};

} // namespace qor
