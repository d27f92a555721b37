#pragma once

#include <atomic>

namespace qor
{

/** A value that several threads store and load whole, with no ordering against anything else: parameter
    fields are read once per block or per build, and a reader may see the old or the new value. */
template <typename T>
class RelaxedAtomic
{
public:
    RelaxedAtomic(T initial = T{}) : value(initial) {}
    RelaxedAtomic(const RelaxedAtomic&) = delete;
    RelaxedAtomic& operator=(const RelaxedAtomic&) = delete;

    operator T() const { return value.load(std::memory_order_relaxed); }
    RelaxedAtomic& operator=(T v)
    {
        value.store(v, std::memory_order_relaxed);
        return *this;
    }
    T load() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<T> value;
};

} // namespace qor
