#pragma once

#include "engine/parameter_description.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace qor
{

class Element;
class ElementState;

/** Binds one description to one element: the setter and getter, their indices, and the cell through which a
   value crosses threads. */
class ParameterInfoBase
{
public:
    explicit ParameterInfoBase(std::shared_ptr<const ParameterDescriptionBase> d) : description(std::move(d))
    {
    }
    virtual ~ParameterInfoBase() = default;

    /** Parameters of this product are never modulation targets; the hook stays for the tree's other users. */
    virtual void* getModulationTarget() { return nullptr; }
    const ParameterDescriptionBase& getDescription() const { return *description; }
    ParameterType getType() const { return description->type; }
    virtual bool isPending() const = 0;
    /** Clears the pending mark, reads the value and calls the setter with `state`. */
    virtual void applyPending(Element& element, ElementState* state) = 0;
    /** The same with one read of the value for two states; `second` may be null. */
    virtual void applyPendingTo(Element& element, ElementState* first, ElementState* second) = 0;
    /** Copies the value that `from` holds into `to` through the getter and the setter. */
    virtual void copyState(Element& element, const ElementState* from, ElementState* to) = 0;
    uint32_t getId() const { return description->id; }

    std::shared_ptr<const ParameterDescriptionBase> description;
};

namespace detail
{
template <typename T>
struct PendingCell
{
    std::atomic<T> value{};
    void store(const T& v) { value.store(v, std::memory_order_relaxed); }
    T load() const { return value.load(std::memory_order_relaxed); }
};

/** Text cannot cross in one atomic word; a spin lock that the audio side only tries keeps it whole. */
template <>
struct PendingCell<juce::String>
{
    juce::SpinLock lock;
    juce::String value;
    void store(const juce::String& v)
    {
        const juce::SpinLock::ScopedLockType l(lock);
        value = v;
    }
    juce::String load() const
    {
        const juce::SpinLock::ScopedLockType l(lock);
        return value;
    }
};
} // namespace detail

template <typename T>
class ParameterInfo final : public ParameterInfoBase
{
public:
    /** A setter receives the element, the state (null for controlStateOnly), the indices and the value; a
       getter the same without the value. Plain functions, so one function can serve a row of a table through
       its index. */
    using Setter = void (*)(Element& element, ElementState* state, const uint16_t* indices, T value);
    using Getter = T (*)(const Element& element, const ElementState* state, const uint16_t* indices);

    ParameterInfo(std::shared_ptr<const ParameterDescription<T>> d, Setter s, Getter g,
                  std::initializer_list<uint16_t> idx)
        : ParameterInfoBase(d), typedDescription(std::move(d)), setter(s), getter(g)
    {
        for (auto i : idx)
            if (numIndices < 3)
                indices[numIndices++] = i;
    }

    const ParameterDescription<T>& getTypedDescription() const { return *typedDescription; }

    bool isPending() const override { return pendingFlag.load() != 0; }

    void storePending(const T& value)
    {
        pending.store(value);
        pendingFlag.store(1);
    }
    void clearPending() { pendingFlag.store(0); }
    T getPendingValue() const { return pending.load(); }

    void applyPending(Element& element, ElementState* state) override
    {
        applyPendingTo(element, state, nullptr);
    }

    void applyPendingTo(Element& element, ElementState* first, ElementState* second) override
    {
        pendingFlag.store(0);
        const T value = pending.load();
        call(element, first, value);
        if (second != nullptr)
            call(element, second, value);
    }

    void copyState(Element& element, const ElementState* from, ElementState* to) override
    {
        call(element, to, read(element, from));
    }

    void call(Element& element, ElementState* state, const T& value) const
    {
        if (setter != nullptr)
            setter(element, state, indices, value);
    }
    T read(const Element& element, const ElementState* state) const
    {
        return getter != nullptr ? getter(element, state, indices) : typedDescription->defaultValue;
    }

    std::shared_ptr<const ParameterDescription<T>> typedDescription;
    Setter setter;
    Getter getter;
    uint16_t indices[3] = {};
    uint8_t numIndices = 0;

private:
    detail::PendingCell<T> pending;
    std::atomic<uint8_t> pendingFlag{0};
};

} // namespace qor
