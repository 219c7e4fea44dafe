#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/simulation/Tally.h"

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <set>
#include <string>

namespace lighting_host
{
class Controller;
class Session;

// How much of a run is told as it happens.
enum class Telling
{
    // Nothing.
    Quiet,
    // What people do and the controller does, power failures, and what is wrong.
    Normal,
    // Every event and every word besides.
    Verbose,
};

// Tells what happens in a house as a person would want to read it: when, where, who, what. Counts
// all of it on the way, for the tables at the end (see RunTables).
class Narrator : public embedded_host::OutputSink
{
public:
    // How many records of the log are told of one driver in a normal telling; the rest is counted.
    static constexpr unsigned long RECORDS_TOLD = 2;

    // `out` must outlive the narrator. `clearProgress` is called before anything is written.
    Narrator(std::ostream& out, Telling telling, std::function<void()> clearProgress);

    // The house that is told about, and its controller; set before it starts, null again before
    // they go.
    void Follow(const Session* session, Controller* controller);

    void Write(const embedded_host::Output& output) override;

    // Something that a person did at a device, as the device tells it, or in words of the house
    // file. A device for which there are such words is not told about twice.
    void Person(const nx::DriverHost& driver, const std::string& what);
    void Act(const nx::DriverHost& driver, const std::string& words);

    // Something that the controller did on a use of a button of this driver.
    void ControllerActs(const nx::DriverHost& driver, const std::string& what);

    // A device had no power for a moment.
    void PowerFailure(const nx::DriverHost& driver);

    // A message from the bus reached that driver.
    void Bus(const nx::DriverHost& driver, const wire::BusFrame& frame);

    const Tally& Counted() const { return m_tally; }

private:
    void Detail(const nx::DriverHost& driver, const std::string& what, const std::string& detail);
    void Record(const nx::DriverHost& driver, const embedded_host::LogRecord& record);
    void Line(const nx::DriverHost& driver, const std::string& what, const std::string& detail);
    std::string DescribeEvent(const nx::DriverHost& driver, unsigned event) const;

    std::ostream& m_out;
    const Telling m_telling;
    std::function<void()> m_clearProgress;
    const Session* m_session = nullptr;
    Controller* m_controller = nullptr;
    Tally m_tally;
    std::set<const nx::DriverHost*> m_told;
    std::map<const nx::DriverHost*, unsigned long> m_records;
    std::size_t m_nameWidth = 0;
    // 0 for a house without rooms.
    std::size_t m_roomWidth = 0;
};
} // namespace lighting_host
