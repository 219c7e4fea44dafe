#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <string>

namespace nx
{
namespace crypto
{
// The bytes as base64 with padding and without line breaks; no bytes give an empty text.
NX_HOST_API std::string base64Encode(const void* data, std::size_t length);

// A uniformly random integer from `min` to `max`, both included; `min` when the range is empty.
// Repeats with the host's seed.
NX_HOST_API int random(int min, int max);
} // namespace crypto
} // namespace nx
