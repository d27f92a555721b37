#pragma once

#include "engine/engine.h"
#include "engine/signal.h"

#include <atomic>
#include <map>
#include <memory>
#include <vector>

namespace qor
{

class Plugin;

/** The user interface's view of the engine. Changes arrive on any thread (the audio thread included) into a
   fixed lock-free pool and are delivered on the message thread by tick(), which the owner of a message loop
   calls every 100 ms (the plug-in binding runs a timer for it). */
class EngineProxy : public Trackable
{
public:
    static constexpr uint32_t poolSize = 16385;
    static constexpr int timerIntervalMs = 100;

    /** Told of a change of one parameter of one element, on the message thread. */
    class ParameterListener
    {
    public:
        virtual ~ParameterListener() = default;
        virtual void engineParameterChanged(Element& element, uint32_t parameterId, float value) = 0;
    };

    /** Told which element a path resolves to: at once, and again whenever that changes (after a state load).
     */
    class ElementBoundListener
    {
    public:
        virtual ~ElementBoundListener() = default;
        virtual void elementBound(const juce::String& path, Element* element) = 0;
    };

    struct ChangeRecord
    {
        Element* element = nullptr;
        int32_t parameterId = -1;
        float value = 0.0f;
    };

    EngineProxy(Plugin* plugin, Engine* engine, bool listensToAllParameters);
    ~EngineProxy() override;

    /** Points the proxy at a new tree; nothing happens for the engine it already has. */
    void setEngine(Engine* newEngine);
    Engine* getEngine() const { return engine; }
    Plugin* getPlugin() const { return plugin; }

    /** parameterId 0 listens to every parameter of the element at `path`. */
    void addParameterListener(const juce::String& path, uint32_t parameterId, ParameterListener* listener);
    void removeParameterListener(ParameterListener* listener);
    void addElementBoundListener(const juce::String& path, ElementBoundListener* listener);
    void removeElementBoundListener(ElementBoundListener* listener);

    /** Queues a change from any thread; a full pool drops it. Answers false when dropped. */
    bool postChange(Element* element, int32_t parameterId, float value);
    /** Delivers the queued changes to their listeners (message thread). Answers the number delivered. */
    int tick();

    uint64_t getNumDropped() const { return dropped.load(); }

    Signal<Element*, uint32_t> gestureBegin;
    Signal<Element*, uint32_t> gestureEnd;

private:
    void onParameterChanged(Element* element, uint32_t parameterId);
    void subscribe();
    void rebind();
    /** Drops the entries of listeners that have left, and maps the rest again. */
    void compact();
    /** Maps each parameter listener to the element its path resolves to now. */
    void remap();
    static float readValue(const Element& element, uint32_t id);

    Plugin* plugin;
    Engine* engine = nullptr;
    bool listensToAllParameters;

    struct ParameterEntry
    {
        juce::String path;
        uint32_t parameterId;
        ParameterListener* listener;
    };
    std::vector<ParameterEntry> parameterListeners;
    std::multimap<Element*, std::size_t> byElement;
    struct BoundEntry
    {
        juce::String path;
        ElementBoundListener* listener;
        Element* bound;
    };
    std::vector<BoundEntry> elementBoundListeners;
    /** Above 0 while listeners are being told: a listener that leaves then only has its entry cleared, and
       the map stays as it is (the loops that tell them walk these), until the telling is over. */
    int telling = 0;
    bool changedWhileTelling = false;

    // Bounded multi-producer queue of records, each cell on its own cache line.
    struct alignas(64) Cell
    {
        std::atomic<uint64_t> sequence{0};
        ChangeRecord record;
    };
    std::unique_ptr<Cell[]> cells;
    alignas(64) std::atomic<uint64_t> enqueuePosition{0};
    alignas(64) std::atomic<uint64_t> dequeuePosition{0};
    std::atomic<uint64_t> dropped{0};
};

} // namespace qor
