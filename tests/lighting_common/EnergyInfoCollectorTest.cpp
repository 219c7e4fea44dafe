#include "lighting_common/EnergyInfoCollector.h"

#include "lighting_common/IEnergyOwner.h"
#include "nxshared/XmlDocument.h"
#include "tests/lighting_common/EnergyDoubles.h"
#include "tests/lighting_common/EnergyHost.h"
#include "tests/support/LogSwitchedOff.h"

#include <limits>
#include <memory>
#include <set>
#include <stdexcept>

using energy_test::Added;
using energy_test::Asserted;
using energy_test::Lines;
using energy_test::Logged;
using energy_test::Record;
using energy_test::RecordingTimers;
using energy_test::RecordingVariables;
using energy_test::Set;
using energy_test::Started;
using energy_test::Ui;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
const char* const SOURCE = "lighting_common/EnergyInfoCollector";
const std::string REFUSED = "told to increase energy by a non-positive value ";
constexpr int INT_MAXIMUM = std::numeric_limits<int>::max();
constexpr int INT_MINIMUM = std::numeric_limits<int>::min();

class RecordingOwner : public IEnergyOwner
{
public:
    explicit RecordingOwner(Record& record) : m_record(record) {}

    bool IsLoadOn() override
    {
        ThrowIn("IsLoadOn");
        return on;
    }
    bool IsEnergyReady() override
    {
        ThrowIn("IsEnergyReady");
        return ready;
    }
    void EnergyValueToUI(const std::string& name, int value) override
    {
        ThrowIn("EnergyValueToUI");
        m_record.Note(Ui(name, value));
    }

    bool on = false;
    bool ready = true;
    // The operation that throws, if any.
    std::string throwsIn;

private:
    void ThrowIn(const std::string& operation) const
    {
        if (throwsIn == operation)
            throw std::runtime_error(operation);
    }

    Record& m_record;
};

// A collector of device 7 that counts at second 0, made at midnight.
class EnergyInfoCollectorTest : public testing::Test
{
protected:
    EnergyInfoCollectorTest() { Make(); }

    void Make(embedded_host::Draw draw = embedded_host::Draw::Low, std::uint64_t seed = 1)
    {
        m_collector.reset();
        m_host.reset();
        m_host = std::make_unique<energy_test::TestHost>(m_record, draw, seed);
        m_collector = std::make_unique<EnergyInfoCollector>(&m_vars, m_timers);
        m_collector->setOwner(&m_owner);
        EXPECT_THAT(Happened(), ElementsAre(Started(60000, 1)));
    }

    void Start(const std::string& stateXml = "<State/>")
    {
        m_collector->Initialize(7, nx::CreateXmlDocument(stateXml)->GetRoot());
        m_record.Take();
    }

    Lines Happened() { return m_record.Take(); }

    // The collector's timer fires a minute later; what that caused, without the timer it started.
    Lines MinutePasses()
    {
        m_host->PassSeconds(60);
        return TimerFires();
    }
    Lines TimerFires()
    {
        m_collector->OnTimerExpired(m_timers.Last(), 0);
        Lines lines = Happened();
        EXPECT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), Started(60, 2));
        lines.pop_back();
        return lines;
    }

    std::string State() { return m_collector->GetPersistState()->ToText(); }

    Record m_record;
    RecordingVariables m_vars{m_record};
    RecordingTimers m_timers{m_record};
    RecordingOwner m_owner{m_record};
    std::unique_ptr<energy_test::TestHost> m_host;
    std::unique_ptr<EnergyInfoCollector> m_collector;
};

std::string StateXml(int on, int onToday, int off, int used, int today, int fraction,
                     int todayFraction)
{
    const auto child = [](const std::string& name, int value)
    {
        return "<" + name + ">" + std::to_string(value) + "</" + name + ">";
    };
    return "<ENERGY_DATA>" + child("MINUTES_ON", on) + child("MINUTES_ON_TODAY", onToday) +
           child("MINUTES_OFF", off) + child("ENERGY_USED", used) +
           child("ENERGY_USED_TODAY", today) + child("ENERGY_FRAC", fraction) +
           child("TODAY_FRAC", todayFraction) + "</ENERGY_DATA>";
}
std::string InState(const std::string& data)
{
    return "<State>" + data + "</State>";
}
} // namespace

