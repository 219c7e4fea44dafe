#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/StackTrace.h"

namespace nx
{
// Reports a broken invariant to the host. `file` is the source's name without an ending, for
// instance "lighting_common/SceneManager". Whether the process goes on is the host's decision;
// callers must be written so that going on is safe.
NX_HOST_API void AssertWrite(const char* file, int line, const StackTrace& trace);
} // namespace nx
