#pragma once

#include "nxshared/Crypto.h"

#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace bus_test
{
// A base64 text as octets; one that is none fails the test.
inline std::vector<std::uint8_t> DecodeBase64(const std::string& text)
{
    std::vector<std::uint8_t> octets;
    EXPECT_TRUE(nx::crypto::base64Decode(text, octets)) << text;
    return octets;
}

// Octets as lower-case hexadecimal digits.
inline std::string ToHex(const std::vector<std::uint8_t>& octets)
{
    std::string hex;
    for (std::uint8_t octet : octets)
        hex += fmt::format("{:02x}", octet);
    return hex;
}
} // namespace bus_test
