#pragma once

#include "simulated_devices/BusLine.h"

#include <chrono>
#include <memory>

namespace simulated
{
// A bus that runs over a pseudo-terminal: what is transmitted at the gateway's end goes through a
// serial port and comes out at the devices' end, and the other way round, in real time.
//
// Lives on one thread and does nothing outside Poll.
class TtyBus
{
public:
    // Opens the pseudo-terminal. Throws std::system_error when the machine gives none.
    TtyBus();
    ~TtyBus();
    TtyBus(const TtyBus&) = delete;
    TtyBus& operator=(const TtyBus&) = delete;

    // The two ends. Stations at one end hear what is transmitted at the other.
    BusLine& GatewayEnd();
    BusLine& DeviceEnd();

    // Writes what was transmitted and reads what has arrived, for at most so long, or until
    // something was done. Returns whether something was.
    bool Poll(std::chrono::milliseconds longest);

private:
    struct Terminal;
    std::unique_ptr<Terminal> m_terminal;
};
} // namespace simulated
