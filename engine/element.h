#pragma once

#include "engine/element_parameter.h"
#include "engine/signal.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace tinyxml2
{
class XMLElement;
}

namespace qor
{

class Element;
class ScratchArena;

/** The audio-side companion of an element; parameter setters write into it. */
class ElementState
{
public:
    explicit ElementState(Element* owner = nullptr) : element(owner) {}
    virtual ~ElementState() = default;

    virtual void prepare(double sampleRate, uint32_t maxBlockSize);
    virtual void reset() {}
    /** Per-voice copies belong to instrument trees; effects answer none. */
    virtual ElementState* clone(ScratchArena& arena);

    Element* element;
    uint16_t lastChangeCount = 0;
    bool wasProcessed = false;
    bool forceModulationUpdate = false;
};

struct SaveContext
{
    bool skipConnections = false;
    juce::String relativeTo;
    bool isPresetSave = false;
};

struct LoadContext
{
    bool loadConnections = false;
    /** May veto an element before it loads. */
    std::function<bool(const Element&)> filter;
    juce::String presetPath;
};

/** Signals of an element, made on first use. */
struct ElementSignals
{
    Signal<Element*> modifiedChanged;
    Signal<Element*, juce::String, juce::String> propertyChanged;
    Signal<Element*, Element*> childAdded;
    Signal<Element*, Element*> childRemoved;
    Signal<Element*> nameChanged;
    Signal<Element*, uint32_t> parameterChanged;
};

/** A node of the engine tree: typed parameters, children, properties, two states, and its XML form. */
class Element
{
public:
    Element(const juce::Identifier& typeName, const juce::String& name = {});
    virtual ~Element();
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

    // Persistence
    virtual tinyxml2::XMLElement* saveToXml(tinyxml2::XMLElement* parent, const SaveContext& context);
    virtual bool loadFromXml(const tinyxml2::XMLElement* xml, const LoadContext& context, int version);
    virtual bool postLoad() { return true; }
    virtual bool validate();
    virtual void saveParameters(tinyxml2::XMLElement* xml, int& version);
    virtual void loadParameters(const tinyxml2::XMLElement* xml);

    // Lifecycle
    virtual ElementState* createState(ScratchArena& arena);
    virtual void reset();
    virtual void prepareToPlay() {}
    /** Not virtual: stores the values, prepares the children in order, then this element. */
    void prepare(double sampleRate, uint32_t maxBlockSize);
    bool isPrepared() const { return prepared; }
    float getSampleRate() const { return sampleRate; }
    uint16_t getMaxBlockSize() const { return maxBlockSize; }

    // Names and tree
    const juce::Identifier& getTypeName() const { return typeName; }
    const juce::String& getName() const { return name; }
    virtual void setName(const juce::String& newName);
    virtual juce::String getPath() const;
    virtual Element* findElement(const juce::String& path);
    Element* getParent() const { return parent; }
    Element* getFirstChild() const;
    Element* getNextChild(const Element* child) const;
    std::size_t getNumChildren() const { return children.size(); }
    Element* getChild(std::size_t index) const { return children[index].get(); }
    virtual bool addChild(std::unique_ptr<Element> child, int index = -1);
    virtual std::unique_ptr<Element> removeChild(Element* child);
    virtual bool canBeRemoved() const { return true; }

    // Properties
    virtual void setProperty(const juce::String& key, const juce::String& value, bool isSaved = true);
    juce::String getProperty(const juce::String& key, const juce::String& fallback = {}) const;
    bool hasProperty(const juce::String& key) const;
    void removeSavedProperties();
    virtual void onProperty(const juce::String&, const juce::String&) {}

    // Modified flag
    bool isModified() const { return modified.load(); }
    void setModified();
    void clearModified();

    // Parameters
    virtual uint32_t resolveParameterId(uint32_t id) const { return id; }
    virtual uint32_t getParameterId(const juce::String& parameterName) const;
    virtual juce::String getParameterValueText(uint32_t id) const;
    std::size_t getNumParameters() const { return parameters.size(); }
    ParameterInfoBase* getParameterInfo(std::size_t index) const { return parameters[index].get(); }
    ParameterInfoBase* findParameter(uint32_t id) const;

    virtual void setParameter(uint32_t id, const juce::String& value);
    virtual void setParameter(uint32_t id, int32_t value);
    virtual void setParameter(uint32_t id, bool value);
    virtual void setParameter(uint32_t id, float value);
    virtual void setParameterDeferred(uint32_t id, const juce::String& value, bool deferred);
    virtual void setParameterDeferred(uint32_t id, int32_t value, bool deferred);
    virtual void setParameterDeferred(uint32_t id, bool value, bool deferred);
    virtual void setParameterDeferred(uint32_t id, float value, bool deferred);

