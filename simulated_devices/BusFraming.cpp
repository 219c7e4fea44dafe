#include "simulated_devices/BusFraming.h"

namespace simulated
{
namespace
{
constexpr std::uint8_t FLAG = 0x7E;
constexpr std::uint8_t ESCAPE = 0x7D;
constexpr std::uint8_t ESCAPED_BIT = 0x20;
constexpr std::size_t HEADER = 7;
constexpr std::size_t CHECKSUM = 2;

std::uint16_t Checksum(const std::uint8_t* octets, std::size_t length)
{
    std::uint16_t crc = 0xFFFF;
    for (std::size_t i = 0; i < length; ++i)
    {
        crc ^= octets[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>((crc & 1) != 0 ? crc >> 1 ^ 0x8408 : crc >> 1);
    }
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
    Octets content;
    content.swap(m_content);
    const bool whole = !m_escaped && !m_overlong && content.size() >= HEADER + CHECKSUM;
    m_escaped = false;
    m_overlong = false;
    const std::size_t checked = content.size() - CHECKSUM;
    if (!whole || content[0] > 1 ||
        Checksum(content.data(), checked) != NumberAt(content, checked, CHECKSUM))
    {
        m_noise += content.size();
        return;
    }
    wire::BusFrame frame;
    frame.device = NumberAt(content, 1, 4);
    frame.opcode = static_cast<std::uint16_t>(NumberAt(content, 5, 2));
    frame.payload.assign(content.begin() + HEADER,
                         content.begin() + static_cast<std::ptrdiff_t>(checked));
    m_handler(static_cast<BusDirection>(content[0]), frame);
}
} // namespace simulated
