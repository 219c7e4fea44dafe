#pragma once

#include "lighting_common/Export.h"

#include <cstddef>
#include <string>

// What drivers of RS-485 bus devices read out of bus messages.
namespace BusParsers
{
// The firmware version of a bus device: three numbers and an extension text, which is empty when
// the version has none.
//
// A plain value. It is read from the two bus messages that carry it and from a text. The forms with
// a length are for what came from outside: they read nothing past it and leave the record untouched
// when they refuse. The forms without one trust the caller.
class LIGHTING_COMMON_API FirmwareVersion
{
public:
    // 0.0.0 without an extension.
    FirmwareVersion() = default;

    // Back to 0.0.0 without an extension.
    void Clear();

    // Whether the numbers are all 0 and the extension is empty.
    bool Empty() const;

    // Reads "major.minor.build.extension". A missing number reads as 0, with one exception: when
    // there is no further dot, reading starts again at the beginning of the text, so "7" is 7.7.7
    // and "1.2" is 1.2.1 with the extension "2".
    void FromString(std::string text);

    // Reads a firmware-version reply: octets major, minor and build; or 255 and then the version as
    // a text that ends with a zero octet. `payload` must hold that much.
    void FromOpcodeFwv(const unsigned char* payload);

    // The same with the payload's length. False, and nothing changes, when the payload is null or
    // empty, has fewer than 3 octets (numbers), or has no zero octet (text; 255 and 0 are 0.0.0).
    bool FromOpcodeFwv(const unsigned char* payload, std::size_t length);

    // Reads an announce: octet 0 is its format. Formats 4 and 5 hold 21 octets: major in octet 9,
    // minor and build as big-endian pairs from octets 10 and 12, and 7 octets of extension from 14,
    // taken as they are. All others hold 12: major, minor and build in octets 9, 10 and 11.
    // `payload` must hold that much.
    void FromOpcodeAnnounce(const unsigned char* payload);

    // The same with the payload's length. False, and nothing changes, when the payload is null or
    // shorter than its format asks for.
    bool FromOpcodeAnnounce(const unsigned char* payload, std::size_t length);

    // "major.minor.build".
    std::string ToString() const;

    // ToString and, when there is an extension, "." and the extension.
    std::string ToExtString() const;

    int GetMajor() const { return m_major; }
    int GetMinor() const { return m_minor; }
    int GetBuild() const { return m_build; }
    const std::string& GetExtension() const { return m_extension; }

private:
    int m_major = 0;
    int m_minor = 0;
    int m_build = 0;
    std::string m_extension;
};
} // namespace BusParsers