TEST(EnergyInfoCollectorConstants, AreTheDeclaredOnes)
{
    EXPECT_EQ(EnergyInfoCollector::TIMER_INTERVAL, 10000);
    EXPECT_EQ(EnergyInfoCollector::TIMER_TICKS_PER_MINUTE, 6);
    EXPECT_EQ(EnergyInfoCollector::ENERGY_NODE_DATA, "ENERGY_DATA");
}

// --- Construction and destruction ---------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, Construction_ZeroesEverything)
{
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(m_collector->GetCurrentPower(), 0);
    EXPECT_EQ(m_collector->GetFault(), 0);
}

TEST_F(EnergyInfoCollectorTest, Destruction_StopsTheTimer)
{
    EXPECT_EQ(m_timers.Running().size(), 1U);
    m_collector.reset();
    EXPECT_EQ(m_timers.Running().size(), 0U);
}

TEST_F(EnergyInfoCollectorTest, DestructionAfterForeignTimers_StopsEveryTimer)
{
    m_collector->OnTimerExpired(4711, 0);
    m_collector->OnTimerExpired(4712, 0);
    EXPECT_EQ(m_timers.Running().size(), 3U);
    m_collector.reset();
    EXPECT_EQ(m_timers.Running().size(), 0U);
    EXPECT_THAT(Happened(), ElementsAre(Started(60, 2), Started(60, 2)));
}

// --- Initialize
// -----------------------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, InitializeWithoutState_RegistersSixZerosInOrder)
{
    m_collector->Initialize(9, nullptr);
    EXPECT_THAT(Happened(),
                ElementsAre(Added(9, 4567, "MINUTES_ON", 0), Added(9, 4568, "MINUTES_OFF", 0),
                            Added(9, 4569, "MINUTES_ON_TODAY", 0),
                            Added(9, 4570, "CURRENT_POWER", 0), Added(9, 4571, "ENERGY_USED", 0),
                            Added(9, 4572, "ENERGY_USED_TODAY", 0)));
}

TEST_F(EnergyInfoCollectorTest, InitializeWithState_RestoresAndRegistersTheValues)
{
    const std::string data = StateXml(1, 2, 3, 4, 5, 6, 7);
    m_collector->Initialize(7, nx::CreateXmlDocument(InState(data))->GetRoot());
    EXPECT_THAT(Happened(),
                ElementsAre(Added(7, 4567, "MINUTES_ON", 1), Added(7, 4568, "MINUTES_OFF", 3),
                            Added(7, 4569, "MINUTES_ON_TODAY", 2),
                            Added(7, 4570, "CURRENT_POWER", 0), Added(7, 4571, "ENERGY_USED", 4),
                            Added(7, 4572, "ENERGY_USED_TODAY", 5)));
    EXPECT_EQ(State(), data);
}

