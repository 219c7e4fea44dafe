#pragma once

#include "embedded_host/ZclCodec.h"
#include "nxshared/Zcl.h"

#include <cstddef>
#include <cstdint>

namespace embedded_host
{
// A ZCL message as this host's builders (nx::Make...) make it: what was asked, so that the host can
// report it, and the frame for it once it is sent.
//
// Immutable. The host may take any nx::ZclMessage of its drivers for one of these.
class HostZclMessage : public nx::ZclMessage
{
public:
    // The longest frame that Encode writes.
    static constexpr std::size_t MAX_FRAME = zcl::MAX_FRAME;

    explicit HostZclMessage(const zcl::Request& request) : m_request(request) {}

    // What was asked, unrounded; fields that the kind does not use are 0.
    const zcl::Request& Request() const { return m_request; }

    zcl::RequestKind Kind() const { return m_request.kind; }

    // The kind's name in the host's protocol.
    const char* Name() const { return zcl::RequestName(m_request.kind); }

    std::uint16_t Cluster() const { return zcl::RequestCluster(m_request.kind); }

    // Which of the request's fields apply: the group; the scene id; level and time.
    bool HasGroup() const { return zcl::RequestHasGroup(m_request.kind); }
    bool HasScene() const { return zcl::RequestHasScene(m_request.kind); }
    bool HasDetails() const { return zcl::RequestHasDetails(m_request.kind); }

    // Writes the whole frame with that sequence number and returns its length, 0 (nothing written)
    // when `capacity` is too small. Allocates nothing.
    std::size_t Encode(std::uint8_t sequence, std::uint8_t* out, std::size_t capacity) const
    {
        return zcl::EncodeRequest(m_request, sequence, out, capacity);
    }

private:
    const zcl::Request m_request;
};
} // namespace embedded_host
