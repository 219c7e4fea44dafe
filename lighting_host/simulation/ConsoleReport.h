#pragma once

#include "lighting_host/simulation/HouseListener.h"
#include "lighting_host/text/Style.h"

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lighting_host
{
class Listeners;
class Session;

// How much of a run is told as it happens.
enum class Verbosity
{
    // Nothing.
    Quiet,
    // What people do and the controller does, power failures, and what is wrong.
    Normal,
    // Every event and every word besides.
    Verbose,
};

// Something that a driver said, and how often.
struct RepeatedRecord
{
    std::string driver;
    std::string text;
    unsigned long times = 0;
};

// Prints what happens in a house as a person would want to read it: when, where, who, what. Only
// prints: what stands in the tables at the end is counted elsewhere (see RunStatistics).
class ConsoleReport : public HouseListener
{
public:
    // How many kinds of records are counted; beyond, each record is printed.
    static constexpr std::size_t MOST_RECORDS = 1000;

    // Listens as long as it lives; `out`, `session` and `listeners` must outlive the report.
    // `clearProgress` is called before anything is written. Made before the session starts.
    ConsoleReport(std::ostream& out, Verbosity verbosity, const Style& style,
                  const Session& session, Listeners& listeners,
                  std::function<void()> clearProgress);
    ~ConsoleReport() override;
    ConsoleReport(const ConsoleReport&) = delete;
    ConsoleReport& operator=(const ConsoleReport&) = delete;

    // HouseListener. A device for which the house file has words is not told about twice.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnControllerAct(const nx::DriverHost& driver, const std::string& what) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;

    // At the level Normal each kind of record of a driver is printed once. Records that differ only
    // in their numbers are of one kind; frames of stacks are left out. Here are the kinds that came
    // again, by driver, with the words of the first record.
    std::vector<RepeatedRecord> Repeated() const;

private:
    // A driver, and the text of its record without the numbers.
    using Kind = std::pair<const nx::DriverHost*, std::string>;

    std::string Colored(bool warning, const std::string& text) const;
    void Detail(const nx::DriverHost& driver, const std::string& what, const std::string& detail);
    void Record(const nx::DriverHost& driver, const embedded_host::LogRecord& record);
    void Line(const nx::DriverHost& driver, const std::string& what, const std::string& detail);
    std::string DescribeEvent(const nx::DriverHost& driver, unsigned event) const;

    std::ostream& m_out;
    const Verbosity m_verbosity;
    const Style m_style;
    const Session& m_session;
    Listeners& m_listeners;
    std::function<void()> m_clearProgress;
    std::set<const nx::DriverHost*> m_told;
    std::map<Kind, RepeatedRecord> m_records;
    std::size_t m_nameWidth = 0;
    // 0 for a house without rooms.
    std::size_t m_roomWidth = 0;
};
} // namespace lighting_host
