#pragma once

#include "engine/processing_element.h"
#include "files/virtual_file.h"

#include <juce_core/juce_core.h>

#include <cstddef>

namespace tinyxml2
{
class XMLDocument;
class XMLElement;
} // namespace tinyxml2

namespace qor
{

/** Names, roots and dialogue texts of the preset files. */
namespace PresetFormat
{
inline constexpr const char* moduleRoot = "ModulePreset";
inline constexpr const char* defaultRoot = "Module";
inline constexpr const char* decayRoot = "LaminaDecay";
inline constexpr const char* eqRoot = "LaminaEQ";
inline constexpr const char* ioRoot = "LaminaIO";

inline constexpr const char* presetExtension = ".preset";
inline constexpr const char* decayExtension = ".decay";
inline constexpr const char* eqExtension = ".eq";
inline constexpr const char* ioExtension = ".io";

inline constexpr const char* decayFolderName = "Decay Presets";
inline constexpr const char* eqFolderName = "EQ Presets";
inline constexpr const char* ioFolderName = "IO Presets";

inline constexpr const char* loadPresetTitle = "Load Lamina Preset";
inline constexpr const char* savePresetTitle = "Save Lamina Preset as...";
inline constexpr const char* loadDecayTitle = "Load Lamina Decay";
inline constexpr const char* saveDecayTitle = "Save Band Decay as...";
inline constexpr const char* loadEQTitle = "Load Lamina EQ";
inline constexpr const char* saveEQTitle = "Save Band EQ as...";
inline constexpr const char* loadIOTitle = "Load Lamina IOs";
inline constexpr const char* saveIOTitle = "Save input / output positions as...";

inline constexpr const char* presetPathProperty = "PresetPath";
/** Suffix of the element property that locks a parameter against preset loads ("DecayLocked" = "1"). */
inline constexpr const char* lockedSuffix = "Locked";

/** Where the factory library lies inside the archive. */
inline constexpr const char* factoryFolder = "$Resource/resource/presets";

/** Band decay and band EQ files both fill a missing band with this; for gains the setter's range limits it.
 */
inline constexpr float missingBandValue = 10000.0f;

/** Files above this size are refused unread: no preset comes near it. */
inline constexpr std::size_t maxFileSize = 4u * 1024u * 1024u;

/** The dialogue wildcard of an extension: "*" followed by it. */
inline juce::String wildcardFor(const char* extension)
{
    return juce::String("*") + extension;
}
} // namespace PresetFormat

/** The folders of the partial presets: siblings of the user presets folder. */
VirtualFile decayPresetsFolder();
VirtualFile eqPresetsFolder();
VirtualFile ioPresetsFolder();
/** Creates the user presets folder and the three partial folders, with their parents. */
bool createPresetFolders();

/** Reads a whole file into `document`. Fails on an unreadable, empty or oversized stream, on text with more
    attributes than any preset has (see parseElementDocument) and on any parse error, so that a truncated or
    binary file never yields a half document. */
bool readPresetDocument(const VirtualFile& file, tinyxml2::XMLDocument& document);
/** Prints `document` in the default printer's form and writes it in one piece: the file is replaced whole or
    stays as it was. */
bool writePresetDocument(const VirtualFile& file, const tinyxml2::XMLDocument& document);

/** The file that a save writes: `file` with `extension` appended unless it ends in it already. Empty when the
    path climbs with a ".." component or has no file name. */
VirtualFile presetSaveTarget(const VirtualFile& file, const char* extension);
/** The same for a name typed by the user inside `folder`: empty when the name would leave the folder
    (absolute, "$"-rooted, or with a ".." component). */
VirtualFile presetSaveTarget(const VirtualFile& folder, const juce::String& name, const char* extension);

/** A factory preset by its short name: "Classics/Plate A" is the file "01-Classics/Plate A.preset" of the
    archive (the number of the category folder is not typed). Also accepts the folder's full name. Empty when
    no such preset exists. */
VirtualFile findFactoryPreset(const juce::String& shortName);
/** Every factory preset in browsing order, as full "$Resource/..." paths. */
std::vector<VirtualFile> listFactoryPresets();
/** "Classics/Plate A" for "$Resource/resource/presets/01-Classics/Plate A.preset". */
juce::String factoryPresetShortName(const VirtualFile& file);

/** The preset operations of one element: whole-module presets, "Default", and the band decay, band EQ and
    position files. All run on the message thread and report failure by their result alone. The element's lock
    is held while values are applied, so the audio side sees one consistent change. */
class PresetOperations
{
public:
    explicit PresetOperations(ProcessingElement* element = nullptr) : element(element) {}

    void setElement(ProcessingElement* newElement) { element = newElement; }
    ProcessingElement* getElement() const { return element; }

    /** Loads a ".preset" file. False, with the element untouched, when the file cannot be read or its root or
        child does not fit. */
    bool loadPreset(const VirtualFile& file);
    /** Applies a parsed element of a whole-module preset; `file` becomes the PresetPath property. */
    bool applyPresetElement(const tinyxml2::XMLElement* xml, const VirtualFile& file);
    /** The values of a fresh element of the same type, applied like a preset with an empty path. */
    bool loadDefault();

    /** Saves the element to `file` (".preset" appended when missing). PresetPath follows only a success. */
    bool savePreset(const VirtualFile& file);
    /** Saves under a typed name inside `folder`; a name that would leave the folder is refused. */
    bool savePreset(const VirtualFile& folder, const juce::String& name);

    /** Partial presets. A file that does not fit changes nothing; locks are not consulted. */
    bool loadDecay(const VirtualFile& file);
    bool loadEQ(const VirtualFile& file);
    bool loadIO(const VirtualFile& file);
    bool saveDecay(const VirtualFile& file);
    bool saveEQ(const VirtualFile& file);
    bool saveIO(const VirtualFile& file);

    /** True when the user locked the parameter against preset loads. */
    bool isLocked(const juce::String& parameterName) const;
    void setLocked(const juce::String& parameterName, bool locked);

private:
    enum class Partial
    {
        decay,
        eq,
        io
    };
    bool loadPartial(const VirtualFile& file, Partial kind);
    bool savePartial(const VirtualFile& file, Partial kind);

    ProcessingElement* element;
};

} // namespace qor