TEST_F(EnergyInfoCollectorTest, InitializeWithMissingChildren_ReadsThemAsZero)
{
    Start(InState(StateXml(1, 2, 3, 4, 5, 6, 7)));
    Start("<State><ENERGY_DATA><ENERGY_USED>12</ENERGY_USED></ENERGY_DATA></State>");
    EXPECT_EQ(State(), StateXml(0, 0, 0, 12, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, InitializeWithUnreadableChildren_ReadsTheLeadingNumber)
{
    Start("<State><ENERGY_DATA><MINUTES_ON>x</MINUTES_ON><MINUTES_OFF> 12 apples</MINUTES_OFF>"
          "<ENERGY_USED>-3</ENERGY_USED></ENERGY_DATA></State>");
    EXPECT_EQ(State(), StateXml(0, 0, 12, -3, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, InitializeWithoutEnergyData_LeavesTheValues)
{
    m_collector->increaseEnergyUsed(4);
    m_record.Take();
    Start("<State><OTHER/></State>");
    EXPECT_EQ(m_collector->GetEnergyUsed(), 4);
}

TEST_F(EnergyInfoCollectorTest, RefusedRegistration_AssertsAndGoesOn)
{
    m_vars.RefuseAll();
    m_collector->Initialize(7, nullptr);
    const Lines lines = Happened();
    ASSERT_EQ(lines.size(), 12U);
    for (std::size_t i = 0; i < lines.size(); i += 2)
    {
        EXPECT_THAT(lines[i], testing::StartsWith("device 7 adds "));
        EXPECT_EQ(lines[i + 1], Asserted(SOURCE, 202));
    }
}

TEST_F(EnergyInfoCollectorTest, NoVariableManager_AssertsAtRegistrationOnly)
{
    EnergyInfoCollector collector(nullptr, m_timers);
    m_record.Take();
    collector.RegisterEnergyVar(1, "X", 2);
    collector.updateEnergyVar(1, 3);
    EXPECT_THAT(Happened(), ElementsAre(Asserted(SOURCE, 202)));
}

TEST_F(EnergyInfoCollectorTest, RegisterAndUpdate_WriteDecimalText)
{
    Start();
    m_collector->RegisterEnergyVar(1, "X", INT_MINIMUM);
    m_collector->updateEnergyVar(1, -5);
    EXPECT_THAT(Happened(), ElementsAre(Added(7, 1, "X", INT_MINIMUM), Set(1, -5)));
}

// --- The minute
// -----------------------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, MinuteOn_CountsOnAndToday)
{
    Start();
    m_owner.on = true;
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1)));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 2), Set(4569, 2)));
    EXPECT_EQ(State(), StateXml(2, 2, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, MinuteOff_CountsOffOnly)
{
    Start();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1)));
    EXPECT_EQ(State(), StateXml(0, 0, 1, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, MinuteOnWithFault_CountsOff)
{
    Start();
    m_owner.on = true;
    m_collector->SetFault(-1);
    EXPECT_EQ(m_collector->GetFault(), -1);
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1)));
    m_collector->SetFault(0);
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1)));
}

TEST_F(EnergyInfoCollectorTest, MinuteNotReady_CountsNothingAndRearms)
{
    Start();
    m_owner.ready = false;
    m_owner.on = true;
    EXPECT_THAT(MinutePasses(), IsEmpty());
    m_owner.ready = true;
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1)));
}

TEST_F(EnergyInfoCollectorTest, MinuteWithoutOwner_CountsNothingAndRearms)
{
    Start();
    m_collector->setOwner(nullptr);
    EXPECT_THAT(MinutePasses(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, MinuteBeforeInitialize_SetsVariablesOfDeviceZero)
{
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1, 0)));
}

TEST_F(EnergyInfoCollectorTest, ForeignTimer_RearmsAndTakesTheCountFromTheOldOne)
{
    Start();
    const ID::Timer first = m_timers.Last();
    m_collector->OnTimerExpired(first + 100, 0);
    m_collector->OnTimerExpired(first, 0);
    EXPECT_THAT(Happened(), ElementsAre(Started(60, 2), Started(60, 2)));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1)));
}

TEST_F(EnergyInfoCollectorTest, TimerZero_IsForeignToo)
{
    Start();
    m_collector->OnTimerExpired(0, 0);
    EXPECT_THAT(Happened(), ElementsAre(Started(60, 2)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, FiredTimerAgain_CountsNothing)
{
    Start();
    const ID::Timer fired = m_timers.Last();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1)));
    m_collector->OnTimerExpired(fired, 0);
    EXPECT_THAT(Happened(), ElementsAre(Started(60, 2)));
}

TEST_F(EnergyInfoCollectorTest, OwnerThatThrows_CostsNoLaterMinute)
{
    Start();
    m_owner.on = true;
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(60);
    Happened();
    for (const char* operation : {"IsEnergyReady", "IsLoadOn", "EnergyValueToUI"})
    {
        m_owner.throwsIn = operation;
        m_host->PassSeconds(60);
        EXPECT_THROW(m_collector->OnTimerExpired(m_timers.Last(), 0), std::runtime_error);
        EXPECT_THAT(Happened(), testing::Contains(Started(60, 2))) << operation;
        m_owner.throwsIn.clear();
        const int before = m_collector->GetMinutesOn();
        MinutePasses();
        EXPECT_EQ(m_collector->GetMinutesOn(), before + 1) << operation;
    }
}

TEST_F(EnergyInfoCollectorTest, MinutesAtTheLargestNumber_Stay)
{
    Start(InState(StateXml(INT_MAXIMUM, INT_MAXIMUM - 1, INT_MAXIMUM, 0, 0, 0, 0)));
    m_owner.on = true;
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, INT_MAXIMUM), Set(4569, INT_MAXIMUM)));
    m_owner.on = false;
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, INT_MAXIMUM)));
}

