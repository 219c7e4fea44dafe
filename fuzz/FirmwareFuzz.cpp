// Any octets as a firmware reply, as an announce and as a version's text: read or refused, never
// past their end, and a refusal keeps what was held.

#include "fuzz/Fuzzing.h"
#include "lighting_common/BusParsers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

using BusParsers::FirmwareVersion;

namespace
{
using Read = bool (FirmwareVersion::*)(const unsigned char*, std::size_t);

using fuzzing::Require;

void RequireSound(const FirmwareVersion& version)
{
    const std::string text = version.ToString();
    const std::string whole = version.ToExtString();
    Require(whole == (version.GetExtension().empty() ? text : text + "." + version.GetExtension()));
    Require(!version.Empty() || whole == "0.0.0");
}

void Try(Read read, const std::uint8_t* octets, std::size_t size)
{
    FirmwareVersion version;
    version.FromString("9.8.7.held");
    if (!(version.*read)(octets, size))
        Require(version.ToExtString() == "9.8.7.held");
    RequireSound(version);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    // In memory of exactly that size, so that reading past it is found.
    const std::unique_ptr<std::uint8_t[]> octets(new std::uint8_t[size]);
    std::copy(data, data + size, octets.get());
    Try(&FirmwareVersion::FromOpcodeFwv, octets.get(), size);
    Try(&FirmwareVersion::FromOpcodeAnnounce, octets.get(), size);

    FirmwareVersion version;
    version.FromString(std::string(data, data + size));
    RequireSound(version);
    version.Clear();
    Require(version.Empty());
    return 0;
}
