#include "files/presets/preset_formats.h"

#include "engine/element_document.h"
#include "engine/element_registry.h"
#include "files/vfs_holder.h"
#include "files/volume.h"
#include "modal/lamina/materials.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qor
{

namespace
{
constexpr int numBands = 12;

const char* const ioParameters[] = {"LeftMicrophoneX",  "LeftMicrophoneY", "RightMicrophoneX",
                                    "RightMicrophoneY", "LeftInputX",      "LeftInputY",
                                    "RightInputX",      "RightInputY"};

/** One attribute of a partial file and the parameter it stands for. */
struct PartialField
{
    juce::String attribute;
    juce::String parameter;
};

std::vector<PartialField> partialFields(const char* root)
{
    std::vector<PartialField> fields;
    const juce::String r(root);
    if (r == PresetFormat::decayRoot || r == PresetFormat::eqRoot)
    {
        const bool decay = r == PresetFormat::decayRoot;
        for (int i = 0; i < numBands; ++i)
            fields.push_back({(decay ? "Decay" : "Gain") + juce::String(i),
                              (decay ? "BandDecay" : "BandGain") + juce::String(i)});
    }
    else
        for (auto* name : ioParameters)
            fields.push_back({name, name});
    return fields;
}

VirtualFile presetSibling(const char* name)
{
    return userPresetsFolder().getParent().getChild(name);
}

bool endsWithExtension(const juce::String& path, const char* extension)
{
    return path.endsWithIgnoreCase(extension);
}

template <typename T>
T clampTo(const ParameterDescription<T>& d, T value)
{
    return d.range.min <= d.range.max ? juce::jlimit(d.range.min, d.range.max, value) : value;
}

/** A finite float attribute, or nothing. tinyxml2 accepts forms such as "20." and "1e3". */
bool queryFinite(const tinyxml2::XMLElement& xml, const char* name, float& out)
{
    float v = 0.0f;
    if (xml.QueryFloatAttribute(name, &v) != tinyxml2::XML_SUCCESS || !std::isfinite(v))
        return false;
    out = v;
    return true;
}

void setFloatByName(ProcessingElement& element, const char* name, float value)
{
    const auto id = element.getParameterId(name);
    if (auto* info = element.hasFloatParameter(id))
        element.setParameterDeferred(id, clampTo(info->getTypedDescription(), value), false);
}
} // namespace

VirtualFile decayPresetsFolder()
{
    return presetSibling(PresetFormat::decayFolderName);
}

VirtualFile eqPresetsFolder()
{
    return presetSibling(PresetFormat::eqFolderName);
}

VirtualFile ioPresetsFolder()
{
    return presetSibling(PresetFormat::ioFolderName);
}

bool createPresetFolders()
{
    bool ok = true;
    for (const auto& folder :
         {userPresetsFolder(), decayPresetsFolder(), eqPresetsFolder(), ioPresetsFolder()})
        ok = folder.createDirectory(true) && ok;
    return ok;
}

bool readPresetDocument(const VirtualFile& file, tinyxml2::XMLDocument& document)
{
    document.Clear();
    auto stream = file.openInput();
    if (stream == nullptr)
        return false;
    const auto total = stream->getTotalLength();
    if (total > static_cast<juce::int64>(PresetFormat::maxFileSize))
        return false;

    // The length is not known for every stream: read one byte beyond the limit to tell an oversized one.
    juce::MemoryBlock data;
    const auto read = stream->readIntoMemoryBlock(data, static_cast<ssize_t>(PresetFormat::maxFileSize + 1));
    if (read == 0 || read > PresetFormat::maxFileSize)
        return false;

    ElementDocumentLimits limits;
    limits.maxBytes = PresetFormat::maxFileSize;
    return parseElementDocument(document, static_cast<const char*>(data.getData()), read, limits) &&
           document.RootElement() != nullptr;
}

bool writePresetDocument(const VirtualFile& file, const tinyxml2::XMLDocument& document)
{
    tinyxml2::XMLPrinter printer;
    document.Print(&printer);
    const auto size = static_cast<std::size_t>(std::max(0, printer.CStrSize() - 1));

    return file.writeWhole(printer.CStr(), size);
}

VirtualFile presetSaveTarget(const VirtualFile& file, const char* extension)
{
    const auto& path = file.getPath();
    if (path.isEmpty() || path.endsWith("/") || hasParentReference(path) || file.getFileName().isEmpty())
        return {};
    return endsWithExtension(path, extension) ? file : VirtualFile(path + extension);
}

VirtualFile presetSaveTarget(const VirtualFile& folder, const juce::String& name, const char* extension)
{
    const auto relative = name.replaceCharacter('\\', '/').trim();
    if (folder.isEmpty() || relative.isEmpty() || relative.startsWithChar('/') ||
        relative.startsWithChar('$') || hasParentReference(relative) || hasParentReference(folder.getPath()))
        return {};
    return presetSaveTarget(folder.getChild(relative), extension);
}

// Factory library

juce::String factoryPresetShortName(const VirtualFile& file)
{
    const juce::String root = juce::String(PresetFormat::factoryFolder) + "/";
    if (!file.getPath().startsWith(root))
        return {};
    auto rest = file.getPath().substring(root.length());
    auto category = rest.upToFirstOccurrenceOf("/", false, false);
    auto name = rest.fromFirstOccurrenceOf("/", false, false);
    if (endsWithExtension(name, PresetFormat::presetExtension))
        name = name.dropLastCharacters(static_cast<int>(std::strlen(PresetFormat::presetExtension)));
    // "01-Classics" reads "Classics".
    if (category.length() > 3 && juce::CharacterFunctions::isDigit(category[0]) &&
        juce::CharacterFunctions::isDigit(category[1]) && category[2] == '-')
        category = category.substring(3);
    return name.isEmpty() ? category : category + "/" + name;
}

std::vector<VirtualFile> listFactoryPresets()
{
    std::vector<VirtualFile> presets;
    for (const auto& category : listOrdered(VirtualFile(PresetFormat::factoryFolder), true, true))
    {
        if (!category.isDirectory())
            continue;
        for (const auto& file : listOrdered(category, true, true))
            if (file.getExtension() == PresetFormat::presetExtension && !file.getFileName().startsWith("."))
                presets.push_back(file);
    }
    return presets;
}

VirtualFile findFactoryPreset(const juce::String& shortName)
{
    auto wanted = shortName.trim();
    if (endsWithExtension(wanted, PresetFormat::presetExtension))
        wanted = wanted.dropLastCharacters(static_cast<int>(std::strlen(PresetFormat::presetExtension)));
    for (const auto& file : listFactoryPresets())
    {
        const auto name = factoryPresetShortName(file);
        const auto full = file.getParent().getFileName() + "/" + file.getFileNameWithoutExtension();
        if (name == wanted || full == wanted)
            return file;
    }
    return {};
}

// PresetOperations

bool PresetOperations::isLocked(const juce::String& parameterName) const
{
    return element != nullptr && element->getProperty(parameterName + PresetFormat::lockedSuffix) == "1";
}

void PresetOperations::setLocked(const juce::String& parameterName, bool locked)
{
    if (element != nullptr)
        element->setProperty(parameterName + PresetFormat::lockedSuffix, locked ? "1" : "0", false);
}

bool PresetOperations::loadPreset(const VirtualFile& file)
{
    if (element == nullptr)
        return false;
    tinyxml2::XMLDocument document;
    if (!readPresetDocument(file, document))
        return false;
    const auto* root = document.RootElement();
    if (std::strcmp(root->Name(), PresetFormat::moduleRoot) != 0)
        return false;
    const auto* child = root->FirstChildElement();
    if (child == nullptr)
        return false;
    return applyPresetElement(child, file);
}

bool PresetOperations::applyPresetElement(const tinyxml2::XMLElement* xml, const VirtualFile& file)
{
    if (element == nullptr || xml == nullptr)
        return false;
    const auto type = ElementRegistry::mapOldTypeName(juce::String::fromUTF8(xml->Name()));
    if (type != element->getTypeName().toString())
        return false;

    const juce::ScopedLock sl(element->getLock());

    // A preset never renames the element (Name is a string and strings are skipped) and never changes its
    // bypass: that parameter keeps the value it has.
    const auto bypassId = ProcessingElement::bypassParameterId();

    for (std::size_t i = 0; i < element->getNumParameters(); ++i)
    {
        auto* info = element->getParameterInfo(i);
        const auto& d = info->getDescription();
        if (d.type == ParameterType::String || d.id == bypassId)
            continue;
        if (!d.hasFlag(ParameterFlags::isSaved) || d.hasFlag(ParameterFlags::noState) || isLocked(d.name))
            continue;
        const auto* key = d.name.toRawUTF8();
        switch (d.type)
        {
        case ParameterType::Float:
        {
            const auto& fd = static_cast<ParameterInfo<float>&>(*info).getTypedDescription();
            float v = 0.0f;
            v = queryFinite(*xml, key, v) ? clampTo(fd, v) : fd.defaultValue;
            element->setParameterDeferred(d.id, v, false);
            break;
        }
        case ParameterType::Int:
        {
            const auto& id = static_cast<ParameterInfo<int32_t>&>(*info).getTypedDescription();
            int v = 0;
            v = xml->QueryIntAttribute(key, &v) == tinyxml2::XML_SUCCESS ? clampTo(id, v) : id.defaultValue;
            element->setParameterDeferred(d.id, static_cast<int32_t>(v), false);
            break;
        }
        case ParameterType::Bool:
        {
            const auto& bd = static_cast<ParameterInfo<bool>&>(*info).getTypedDescription();
            int v = 0;
            const bool value =
                xml->QueryIntAttribute(key, &v) == tinyxml2::XML_SUCCESS ? v > 0 : bd.defaultValue;
            element->setParameterDeferred(d.id, value, false);
            break;
        }
        case ParameterType::String:
            break;
        }
    }

    // Old geometry: both sides or nothing, after the new attributes so that it wins over them.
    float w = 2.0f, h = 1.0f;
    if (queryFinite(*xml, "Width", w) && queryFinite(*xml, "Height", h) && h != 0.0f)
    {
        const float area = w * h, aspect = w / h;
        if (std::isfinite(area) && std::isfinite(aspect))
        {
            setFloatByName(*element, "Area", area);
            setFloatByName(*element, "AspectRatio", aspect);
        }
    }

    // Old mode count.
    double numModes = 0.0;
    if (xml->QueryDoubleAttribute("NumModes", &numModes) == tinyxml2::XML_SUCCESS && std::isfinite(numModes))
    {
        const auto n = static_cast<int64_t>(std::clamp(numModes, 0.0, 1.0e15));
        const auto id = element->getParameterId("Quality");
        if (auto* info = element->hasIntParameter(id))
            element->setParameterDeferred(id, clampTo(info->getTypedDescription(), qualityForModeCount(n)),
                                          false);
    }

    element->setProperty(PresetFormat::presetPathProperty, file.getPath(), true);
    return true;
}

bool PresetOperations::loadDefault()
{
    if (element == nullptr)
        return false;
    auto fresh = ElementRegistry::makeElement(element->getTypeName().toString(), element->getName());
    if (fresh == nullptr)
        return false;
    tinyxml2::XMLDocument document;
    auto* root = document.NewElement(PresetFormat::defaultRoot);
    document.InsertEndChild(root);
    fresh->saveToXml(root, SaveContext{});
    return applyPresetElement(root->FirstChildElement(), VirtualFile());
}

bool PresetOperations::savePreset(const VirtualFile& file)
{
    if (element == nullptr)
        return false;
    const auto target = presetSaveTarget(file, PresetFormat::presetExtension);
    if (target.isEmpty())
        return false;

    tinyxml2::XMLDocument document;
    auto* root = document.NewElement(PresetFormat::moduleRoot);
    document.InsertEndChild(root);
    SaveContext context;
    context.relativeTo = target.getParent().getPath();
    context.isPresetSave = true;
    element->saveToXml(root, context);

    if (!writePresetDocument(target, document))
        return false;
    element->setProperty(PresetFormat::presetPathProperty, target.getPath(), true);
    return true;
}

bool PresetOperations::savePreset(const VirtualFile& folder, const juce::String& name)
{
    const auto target = presetSaveTarget(folder, name, PresetFormat::presetExtension);
    return !target.isEmpty() && savePreset(target);
}

bool PresetOperations::loadPartial(const VirtualFile& file, Partial kind)
{
    if (element == nullptr)
        return false;
    tinyxml2::XMLDocument document;
    if (!readPresetDocument(file, document))
        return false;
    const char* rootName = kind == Partial::decay ? PresetFormat::decayRoot
                           : kind == Partial::eq  ? PresetFormat::eqRoot
                                                  : PresetFormat::ioRoot;
    const auto* root = document.RootElement();
    if (std::strcmp(root->Name(), rootName) != 0)
        return false;

    const juce::ScopedLock sl(element->getLock());
    for (const auto& field : partialFields(rootName))
    {
        const auto id = element->getParameterId(field.parameter);
        auto* info = element->hasFloatParameter(id);
        if (info == nullptr)
            continue;
        const auto& d = info->getTypedDescription();
        // Locks are not consulted here: a partial file is an explicit request for exactly these values.
        float v = kind == Partial::io ? d.defaultValue : PresetFormat::missingBandValue;
        queryFinite(*root, field.attribute.toRawUTF8(), v);
        element->setParameterDeferred(id, clampTo(d, v), false);
    }
    return true;
}

bool PresetOperations::savePartial(const VirtualFile& file, Partial kind)
{
    if (element == nullptr)
        return false;
    const char* rootName = kind == Partial::decay ? PresetFormat::decayRoot
                           : kind == Partial::eq  ? PresetFormat::eqRoot
                                                  : PresetFormat::ioRoot;
    const char* extension = kind == Partial::decay ? PresetFormat::decayExtension
                            : kind == Partial::eq  ? PresetFormat::eqExtension
                                                   : PresetFormat::ioExtension;
    const auto target = presetSaveTarget(file, extension);
    if (target.isEmpty())
        return false;

    tinyxml2::XMLDocument document;
    auto* root = document.NewElement(rootName);
    document.InsertEndChild(root);
    for (const auto& field : partialFields(rootName))
    {
        const auto id = element->getParameterId(field.parameter);
        if (element->hasFloatParameter(id) == nullptr)
            return false;
        root->SetAttribute(field.attribute.toRawUTF8(), element->getParameter(id));
    }
    return writePresetDocument(target, document);
}

bool PresetOperations::loadDecay(const VirtualFile& file)
{
    return loadPartial(file, Partial::decay);
}
bool PresetOperations::loadEQ(const VirtualFile& file)
{
    return loadPartial(file, Partial::eq);
}
bool PresetOperations::loadIO(const VirtualFile& file)
{
    return loadPartial(file, Partial::io);
}
bool PresetOperations::saveDecay(const VirtualFile& file)
{
    return savePartial(file, Partial::decay);
}
bool PresetOperations::saveEQ(const VirtualFile& file)
{
    return savePartial(file, Partial::eq);
}
bool PresetOperations::saveIO(const VirtualFile& file)
{
    return savePartial(file, Partial::io);
}

} // namespace qor
