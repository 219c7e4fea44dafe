#include "simulated_devices/BusFraming.h"

#include <array>

namespace simulated
{
namespace
{
constexpr std::uint8_t FLAG = 0x7E;
constexpr std::uint8_t ESCAPE = 0x7D;
constexpr std::uint8_t ESCAPED_BIT = 0x20;
constexpr std::size_t HEADER = 7;
constexpr std::size_t CHECKSUM = 2;

// What each octet does to the checksum: every station on a line reckons for every frame.
constexpr std::array<std::uint16_t, 256> MakeTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned octet = 0; octet < table.size(); ++octet)
    {
        unsigned crc = octet;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0x8408 : crc >> 1;
        table[octet] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

constexpr std::array<std::uint16_t, 256> TABLE = MakeTable();

std::uint16_t Checksum(const std::uint8_t* octets, std::size_t length)
{
    unsigned crc = 0xFFFF;
    for (const std::uint8_t* octet = octets; octet != octets + length; ++octet)
        crc = crc >> 8 ^ TABLE.data()[(crc ^ *octet) & 0xFF];
    return static_cast<std::uint16_t>(~crc);
}

void AppendNumber(Octets& octets, std::uint32_t value, int count)
{
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        octets.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t NumberAt(const Octets& octets, std::size_t at, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | octets[at + i];
    return value;
}
// Whether octets that are long enough have a direction and the right checksum.
bool IsFrame(const Octets& content)
{
    const std::size_t checked = content.size() - CHECKSUM;
    return content[0] <= static_cast<std::uint8_t>(BusDirection::FromDevice) &&
           Checksum(content.data(), checked) == NumberAt(content, checked, CHECKSUM);
}
} // namespace

Octets EncodeBusFrame(BusDirection direction, const wire::BusFrame& frame)
{
    Octets content = {static_cast<std::uint8_t>(direction)};
    AppendNumber(content, frame.device, 4);
    AppendNumber(content, frame.opcode, 2);
    content.insert(content.end(), frame.payload.begin(), frame.payload.end());
    AppendNumber(content, Checksum(content.data(), content.size()), 2);

    Octets octets = {FLAG};
    for (std::uint8_t octet : content)
    {
        if (octet == FLAG || octet == ESCAPE)
        {
            octets.push_back(ESCAPE);
            octet ^= ESCAPED_BIT;
        }
        octets.push_back(octet);
    }
    octets.push_back(FLAG);
    return octets;
}

void BusFrameReader::Read(const std::uint8_t* octets, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
    {
        if (octets[i] == FLAG)
            EndOfFrame();
        else if (octets[i] == ESCAPE)
            m_escaped = true;
        else if (m_content.size() == HEADER + MAX_PAYLOAD + CHECKSUM)
        {
            m_overlong = true;
            ++m_noise;
        }
        else
        {
            m_content.push_back(m_escaped ? octets[i] ^ ESCAPED_BIT : octets[i]);
            m_escaped = false;
        }
    }
}

void BusFrameReader::EndOfFrame()
{
    const bool whole = !m_escaped && !m_overlong && m_content.size() >= HEADER + CHECKSUM;
    if (whole && IsFrame(m_content))
    {
        const auto end = m_content.end() - CHECKSUM;
        m_handler(static_cast<BusDirection>(m_content[0]),
                  {NumberAt(m_content, 1, 4), static_cast<std::uint16_t>(NumberAt(m_content, 5, 2)),
                   Octets(m_content.begin() + HEADER, end)});
    }
    else
        m_noise += m_content.size();
    m_content.clear();
    m_escaped = false;
    m_overlong = false;
}
} // namespace simulated
