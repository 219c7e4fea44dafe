#include "embedded_host/LocalTime.h"
#include "embedded_host/StateStore.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/text/Json.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

using lighting_host::Json;
using lighting_host::Session;
using lighting_host::SessionOptions;

namespace fs = std::filesystem;

namespace
{
constexpr std::int64_t MINUTE_MS = 60000;
constexpr std::int64_t HOUR_MS = 60 * MINUTE_MS;
constexpr std::int64_t DAY_MS = 24 * HOUR_MS;
constexpr std::int64_t HOUR_S = 3600;
constexpr std::int64_t DAY_S = 24 * HOUR_S;

class NoSink : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output&) override {}
};

// A house with a collector ("light") and the older form ("plug"), both with their load on, and both
// counting at full minutes of the wall: draws give the lower end.
class TimeAndStateTest : public testing::Test
{
protected:
    TimeAndStateTest()
    {
        std::string pattern = (fs::temp_directory_path() / "time-and-state-XXXXXX").string();
        m_folder = mkdtemp(&pattern[0]);
        m_options.draw = embedded_host::Draw::Low;
        m_options.logLevel = log4cplus::OFF_LOG_LEVEL;
        m_options.complain = [this](const std::string& what)
        {
            m_complaints.push_back(what);
        };
    }
    ~TimeAndStateTest() override
    {
        m_session.reset();
        fs::remove_all(m_folder);
        EXPECT_THAT(m_complaints, testing::IsEmpty());
    }

    void Start(const std::string& localTime, const std::string& zone = "")
    {
        m_session.reset();
        m_options.startLocalSeconds = embedded_host::ParseLocalTime(localTime);
        m_options.zone = zone;
        m_session = std::make_unique<Session>(
            lighting_host::ParseHouseFile(
                "<house><driver name=\"light\" type=\"zigbee_light\" id=\"1\"/>"
                "<driver name=\"plug\" type=\"energy_switch\" id=\"2\"/></house>",
                "."),
            m_options, m_sink);
        m_session->Start();
        SetFact("load_on", true);
    }

    void StartWithPlugAs(const std::string& type)
    {
        m_session.reset();
        m_session = std::make_unique<Session>(
            lighting_host::ParseHouseFile(
                "<house><driver name=\"plug\" type=\"" + type + "\" id=\"2\"/></house>", "."),
            m_options, m_sink);
        m_session->Start();
    }

    void SetFact(const std::string& name, const Json& value)
    {
        for (const auto& driver : m_session->House().Drivers())
            driver->CallDriver("a test", m_session->AdapterOf(*driver)->PrepareFact(name, value));
    }

    void Pass(std::int64_t ms) { m_session->House().Advance(std::chrono::milliseconds(ms)); }
    void SetTheClock(std::int64_t seconds)
    {
        m_session->House().GetClock().StepWall(std::chrono::seconds(seconds));
    }
    std::string Wall()
    {
        return embedded_host::FormatLocalTime(m_session->House().GetClock().LocalSeconds());
    }

    // A figure of one of the two, or of both when they agree.
    int Figure(const std::string& driver, const std::string& name)
    {
        const Json none = Json::object();
        lighting_host::Fields fields(none, "nothing");
        Json answer;
        auto* adapter = m_session->AdapterOf(*m_session->House().Find(driver));
        EXPECT_TRUE(adapter->Query("energy", fields, answer));
        return answer[name].get<int>();
    }
    int Both(const std::string& name)
    {
        EXPECT_EQ(Figure("light", name), Figure("plug", name)) << name;
        return Figure("light", name);
    }

    fs::path m_folder;
    SessionOptions m_options;
    std::vector<std::string> m_complaints;
    NoSink m_sink;
    std::unique_ptr<Session> m_session;
};
} // namespace

// --- The clock is set
// -----------------------------------------------------------------------------