// --- The second of the minute
// ---------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, OffsetZero_WaitsForTheNextMinute)
{
    for (int second = 0; second < 60; ++second)
    {
        m_collector->OnTimerExpired(0, 0);
        EXPECT_THAT(Happened(), ElementsAre(Started(60 - second, 2))) << "at second " << second;
        m_host->PassSeconds(1);
    }
}

TEST_F(EnergyInfoCollectorTest, OffsetSixty_IsTheSameAsZero)
{
    Make(embedded_host::Draw::High);
    for (int second = 0; second < 60; ++second)
    {
        m_collector->OnTimerExpired(0, 0);
        EXPECT_THAT(Happened(), ElementsAre(Started(60 - second, 2))) << "at second " << second;
        m_host->PassSeconds(1);
    }
}

TEST_F(EnergyInfoCollectorTest, RandomOffset_AlwaysFiresAtItsOwnSecond)
{
    std::set<int> offsets;
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
    {
        Make(embedded_host::Draw::Random, seed);
        m_collector->OnTimerExpired(0, 0);
        const Lines first = Happened();
        int offset = 0;
        while (offset < 60 && first != Lines{Started(offset, 2)})
            ++offset;
        offsets.insert(offset);
        m_host->PassSeconds(offset - 1);
        m_collector->OnTimerExpired(0, 0);
        m_host->PassSeconds(1);
        m_collector->OnTimerExpired(0, 0);
        EXPECT_THAT(Happened(), ElementsAre(Started(1, 2), Started(60, 2)));
    }
    EXPECT_GT(offsets.size(), 10U);
}

// --- The change of day
// ----------------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, FirstTimerAfterMidnight_ZeroesTodayBeforeCounting)
{
    Start(InState(StateXml(10, 9, 8, 7, 6, 55, 44)));
    m_owner.on = true;
    m_host->PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TimerFires(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4567, 11), Set(4569, 1)));
    EXPECT_EQ(State(), StateXml(11, 1, 8, 7, 0, 55, 44));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 12), Set(4569, 2)));
}

TEST_F(EnergyInfoCollectorTest, LastSecondOfTheDay_IsStillToday)
{
    Start(InState(StateXml(10, 9, 8, 7, 6, 0, 0)));
    m_host->PassSeconds(energy_test::DAY_S - 60);
    EXPECT_THAT(TimerFires(), ElementsAre(Set(4568, 9)));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4568, 10)));
}

TEST_F(EnergyInfoCollectorTest, MidnightWhileNotReady_IsCaughtUpWhenReady)
{
    Start(InState(StateXml(10, 9, 8, 7, 6, 0, 0)));
    m_owner.ready = false;
    m_host->PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TimerFires(), IsEmpty());
    m_owner.ready = true;
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4568, 9)));
}

TEST_F(EnergyInfoCollectorTest, ClockSetBackADay_IsAChangeOfDay)
{
    Start(InState(StateXml(10, 9, 8, 7, 6, 0, 0)));
    m_host->PassSeconds(-energy_test::DAY_S);
    EXPECT_THAT(TimerFires(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4568, 9)));
}

TEST_F(EnergyInfoCollectorTest, SameDayOfAnotherMonth_IsAChangeOfDay)
{
    Start(InState(StateXml(10, 9, 8, 7, 6, 0, 0)));
    m_host->PassSeconds(31 * energy_test::DAY_S);
    EXPECT_THAT(TimerFires(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4568, 9)));
}

TEST_F(EnergyInfoCollectorTest, TodaysFraction_IsKeptOverMidnight)
{
    Start();
    m_collector->increaseEnergyUsed(0.75F);
    m_host->PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TimerFires(), ElementsAre(Set(4569, 0), Set(4572, 0), Set(4568, 1)));
    m_collector->increaseEnergyUsed(0.25F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 1), Set(4572, 1), Ui("ENERGY_USED", 1),
                                        Ui("ENERGY_USED_TODAY", 1)));
}

