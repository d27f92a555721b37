#include "tests/support/alloc_counter.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::size_t allocations = 0;
thread_local std::size_t frees = 0;

void countedFree(void* p) noexcept
{
    if (p != nullptr)
        ++frees;
    std::free(p);
}

void* countedAllocate(std::size_t size)
{
    ++allocations;
    if (size == 0)
        size = 1;
    if (void* p = std::malloc(size))
        return p;
    throw std::bad_alloc();
}

void* countedAllocateAligned(std::size_t size, std::align_val_t alignment)
{
    ++allocations;
    const auto align = static_cast<std::size_t>(alignment);
    size = (size + align - 1) / align * align;
    if (void* p = std::aligned_alloc(align, size == 0 ? align : size))
        return p;
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t size)
{
    return countedAllocate(size);
}
void* operator new[](std::size_t size)
{
    return countedAllocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size, std::align_val_t a)
{
    return countedAllocateAligned(size, a);
}
void* operator new[](std::size_t size, std::align_val_t a)
{
    return countedAllocateAligned(size, a);
}
void operator delete(void* p) noexcept
{
    countedFree(p);
}
void operator delete[](void* p) noexcept
{
    countedFree(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    countedFree(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
    countedFree(p);
}
void operator delete(void* p, std::align_val_t) noexcept
{
    countedFree(p);
}
void operator delete[](void* p, std::align_val_t) noexcept
{
    countedFree(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept
{
    countedFree(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept
{
    countedFree(p);
}

namespace qor::test
{
std::size_t threadAllocationCount()
{
    return allocations;
}

std::size_t threadFreeCount()
{
    return frees;
}

AllocationCounter::AllocationCounter() : start(allocations), freeStart(::frees) {}
AllocationCounter::~AllocationCounter() = default;
std::size_t AllocationCounter::count() const
{
    return allocations - start;
}
std::size_t AllocationCounter::frees() const
{
    return ::frees - freeStart;
}
} // namespace qor::test
