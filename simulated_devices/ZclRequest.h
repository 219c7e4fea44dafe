#pragma once

#include "wire/ZclFrame.h"

#include <cstddef>
#include <cstdint>

namespace simulated
{
// A ZCL request and how far it has been read. Reading past its end gives 0 and makes it short; the
// header's parts are valid only when IsRequest. Plain reader without state of a device; `frame`
// must outlive it.
class ZclRequest
{
public:
    explicit ZclRequest(const wire::ZclFrame& frame) : m_frame(frame), m_next(3) {}

    bool IsRequest() const
    {
        return m_frame.bytes.size() >= 3 &&
               (Control() & (FRAME_FROM_SERVER | FRAME_MANUFACTURER)) == 0;
    }
    std::uint8_t Control() const { return m_frame.bytes[0]; }
    std::uint8_t Sequence() const { return m_frame.bytes[1]; }
    std::uint8_t Command() const { return m_frame.bytes[2]; }
    std::uint8_t Type() const { return Control() & FRAME_TYPE; }
    std::uint8_t Endpoint() const { return m_frame.endpoint; }
    std::uint16_t Cluster() const { return m_frame.cluster; }
    bool WantsDefaultResponse() const { return (Control() & FRAME_NO_DEFAULT_RESPONSE) == 0; }

    std::uint8_t U8()
    {
        if (m_next >= m_frame.bytes.size())
        {
            m_short = true;
            return 0;
        }
        return m_frame.bytes[m_next++];
    }
    std::uint16_t U16()
    {
        const std::uint16_t low = U8();
        return static_cast<std::uint16_t>(low | (U8() << 8));
    }
    void Skip(std::size_t count)
    {
        if (count > Left())
        {
            m_short = true;
            m_next = m_frame.bytes.size();
            return;
        }
        m_next += count;
    }
    void SkipString()
    {
        const std::uint8_t length = U8();
        if (length != NO_STRING)
            Skip(length);
    }
    std::size_t Left() const { return m_frame.bytes.size() - m_next; }
    bool IsShort() const { return m_short; }

private:
    // The first octet: type, whose, from where, and whether a success needs an answer of its own.
    static constexpr std::uint8_t FRAME_TYPE = 0x03;
    static constexpr std::uint8_t FRAME_MANUFACTURER = 0x04;
    static constexpr std::uint8_t FRAME_FROM_SERVER = 0x08;
    static constexpr std::uint8_t FRAME_NO_DEFAULT_RESPONSE = 0x10;
    static constexpr std::uint8_t NO_STRING = 0xFF;

    const wire::ZclFrame& m_frame;
    std::size_t m_next;
    bool m_short = false;
};
} // namespace simulated