// --- Energy from power
// ----------------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, AutoUpdateOf90Watts_PublishesThreeAfterTwoMinutes)
{
    Start();
    m_owner.on = true;
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(90);
    m_record.Take();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1), Set(4571, 1), Set(4572, 1),
                                            Ui("ENERGY_USED", 1), Ui("ENERGY_USED_TODAY", 1)));
    EXPECT_EQ(State(), StateXml(1, 1, 0, 1, 1, 50, 50));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 2), Set(4569, 2), Set(4571, 3), Set(4572, 3),
                                            Ui("ENERGY_USED", 3), Ui("ENERGY_USED_TODAY", 3)));
    EXPECT_EQ(State(), StateXml(2, 2, 0, 3, 3, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, AutoUpdateOf30Watts_PublishesEverySecondMinute)
{
    Start();
    m_owner.on = true;
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(30);
    m_record.Take();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1)));
    EXPECT_EQ(State(), StateXml(1, 1, 0, 0, 0, 50, 50));
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 2), Set(4569, 2), Set(4571, 1), Set(4572, 1),
                                            Ui("ENERGY_USED", 1), Ui("ENERGY_USED_TODAY", 1)));
}

TEST_F(EnergyInfoCollectorTest, AutoUpdateWhileOffFaultedOrNotReady_AddsNothing)
{
    Start();
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(6000);
    m_record.Take();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 1)));
    m_owner.on = true;
    m_collector->SetFault(3);
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4568, 2)));
    m_owner.ready = false;
    EXPECT_THAT(MinutePasses(), IsEmpty());
}

TEST_F(EnergyInfoCollectorTest, NoAutoUpdate_AddsNothing)
{
    Start();
    m_owner.on = true;
    m_collector->newCurrentPower(6000);
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->SetAutoUpdateEnergy(false);
    m_record.Take();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1)));
}

TEST_F(EnergyInfoCollectorTest, AutoUpdateOfNegativePower_IsRefusedEachMinute)
{
    Start();
    m_owner.on = true;
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(-100);
    m_record.Take();
    EXPECT_THAT(MinutePasses(), ElementsAre(Set(4567, 1), Set(4569, 1),
                                            Logged("ERROR", SOURCE, REFUSED + "-1.66667")));
}

TEST_F(EnergyInfoCollectorTest, AutoUpdateAcrossMidnight_CountsForTheNewDay)
{
    Start(InState(StateXml(0, 0, 0, 7, 6, 0, 0)));
    m_owner.on = true;
    m_collector->SetAutoUpdateEnergy(true);
    m_collector->newCurrentPower(60);
    m_record.Take();
    m_host->PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TimerFires(),
                ElementsAre(Set(4569, 0), Set(4572, 0), Set(4567, 1), Set(4569, 1), Set(4571, 8),
                            Set(4572, 1), Ui("ENERGY_USED", 8), Ui("ENERGY_USED_TODAY", 1)));
}

// --- Energy, whole watt-hours
// ---------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, IncreaseByWattHours_PublishesBothTotals)
{
    Start();
    m_collector->increaseEnergyUsed(1);
    m_collector->increaseEnergyUsed(41);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 1), Set(4572, 1), Ui("ENERGY_USED", 1),
                                        Ui("ENERGY_USED_TODAY", 1), Set(4571, 42), Set(4572, 42),
                                        Ui("ENERGY_USED", 42), Ui("ENERGY_USED_TODAY", 42)));
}

TEST_F(EnergyInfoCollectorTest, IncreaseByZero_DoesNothing)
{
    Start();
    m_collector->increaseEnergyUsed(0);
    m_collector->increaseEnergyUsed(0.0F);
    m_collector->increaseEnergyUsed(-0.0F);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(EnergyInfoCollectorTest, IncreaseByNegativeWattHours_IsRefused)
{
    Start();
    m_collector->increaseEnergyUsed(-1);
    m_collector->increaseEnergyUsed(INT_MINIMUM);
    EXPECT_THAT(Happened(), ElementsAre(Logged("ERROR", SOURCE, REFUSED + "-1"),
                                        Logged("ERROR", SOURCE, REFUSED + "-2147483648")));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, RefusalWithTheLogSwitchedOff_IsARefusalStill)
{
    Start();
    const test_support::LogSwitchedOff off;
    m_collector->increaseEnergyUsed(-3);
    m_collector->increaseEnergyUsed(-0.5F);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, TotalsAtTheLargestNumber_Stay)
{
    Start(InState(StateXml(0, 0, 0, INT_MAXIMUM - 1, 5, 99, 0)));
    m_collector->increaseEnergyUsed(INT_MAXIMUM);
    m_collector->increaseEnergyUsed(0.5F);
    const int today = INT_MAXIMUM;
    EXPECT_THAT(Happened(),
                ElementsAre(Set(4571, INT_MAXIMUM), Set(4572, today),
                            Ui("ENERGY_USED", INT_MAXIMUM), Ui("ENERGY_USED_TODAY", today),
                            Set(4571, INT_MAXIMUM), Set(4572, today),
                            Ui("ENERGY_USED", INT_MAXIMUM), Ui("ENERGY_USED_TODAY", today)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, INT_MAXIMUM, INT_MAXIMUM, 49, 50));
}

TEST_F(EnergyInfoCollectorTest, IncreaseWithoutOwner_SetsTheVariables)
{
    Start();
    m_collector->setOwner(nullptr);
    m_collector->increaseEnergyUsed(3);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 3), Set(4572, 3)));
}

