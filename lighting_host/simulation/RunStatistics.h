#pragma once

#include "lighting_host/simulation/HouseListener.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

class ICmdMessage;
class NxMIBPacket;

namespace embedded_host
{
class HostZclMessage;
}

namespace lighting_host
{
class Controller;

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

    // `controller` must outlive this: what a driver sends while the controller is telling it
    // something is not its own doing.
    explicit RunStatistics(const Controller& controller) : m_controller(controller) {}

    // HouseListener. What a person does counts once, also where the house file has words for it.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame) override;

    // All zeroes for a driver of which nothing was noted.
    Counts Of(const nx::DriverHost& driver) const;

private:
    // What is remembered of a driver, to know a repair or a retry.
    struct DriverStatistics
    {
        Counts counts;
        // Whether the house file has words for what people do at the device.
        bool hasWords = false;
        // The ids of elements that a wired dimmer was sent.
        std::set<std::string> elements;
        // What the keypad has confirmed of the bus messages of each opcode, without their numbers;
        // and the message that is on its way, with its number.
        std::map<int, std::vector<std::uint8_t>> confirmed;
        int opcodeOnTheWay = 0;
        std::vector<std::uint8_t> onTheWay;
    };

    static void NoteMib(DriverStatistics& driver, const NxMIBPacket& packet, bool asked);
    static void NoteZcl(DriverStatistics& driver, const embedded_host::HostZclMessage& message,
                        bool asked);
    static void NoteGateway(DriverStatistics& driver, const ICmdMessage& command, bool asked);

    const Controller& m_controller;
    std::unordered_map<const nx::DriverHost*, DriverStatistics> m_drivers;
};
} // namespace lighting_host