    virtual float getParameter(uint32_t id, int* errorCode = nullptr) const;
    virtual bool getBoolParameter(uint32_t id, int* errorCode = nullptr) const;
    virtual int32_t getIntParameter(uint32_t id, int* errorCode = nullptr) const;
    virtual juce::String getStringParameter(uint32_t id, int* errorCode = nullptr) const;
    virtual ParameterInfo<float>* hasFloatParameter(uint32_t id) const;
    virtual ParameterInfo<bool>* hasBoolParameter(uint32_t id) const;
    virtual ParameterInfo<int32_t>* hasIntParameter(uint32_t id) const;
    virtual ParameterInfo<juce::String>* hasStringParameter(uint32_t id) const;

    /** Value of a bool parameter found by name; false when there is none. */
    bool getBoolParameterByName(const juce::String& parameterName) const;

    /** Applies pending values to `state` (and to the process state as well, so that render sees them in the
       same block). Answers true when the change count moved. */
    bool syncParameters(ElementState* state);

    /** Re-entrant lock held while a preset is applied. */
    juce::CriticalSection& getLock() const { return lock; }

    ElementSignals& signals();
    bool hasSignals() const { return listeners != nullptr; }

    ElementState* getControlState() const { return controlState.get(); }
    ElementState* getProcessState() const { return processState.get(); }

    uint16_t getChangeCount() const { return changeCount; }
    uint16_t getSerial() const { return serial; }

    /** Announces every parameter once through parameterChanged, e.g. after a proxy is pointed at the tree. */
    void reportAllParameters();

protected:
    void setStates(std::unique_ptr<ElementState> control, std::unique_ptr<ElementState> process);

    template <typename T>
    ParameterInfo<T>* addParameter(std::shared_ptr<const ParameterDescription<T>> description,
                                   typename ParameterInfo<T>::Setter setter,
                                   typename ParameterInfo<T>::Getter getter,
                                   std::initializer_list<uint16_t> indices = {})
    {
        auto info = std::make_unique<ParameterInfo<T>>(std::move(description), setter, getter, indices);
        auto* raw = info.get();
        insertParameter(std::move(info));
        return raw;
    }

    void fireParameterChanged(uint32_t id);
    /** Tells the next block that values are waiting. */
    void raisePending();
    void noteSavedChange(const ParameterDescriptionBase& description);

    Element* parent = nullptr;
    std::unique_ptr<ElementSignals> listeners;
    juce::Identifier typeName;
    juce::String name;
    float sampleRate = 44100.0f;
    std::atomic<uint8_t> hasPendingState{0};
    std::atomic<uint8_t> hasPendingParameters{0};
    std::vector<std::unique_ptr<ParameterInfoBase>> parameters;
    struct Property
    {
        juce::String value;
        bool isSaved = false;
    };
    std::unique_ptr<std::map<juce::String, Property>> properties;
    std::vector<std::unique_ptr<Element>> children;
    std::unique_ptr<ElementState> controlState;
    std::unique_ptr<ElementState> processState;
    uint16_t maxBlockSize = 0;
    uint16_t changeCount = 0;
    uint16_t serial = 0;
    bool usesVoiceStates = false;
    bool isActive = true;
    std::atomic<bool> modified{false};
    bool prepared = false;
    mutable juce::CriticalSection lock;

private:
    void insertParameter(std::unique_ptr<ParameterInfoBase> info);
    template <typename T>
    void setImmediate(uint32_t id, const T& value);
    template <typename T>
    void setDeferred(uint32_t id, const T& value, bool deferred);
    template <typename T>
    T getTyped(uint32_t id, int* errorCode) const;
    template <typename T>
    ParameterInfo<T>* findTyped(uint32_t id) const;
};

/** One parameter of one element, for user-interface code. */
template <typename T>
class ElementParameterValue
{
public:
    ElementParameterValue() = default;
    ElementParameterValue(Element* e, uint32_t parameterId) : element(e), id(parameterId) {}

    bool isValid() const
    {
        if (element == nullptr)
            return false;
        if constexpr (std::is_same_v<T, float>)
            return element->hasFloatParameter(id) != nullptr;
        else if constexpr (std::is_same_v<T, int32_t>)
            return element->hasIntParameter(id) != nullptr;
        else if constexpr (std::is_same_v<T, bool>)
            return element->hasBoolParameter(id) != nullptr;
        else
            return element->hasStringParameter(id) != nullptr;
    }

    T get() const
    {
        if (element == nullptr)
            return T{};
        if constexpr (std::is_same_v<T, float>)
            return element->getParameter(id);
        else if constexpr (std::is_same_v<T, int32_t>)
            return element->getIntParameter(id);
        else if constexpr (std::is_same_v<T, bool>)
            return element->getBoolParameter(id);
        else
            return element->getStringParameter(id);
    }

    /** Sets through the deferred cell, so that any thread may call it. */
    void set(const T& value) const
    {
        if (element != nullptr)
            element->setParameterDeferred(id, value, true);
    }

    Element* getElement() const { return element; }
    uint32_t getId() const { return id; }

private:
    Element* element = nullptr;
    uint32_t id = 0;
};

} // namespace qor
