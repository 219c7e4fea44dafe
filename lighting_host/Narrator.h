#pragma once

#include "embedded_host/Output.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>

namespace lighting_host
{
class Session;

// Tells what happens in a house as a person would want to read it: when, who, what; and at the end
// a table of the final state.
class Narrator : public embedded_host::OutputSink
{
public:
    // `out` must outlive the narrator. `clearProgress` is called before anything is written.
    Narrator(std::ostream& out, std::function<void()> clearProgress);

    // The house that is told about; set before it starts, null again before it goes.
    void Follow(const Session* session) { m_session = session; }

    void Write(const embedded_host::Output& output) override;

    // Something that a person did at a device.
    void Person(const nx::DriverHost& driver, const std::string& what);

    // The table of the final state.
    void WriteTable() const;

    // The table of what each load has used; nothing when no driver counts it.
    void WriteEnergyTable() const;

private:
    struct Counts
    {
        unsigned long events = 0;
        unsigned long sent = 0;
    };

    void Line(const nx::DriverHost& driver, const std::string& what, const std::string& detail);
    std::string DescribeEvent(const nx::DriverHost& driver, unsigned event) const;

    std::ostream& m_out;
    std::function<void()> m_clearProgress;
    const Session* m_session = nullptr;
    std::map<std::string, Counts> m_counts;
};
} // namespace lighting_host
