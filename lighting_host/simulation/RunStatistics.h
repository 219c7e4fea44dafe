#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace lighting_host
{
class Controller;
class Session;
class TrafficWatch;

// Counts what the drivers of a house do: events, messages, and how often one of them put a device
// right again.
class RunStatistics : public HouseListener
{
public:
    struct Counts
    {
        unsigned long events = 0;
        // What people did at the device.
        unsigned long acts = 0;
        // Messages to the device.
        unsigned long sent = 0;
        // Unsolicited writes after the driver found a difference. A first write does not count.
        unsigned long repairs = 0;
        // Messages on the bus that were sent again because no answer came.
        unsigned long retries = 0;
        // Records of the log from WARN on.
        unsigned long warnings = 0;
    };

    // Both must outlive this. What a driver sends while the controller is telling it something is
    // not its own doing.
    RunStatistics(const Controller& controller, const Session& session);
    ~RunStatistics() override;

    // HouseListener. What a person does counts once, also where the house file has words for it.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame) override;

    // All zeroes for a driver of which nothing was noted.
    Counts Of(const nx::DriverHost& driver) const;

private:
    struct DriverStatistics
    {
        Counts counts;
        // Whether the house file has words for what people do at the device.
        bool hasWords = false;
        // Null when no message of this driver is a repair or a retry.
        std::unique_ptr<TrafficWatch> watch;
    };

    DriverStatistics& StatisticsOf(const nx::DriverHost& driver);

    const Controller& m_controller;
    const Session& m_session;
    std::unordered_map<const nx::DriverHost*, DriverStatistics> m_drivers;
};
} // namespace lighting_host
