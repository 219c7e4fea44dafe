#pragma once

#include "embedded_host/Messages.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace nx
{
class DriverHost;
}

namespace embedded_host
{
// One end of a link: a binding of a driver.
struct BindingEnd
{
    nx::DriverHost* driver;
    unsigned binding;
};

// Which bindings of a house are linked to each other: whoever starts is told of his links, and a
// bound call goes to the other end of each link that its binding has.
//
// A call is delivered at once. One that a driver makes while another call is being delivered waits
// until that one is over, so that calls never nest deeper than one. In one chain (see EffectChain)
// a link carries at most MAX_CALLS_IN_A_CHAIN: two drivers that answer each other's calls without
// end would stop the house. What comes beyond is dropped, and is a DriverFault of its sender, once
// in a chain. Must not outlive the drivers.
class BindingLinks
{
public:
    static constexpr unsigned MAX_CALLS_IN_A_CHAIN = 16;

    // Both ends may have other links too.
    void Add(BindingEnd one, BindingEnd other);

    // Tells a driver which has just been initialised that its linked bindings were made. The class
    // is that of the driver's dynamic binding, and "BUTTON_LINK" where it has none of that id.
    void OnStarted(nx::DriverHost& driver) const;

    // A driver has sent a call on a binding.
    void Carry(const nx::DriverHost& sender, unsigned binding, const IBindMessage& message);

private:
    struct Link
    {
        BindingEnd ends[2];
        // The chain in which it carried a call last, and how many there.
        std::uint64_t chain = 0;
        unsigned carried = 0;
    };
    struct Call
    {
        BindingEnd to;
        BindMessage message;
    };

    static bool MayCarry(Link& link, const nx::DriverHost& sender);

    std::vector<Link> m_links;
    std::deque<Call> m_waiting;
    bool m_delivering = false;
};
} // namespace embedded_host
