#pragma once

#include "lighting_host/simulation/Controller.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/simulation/Lamps.h"

#include <cstdint>

namespace lighting_host
{
class Narrator;

// What makes a house live by itself, beside its drivers and devices: its controller, its lamps and
// what goes wrong.
class Life
{
public:
    // Both must outlive this.
    Life(const HouseFile& file, Session& session, FaultLevel faults, std::uint64_t seed);

    // Who is told of all that happens; must outlive the session.
    void TellTo(Narrator& narrator);

    // Called once, after the session has started.
    void Start();

    // A driver was made anew: it is greeted, and told that its device is online.
    void Welcome(nx::DriverHost& driver);

    Controller& GetController() { return m_controller; }
    const Controller& GetController() const { return m_controller; }
    Lamps& GetLamps() { return m_lamps; }
    HouseFaults& Faults() { return m_faults; }
    const HouseFaults& Faults() const { return m_faults; }

private:
    Session& m_session;
    Controller m_controller;
    Lamps m_lamps;
    HouseFaults m_faults;
};
} // namespace lighting_host
