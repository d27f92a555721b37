#pragma once

#include "engine/parameter_description.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <type_traits>

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
    /** Clears the pending mark, reads the value and calls the setter with `state`. Answers false, with the
       mark still set, when the value could not be taken now (a text whose writer holds its cell). */
    virtual bool applyPending(Element& element, ElementState* state) = 0;
    /** The same with one read of the value for two states; `second` may be null. */
    virtual bool applyPendingTo(Element& element, ElementState* first, ElementState* second) = 0;
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

/** Text cannot cross in one atomic word. A spin lock keeps it whole: writers take it, the block only tries it
    (see ParameterInfo::applyPendingTo). The texts the states let go of when the block takes a new one are
   kept here and freed by the next store, on the writer's thread: the block never frees a text. */
template <>
struct PendingCell<juce::String>
{
    juce::SpinLock lock;
    juce::String value;
    juce::String retired[2];
    /** Stores so far, and the store whose text the block took last: a mark left standing after a take (the
        writer stores, the block takes, the writer raises the mark) must not take the same text twice. */
    uint32_t serial = 0;
    uint32_t takenSerial = 0;

    void store(const juce::String& v)
    {
        juce::String dropped[3];
        {
            const juce::SpinLock::ScopedLockType l(lock);
            std::swap(dropped[0], retired[0]);
            std::swap(dropped[1], retired[1]);
            std::swap(dropped[2], value);
            value = v;
            ++serial;
        }
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

    bool applyPending(Element& element, ElementState* state) override
    {
        return applyPendingTo(element, state, nullptr);
    }

    bool applyPendingTo(Element& element, ElementState* first, ElementState* second) override
    {
        if constexpr (std::is_same_v<T, juce::String>)
        {
            const juce::SpinLock::ScopedTryLockType l(pending.lock);
            if (!l.isLocked())
                return false;
            pendingFlag.store(0);
            if (pending.takenSerial == pending.serial)
                return true;
            pending.takenSerial = pending.serial;
            // The store since the last take emptied the retired slots; the old texts wait there for the next.
            pending.retired[0] = read(element, first);
            call(element, first, pending.value);
            if (second != nullptr)
            {
                pending.retired[1] = read(element, second);
                call(element, second, pending.value);
            }
            return true;
        }
        else
        {
            pendingFlag.store(0);
            const T value = pending.load();
            call(element, first, value);
            if (second != nullptr)
                call(element, second, value);
            return true;
        }
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
