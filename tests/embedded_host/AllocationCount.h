#pragma once

#include <cstddef>

namespace host_test
{
// How many times this thread has allocated so far, in any library of the process.
std::size_t Allocations();
} // namespace host_test
