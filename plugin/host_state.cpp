// The opaque block a host keeps for each instance: 'QOR4', a format version, the XML length, then the XML
// compressed. Blocks without the magic are read as plain XML, as earlier builds wrote them.
#include "engine/element_document.h"
#include "engine/element_registry.h"
#include "engine/engine.h"
#include "engine/engine_proxy.h"
#include "plugin/plugin.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cstring>
#include <thread>

namespace qor
{

namespace
{
constexpr char stateMagic[4] = {'Q', 'O', 'R', '4'};
constexpr int32_t stateFormatVersion = 1;
constexpr std::size_t headerSize = 12;

int32_t readInt32LE(const uint8_t* p)
{
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                                (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24));
}

/** Inflates exactly `length` bytes of XML, growing the buffer only as data really arrives, so a lying length
    field costs nothing. Answers false when the stream ends early or is damaged. */
bool inflateXml(const uint8_t* data, std::size_t size, std::size_t length, std::vector<char>& xml)
{
    juce::MemoryInputStream compressed(data, size, false);
    juce::GZIPDecompressorInputStream inflater(&compressed, false);
    constexpr std::size_t chunk = 1 << 16;
    xml.clear();
    while (xml.size() < length)
    {
        const auto want = std::min(chunk, length - xml.size());
        const auto start = xml.size();
        xml.resize(start + want);
        const int got = inflater.read(xml.data() + start, static_cast<int>(want));
        if (got <= 0)
        {
            xml.resize(start);
            return false;
        }
        xml.resize(start + static_cast<std::size_t>(got));
    }
    return true;
}
} // namespace

void DefaultPluginBase::getState(std::vector<uint8_t>& bytes)
{
    tinyxml2::XMLDocument document;
    auto* root = document.NewElement("QOR4");
    document.InsertEndChild(root);
    {
        // No load swaps the tree away while it is saved, and what the host set while the slots were held is
        // in it.
        const SlotsHeld held(*this);
        applyParkedWrites();
        if (engine != nullptr)
        {
            engine->saveToXml(root, SaveContext{});
            engine->clearModified();
        }
    }

    tinyxml2::XMLPrinter printer(nullptr, false);
    document.Print(&printer);
    const auto textLength = static_cast<std::size_t>(std::max(0, printer.CStrSize() - 1));

    juce::MemoryOutputStream out(256);
    out.write(stateMagic, 4);
    out.writeInt(stateFormatVersion);
    out.writeInt(static_cast<int>(textLength));
    {
        juce::GZIPCompressorOutputStream deflater(out);
        deflater.write(printer.CStr(), textLength);
        deflater.flush();
    }
    const auto* data = static_cast<const uint8_t*>(out.getData());
    bytes.assign(data, data + out.getDataSize());
}

void DefaultPluginBase::prepareTree(Engine& tree)
{
    tree.prepare(sampleRate, maxBlockSize);
}

std::shared_ptr<Engine> DefaultPluginBase::buildTree(const std::vector<uint8_t>& bytes,
                                                     const juce::String& presetPath)
{
    tinyxml2::XMLDocument document;
    bool parsed = false;
    if (bytes.size() >= 4 && std::memcmp(bytes.data(), stateMagic, 4) == 0)
    {
        // The version is not looked at: any value is taken.
        if (bytes.size() >= headerSize)
        {
            const int32_t length = readInt32LE(bytes.data() + 8);
            std::vector<char> xml;
            if (length > 0 && static_cast<std::size_t>(length) <= ElementDocumentLimits{}.maxBytes &&
                inflateXml(bytes.data() + headerSize, bytes.size() - headerSize,
                           static_cast<std::size_t>(length), xml))
                parsed = parseElementDocument(document, xml.data(), xml.size());
        }
    }
    else if (!bytes.empty())
    {
        parsed = parseElementDocument(document, reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    if (!parsed)
        return nullptr;

    const auto* root = document.RootElement();
    if (root == nullptr || std::strcmp(root->Name(), "QOR4") != 0)
        return nullptr;
    const auto* engineXml = root->FirstChildElement();
    if (engineXml == nullptr || !acceptsTree(*engineXml))
        return nullptr;
    auto made = ElementRegistry::makeElement(juce::String::fromUTF8(engineXml->Name()));
    auto* madeEngine = dynamic_cast<Engine*>(made.get());
    if (madeEngine == nullptr)
        return nullptr;
    made.release();
    std::shared_ptr<Engine> tree(madeEngine);

    LoadContext context;
    context.loadConnections = true;
    context.presetPath = presetPath;
    tree->loadFromXml(engineXml, context, 2147483647);
    // The buses go on before the tree is prepared, so that it is prepared once.
    if (mainBus != nullptr)
        tree->setOutputBus(0, mainBus.get());
    prepareTree(*tree);
    return tree;
}

bool DefaultPluginBase::setState(const std::vector<uint8_t>& bytes, const juce::String& presetPath)
{
    // Everything that takes time happens on the new tree, while blocks run on the old one.
    auto newEngine = buildTree(bytes, presetPath);
    if (newEngine == nullptr)
    {
        stateLoaded.emit();
        return false;
    }
    auto newAuxBuses = makeAuxBuses(*newEngine, auxOutputs);

    {
        const SlotsHeld held(*this);
        {
            // The audio thread only tries this lock: a block that meets the exchange passes dry. This side
            // tries too, rather than wait: a waiter is handed the lock as a block lets go and owns it from
            // then on, asleep until the scheduler runs it, and every block meanwhile would pass dry.
            while (!processLock.tryEnter())
                std::this_thread::yield();
            std::swap(engine, newEngine);
            std::swap(auxBuses, newAuxBuses);
            processLock.exit();
        }
        // The old tree lives until the slots and the proxy have left it: nothing points into freed elements,
        // and the new engine cannot take the old one's address, which the proxy would take for "unchanged".
        refreshParameters();
        if (engineProxy != nullptr)
            engineProxy->setEngine(engine.get());
    }
    newEngine.reset();

    stateLoaded.emit();
    return true;
}

} // namespace qor