TEST_F(TimeAndStateTest, DayPasses_TodayStartsAgainAtMidnight)
{
    Start("2026-01-01T12:00:00");
    SetFact("energy_wh", 5);
    Pass(12 * HOUR_MS - MINUTE_MS);
    EXPECT_EQ(Both("minutes_on_today"), 719);
    Pass(HOUR_MS + MINUTE_MS);
    EXPECT_EQ(Both("minutes_on"), 780);
    EXPECT_EQ(Both("energy_used"), 5);
    EXPECT_EQ(Both("energy_used_today"), 0);
    // The count at midnight itself is the new day's first; the older form has one tick of it then.
    EXPECT_EQ(Figure("light", "minutes_on_today"), 61);
    EXPECT_EQ(Figure("plug", "minutes_on_today"), 60);
}

TEST_F(TimeAndStateTest, HourForwardsWithinTheDay_ChangesNothing)
{
    Start("2026-01-01T12:00:00");
    Pass(10 * MINUTE_MS);
    SetTheClock(HOUR_S);
    Pass(10 * MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-01-01T13:20:00");
    EXPECT_EQ(Both("minutes_on"), 20);
    EXPECT_EQ(Both("minutes_on_today"), 20);
}

TEST_F(TimeAndStateTest, HourBackWithinTheDay_ChangesNothing)
{
    Start("2026-01-01T12:00:00");
    Pass(10 * MINUTE_MS);
    SetTheClock(-HOUR_S);
    Pass(10 * MINUTE_MS);
    EXPECT_EQ(Both("minutes_on"), 20);
    EXPECT_EQ(Both("minutes_on_today"), 20);
}

TEST_F(TimeAndStateTest, HourForwardsOverMidnight_StartsTodayAgainAtTheNextCount)
{
    Start("2026-01-01T23:10:00");
    SetFact("energy_wh", 5);
    Pass(10 * MINUTE_MS);
    SetTheClock(HOUR_S);
    EXPECT_EQ(Both("energy_used_today"), 5);
    Pass(10 * MINUTE_MS);
    EXPECT_EQ(Both("minutes_on"), 20);
    EXPECT_EQ(Both("minutes_on_today"), 10);
    EXPECT_EQ(Both("energy_used_today"), 0);
    EXPECT_EQ(Both("energy_used"), 5);
}

TEST_F(TimeAndStateTest, HourBackOverMidnight_StartsTodayAgainThenAndAtMidnight)
{
    Start("2026-01-02T00:30:00");
    Pass(10 * MINUTE_MS);
    SetTheClock(-HOUR_S);
    Pass(10 * MINUTE_MS);
    EXPECT_EQ(Both("minutes_on_today"), 10);
    Pass(10 * MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-01-02T00:00:00");
    EXPECT_EQ(Figure("light", "minutes_on_today"), 1);
    EXPECT_EQ(Both("minutes_on"), 30);
}

TEST_F(TimeAndStateTest, DayOrYearEitherWay_StartsTodayAgainAndKeepsTheTotals)
{
    for (const std::int64_t step : {DAY_S, -DAY_S, 365 * DAY_S, -365 * DAY_S})
    {
        Start("2026-06-15T12:00:00");
        Pass(10 * MINUTE_MS);
        SetTheClock(step);
        Pass(10 * MINUTE_MS);
        EXPECT_EQ(Both("minutes_on"), 20) << step;
        EXPECT_EQ(Both("minutes_on_today"), 10) << step;
    }
}

TEST_F(TimeAndStateTest, PartOfAMinute_MovesTheCollectorsNextCountOnly)
{
    Start("2026-01-01T12:00:00");
    Pass(10 * MINUTE_MS);
    SetTheClock(20);
    // The timer that runs already comes after its minute; the one after it, at the full minute.
    Pass(MINUTE_MS);
    EXPECT_EQ(Both("minutes_on"), 11);
    Pass(40000);
    EXPECT_EQ(Figure("light", "minutes_on"), 12);
    EXPECT_EQ(Figure("plug", "minutes_on"), 11);
}

// --- Zones
// ----------------------------------------------------------------------------------------

TEST_F(TimeAndStateTest, SpringInAZone_DayHas23Hours)
{
    Start("2026-03-29T00:00:00", "Europe/Berlin");
    Pass(23 * HOUR_MS - MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-03-29T23:59:00");
    EXPECT_EQ(Both("minutes_on_today"), 23 * 60 - 1);
    Pass(MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-03-30T00:00:00");
    EXPECT_EQ(Figure("light", "minutes_on_today"), 1);
    EXPECT_EQ(Both("minutes_on"), 23 * 60);
}

TEST_F(TimeAndStateTest, AutumnInAZone_DayHas25Hours)
{
    Start("2026-10-25T00:00:00", "Europe/Berlin");
    Pass(2 * HOUR_MS + 30 * MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-10-25T02:30:00");
    Pass(HOUR_MS);
    EXPECT_EQ(Wall(), "2026-10-25T02:30:00");
    Pass(21 * HOUR_MS + 29 * MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-10-25T23:59:00");
    EXPECT_EQ(Both("minutes_on_today"), 25 * 60 - 1);
}

TEST_F(TimeAndStateTest, NoZone_KnowsNoDaylightSaving)
{
    Start("2026-03-29T00:00:00");
    Pass(DAY_MS - MINUTE_MS);
    EXPECT_EQ(Wall(), "2026-03-29T23:59:00");
    EXPECT_EQ(Both("minutes_on_today"), 24 * 60 - 1);
}

TEST_F(TimeAndStateTest, LeapDay_IsADayOfItsOwn)
{
    Start("2028-02-28T23:00:00");
    Pass(2 * HOUR_MS);
    EXPECT_EQ(Wall(), "2028-02-29T01:00:00");
    EXPECT_EQ(Figure("light", "minutes_on_today"), 61);
    Pass(DAY_MS);
    EXPECT_EQ(Wall(), "2028-03-01T01:00:00");
    EXPECT_EQ(Figure("light", "minutes_on_today"), 61);
}

TEST_F(TimeAndStateTest, UnknownZone_IsAnError)
{
    EXPECT_THROW(Start("2026-01-01T00:00:00", "Europe/Atlantis"), embedded_host::LocalTimeError);
}

// --- The state file
// -------------------------------------------------------------------------------

TEST_F(TimeAndStateTest, EndOfASession_IsFoundAgainByTheNext)
{
    m_options.statePath = (m_folder / "state.db").string();
    Start("2026-01-01T12:00:00");
    SetFact("energy_wh", 5);
    Pass(10 * MINUTE_MS);
    Start("2026-01-01T13:00:00");
    EXPECT_EQ(Both("minutes_on"), 10);
    EXPECT_EQ(Both("minutes_on_today"), 10);
    EXPECT_EQ(Both("energy_used"), 5);
}

TEST_F(TimeAndStateTest, CopyOfTheFileWhileItRuns_HasTheLastIntervals)
{
    m_options.statePath = (m_folder / "state.db").string();
    // Ten seconds apart from the counts.
    m_options.persistIntervalMs = 5 * MINUTE_MS + 10000;
    Start("2026-01-01T12:00:00");
    Pass(14 * MINUTE_MS);
    // As a crash would leave it.
    for (const char* ending : {"", "-wal", "-saves"})
        fs::copy_file(m_options.statePath + ending, (m_folder / "crash.db").string() + ending);
    m_options.statePath = (m_folder / "crash.db").string();
    Start("2026-01-01T12:14:00");
    EXPECT_EQ(Both("minutes_on"), 10);
}

TEST_F(TimeAndStateTest, ForeignStateFile_IsAnError)
{
    m_options.statePath = m_folder.string();
    EXPECT_THROW(Start("2026-01-01T12:00:00"), embedded_host::StateStoreError);
}

TEST_F(TimeAndStateTest, ChangedType_IsToldOnceAndKeepsBothStates)
{
    m_options.statePath = (m_folder / "state.db").string();
    Start("2026-01-01T12:00:00");
    SetFact("energy_wh", 5);
    StartWithPlugAs("zigbee_light");
    EXPECT_EQ(Figure("plug", "energy_used"), 0);
    m_session->RestartDrivers(true);
    EXPECT_THAT(m_complaints, testing::ElementsAre(
                                  "driver \"plug\" starts without a state: what was saved under "
                                  "this name is of the type energy_switch, and the driver is now a "
                                  "zigbee_light; it stays in the state file"));
    m_complaints.clear();
    Start("2026-01-01T12:00:00");
    EXPECT_EQ(Figure("plug", "energy_used"), 5);
}
