#include "embedded_host/LibraryLog.h"

#include "HostDoubles.h"
#include "nxshared/Assert.h"

#include <chrono>

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;
using host_test::Command;
using host_test::Strings;
using host_test::TestDriver;

log4cplus::Logger Library()
{
    return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("lighting_nl"));
}

// Writes a record as the library does.
void Log(int level, const std::string& text)
{
    log4cplus::Logger logger = Library();
    if (logger.isEnabledFor(level))
        logger.forcedLog(level, text, "lighting_common/X", 260, "void X::Do()");
}

class LibraryLogTest : public host_test::HouseTest
{
protected:
    LibraryLogTest() { ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }
    ~LibraryLogTest() override { ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }

    // What is reported of one record at each level from TRACE to ERROR, inside a driver.
    Strings LoggedByADriver()
    {
        TestDriver& driver = Made("hall", 101);
        driver.OnTrap("nx.a",
                      []
                      {
                          Log(log4cplus::TRACE_LOG_LEVEL, "t");
                          Log(log4cplus::DEBUG_LOG_LEVEL, "d");
                          Log(log4cplus::INFO_LOG_LEVEL, "i");
                          Log(log4cplus::WARN_LOG_LEVEL, "w");
                          Log(log4cplus::ERROR_LOG_LEVEL, "e");
                      });
        house.Find("hall")->Trap(NxMIBPacket(NxMIB::Trap, "nx.a"));
        return Seen();
    }
};

TEST_F(LibraryLogTest, Records_AreReportedWithTheirLevelAndPlace)
{
    const std::string place = " at lighting_common/X:260 in void X::Do()";
    EXPECT_EQ((Strings{"0 hall log TRACE t" + place, "0 hall log DEBUG d" + place,
                       "0 hall log INFO i" + place, "0 hall log WARN w" + place,
                       "0 hall log ERROR e" + place}),
              LoggedByADriver());
}

TEST_F(LibraryLogTest, RecordsBelowTheLevel_AreNotReported)
{
    ConnectLibraryLog(log4cplus::WARN_LOG_LEVEL);
    EXPECT_EQ(2u, LoggedByADriver().size());
}

TEST_F(LibraryLogTest, LevelOff_ReportsNothing)
{
    ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
    EXPECT_EQ(Strings(), LoggedByADriver());
}

TEST_F(LibraryLogTest, LastLevelCounts_AndNothingIsReportedTwice)
{
    ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
    ConnectLibraryLog(log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(1u, LoggedByADriver().size());
}

TEST_F(LibraryLogTest, Ensure_LeavesALevelThatWasSet)
{
    ConnectLibraryLog(log4cplus::ERROR_LOG_LEVEL);
    EnsureLibraryLog();
    const House another(clock, random, sink);
    EXPECT_EQ(1u, LoggedByADriver().size());
}

TEST_F(LibraryLogTest, RecordsOutsideEveryDriver_GoNowhere)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Log(log4cplus::ERROR_LOG_LEVEL, "nobody");
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(LibraryLogTest, RecordsInsideANestedDelivery_AreTheMembers)
{
    TestDriver& sofa = Made("sofa", 1);
    TestDriver& ceiling = Made("ceiling", 2);
    house.AddGroup(2, {"ceiling"});
    ceiling.OnCommand("GROUP_SET_LEVEL", [](const ICmdMessage&, ICmdReturn*)
                      { Log(log4cplus::WARN_LOG_LEVEL, "inner"); });
    sofa.OnTrap("nx.a",
                [&]
                {
                    sofa.ForwardToGroup(2, Command("SET_LEVEL"));
                    Log(log4cplus::WARN_LOG_LEVEL, "outer");
                });
    house.Find("sofa")->Trap(NxMIBPacket(NxMIB::Trap, "nx.a"));
    const Strings seen = Seen();
    ASSERT_EQ(2u, seen.size());
    EXPECT_EQ(0u, seen[0].find("0 ceiling log WARN inner"));
    EXPECT_EQ(0u, seen[1].find("0 sofa log WARN outer"));
}

TEST_F(LibraryLogTest, RecordsOfConstructorsTimersAndDestructors_AreTheDrivers)
{
    TestDriver& driver = Made("hall", 101,
                              [](TestDriver& made)
                              {
                                  Log(log4cplus::WARN_LOG_LEVEL, "constructor");
                                  made.onDestroy = []
                                  {
                                      Log(log4cplus::WARN_LOG_LEVEL, "destructor");
                                  };
                                  made.onTimer = [](ID::Timer, time_t)
                                  {
                                      Log(log4cplus::WARN_LOG_LEVEL, "timer");
                                  };
                              });
    driver.AddTimer(5, 1, 1);
    house.Advance(5ms);
    house.StopAll();
    const Strings seen = Seen();
    ASSERT_EQ(3u, seen.size());
    EXPECT_EQ(0u, seen[0].find("0 hall log WARN constructor"));
    EXPECT_EQ(0u, seen[1].find("5 hall log WARN timer"));
    EXPECT_EQ(0u, seen[2].find("5 hall log WARN destructor"));
}
} // namespace
