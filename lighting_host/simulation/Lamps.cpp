#include "lighting_host/simulation/Lamps.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/types/Devices.h"

namespace lighting_host
{
namespace
{
constexpr unsigned JOULES_A_HUNDREDTH = 36;
constexpr unsigned HUNDREDTHS = 100;

void TellFact(const nx::DriverHost& driver, const Session& session, const char* name,
              const Json& value)
{
    DriverAdapter* const adapter = session.AdapterOf(driver);
    if (!adapter)
        return;
    if (const DriverAdapter::Action act = adapter->PrepareFact(name, value))
        const_cast<nx::DriverHost&>(driver).Enter(act);
}
} // namespace

Lamps::Lamps(const HouseFile& file, Session& session) : m_session(session)
{
    for (const HouseFileDriver& driver : file.drivers)
    {
        const unsigned watts = LampWatts(driver);
        if (watts == 0)
            continue;
        for (const auto& device : session.Devices())
        {
            if (device->Driver().Config().name == driver.name)
                m_meters.push_back({&device->Driver(), device.get(), watts});
        }
    }
}

Lamps::~Lamps()
{
    m_session.House().KillDeviceTimer(m_timer);
}

void Lamps::Start()
{
    if (!m_meters.empty())
        m_timer = m_session.House().AddDeviceTimer(LOOK_MS, this);
}

void Lamps::Greet(const nx::DriverHost& driver)
{
    for (const Meter& meter : m_meters)
    {
        if (meter.driver == &driver)
            Tell(meter);
    }
}

void Lamps::OnTimerExpired(ID::Timer, time_t)
{
    m_timer = m_session.House().AddDeviceTimer(LOOK_MS, this);
    m_looks = (m_looks + 1) % LOOKS_A_MINUTE;
    for (Meter& meter : m_meters)
    {
        meter.joules += meter.watts * (LOOK_MS / 1000);
        Look(meter);
        if (m_looks == 0)
            HandOver(meter);
    }
}

void Lamps::Look(Meter& meter) const
{
    const simulated::LampLevel lamp = meter.device->Device()->PresentLevel();
    const unsigned watts = meter.wattsAtMost * lamp.level / lamp.full;
    const bool on = lamp.level > 0;
    if (watts == meter.watts && on == meter.on)
        return;
    meter.watts = watts;
    meter.on = on;
    Tell(meter);
}

void Lamps::Tell(const Meter& meter) const
{
    TellFact(*meter.driver, m_session, "load_on", meter.on);
    TellFact(*meter.driver, m_session, "power_watts", meter.watts);
}

void Lamps::HandOver(Meter& meter) const
{
    const std::uint64_t hundredths = meter.joules / JOULES_A_HUNDREDTH;
    if (hundredths == 0)
        return;
    meter.joules -= hundredths * JOULES_A_HUNDREDTH;
    meter.handedOver += hundredths;
    TellFact(*meter.driver, m_session, "energy_wh", static_cast<double>(hundredths) / HUNDREDTHS);
}
} // namespace lighting_host
