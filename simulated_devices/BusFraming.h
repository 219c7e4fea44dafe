#pragma once

#include "wire/BusFrame.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace simulated
{
using Octets = std::vector<std::uint8_t>;

// Who a frame on the bus is for.
enum class BusDirection : std::uint8_t
{
    ToDevice = 0,
    FromDevice = 1,
};

// A frame as octets on the bus: 0x7E, then direction, device, opcode, payload and a checksum, then
// 0x7E. Numbers are big-endian. Between the flags, 0x7E and 0x7D are escaped: 0x7D, then the octet
// with bit 5 inverted. So a flag always ends a frame, and a reader that lost its place finds it at
// the next flag. The checksum is CRC-16/X.25.
Octets EncodeBusFrame(BusDirection direction, const wire::BusFrame& frame);

// Takes octets as they come, in pieces of any size, and tells of each whole frame whose checksum is
// right. Everything else is noise and dropped, without anybody being told; it holds at most one
// frame's worth of octets.
class BusFrameReader
{
public:
    using Handler = std::function<void(BusDirection, const wire::BusFrame&)>;

    // The longest payload that a frame may have; longer ones are noise.
    static constexpr std::size_t MAX_PAYLOAD = 8192;

    // `handler` may not call Read.
    explicit BusFrameReader(Handler handler) : m_handler(std::move(handler)) {}

    void Read(const std::uint8_t* octets, std::size_t length);

    // How many octets were noise so far, flags not counted.
    std::size_t NoiseCount() const { return m_noise; }

private:
    void EndOfFrame();

    Handler m_handler;
    Octets m_content;
    bool m_escaped = false;
    bool m_overlong = false;
    std::size_t m_noise = 0;
};
} // namespace simulated
