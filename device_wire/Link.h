#pragma once

#include <chrono>

namespace device_wire
{
// What becomes of messages between a driver and its device, in either direction.
class Link
{
public:
    struct Delivery
    {
        bool lost = false;
        // Whether nothing overtakes anything else on the link: then a message that is late holds up
        // those behind it, and a second copy comes right behind the first.
        bool inOrder = false;
        // How much later it arrives.
        std::chrono::milliseconds delay{};
        // Whether it arrives a second time, and how much later.
        bool twice = false;
        std::chrono::milliseconds second{};
    };

    // Which way a message travels.
    enum class Way
    {
        ToDriver,
        ToDevice,
    };

    virtual ~Link() = default;

    // Called once for each message, when it is sent, in the order of sending. Must not send
    // anything itself and must not throw.
    virtual Delivery ForNextMessage(Way way) = 0;
};
} // namespace device_wire
