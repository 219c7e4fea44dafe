#pragma once

#include <cstddef>

#include <benchmark/benchmark.h>

namespace bench
{
// How many times memory was asked for since the program began (AllocationCount.cpp).
std::size_t Allocations();

// Counts allocations over a benchmark's loop and reports them for each iteration.
class CountAllocations
{
public:
    explicit CountAllocations(benchmark::State& state) : m_state(state), m_before(Allocations()) {}
    ~CountAllocations()
    {
        m_state.counters["allocations"] =
            static_cast<double>(Allocations() - m_before) /
            static_cast<double>(m_state.iterations() > 0 ? m_state.iterations() : 1);
    }
    CountAllocations(const CountAllocations&) = delete;
    CountAllocations& operator=(const CountAllocations&) = delete;

private:
    benchmark::State& m_state;
    std::size_t m_before;
};
} // namespace bench
