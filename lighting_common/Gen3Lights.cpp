#include "lighting_common/Gen3Lights.h"

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <set>

#include <fmt/format.h>

namespace
{
constexpr std::size_t COLOR_LENGTH = 6;
constexpr unsigned FULL_PERCENT = 100;

std::uint8_t BytePart(const std::string& color, std::size_t offset)
{
    const std::string digits = color.substr(offset, 2);
    return static_cast<std::uint8_t>(std::strtol(digits.c_str(), nullptr, 16));
}

std::uint8_t Scale(std::uint8_t part, unsigned percent)
{
    return static_cast<std::uint8_t>(part * percent / FULL_PERCENT);
}
} // namespace

namespace gen3_lights
{
std::string buffToString(const void* buffer, unsigned length, int perLine)
{
    std::string text;
    if (!buffer)
        return text;
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    for (unsigned i = 0; i < length; ++i)
    {
        fmt::format_to(std::back_inserter(text), "0x{:02x} ", bytes[i]);
        const bool lineFull = perLine > 0 && (i + 1) % static_cast<unsigned>(perLine) == 0;
        if (lineFull && i + 1 < length)
            text += '\n';
    }
    return text;
}

bool highPowerRF(const std::string& countryCode)
{
    // clang-format off
    static const std::set<std::string> countries = {
        "AS", "AI", "AW", "BS", "BB", "BZ", "BM", "BR", "CA", "KY",
        "CO", "CR", "CU", "DO", "EC", "SV", "GU", "GT", "HT", "HN",
        "ID", "JM", "JP", "LB", "LR", "LY", "MX", "FM", "MC", "MA",
        "AN", "NI", "PA", "PR", "SA", "SR", "TW", "TT", "US", "VE",
    };
    // clang-format on
    return countries.count(countryCode) != 0;
}

namespace crc
{
HexColor colorToHex(const std::string& color)
{
    if (color.size() != COLOR_LENGTH)
        return HexColor();
    return HexColor{BytePart(color, 0), BytePart(color, 2), BytePart(color, 4)};
}

std::string hexToColor(HexColor color)
{
    return fmt::format("{:02x}{:02x}{:02x}", color.red, color.green, color.blue);
}
} // namespace crc

namespace Buttons
{
std::string scaleColor(const std::string& color, int percent)
{
    // Taken as unsigned, so that a negative percentage passes the color through as 100 does.
    const auto amount = static_cast<unsigned>(percent);
    if (amount >= FULL_PERCENT || color.size() != COLOR_LENGTH)
        return color;
    const crc::HexColor full = crc::colorToHex(color);
    return crc::hexToColor(
        {Scale(full.red, amount), Scale(full.green, amount), Scale(full.blue, amount)});
}
} // namespace Buttons

namespace wired_keypads
{
std::string macAddrToReadableString(const std::string& mac, const std::string& separator)
{
    std::string text;
    for (std::size_t i = 0; i < mac.size(); ++i)
    {
        if (i > 0)
            text += separator;
        fmt::format_to(std::back_inserter(text), "{:02x}", static_cast<unsigned char>(mac[i]));
    }
    return text;
}
} // namespace wired_keypads
} // namespace gen3_lights
