#pragma once

#include "embedded_host/Output.h"
#include "wire/BusFrame.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace lighting_host
{
// Counts what the drivers of a house do: events, messages, and how often one of them put a device
// right again.
class Tally
{
public:
    struct Counts
    {
        unsigned long events = 0;
        // What people did at the device.
        unsigned long acts = 0;
        // Messages to the device.
        unsigned long sent = 0;
        // Requests that change what the device holds and that nobody asked the driver for just
        // then: it found a difference. What it sends for the first time is none.
        unsigned long repairs = 0;
        // Messages on the bus that were sent again because no answer came.
        unsigned long retries = 0;
        // Records of the log from WARN on.
        unsigned long warnings = 0;
    };

    // Called for each effect. `asked`: the controller is just telling the driver something.
    void Note(const embedded_host::Output& output, bool asked);

    // A message from the bus reached that driver.
    void NoteBus(const nx::DriverHost& driver, const wire::BusFrame& frame);

    void NoteAct(const nx::DriverHost& driver) { ++m_books[&driver].counts.acts; }

    // All zeroes for a driver of which nothing was noted.
    Counts Of(const nx::DriverHost& driver) const;

private:
    // What is remembered of a driver, to know a repair or a retry.
    struct Book
    {
        Counts counts;
        // The ids of elements that a wired dimmer was sent.
        std::set<std::string> elements;
        // What the keypad has confirmed of the bus messages of each opcode, without their numbers;
        // and the message that is on its way, with its number.
        std::map<int, std::vector<std::uint8_t>> confirmed;
        int opcodeOnTheWay = 0;
        std::vector<std::uint8_t> onTheWay;
    };

    static void NoteMib(Book& book, const NxMIBPacket& packet, bool asked);
    static void NoteZcl(Book& book, const embedded_host::HostZclMessage& message, bool asked);
    static void NoteGateway(Book& book, const ICmdMessage& command, bool asked);

    std::unordered_map<const nx::DriverHost*, Book> m_books;
};
} // namespace lighting_host
