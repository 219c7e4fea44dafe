#include "device_wire/HouseEnvironment.h"

#include "embedded_host/House.h"

namespace device_wire
{
HouseEnvironment::HouseEnvironment(embedded_host::House& house) : m_house(house) {}

HouseEnvironment::~HouseEnvironment()
{
    for (const auto& scheduled : m_scheduled)
        m_house.KillDeviceTimer(scheduled.first);
}

void HouseEnvironment::Send(const wire::MibMessage&) {}

void HouseEnvironment::Send(const wire::ZclFrame&) {}

void HouseEnvironment::Send(const wire::BusFrame&) {}

void HouseEnvironment::Schedule(std::chrono::milliseconds delay, std::function<void()> callback)
{
    m_scheduled.emplace(m_house.AddDeviceTimer(delay, this), std::move(callback));
}

std::chrono::milliseconds HouseEnvironment::Now() const
{
    return m_house.GetClock().Now();
}

int HouseEnvironment::Random(int min, int max)
{
    return m_house.GetRandom().Between(min, max);
}

void HouseEnvironment::ReportPerson(const std::string&) {}

void HouseEnvironment::OnTimerExpired(ID::Timer timer, time_t)
{
    // Taken out first: what runs may schedule again.
    auto node = m_scheduled.extract(timer);
    if (!node.empty())
        node.mapped()();
}
} // namespace device_wire