// --- Energy, fractions
// ----------------------------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, FractionBelowAHundredth_IsRoundedAway)
{
    Start();
    m_collector->increaseEnergyUsed(0.0049F);
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
    m_collector->increaseEnergyUsed(0.0051F);
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 1, 1));
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(EnergyInfoCollectorTest, FractionOfNinetyNine_Waits)
{
    Start();
    m_collector->increaseEnergyUsed(0.99F);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 99, 99));
    m_collector->increaseEnergyUsed(0.01F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 1), Set(4572, 1), Ui("ENERGY_USED", 1),
                                        Ui("ENERGY_USED_TODAY", 1)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 1, 1, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, FractionRoundedToAWhole_CarriesAtOnce)
{
    Start();
    m_collector->increaseEnergyUsed(0.999F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 1), Set(4572, 1), Ui("ENERGY_USED", 1),
                                        Ui("ENERGY_USED_TODAY", 1)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 1, 1, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, WholePartWithCarry_PublishesTheSumOnce)
{
    Start(InState(StateXml(0, 0, 0, 10, 4, 60, 60)));
    m_collector->increaseEnergyUsed(2.5F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 13), Set(4572, 7), Ui("ENERGY_USED", 13),
                                        Ui("ENERGY_USED_TODAY", 7)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 13, 7, 10, 10));
}

TEST_F(EnergyInfoCollectorTest, OnlyTodayCarries_PublishesBoth)
{
    Start(InState(StateXml(0, 0, 0, 10, 4, 0, 60)));
    m_collector->increaseEnergyUsed(0.5F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 10), Set(4572, 5), Ui("ENERGY_USED", 10),
                                        Ui("ENERGY_USED_TODAY", 5)));
}

TEST_F(EnergyInfoCollectorTest, OnlyTheTotalCarries_PublishesBoth)
{
    Start(InState(StateXml(0, 0, 0, 10, 4, 60, 0)));
    m_collector->increaseEnergyUsed(0.5F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 11), Set(4572, 4), Ui("ENERGY_USED", 11),
                                        Ui("ENERGY_USED_TODAY", 4)));
}

TEST_F(EnergyInfoCollectorTest, RestoredFractionsOutOfRange_CarryOnceAnIncrement)
{
    Start(InState(StateXml(0, 0, 0, 0, 0, INT_MAXIMUM, -50)));
    m_collector->increaseEnergyUsed(0.5F);
    EXPECT_THAT(Happened(), ElementsAre(Set(4571, 1), Set(4572, 0), Ui("ENERGY_USED", 1),
                                        Ui("ENERGY_USED_TODAY", 0)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 1, 0, INT_MAXIMUM - 100, 0));
}

TEST_F(EnergyInfoCollectorTest, ZeroOntoFractionsOutOfRange_CarriesNothing)
{
    Start(InState(StateXml(0, 0, 0, 0, 0, 250, 250)));
    m_collector->increaseEnergyUsed(0.0F);
    m_collector->increaseEnergyUsed(-0.0F);
    m_collector->increaseEnergyUsed(0);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 250, 250));
}

