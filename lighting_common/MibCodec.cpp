// The typed layer of NxMIBPacket: numbers as hexadecimal text, and the warnings for parameters that
// are not there. The templates that use it stand in the header of NxMIBPacket.

#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/StackTrace.h"

#include <array>

#include <boost/endian/conversion.hpp>

namespace
{
// Where a warning says it comes from: the header that the asking function stands in.
constexpr const char* SOURCE = "nxshared/NxMIBPacket";

// More digits than this do not fit into 32 bits.
constexpr std::size_t MOST_DIGITS = 8;

// What the digit table holds for a character that is no digit; no digit has this bit.
constexpr unsigned char NO_DIGIT = 0x80;

constexpr unsigned char DigitValue(unsigned character)
{
    if (character >= '0' && character <= '9')
        return static_cast<unsigned char>(character - '0');
    if (character >= 'a' && character <= 'f')
        return static_cast<unsigned char>(character - 'a' + 10);
    if (character >= 'A' && character <= 'F')
        return static_cast<unsigned char>(character - 'A' + 10);
    return NO_DIGIT;
}

constexpr std::array<unsigned char, 256> MakeDigitTable()
{
    std::array<unsigned char, 256> table{};
    for (unsigned character = 0; character < table.size(); ++character)
        table[character] = DigitValue(character);
    return table;
}

constexpr std::array<unsigned char, 256> DIGITS = MakeDigitTable();

unsigned char ValueOf(char character)
{
    return DIGITS[static_cast<unsigned char>(character)];
}

// White space as the C locale has it, whatever locale the process is in.
bool IsBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// Reads what is not plain digits from end to end, exactly as a stream would: white space before the
// number, one 0x, anything after the digits. A sign fails, though a stream would take a plus.
bool ParseLoosely(const std::string& text, std::uint32_t& value)
{
    if (text.find_first_of(".-") != std::string::npos)
        return false;
    // Up to the NUL behind the text, which is neither blank nor digit.
    const char* at = text.c_str();
    while (IsBlank(*at))
        ++at;
    if (*at == '0' && (at[1] == 'x' || at[1] == 'X'))
        at += 2; // digits must follow: a bare 0x is no number to a stream either
    if (ValueOf(*at) == NO_DIGIT)
        return false;
    std::uint64_t number = 0;
    for (; ValueOf(*at) != NO_DIGIT; ++at)
    {
        number = number << 4 | ValueOf(*at);
        if (number > UINT32_MAX)
            return false;
    }
    value = static_cast<std::uint32_t>(number);
    return true;
}

void Warn(const std::string& text, int line, const char* signature)
{
    diagnostics::logger.forcedLog(log4cplus::WARN_LOG_LEVEL, text, SOURCE, line, signature);
}

// The warning, then the calls that led to it, each as a warning of its own.
void WarnWithFrames(const std::string& text, int line, const char* signature)
{
    Warn(text, line, signature);
    const nx::StackTrace trace;
    for (std::size_t frame = 0; frame < trace.Size(); ++frame)
        Warn(diagnostics::Concat(frame, "# ", trace.Frame(frame)), line, signature);
}

bool WarningsAreOn()
{
    return diagnostics::logger.isEnabledFor(log4cplus::WARN_LOG_LEVEL);
}
} // namespace

namespace nx
{
namespace mib
{
void FormatHex(std::uint32_t value, std::size_t digits, char* out)
{
    // One digit to a byte, the last one in the lowest. On purpose not the constant of
    // ParseEightDigits: the bits of each of the two are read by themselves.
    constexpr std::uint64_t ONE = 0x0101010101010101;
    std::uint64_t word = value;
    word = (word | word << 16) & 0x0000ffff0000ffff;
    word = (word | word << 8) & 0x00ff00ff00ff00ff;
    word = (word | word << 4) & 0x0f * ONE;
    const std::uint64_t letter = (word + 6 * ONE) >> 4 & ONE;
    word += '0' * ONE + ('a' - '0' - 10) * letter;
    if (digits == MOST_DIGITS)
        return boost::endian::store_big_u64(reinterpret_cast<unsigned char*>(out), word);
    for (std::size_t left = digits; left > 0; --left, word >>= 8)
        out[left - 1] = static_cast<char>(word & 0xff);
}

bool ParseOther(const std::string& text, std::size_t longest, std::uint32_t& value)
{
    const std::size_t length = text.size();
    if (length > longest || length == 0)
        return false;
    if (length >= MOST_DIGITS)
        return ParseLoosely(text, value);
    std::uint32_t number = 0;
    unsigned char all = 0;
    for (const char character : text)
    {
        const unsigned char digit = ValueOf(character);
        all |= digit;
        number = number << 4 | (digit & 0xf);
    }
    if (all & NO_DIGIT)
        return ParseLoosely(text, value);
    value = number;
    return true;
}

void WarnNoParameters(int line, const char* signature)
{
    if (WarningsAreOn())
        WarnWithFrames("Parameter requested when no parameters exist", line, signature);
}

void WarnTooFew(const NxMIBPacket& packet, std::size_t wanted, int line, const char* signature)
{
    if (!WarningsAreOn())
        return;
    // deliberate: the wanted count stands in both places
    WarnWithFrames(diagnostics::Concat("Requested ", wanted, " parameters but ", wanted,
                                       " don't exist (packet: ", packet.ProperToString(), ")"),
                   line, signature);
}

void WarnOutsideRange(const NxMIBPacket& packet, std::size_t index, int line, const char* signature)
{
    if (!WarningsAreOn())
        return;
    WarnWithFrames(diagnostics::Concat("Requested parameter is outside range (index: ", index,
                                       ")(parameters: ", packet.GetParamCount(),
                                       ")(packet: ", packet.ProperToString(), ")"),
                   line, signature);
}
} // namespace mib
} // namespace nx
