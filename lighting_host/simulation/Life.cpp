#include "lighting_host/simulation/Life.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Narrator.h"

namespace lighting_host
{
Life::Life(const HouseFile& file, Session& session, FaultLevel faults, std::uint64_t seed)
    : m_session(session), m_controller(file, session), m_lamps(file, session),
      m_faults(session, faults, seed)
{
}

void Life::TellTo(Narrator& narrator)
{
    narrator.Follow(&m_session, &m_controller);
    m_controller.onAct = [&narrator](const nx::DriverHost& driver, const std::string& what)
    {
        narrator.ControllerActs(driver, what);
    };
    m_faults.onPowerFailure = [&narrator](const nx::DriverHost& driver)
    {
        narrator.PowerFailure(driver);
    };
    for (const auto& device : m_session.Devices())
    {
        device->onPerson = [&narrator](const nx::DriverHost& driver, const std::string& what)
        {
            narrator.Person(driver, what);
        };
        device->onAct = [&narrator](const nx::DriverHost& driver, const std::string& words)
        {
            narrator.Act(driver, words);
        };
        device->onBus = [&narrator](const nx::DriverHost& driver, const wire::BusFrame& frame)
        {
            narrator.Bus(driver, frame);
        };
    }
}

void Life::Welcome(nx::DriverHost& driver)
{
    m_controller.Greet(driver);
    m_lamps.Greet(driver);
    driver.Online(true);
}

void Life::Start()
{
    m_controller.Start();
    m_lamps.Start();
    m_faults.Start();
}
} // namespace lighting_host
