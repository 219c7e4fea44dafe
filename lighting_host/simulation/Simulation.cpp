#include "lighting_host/simulation/Simulation.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"

namespace lighting_host
{
Simulation::Simulation(const HouseFile& file, Session& session, Listeners& listeners,
                       FaultLevel faults, std::uint64_t seed)
    : m_session(session), m_listeners(listeners), m_controller(file, session, listeners),
      m_statistics(m_controller, session), m_lampMeters(file, session),
      m_boundLoads(file, session, listeners), m_writes(file, session),
      m_faults(session, listeners, faults, seed), m_switches(session, listeners, seed)
{
    listeners.Add(m_statistics);
    listeners.Add(m_controller);
    listeners.Add(m_boundLoads);
    listeners.Add(m_writes);
    listeners.HearDevices(session);
}

Simulation::~Simulation()
{
    m_listeners.Remove(m_writes);
    m_listeners.Remove(m_boundLoads);
    m_listeners.Remove(m_controller);
    m_listeners.Remove(m_statistics);
}

void Simulation::Start()
{
    m_controller.Start();
    m_lampMeters.Start();
    m_boundLoads.Start();
    m_faults.Start();
    m_switches.Start();
}

void Simulation::OnDriverStarted(nx::DriverHost& driver)
{
    m_controller.Provision(driver);
    m_lampMeters.OnDriverStarted(driver);
    m_boundLoads.OnDriverStarted(driver);
    if (!IsGoneRemoteLight(m_session.KindOf(driver), driver))
        driver.Online(true);
}
} // namespace lighting_host
