#include "lighting_common/BusParsers.h"

#include "nxshared/XmlDocument.h"

#include <algorithm>

#include <fmt/format.h>

namespace
{
// The firmware-version reply.
constexpr unsigned char TEXT_FORM = 255;
constexpr std::size_t BINARY_FWV = 3;

// The announce.
constexpr std::size_t MAJOR_AT = 9;
constexpr std::size_t MINOR_AT = 10;
constexpr std::size_t SHORT_BUILD_AT = 11;
constexpr std::size_t LONG_BUILD_AT = 12;
constexpr std::size_t EXTENSION_AT = 14;
constexpr std::size_t EXTENSION_LENGTH = 7;
constexpr std::size_t SHORT_ANNOUNCE = 12;
constexpr std::size_t LONG_ANNOUNCE = 21;

bool IsExtendedAnnounce(const unsigned char* payload)
{
    return payload[0] == 4 || payload[0] == 5;
}

int BigEndian16(const unsigned char* bytes)
{
    return bytes[0] * 256 + bytes[1];
}
} // namespace

namespace BusParsers
{
void FirmwareVersion::Clear()
{
    *this = FirmwareVersion();
}

bool FirmwareVersion::Empty() const
{
    return m_major == 0 && m_minor == 0 && m_build == 0 && m_extension.empty();
}

void FirmwareVersion::FromString(std::string text)
{
    m_major = nx::ToInt(text);
    // deliberate: without a dot, "not found" plus 1 wraps to 0 and the text is read from its start.
    const std::size_t minorAt = text.find('.') + 1;
    m_minor = nx::ToInt(text.substr(minorAt));
    const std::size_t buildAt = text.find('.', minorAt) + 1;
    m_build = nx::ToInt(text.substr(buildAt));
    const std::size_t dot = text.find('.', buildAt);
    m_extension = dot == std::string::npos ? std::string() : text.substr(dot + 1);
}

void FirmwareVersion::FromOpcodeFwv(const unsigned char* payload)
{
    if (payload[0] == TEXT_FORM)
    {
        FromString(reinterpret_cast<const char*>(payload + 1));
        return;
    }
    m_major = payload[0];
    m_minor = payload[1];
    m_build = payload[2];
    m_extension.clear();
}

bool FirmwareVersion::FromOpcodeFwv(const unsigned char* payload, std::size_t length)
{
    if (!payload || length == 0)
        return false;
    const unsigned char* end = payload + length;
    // A text may be empty; what it needs is its zero octet.
    const bool complete =
        payload[0] == TEXT_FORM ? std::find(payload + 1, end, 0) != end : length >= BINARY_FWV;
    if (!complete)
        return false;
    FromOpcodeFwv(payload);
    return true;
}

void FirmwareVersion::FromOpcodeAnnounce(const unsigned char* payload)
{
    m_major = payload[MAJOR_AT];
    if (IsExtendedAnnounce(payload))
    {
        m_minor = BigEndian16(payload + MINOR_AT);
        m_build = BigEndian16(payload + LONG_BUILD_AT);
        m_extension.assign(reinterpret_cast<const char*>(payload + EXTENSION_AT), EXTENSION_LENGTH);
        return;
    }
    m_minor = payload[MINOR_AT];
    m_build = payload[SHORT_BUILD_AT];
    m_extension.clear();
}

bool FirmwareVersion::FromOpcodeAnnounce(const unsigned char* payload, std::size_t length)
{
    if (!payload || length < SHORT_ANNOUNCE)
        return false;
    if (IsExtendedAnnounce(payload) && length < LONG_ANNOUNCE)
        return false;
    FromOpcodeAnnounce(payload);
    return true;
}

std::string FirmwareVersion::ToString() const
{
    return fmt::format("{}.{}.{}", m_major, m_minor, m_build);
}

std::string FirmwareVersion::ToExtString() const
{
    return m_extension.empty() ? ToString() : ToString() + "." + m_extension;
}
} // namespace BusParsers
