#include "simulated_devices/BusLine.h"

#include <algorithm>

namespace simulated
{
namespace
{
constexpr std::uint64_t BITS_PER_OCTET = 10;
constexpr std::uint64_t MS_PER_SECOND = 1000;
} // namespace

SimulatedLine::SimulatedLine(DeviceEnvironment& world, unsigned baud) : m_world(world), m_baud(baud)
{
}

void SimulatedLine::Attach(BusStation& station)
{
    m_stations.push_back(&station);
}

void SimulatedLine::Detach(BusStation& station)
{
    m_stations.erase(std::remove(m_stations.begin(), m_stations.end(), &station), m_stations.end());
}

std::chrono::milliseconds SimulatedLine::Duration(std::size_t octets) const
{
    return std::chrono::milliseconds((octets * BITS_PER_OCTET * MS_PER_SECOND + m_baud - 1) /
                                     m_baud);
}

void SimulatedLine::Transmit(const BusStation& from, Octets octets)
{
    m_transmissions.push_back({&from, std::move(octets)});
    if (m_transmissions.size() == 1)
        StartFirst();
}

void SimulatedLine::StartFirst()
{
    std::weak_ptr<int> life = m_life;
    m_world.Schedule(Duration(m_transmissions.front().octets.size()),
                     [this, life]
                     {
                         if (!life.expired())
                             EndFirst();
                     });
}

void SimulatedLine::EndFirst()
{
    const Transmission ended = std::move(m_transmissions.front());
    m_transmissions.pop_front();
    if (!m_transmissions.empty())
        StartFirst();
    // A station may come or go while the others hear.
    const std::vector<BusStation*> stations = m_stations;
    for (BusStation* station : stations)
    {
        if (station == ended.from)
            continue;
        if (std::find(m_stations.begin(), m_stations.end(), station) != m_stations.end())
            station->OnLine(ended.octets);
    }
}
} // namespace simulated
