#include "drivers/energy_switch/EnergySwitchDriver.h"

#include "test_kit/OneDriverHouse.h"

#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test_kit::Lines;
using test_kit::OneDriverHouse;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

namespace
{
const std::string METER = "nx.dmx.pwr";

std::string Set(unsigned id, const std::string& name, int value)
{
    return "variable set " + std::to_string(id) + " '" + name + "' '" + std::to_string(value) + "'";
}
Lines EnergySet(int used, int today)
{
    return {Set(10004, "ENERGY_USED", used), Set(10005, "ENERGY_USED_TODAY", today)};
}

// A state without energy whose meter showed that.
std::string WithReading(const std::string& reading)
{
    const std::string zeros = "<MINUTES_ON>0</MINUTES_ON><MINUTES_ON_TODAY>0</MINUTES_ON_TODAY>"
                              "<MINUTES_OFF>0</MINUTES_OFF><ENERGY_USED>0</ENERGY_USED>"
                              "<ENERGY_USED_TODAY>0</ENERGY_USED_TODAY>";
    return "<State><ENERGY_DATA>" + zeros + "</ENERGY_DATA><METER_READING>" + reading +
           "</METER_READING></State>";
}

class EnergySwitchDriverTest : public testing::Test
{
protected:
    void Start(const std::string& state = "")
    {
        m_house.State(state);
        m_driver = &m_house.Start<EnergySwitchDriver>();
        EXPECT_EQ(m_house.TakeOnly("variable").size(), 6U);
    }

    // The plug reports; what that caused.
    Lines Report(const std::string& on, const std::string& fault, const std::string& watts,
                 const std::string& wattHours)
    {
        m_house.Trap(METER, {on, fault, watts, wattHours});
        return m_house.Take();
    }

    OneDriverHouse m_house;
    EnergySwitchDriver* m_driver = nullptr;
};
} // namespace

TEST_F(EnergySwitchDriverTest, FirstReport_TellsPowerAndWhereTheMeterStands)
{
    Start();
    EXPECT_THAT(Report("01", "00", "0000005a", "00010000"),
                ElementsAre(Set(10003, "CURRENT_POWER", 90)));
    EXPECT_TRUE(m_driver->IsLoadOn());
    EXPECT_EQ(m_driver->GetEnergyUsed(), 0);
}

TEST_F(EnergySwitchDriverTest, LaterReports_AddWhatTheMeterCounted)
{
    Start();
    Report("01", "00", "00000000", "00000010");
    EXPECT_EQ(Report("01", "00", "00000000", "00000013"), EnergySet(3, 3));
    EXPECT_THAT(Report("01", "00", "00000000", "00000013"), IsEmpty());
    EXPECT_EQ(Report("01", "00", "00000000", "00000014"), EnergySet(4, 4));
}

TEST_F(EnergySwitchDriverTest, LowerMeter_HasBegunAnew)
{
    Start();
    Report("00", "00", "00000000", "00001000");
    EXPECT_THAT(Report("00", "00", "00000000", "00000000"),
                ElementsAre(HasSubstr("p: the meter shows 0 Wh after 4096 Wh; it was reset or")));
    EXPECT_EQ(Report("00", "00", "00000000", "00000002"), EnergySet(2, 2));
    EXPECT_THAT(Report("00", "00", "00000000", "00000001"), IsSupersetOf(EnergySet(3, 3)));
}

TEST_F(EnergySwitchDriverTest, LargestMeterStep_IsHeldToWhatATotalTakes)
{
    Start();
    Report("00", "00", "00000000", "00000000");
    EXPECT_EQ(Report("00", "00", "00000000", "ffffffff"), EnergySet(2147483647, 2147483647));
}

TEST_F(EnergySwitchDriverTest, ReportedFault_CountsOff)
{
    Start();
    Report("01", "03", "00000000", "00000000");
    EXPECT_EQ(m_driver->GetFault(), 3);
    m_house.Advance(60000ms);
    EXPECT_THAT(m_house.Take(), ElementsAre(Set(10001, "MINUTES_OFF", 1)));
}

TEST_F(EnergySwitchDriverTest, UnreadableReports_ChangeNothing)
{
    Start();
    Report("01", "00", "0000005a", "00000010");
    for (const Lines& params :
         {Lines{}, Lines{"00"}, Lines{"00", "01", "00000001"},
          Lines{"zz", "01", "00000001", "00000020"}, Lines{"00", "01", "00000001", "000000020"},
          Lines{"00", "01", "-0000001", "00000020"}})
        m_house.Trap(METER, params);
    EXPECT_THAT(m_house.TakeOnly("variable"), IsEmpty());
    EXPECT_TRUE(m_driver->IsLoadOn());
    EXPECT_EQ(m_driver->GetFault(), 0);
    EXPECT_EQ(Report("01", "00", "0000005a", "00000011"), EnergySet(1, 1));
}

