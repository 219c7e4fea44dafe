#include "AllocationCount.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::size_t allocations = 0;
} // namespace

namespace host_test
{
std::size_t Allocations()
{
    return allocations;
}
} // namespace host_test

// The other forms of new end up here.
void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
