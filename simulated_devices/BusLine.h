#pragma once

#include "simulated_devices/BusFraming.h"
#include "simulated_devices/SimulatedDevice.h"

#include <deque>
#include <memory>
#include <vector>

namespace simulated
{
// Something that is connected to a bus: a gateway or a device.
class BusStation
{
public:
    virtual ~BusStation() = default;

    // Octets of others arrived, in pieces of any size. May transmit.
    virtual void OnLine(const Octets& octets) = 0;
};

// The line that stations share. Two forms: SimulatedLine in simulated time, and a pseudo-terminal
// (see TtyBus.h) in real time.
class BusLine
{
public:
    virtual ~BusLine() = default;

    // Connects a station, which must be detached before it goes.
    virtual void Attach(BusStation& station) = 0;
    virtual void Detach(BusStation& station) = 0;

    // Sends octets on behalf of a station, which does not hear them itself. Returns at once.
    virtual void Transmit(const BusStation& from, Octets octets) = 0;
};

// A half-duplex line in simulated time. Transmissions follow each other in the order in which they
// were asked for, and each takes the time of its octets. Every station hears each of them when it
// ends. Nobody waits for an answer: a station that never answers takes no time from the others.
class SimulatedLine : public BusLine
{
public:
    static constexpr unsigned DEFAULT_BAUD = 38400;

    // `world` must outlive the line.
    explicit SimulatedLine(DeviceEnvironment& world, unsigned baud = DEFAULT_BAUD);

    void Attach(BusStation& station) override;
    void Detach(BusStation& station) override;
    void Transmit(const BusStation& from, Octets octets) override;

    // How long so many octets take, rounded up to whole milliseconds; ten bits an octet.
    std::chrono::milliseconds Duration(std::size_t octets) const;

    // How many transmissions wait or are under way.
    std::size_t Waiting() const { return m_transmissions.size(); }

private:
    struct Transmission
    {
        const BusStation* from;
        Octets octets;
    };

    void StartFirst();
    void EndFirst();

    DeviceEnvironment& m_world;
    unsigned m_baud;
    std::vector<BusStation*> m_stations;
    std::deque<Transmission> m_transmissions;
    // Lives as long as the callbacks asked for are wanted.
    std::shared_ptr<int> m_life = std::make_shared<int>(0);
};
} // namespace simulated
