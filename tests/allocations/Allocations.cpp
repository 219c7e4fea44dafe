#include "tests/allocations/Allocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

// The C library's own allocator, under the names that it keeps for those who put theirs in front.
extern "C"
{
    void* __libc_malloc(std::size_t size);
    void* __libc_calloc(std::size_t count, std::size_t size);
    void* __libc_realloc(void* memory, std::size_t size);
    void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace
{
std::atomic<std::size_t> g_count{0};
} // namespace

std::size_t allocations::Count()
{
    return g_count;
}

// Every allocation of every library in the process comes through these: operator new calls malloc.
extern "C"
{
    void* malloc(std::size_t size)
    {
        ++g_count;
        return __libc_malloc(size);
    }

    void* calloc(std::size_t count, std::size_t size)
    {
        ++g_count;
        return __libc_calloc(count, size);
    }

    void* realloc(void* memory, std::size_t size)
    {
        ++g_count;
        return __libc_realloc(memory, size);
    }

    void* aligned_alloc(std::size_t alignment, std::size_t size)
    {
        ++g_count;
        return __libc_memalign(alignment, size);
    }

    int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
    {
        ++g_count;
        *memory = __libc_memalign(alignment, size);
        return *memory ? 0 : ENOMEM;
    }
}
