// Any text as a house file: what is wrong with it is told in words and lines, and a house that has
// nothing wrong runs for a while with its simulated devices.

#include "embedded_host/House.h"
#include "fuzz/Fuzzing.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/house/Session.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>

#include <log4cplus/loglevel.h>

namespace
{
using namespace fuzzing;

constexpr std::size_t MOST_DRIVERS = 12;
constexpr std::chrono::milliseconds RUN_TIME = std::chrono::seconds(3);

// Requires of every effect what holds in any house.
class Watching : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output& output) override
    {
        Require(output.timeMs >= m_nowMs);
        m_nowMs = output.timeMs;
        Require(!std::holds_alternative<embedded_host::DriverFault>(output.effect));
    }

private:
    std::int64_t m_nowMs = 0;
};

void RequireTold(const lighting_host::HouseFile& house, const std::string& text)
{
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    int line = 0;
    for (const lighting_host::HouseFileError& error : house.errors)
    {
        Require(!error.what.empty());
        Require(error.line >= std::max(line, 1) && error.line <= lines);
        line = error.line;
    }
}

void Run(const lighting_host::HouseFile& house)
{
    Watching sink;
    lighting_host::SessionOptions options;
    options.logLevel = log4cplus::OFF_LOG_LEVEL;
    lighting_host::Session session(house, options, sink);
    session.Start();
    session.House().Advance(RUN_TIME);
    for (const auto& driver : session.House().Drivers())
    {
        const std::string state = driver->Persist();
        Require(state.empty() || nx::CreateXmlDocument(state));
    }
    session.Stop();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    const std::string text = Text(data, size);
    const lighting_host::HouseFile house = lighting_host::ParseHouseFile(text, "");
    RequireTold(house, text);
    // Loading somebody's library is not the subject.
    const bool foreign = std::any_of(house.drivers.begin(), house.drivers.end(),
                                     [](const auto& driver) { return !driver.library.empty(); });
    if (house.errors.empty() && !foreign && house.drivers.size() <= MOST_DRIVERS)
        Run(house);
    return 0;
}
