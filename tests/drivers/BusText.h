#pragma once

#include "embedded_host/Messages.h"
#include "nxshared/ICmdMessage.h"
#include "wire/BusFrame.h"

#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace bus_test
{
// A base64 text as octets, decoded here and not by the code under test.
inline std::vector<std::uint8_t> DecodeBase64(const std::string& text)
{
    static const std::string digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<std::uint8_t> octets;
    unsigned bits = 0;
    int count = 0;
    for (char c : text)
    {
        const std::size_t value = digits.find(c);
        if (value == std::string::npos)
            break;
        bits = bits << 6 | static_cast<unsigned>(value);
        count += 6;
        if (count < 8)
            continue;
        count -= 8;
        octets.push_back(static_cast<std::uint8_t>(bits >> count));
    }
    return octets;
}

// A command for the gateway as the frame that it asks for.
inline wire::BusFrame ToFrame(const ICmdMessage& command)
{
    return {command.GetParamUInt("DEVICE_ID"),
            static_cast<std::uint16_t>(command.GetParamInt("OPCODE")),
            DecodeBase64(command.GetParamString("PAYLOAD"))};
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
