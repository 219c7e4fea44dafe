#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <vector>

namespace lighting_host
{
class Session;

// One sink with several listeners: each hears everything, in the order in which they were added.
// Must outlive the house.
class Listeners : public embedded_host::OutputSink, public HouseListener
{
public:
    // `listener` must outlive this, or be removed before it goes. Neither may be called while
    // something is being told.
    void Add(HouseListener& listener);
    void Remove(HouseListener& listener);

    // What the devices of a session tell is told here from now on; this must outlive the session.
    void HearDevices(const Session& session);

    // OutputSink. Tells OnOutput.
    void Write(const embedded_host::Output& output) override;

    // HouseListener. Each is passed on to every listener.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnControllerAct(const nx::DriverHost& driver, const std::string& what) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;
    void OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame) override;
    void OnMib(const nx::DriverHost& driver, const wire::MibMessage& message) override;
    void OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame) override;

private:
    std::vector<HouseListener*> m_listeners;
};
} // namespace lighting_host
