#pragma once

#include <cstddef>

namespace qor::test
{

/** Counts calls of the global operator new made by the calling thread while a scope is alive. */
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    /** Allocations made by this thread since construction. */
    std::size_t count() const;

private:
    std::size_t start;
};

/** Allocations made by the calling thread since it started. */
std::size_t threadAllocationCount();

} // namespace qor::test
