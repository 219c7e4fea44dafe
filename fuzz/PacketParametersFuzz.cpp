// Any texts as a packet's parameters: each is read as the standard stream reads it, what cannot be
// read leaves its target alone, and a number that was written is read back.

#include "fuzz/Fuzzing.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace
{
using namespace fuzzing;

// Whether a stream takes the text for a hexadecimal number of T's width, and which; a sign fails.
template <class T>
bool StreamReads(const std::string& text, T& value)
{
    if (text.size() > sizeof(T) * 2 || text.find_first_of(".-") != std::string::npos)
        return false;
    const std::size_t first = text.find_first_not_of(" \t\n\v\f\r");
    if (first != std::string::npos && text[first] == '+')
        return false;
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::uint32_t number = 0;
    if (!(stream >> std::hex >> number))
        return false;
    value = static_cast<T>(number);
    return true;
}

template <class T>
void Read(const NxMIBPacket& packet, std::size_t index)
{
    constexpr T HELD = 42;
    T expected = HELD;
    const bool readable = StreamReads(packet.GetParams()[index], expected);
    T value = HELD;
    Require(packet.GetHexParam(value, index) == readable);
    Require(value == expected);
    if (!readable)
        return;
    NxMIBPacket written(NxMIB::Set, "nx.x");
    written.AddHexParam<T>(value);
    T again = 0;
    Require(written.GetParams()[0].size() == sizeof(T) * 2);
    Require(written.GetHexParams(again) && again == value);
}

// Several at once: all or some are written, and true means all.
void ReadTogether(const NxMIBPacket& packet)
{
    int first = -7;
    std::uint8_t second = 77;
    short third = -777;
    int firstExpected = first;
    std::uint8_t secondExpected = second;
    short thirdExpected = third;
    bool readable = packet.GetParamCount() >= 3;
    if (readable)
    {
        readable = StreamReads(packet.GetParams()[0], firstExpected);
        readable = StreamReads(packet.GetParams()[1], secondExpected) && readable;
        readable = StreamReads(packet.GetParams()[2], thirdExpected) && readable;
    }
    Require(packet.GetHexParams(first, second, third) == readable);
    Require(first == firstExpected && second == secondExpected && third == thirdExpected);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    SilenceLog();
    NxMIBPacket packet(NxMIB::Trap, "nx.x");
    for (const std::string& text : Split(Text(data, size), '\n', 64))
        packet.AddParam(text);
    for (std::size_t i = 0; i < packet.GetParamCount(); ++i)
    {
        Read<std::int8_t>(packet, i);
        Read<std::uint8_t>(packet, i);
        Read<std::int16_t>(packet, i);
        Read<std::uint16_t>(packet, i);
        Read<std::int32_t>(packet, i);
        Read<std::uint32_t>(packet, i);
    }
    std::uint8_t untouched = 3;
    Require(!packet.GetHexParam(untouched, packet.GetParamCount()) && untouched == 3);
    ReadTogether(packet);

    // A line for logs has the id and every parameter.
    std::string line = "nx.x";
    for (const std::string& param : packet.GetParams())
        line += " " + param;
    Require(packet.ProperToString() == line);
    return 0;
}
