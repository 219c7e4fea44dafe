#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nx
{
namespace crypto
{
// The bytes as base64 with padding and without line breaks; no bytes give an empty text.
NX_HOST_API std::string base64Encode(const void* data, std::size_t length);

// Puts the octets of a base64 text, with padding and without line breaks, into `bytes` and returns
// true. Any other text returns false and leaves `bytes` untouched. The empty text has no octets.
NX_HOST_API bool base64Decode(const std::string& text, std::vector<std::uint8_t>& bytes);

// A uniformly random integer from `min` to `max`, both included; `min` when the range is empty.
// Repeats with the host's seed.
NX_HOST_API int random(int min, int max);
} // namespace crypto
} // namespace nx
