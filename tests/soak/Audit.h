#pragma once

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/simulation/HouseListener.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}
namespace lighting_host
{
class Session;
class Simulation;
} // namespace lighting_host

namespace soak
{
// Holds both ends of every wire of a house against each other and against the house file: what the
// driver believes, what the device really holds, and what the file wants of both. Looks into the
// devices' own tables; what it expects is worked out here, by nobody that it checks.
//
// Keeps books on energy on the way: it hears the house, and is called before and after every
// restart.
class Audit : public lighting_host::HouseListener
{
public:
    // All must outlive the audit.
    Audit(const lighting_host::HouseFile& file, lighting_host::Session& session,
          lighting_host::Simulation& simulation);

    // HouseListener. What reaches the driver of a plug, and what its meter loses with the power.
    void OnMib(const nx::DriverHost& driver, const wire::MibMessage& message) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;

    // The states of these drivers were saved.
    void NoteSave(const std::vector<nx::DriverHost*>& drivers);

    // A driver is made anew, from the state that it has just given (`saved` false) or that was
    // saved last. What it had counted since then is booked as lost; any other loss is a mistake.
    void BeforeRestart(const nx::DriverHost& driver);
    void AfterRestart(const nx::DriverHost& driver, bool saved);

    // Everything that is wrong, in words; empty when all agrees. Once it is asked, the house must
    // have had time to put itself right.
    std::vector<std::string> Check();

    // How many single facts Check has compared, and the energy in the house's books, in hundredths
    // of a watt-hour: counted by drivers and lost on the way.
    unsigned long Compared() const { return m_compared; }
    std::uint64_t Counted() const { return m_counted; }
    std::uint64_t Lost() const { return m_lost; }

private:
    // The books on one load, in hundredths of a watt-hour, but readings in watt-hours.
    struct Book
    {
        // What the driver should have counted, from what reached it.
        std::uint64_t expected = 0;
        // At the last save.
        std::uint64_t saved = 0;
        bool hasSavedReading = false;
        std::uint64_t savedReading = 0;
        std::uint64_t beforeRestart = 0;
        // Counted, and lost by crashes since.
        std::uint64_t lost = 0;
        // Plugs: the last reading that the driver knows, and that ever reached it.
        bool hasReading = false;
        std::uint64_t reading = 0;
        std::uint64_t readingEver = 0;
        // What the plug's meter counted and no driver can know, at most.
        std::uint64_t missed = 0;
    };

    void CheckDimmer(device_wire::AttachedDevice& device);
    void CheckLight(device_wire::AttachedDevice& device);
    void CheckKeypad(device_wire::AttachedDevice& device);
    void CheckPuck(device_wire::AttachedDevice& device);
    void CheckPlug(device_wire::AttachedDevice& device);
    void CheckLamps();
    std::uint64_t TotalOf(const nx::DriverHost& driver) const;

    template <class A, class B>
    void Same(const nx::DriverHost& driver, const std::string& what, const A& driverSays,
              const B& deviceSays);
    void Wrong(const nx::DriverHost& driver, const std::string& what);

    const lighting_host::HouseFile& m_file;
    lighting_host::Session& m_session;
    lighting_host::Simulation& m_simulation;
    std::map<std::string, Book> m_books;
    std::vector<std::string> m_wrong;
    unsigned long m_compared = 0;
    std::uint64_t m_counted = 0;
    std::uint64_t m_lost = 0;
};

// Spoils one thing in the device of that kind of fact, so that a check must find it: "element",
// "group", "light", "colour", "setting" or "meter". False for any other word.
bool Spoil(lighting_host::Session& session, const std::string& what);
} // namespace soak