TEST_F(EnergySwitchDriverTest, EnergyUsedWhileTheDriverWasAway_IsCounted)
{
    Start();
    Report("01", "00", "00000000", "00000010");
    Report("01", "00", "00000000", "00000015");
    m_house.Restart();
    EXPECT_EQ(m_house.TakeOnly("variable")[4], "variable add 10004 'ENERGY_USED' '5'");
    // 990 Wh more than before.
    EXPECT_EQ(Report("01", "00", "00000000", "000003f3"), EnergySet(995, 995));
    EXPECT_EQ(Report("01", "00", "00000000", "000003f4"), EnergySet(996, 996));
}

TEST_F(EnergySwitchDriverTest, MeterThatWasResetMeanwhile_CountsFromZeroAndIsTold)
{
    Start(WithReading("1000"));
    const Lines lines = Report("01", "00", "00000000", "00000064");
    EXPECT_THAT(lines, IsSupersetOf(EnergySet(100, 100)));
    EXPECT_THAT(lines, Contains(EndsWith("p: the meter shows 100 Wh after 1000 Wh; it was "
                                         "reset or replaced, and counts from 0")));
    EXPECT_EQ(Report("01", "00", "00000000", "00000065"), EnergySet(101, 101));
}

TEST_F(EnergySwitchDriverTest, MeterThatCannotBeTheSame_CountsNothingAndIsTold)
{
    Start(WithReading("1000"));
    // 1,001,001 Wh: one more than can have been used.
    EXPECT_THAT(Report("01", "00", "00000000", "000f4629"),
                ElementsAre(HasSubstr("p: the meter shows 1001001 Wh after 1000 Wh, more than "
                                      "can have been used meanwhile; it was replaced")));
    EXPECT_EQ(Report("01", "00", "00000000", "000f462a"), EnergySet(1, 1));
}

TEST_F(EnergySwitchDriverTest, LargestUseThatIsBelieved_IsCounted)
{
    Start(WithReading("1000"));
    EXPECT_EQ(Report("01", "00", "00000000", "000f4628"), EnergySet(1000000, 1000000));
}

TEST_F(EnergySwitchDriverTest, ReadingInTheState_ComesBackAndIsWrittenAgain)
{
    Start(WithReading("4294967295"));
    EXPECT_EQ(m_house.Persist(), WithReading("4294967295"));
    Report("01", "00", "00000000", "ffffffff");
    EXPECT_EQ(m_house.Persist(), WithReading("4294967295"));
}

TEST_F(EnergySwitchDriverTest, UnreadableReadingInTheState_IsToldAndNotTaken)
{
    for (const std::string& reading :
         {std::string("abc"), std::string("-1"), std::string("4294967296"), std::string("12 "),
          std::string()})
    {
        OneDriverHouse house;
        house.State(WithReading(reading));
        house.Start<EnergySwitchDriver>();
        EXPECT_THAT(house.Take(), Contains(HasSubstr("the state has no meter reading but")));
        house.Trap(METER, {"01", "00", "00000000", "00000064"});
        EXPECT_THAT(house.Take(), IsEmpty()) << reading;
    }
}

TEST_F(EnergySwitchDriverTest, State_IsItsEnergyData)
{
    const std::string state =
        "<State><ENERGY_DATA><MINUTES_ON>1</MINUTES_ON><MINUTES_ON_TODAY>2</MINUTES_ON_TODAY>"
        "<MINUTES_OFF>3</MINUTES_OFF><ENERGY_USED>4</ENERGY_USED>"
        "<ENERGY_USED_TODAY>5</ENERGY_USED_TODAY></ENERGY_DATA></State>";
    Start(state);
    EXPECT_EQ(m_house.Persist(), state);
}

TEST_F(EnergySwitchDriverTest, ResetCommand_ZeroesTheFigures)
{
    Start();
    m_driver->increaseEnergyUsed(7);
    m_house.Take();
    m_house.Command("RESET_ENERGY_USED");
    EXPECT_THAT(m_house.Take(), IsEmpty());
    EXPECT_EQ(m_driver->GetEnergyUsed(), 0);
    EXPECT_EQ(m_house.TakePersistRequests(), 1);
}

TEST_F(EnergySwitchDriverTest, Destruction_LeavesNoTimer)
{
    Start();
    m_house.Stop();
    m_house.Take();
    EXPECT_FALSE(m_house.NextWake());
}
