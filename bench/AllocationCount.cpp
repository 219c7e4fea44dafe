#include "bench/Bench.h"

#include <cstdlib>
#include <new>

namespace
{
std::size_t g_allocations = 0;
}

namespace bench
{
std::size_t Allocations()
{
    return g_allocations;
}
} // namespace bench

void* operator new(std::size_t size)
{
    ++g_allocations;
    if (void* memory = std::malloc(size ? size : 1))
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