TEST_F(EnergyInfoCollectorTest, NegativeFraction_IsRefusedWithSixDigits)
{
    Start();
    m_collector->increaseEnergyUsed(-0.5F);
    m_collector->increaseEnergyUsed(-1234567.0F);
    m_collector->increaseEnergyUsed(-0.00001F);
    EXPECT_THAT(Happened(), ElementsAre(Logged("ERROR", SOURCE, REFUSED + "-0.5"),
                                        Logged("ERROR", SOURCE, REFUSED + "-1.23457e+06"),
                                        Logged("ERROR", SOURCE, REFUSED + "-1e-05")));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, WhatNoMeterReads_IsRefused)
{
    Start();
    m_collector->increaseEnergyUsed(std::numeric_limits<float>::quiet_NaN());
    m_collector->increaseEnergyUsed(std::numeric_limits<float>::infinity());
    m_collector->increaseEnergyUsed(-std::numeric_limits<float>::infinity());
    m_collector->increaseEnergyUsed(2147483648.0F);
    EXPECT_THAT(Happened(), ElementsAre(Logged("ERROR", SOURCE, REFUSED + "nan"),
                                        Logged("ERROR", SOURCE, REFUSED + "inf"),
                                        Logged("ERROR", SOURCE, REFUSED + "-inf"),
                                        Logged("ERROR", SOURCE, REFUSED + "2.14748e+09")));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, LargestFloatThatFits_IsTaken)
{
    Start();
    m_collector->increaseEnergyUsed(2147483520.0F);
    EXPECT_EQ(m_collector->GetEnergyUsed(), 2147483520);
    EXPECT_EQ(Happened().size(), 4U);
}

TEST_F(EnergyInfoCollectorTest, SmallestFloat_IsTakenAndRoundedAway)
{
    Start();
    m_collector->increaseEnergyUsed(std::numeric_limits<float>::denorm_min());
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

// --- Power, the user interface, reset, state
// ------------------------------------------------------

TEST_F(EnergyInfoCollectorTest, NewPower_IsPublished)
{
    Start();
    m_collector->newCurrentPower(90);
    EXPECT_THAT(Happened(), ElementsAre(Set(4570, 90), Ui("CURRENT_POWER", 90)));
    EXPECT_EQ(m_collector->GetCurrentPower(), 90);
}

TEST_F(EnergyInfoCollectorTest, SamePowerAgain_OnlyTellsTheOwner)
{
    Start();
    m_collector->newCurrentPower(0);
    m_collector->newCurrentPower(-4);
    m_collector->newCurrentPower(-4);
    EXPECT_THAT(Happened(), ElementsAre(Ui("CURRENT_POWER", 0), Set(4570, -4),
                                        Ui("CURRENT_POWER", -4), Ui("CURRENT_POWER", -4)));
}

TEST_F(EnergyInfoCollectorTest, AllValuesToUi_TellsSixInOrder)
{
    Start(InState(StateXml(1, 2, 3, 4, 5, 6, 7)));
    m_collector->newCurrentPower(8);
    m_record.Take();
    m_collector->allEnergyValuesToUI();
    EXPECT_THAT(Happened(), ElementsAre(Ui("MINUTES_ON", 1), Ui("MINUTES_ON_TODAY", 2),
                                        Ui("MINUTES_OFF", 3), Ui("CURRENT_POWER", 8),
                                        Ui("ENERGY_USED", 4), Ui("ENERGY_USED_TODAY", 5)));
}

TEST_F(EnergyInfoCollectorTest, Reset_ZeroesAllButPowerAndSetsNoVariable)
{
    Start(InState(StateXml(1, 2, 3, 4, 5, 6, 7)));
    m_collector->newCurrentPower(8);
    m_record.Take();
    m_collector->resetEnergyUsed();
    EXPECT_THAT(Happened(), ElementsAre(Ui("MINUTES_ON", 0), Ui("MINUTES_ON_TODAY", 0),
                                        Ui("MINUTES_OFF", 0), Ui("CURRENT_POWER", 8),
                                        Ui("ENERGY_USED", 0), Ui("ENERGY_USED_TODAY", 0)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, ResetWithoutOwner_ZeroesSilently)
{
    Start(InState(StateXml(1, 2, 3, 4, 5, 6, 7)));
    m_collector->setOwner(nullptr);
    m_collector->resetEnergyUsed();
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(EnergyInfoCollectorTest, StateForUi_IsThePersistedState)
{
    Start(InState(StateXml(1, 2, 3, 4, 5, 6, 7)));
    EXPECT_EQ(m_collector->GetPersistStateForUI()->ToText(), StateXml(1, 2, 3, 4, 5, 6, 7));
}
