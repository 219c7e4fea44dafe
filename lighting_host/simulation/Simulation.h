#pragma once

#include "lighting_host/simulation/BoundLoads.h"
#include "lighting_host/simulation/Controller.h"
#include "lighting_host/simulation/DeviceSwitches.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/simulation/LampMeters.h"
#include "lighting_host/simulation/RunStatistics.h"
#include "lighting_host/simulation/WriteCounts.h"

#include <cstdint>

namespace lighting_host
{
class Listeners;

// What makes a house live by itself, beside its drivers and devices: its controller, its lamps and
// what goes wrong; and the counts of it all.
class Simulation
{
public:
    // All must outlive this. `listeners` is the session's sink: the simulation hears the house
    // there, and from now on what the devices, the controller and the faults do is told there too.
    Simulation(const HouseFile& file, Session& session, Listeners& listeners, FaultLevel faults,
               std::uint64_t seed);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    // Called once, after the session has started.
    void Start();

    // A driver was made anew: it gets what the controller wants it to know, and is told that its
    // device is online.
    void OnDriverStarted(nx::DriverHost& driver);

    Controller& GetController() { return m_controller; }
    const Controller& GetController() const { return m_controller; }
    const LampMeters& GetLampMeters() const { return m_lampMeters; }
    HouseFaults& Faults() { return m_faults; }
    const HouseFaults& Faults() const { return m_faults; }
    DeviceSwitches& Switches() { return m_switches; }
    const DeviceSwitches& Switches() const { return m_switches; }
    const RunStatistics& Statistics() const { return m_statistics; }
    const WriteCounts& Writes() const { return m_writes; }

private:
    Session& m_session;
    Listeners& m_listeners;
    Controller m_controller;
    RunStatistics m_statistics;
    LampMeters m_lampMeters;
    BoundLoads m_boundLoads;
    WriteCounts m_writes;
    HouseFaults m_faults;
    DeviceSwitches m_switches;
};
} // namespace lighting_host
