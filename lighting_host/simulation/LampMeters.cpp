#include "lighting_host/simulation/LampMeters.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/types/Devices.h"

namespace lighting_host
{
namespace
{
constexpr unsigned JOULES_PER_HUNDREDTH = 36;
constexpr unsigned HUNDREDTHS_PER_WATT_HOUR = 100;

void TellFact(nx::DriverHost& driver, const Session& session, const char* name, const Json& value)
{
    DriverAdapter* const adapter = session.AdapterOf(driver);
    if (!adapter)
        return;
    if (const DriverAdapter::Action act = adapter->PrepareFact(name, value))
        driver.CallDriver("the fact", name, act);
}
} // namespace

LampMeters::LampMeters(const HouseFile& file, Session& session) : m_session(session)
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

LampMeters::~LampMeters()
{
    m_session.House().KillDeviceTimer(m_timer);
}

void LampMeters::Start()
{
    if (!m_meters.empty())
        m_timer = m_session.House().AddDeviceTimer(SAMPLE_PERIOD, this);
}

void LampMeters::OnDriverStarted(const nx::DriverHost& driver)
{
    for (const Meter& meter : m_meters)
    {
        if (meter.driver == &driver)
            Tell(meter);
    }
}

void LampMeters::OnTimerExpired(ID::Timer, time_t)
{
    m_timer = m_session.House().AddDeviceTimer(SAMPLE_PERIOD, this);
    m_samples = (m_samples + 1) % SAMPLES_PER_MINUTE;
    for (Meter& meter : m_meters)
    {
        meter.joules += meter.watts * static_cast<std::uint64_t>(SAMPLE_PERIOD.count());
        Sample(meter);
        if (m_samples == 0)
            ReportEnergy(meter);
    }
}

void LampMeters::Sample(Meter& meter) const
{
    const simulated::LampLevel lamp = meter.device->PresentLevel();
    const unsigned watts = meter.wattsAtMost * lamp.level / lamp.full;
    const bool on = lamp.level > 0;
    if (watts == meter.watts && on == meter.on)
        return;
    meter.watts = watts;
    meter.on = on;
    Tell(meter);
}

void LampMeters::Tell(const Meter& meter) const
{
    TellFact(*meter.driver, m_session, "load_on", meter.on);
    TellFact(*meter.driver, m_session, "power_watts", meter.watts);
}

void LampMeters::ReportEnergy(Meter& meter) const
{
    const std::uint64_t hundredths = meter.joules / JOULES_PER_HUNDREDTH;
    if (hundredths == 0)
        return;
    meter.joules -= hundredths * JOULES_PER_HUNDREDTH;
    meter.reported += hundredths;
    TellFact(*meter.driver, m_session, "energy_wh",
             static_cast<double>(hundredths) / HUNDREDTHS_PER_WATT_HOUR);
}
} // namespace lighting_host
