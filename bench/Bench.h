#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include <benchmark/benchmark.h>

// What the benchmark programs share. Included once in each program: it brings the program's own
// allocator, which counts.
namespace bench
{
// How many times memory was asked for since the program began.
inline std::size_t g_allocations = 0;

// Counts allocations over a benchmark's loop and reports them for each iteration.
class CountAllocations
{
public:
    explicit CountAllocations(benchmark::State& state) : m_state(state), m_before(g_allocations) {}
    ~CountAllocations()
    {
        m_state.counters["allocations"] = benchmark::Counter(
            static_cast<double>(g_allocations - m_before), benchmark::Counter::kAvgIterations);
    }
    CountAllocations(const CountAllocations&) = delete;
    CountAllocations& operator=(const CountAllocations&) = delete;

private:
    benchmark::State& m_state;
    std::size_t m_before;
};
} // namespace bench

// Not inline, so that the compiler does not see that one of the two ends is malloc.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++bench::g_allocations;
    if (void* memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
