#pragma once

#include <cstddef>

namespace qor::test
{

/** Counts calls of the global operator new and delete made by the calling thread while a scope is alive. */
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    /** Allocations made by this thread since construction. */
    std::size_t count() const;
    /** Blocks freed by this thread since construction. */
    std::size_t frees() const;

private:
    std::size_t start;
    std::size_t freeStart;
};

/** Allocations made by the calling thread since it started. */
std::size_t threadAllocationCount();
/** Blocks freed by the calling thread since it started. */
std::size_t threadFreeCount();

} // namespace qor::test
