#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <boost/endian/conversion.hpp>

namespace NxMIB
{
// What a packet is (wire values of the host, do not change).
enum Type : int
{
    Reply = 0,
    Trap = 1,
    Query = 2,
    Invoke = 3,
    Set = 4,
};
} // namespace NxMIB

class NxMIBPacket;

// The typed layer over a packet's text parameters. Defined by the library; NxMIBPacket's templates
// below are its only users.
namespace nx
{
namespace mib
{
// How many digits a number of type T has on the wire: two for each byte.
template <class T>
constexpr std::size_t HexDigits()
{
    return sizeof(T) * 2;
}

// Writes the low `digits` digits of `value`, lower case, padded with zeros, to `out`. 1 to 8
// digits.
NX_HOST_API void FormatHex(std::uint32_t value, std::size_t digits, char* out);

// Reads eight digits at once, one in each byte of a word; false, and `value` untouched, when one is
// no digit. Every 32-bit number on the wire has this form, so it is the one worth the arithmetic.
inline bool ParseEightDigits(const char* text, std::uint32_t& value)
{
    constexpr std::uint64_t ONE = 0x0101010101010101;
    const std::uint64_t word =
        boost::endian::load_big_u64(reinterpret_cast<const unsigned char*>(text));
    // The highest bit of each byte says whether it is a digit. A byte past 0x7f may carry into the
    // next one, but then the text is refused for that byte.
    const std::uint64_t lower = word | 0x20 * ONE;
    const std::uint64_t number = (word + (0x80 - '0') * ONE) & ~(word + (0x7f - '9') * ONE);
    const std::uint64_t letter = (lower + (0x80 - 'a') * ONE) & ~(lower + (0x7f - 'f') * ONE);
    if (((number | letter) & ~word & 0x80 * ONE) != 0x80 * ONE)
        return false;
    // A letter has bit 6, and its low bits count from 1.
    const std::uint64_t nibbles = (word & 0x0f * ONE) + 9 * (word >> 6 & ONE);
    const std::uint64_t bytes = (nibbles | nibbles >> 4) & 0x00ff00ff00ff00ff;
    const std::uint64_t halves = (bytes | bytes >> 8) & 0x0000ffff0000ffff;
    value = static_cast<std::uint32_t>(halves | halves >> 16);
    return true;
}

// Every other text; a part of ParseHex.
NX_HOST_API bool ParseOther(const std::string& text, std::size_t longest, std::uint32_t& value);

// Reads a text of at most `longest` characters as stream extraction with std::hex does: leading
// blanks, 0x and either case are taken, and anything after the digits is ignored. Fails for an
// empty text, one without digits, and one with "." or "-" anywhere. Failure leaves `value`
// untouched. Allocates nothing on success.
inline bool ParseHex(const std::string& text, std::size_t longest, std::uint32_t& value)
{
    constexpr std::size_t EIGHT = 8;
    if (text.size() == EIGHT && longest >= EIGHT && ParseEightDigits(text.data(), value))
        return true;
    return ParseOther(text, longest, value);
}

// The library's warnings for parameters that are not there; `signature` is the asking function.
NX_HOST_API void WarnNoParameters(int line, const char* signature);
NX_HOST_API void WarnTooFew(const NxMIBPacket& packet, std::size_t wanted, int line,
                            const char* signature);
NX_HOST_API void WarnOutsideRange(const NxMIBPacket& packet, std::size_t index, int line,
                                  const char* signature);
} // namespace mib
} // namespace nx

// One message to or from a device that speaks MIB: a type, a MIB id ("nx.dmx.led") and an ordered
// list of text parameters. A plain value; numbers travel as hexadecimal text of a fixed width.
//
// The core (construction, raw parameters, printing) is the host's. The typed layer (AddHexParam,
// FromHexString, GetHexParam, GetHexParams) is the library's: any unsigned or signed integer type
// of 8, 16 or 32 bits and any number of targets can be used.
class NX_HOST_API NxMIBPacket
{
public:
    NxMIBPacket(NxMIB::Type type, std::string mib);

    NxMIB::Type GetType() const { return m_type; }
    const std::string& GetMib() const { return m_mib; }
    std::size_t GetParamCount() const { return m_params.size(); }

    // The raw parameters, 0 being the first after the id.
    const std::vector<std::string>& GetParams() const { return m_params; }

    // Appends a parameter as it is.
    void AddParam(std::string text);

    // One line for logs: the id and the parameters, separated by single blanks.
    std::string ProperToString() const;

    // Appends a number: two lower-case digits for each byte of T. Cannot fail.
    template <class T>
    void AddHexParam(T value)
    {
        static_assert(sizeof(T) <= 4, "parameters have at most 32 bits");
        char digits[nx::mib::HexDigits<T>()];
        nx::mib::FormatHex(static_cast<std::uint32_t>(value), sizeof digits, digits);
        AddParam(std::string(digits, sizeof digits));
    }

    // Reads one text as a number. False, and `out` untouched, for a text longer than T's width, an
    // empty one, one that does not begin with a number, or one with "." or "-" anywhere.
    template <class T>
    bool FromHexString(T& out, const std::string& text) const
    {
        static_assert(sizeof(T) <= 4, "parameters have at most 32 bits");
        std::uint32_t value = 0;
        if (!nx::mib::ParseHex(text, nx::mib::HexDigits<T>(), value))
            return false;
        out = static_cast<T>(value);
        return true;
    }

    // Reads parameter `index`. False when it cannot be read, with a warning when it is not there.
    template <class T>
    bool GetHexParam(T& out, size_t index) const
    {
        if (index >= m_params.size())
        {
            nx::mib::WarnOutsideRange(*this, index, __LINE__, __PRETTY_FUNCTION__);
            return false;
        }
        return FromHexString(out, m_params[index]);
    }

    // Reads parameter 0. False when it cannot be read, with a warning when there is none.
    template <class T1>
    bool GetHexParams(T1& first) const
    {
        if (m_params.empty())
        {
            nx::mib::WarnNoParameters(__LINE__, __PRETTY_FUNCTION__);
            return false;
        }
        return FromHexString(first, m_params[0]);
    }

    // Reads as many parameters as there are targets, from the first on. With too few parameters a
    // warning, false, and no target written; otherwise every target that can be read is written,
    // and the result is true only if all were.
    template <class T1, class T2, class... Ts>
    bool GetHexParams(T1& first, T2& second, Ts&... more) const
    {
        constexpr std::size_t wanted = 2 + sizeof...(Ts);
        if (m_params.size() < wanted)
        {
            nx::mib::WarnTooFew(*this, wanted, __LINE__, __PRETTY_FUNCTION__);
            return false;
        }
        std::size_t index = 0;
        bool all = FromHexString(first, m_params[index++]);
        all = FromHexString(second, m_params[index++]) && all;
        ((all = FromHexString(more, m_params[index++]) && all), ...);
        return all;
    }

private:
    NxMIB::Type m_type;
    std::string m_mib;
    std::vector<std::string> m_params;
};
