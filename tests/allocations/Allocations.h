#pragma once

#include <cstddef>

namespace allocations
{
// How often this process has asked for memory so far, by whatever way: new, malloc, calloc, realloc
// or an aligned form. Freeing does not count.
std::size_t Count();

// How often `work` asks for memory when it is done once more, after it has been done `warm` times.
template <class Work>
std::size_t Of(const Work& work, int warm = 16)
{
    for (int i = 0; i < warm; ++i)
        work();
    const std::size_t before = Count();
    work();
    return Count() - before;
}
} // namespace allocations
