#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <string>
#include <vector>

namespace nx
{
// The calls that led here, innermost first, at most 32. Costly: for failures only.
class NX_HOST_API StackTrace
{
public:
    // Takes the trace of the caller.
    StackTrace();

    std::size_t Size() const { return m_frames.size(); }

    // One frame in words: the demangled function name, else module name and offset. No absolute
    // address or path. `index` is below Size().
    std::string Frame(std::size_t index) const;

private:
    std::vector<const void*> m_frames;
};
} // namespace nx
