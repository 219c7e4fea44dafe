#pragma once

#include "tests/lighting_common/EnergyDoubles.h"
#include "tests/support/StandingHost.h"

#include <chrono>
#include <string>

#include <log4cplus/loglevel.h>

namespace energy_test
{
constexpr std::int64_t MINUTE_S = 60;
constexpr std::int64_t DAY_S = 24 * 60 * MINUTE_S;

// 2026-01-01T00:00:00, in seconds since 1970-01-01T00:00:00.
constexpr std::int64_t NEW_YEAR_2026 = 1767225600;

// How TestHost writes what the library reported.
inline std::string Logged(const std::string& level, const std::string& file,
                          const std::string& text)
{
    return level + " " + file + ": " + text;
}
inline std::string Asserted(const std::string& file, int line)
{
    return "assertion " + file + ":" + std::to_string(line);
}

// A host whose wall the test sets. Log records and assertions go to the record.
class TestHost : public test_support::StandingHost
{
public:
    TestHost(Record& record, embedded_host::Draw draw, std::uint64_t seed = 1)
        : StandingHost(draw, seed, NEW_YEAR_2026), m_record(record)
    {
    }

    // Moves the wall, forwards or back.
    void PassSeconds(std::int64_t seconds) { GetClock().StepWall(std::chrono::seconds(seconds)); }

    std::int64_t Now() { return GetClock().LocalSeconds(); }

    void OnAssert(const char* file, int line) override { m_record.Note(Asserted(file, line)); }
    void OnLog(const std::string& text, int level, const std::string& file, int,
               const std::string& function) override
    {
        EXPECT_THAT(function, testing::HasSubstr("::"));
        m_record.Note(Logged(log4cplus::getLogLevelManager().toString(level), file, text));
    }

private:
    Record& m_record;
};
} // namespace energy_test
