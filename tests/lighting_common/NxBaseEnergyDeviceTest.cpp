#include "lighting_common/NxBaseEnergyDevice.h"

#include "nxshared/XmlDocument.h"
#include "tests/lighting_common/EnergyDoubles.h"
#include "tests/lighting_common/EnergyHost.h"

#include <limits>
#include <memory>
#include <stdexcept>

using energy_test::Added;
using energy_test::Asserted;
using energy_test::Lines;
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
constexpr int INT_MAXIMUM = std::numeric_limits<int>::max();
constexpr int INT_MINIMUM = std::numeric_limits<int>::min();

class RecordingDevice : public NxBaseEnergyDevice
{
public:
    RecordingDevice(Record& record, nx::IVariableManager* vars, ITimerManager& timers)
        : NxBaseEnergyDevice(vars, timers), m_record(record)
    {
    }

    bool IsLoadOn() override { return on; }
    bool IsEnergyReady() override { return ready; }
    void EnergyValueToUI(const std::string& name, int value) override
    {
        if (name == throwsAt)
            throw std::runtime_error(name);
        m_record.Note(Ui(name, value));
    }

    bool on = false;
    bool ready = true;
    // The value that throws, if any.
    std::string throwsAt;

private:
    Record& m_record;
};

// A device with id 7, made at midnight.
class NxBaseEnergyDeviceTest : public testing::Test
{
protected:
    NxBaseEnergyDeviceTest() { EXPECT_THAT(Happened(), ElementsAre(Started(10000, 17))); }

    void Start(const std::string& stateXml = "<State/>")
    {
        m_device->Initialize(7, nx::CreateXmlDocument(stateXml)->GetRoot());
        m_record.Take();
    }

    Lines Happened() { return m_record.Take(); }

    // So many ticks of the device's timer, ten seconds each, and what they caused.
    Lines Ticks(int count)
    {
        for (int i = 0; i < count; ++i)
        {
            m_host.PassSeconds(10);
            m_device->OnTimerExpired(m_timers.Last(), 0);
        }
        return Happened();
    }
    Lines TicksOn(int count)
    {
        m_device->on = true;
        return Ticks(count);
    }
    Lines TicksOff(int count)
    {
        m_device->on = false;
        return Ticks(count);
    }

    std::string State() { return m_device->GetPersistState()->ToText(); }

    Record m_record;
    energy_test::TestHost m_host{m_record, embedded_host::Draw::Random};
    RecordingVariables m_vars{m_record};
    RecordingTimers m_timers{m_record};
    std::unique_ptr<RecordingDevice> m_device =
        std::make_unique<RecordingDevice>(m_record, &m_vars, m_timers);
};

std::string StateXml(int on, int onToday, int off, int used, int today)
{
    const auto child = [](const std::string& name, int value)
    {
        return "<" + name + ">" + std::to_string(value) + "</" + name + ">";
    };
    return "<ENERGY_DATA>" + child("MINUTES_ON", on) + child("MINUTES_ON_TODAY", onToday) +
           child("MINUTES_OFF", off) + child("ENERGY_USED", used) +
           child("ENERGY_USED_TODAY", today) + "</ENERGY_DATA>";
}
std::string InState(const std::string& data)
{
    return "<State>" + data + "</State>";
}
} // namespace

TEST(NxBaseEnergyDeviceConstants, AreTheDeclaredOnes)
{
    EXPECT_EQ(NxBaseEnergyDevice::TIMER_INTERVAL, 10000);
    EXPECT_EQ(NxBaseEnergyDevice::TIMER_TICKS_PER_MINUTE, 6);
    EXPECT_EQ(NxBaseEnergyDevice::ENERGY_NODE_DATA, "ENERGY_DATA");
}

TEST_F(NxBaseEnergyDeviceTest, Construction_ZeroesEverything)
{
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0));
    EXPECT_EQ(m_device->GetCurrentPower(), 0);
    EXPECT_EQ(m_device->GetFault(), 0);
}

TEST_F(NxBaseEnergyDeviceTest, Destruction_StopsTheTick)
{
    EXPECT_EQ(m_timers.Running().size(), 1U);
    m_device.reset();
    EXPECT_EQ(m_timers.Running().size(), 0U);
}

// --- Initialize
// -----------------------------------------------------------------------------------

TEST_F(NxBaseEnergyDeviceTest, InitializeWithState_RestoresAndRegistersInOrder)
{
    m_device->Initialize(9, nx::CreateXmlDocument(InState(StateXml(1, 2, 3, 4, 5)))->GetRoot());
    EXPECT_THAT(Happened(),
                ElementsAre(Added(9, 10000, "MINUTES_ON", 1), Added(9, 10001, "MINUTES_OFF", 3),
                            Added(9, 10002, "MINUTES_ON_TODAY", 2),
                            Added(9, 10003, "CURRENT_POWER", 0), Added(9, 10004, "ENERGY_USED", 4),
                            Added(9, 10005, "ENERGY_USED_TODAY", 5)));
    EXPECT_EQ(State(), StateXml(1, 2, 3, 4, 5));
}

TEST_F(NxBaseEnergyDeviceTest, InitializeWithoutState_RegistersZeros)
{
    m_device->Initialize(9, nullptr);
    EXPECT_EQ(Happened().size(), 6U);
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, InitializeWithOddNumbers_ReadsThemInBaseTen)
{
    Start("<State><ENERGY_DATA><MINUTES_ON>010</MINUTES_ON><MINUTES_OFF>0x10</MINUTES_OFF>"
          "<ENERGY_USED> -12Wh</ENERGY_USED><ENERGY_USED_TODAY>x</ENERGY_USED_TODAY>"
          "</ENERGY_DATA></State>");
    EXPECT_EQ(State(), StateXml(10, 0, 0, -12, 0));
}

TEST_F(NxBaseEnergyDeviceTest, InitializeWithTooLargeNumbers_CutsThemTo32Bits)
{
    Start("<State><ENERGY_DATA><MINUTES_ON>4294967297</MINUTES_ON>"
          "<MINUTES_OFF>99999999999999999999</MINUTES_OFF></ENERGY_DATA></State>");
    EXPECT_EQ(State(), StateXml(1, 0, -1, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, RefusedRegistration_AssertsAndGoesOn)
{
    m_vars.RefuseAll();
    m_device->Initialize(7, nullptr);
    const Lines lines = Happened();
    ASSERT_EQ(lines.size(), 12U);
    for (std::size_t i = 0; i < lines.size(); i += 2)
    {
        EXPECT_THAT(lines[i], testing::StartsWith("device 7 adds "));
        EXPECT_EQ(lines[i + 1], Asserted("lighting_common/NxBaseEnergyDevice", 144));
    }
}

TEST_F(NxBaseEnergyDeviceTest, NoVariableManager_AssertsAtRegistrationOnly)
{
    RecordingDevice device(m_record, nullptr, m_timers);
    m_record.Take();
    device.RegisterEnergyVar(1, "X", 2);
    device.updateEnergyVar(1, 3);
    EXPECT_THAT(Happened(), ElementsAre(Asserted("lighting_common/NxBaseEnergyDevice", 144)));
}

// --- Ticks
// ----------------------------------------------------------------------------------------

TEST_F(NxBaseEnergyDeviceTest, SixTicksOn_AreAMinute)
{
    Start();
    EXPECT_THAT(TicksOn(5), IsEmpty());
    EXPECT_THAT(TicksOn(1), ElementsAre(Set(10000, 1), Ui("MINUTES_ON", 1), Set(10002, 1),
                                        Ui("MINUTES_ON_TODAY", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, TwelveTicksOn_AreTwoMinutes)
{
    Start();
    EXPECT_EQ(TicksOn(12).size(), 8U);
    EXPECT_EQ(State(), StateXml(2, 2, 0, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, UserInterfaceThatThrows_CostsTodayNoTick)
{
    Start();
    TicksOn(5);
    m_device->throwsAt = "MINUTES_ON";
    EXPECT_THROW(TicksOn(1), std::runtime_error);
    m_device->throwsAt.clear();
    EXPECT_EQ(m_device->GetMinutesOn(), 1);
    EXPECT_EQ(m_device->GetMinutesOnToday(), 1);
    TicksOn(6);
    EXPECT_EQ(m_device->GetMinutesOnToday(), 2);
    Happened();
}

TEST_F(NxBaseEnergyDeviceTest, SixTicksOff_AreAMinuteOff)
{
    Start();
    EXPECT_THAT(TicksOff(5), IsEmpty());
    EXPECT_THAT(TicksOff(1), ElementsAre(Set(10001, 1), Ui("MINUTES_OFF", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, TicksLeftPartWay_StayInTheirCounter)
{
    Start();
    EXPECT_THAT(TicksOn(5), IsEmpty());
    EXPECT_THAT(TicksOff(6), ElementsAre(Set(10001, 1), Ui("MINUTES_OFF", 1)));
    EXPECT_EQ(State(), StateXml(0, 0, 1, 0, 0));
    EXPECT_EQ(TicksOn(1).size(), 4U);
    EXPECT_EQ(State(), StateXml(1, 1, 1, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, TicksOnWithFault_CountOff)
{
    Start();
    m_device->SetFault(5);
    EXPECT_EQ(m_device->GetFault(), 5);
    EXPECT_THAT(TicksOn(6), ElementsAre(Set(10001, 1), Ui("MINUTES_OFF", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, TicksNotReady_CountNothing)
{
    Start();
    m_device->ready = false;
    EXPECT_THAT(TicksOn(20), IsEmpty());
    m_device->ready = true;
    EXPECT_THAT(TicksOn(5), IsEmpty());
    EXPECT_EQ(TicksOn(1).size(), 4U);
}

TEST_F(NxBaseEnergyDeviceTest, ForeignTimer_DoesNothingAtAll)
{
    Start();
    for (int i = 0; i < 12; ++i)
        m_device->OnTimerExpired(m_timers.Last() + 1, 0);
    m_device->OnTimerExpired(0, 0);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, MinutesAtTheLargestNumber_Stay)
{
    Start(InState(StateXml(INT_MAXIMUM, INT_MAXIMUM, INT_MAXIMUM, 0, 0)));
    EXPECT_THAT(TicksOn(6),
                ElementsAre(Set(10000, INT_MAXIMUM), Ui("MINUTES_ON", INT_MAXIMUM),
                            Set(10002, INT_MAXIMUM), Ui("MINUTES_ON_TODAY", INT_MAXIMUM)));
    EXPECT_THAT(TicksOff(6), ElementsAre(Set(10001, INT_MAXIMUM), Ui("MINUTES_OFF", INT_MAXIMUM)));
}

// --- The change of day
// ----------------------------------------------------------------------------

TEST_F(NxBaseEnergyDeviceTest, FirstTickOfTheDay_ZeroesTodayBeforeCounting)
{
    Start(InState(StateXml(10, 9, 8, 7, 6)));
    EXPECT_THAT(TicksOn(5), IsEmpty());
    m_host.PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TicksOn(1),
                ElementsAre(Set(10002, 0), Set(10005, 0), Ui("MINUTES_ON_TODAY", 0),
                            Ui("ENERGY_USED_TODAY", 0), Set(10000, 11), Ui("MINUTES_ON", 11)));
    EXPECT_EQ(State(), StateXml(11, 0, 8, 7, 0));
    EXPECT_THAT(TicksOn(5), ElementsAre(Set(10002, 1), Ui("MINUTES_ON_TODAY", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, OffTicksOverMidnight_Stay)
{
    Start();
    EXPECT_THAT(TicksOff(5), IsEmpty());
    m_host.PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TicksOff(1),
                ElementsAre(Set(10002, 0), Set(10005, 0), Ui("MINUTES_ON_TODAY", 0),
                            Ui("ENERGY_USED_TODAY", 0), Set(10001, 1), Ui("MINUTES_OFF", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, MidnightWhileNotReady_IsCaughtUpWhenReady)
{
    Start(InState(StateXml(10, 9, 8, 7, 6)));
    m_device->ready = false;
    m_host.PassSeconds(energy_test::DAY_S);
    EXPECT_THAT(TicksOff(1), IsEmpty());
    m_device->ready = true;
    EXPECT_EQ(TicksOff(1).size(), 4U);
    EXPECT_EQ(State(), StateXml(10, 0, 8, 7, 0));
}

// --- Energy, power, the user interface, reset
// -----------------------------------------------------

TEST_F(NxBaseEnergyDeviceTest, Increase_PublishesBothTotals)
{
    Start();
    m_device->increaseEnergyUsed(12);
    EXPECT_THAT(Happened(), ElementsAre(Set(10004, 12), Set(10005, 12), Ui("ENERGY_USED", 12),
                                        Ui("ENERGY_USED_TODAY", 12)));
}

TEST_F(NxBaseEnergyDeviceTest, IncreaseByMinusThree_LowersBothTotals)
{
    Start(InState(StateXml(0, 0, 0, 10, 2)));
    m_device->increaseEnergyUsed(-3);
    EXPECT_THAT(Happened(), ElementsAre(Set(10004, 7), Set(10005, -1), Ui("ENERGY_USED", 7),
                                        Ui("ENERGY_USED_TODAY", -1)));
}

TEST_F(NxBaseEnergyDeviceTest, IncreaseByZero_PublishesTheSameTotals)
{
    Start(InState(StateXml(0, 0, 0, 10, 2)));
    m_device->increaseEnergyUsed(0);
    EXPECT_THAT(Happened(), ElementsAre(Set(10004, 10), Set(10005, 2), Ui("ENERGY_USED", 10),
                                        Ui("ENERGY_USED_TODAY", 2)));
}

TEST_F(NxBaseEnergyDeviceTest, TotalsAtTheEndsOfTheirRange_Stay)
{
    Start(InState(StateXml(0, 0, 0, INT_MAXIMUM, INT_MINIMUM)));
    m_device->increaseEnergyUsed(1);
    m_device->increaseEnergyUsed(-2);
    EXPECT_EQ(State(), StateXml(0, 0, 0, INT_MAXIMUM - 2, INT_MINIMUM));
    EXPECT_EQ(Happened().size(), 8U);
}

TEST_F(NxBaseEnergyDeviceTest, SamePowerTwice_IsReportedOnce)
{
    Start();
    m_device->newPowerReading(0);
    m_device->newPowerReading(55);
    m_device->newPowerReading(55);
    m_device->newPowerReading(-1);
    EXPECT_THAT(Happened(), ElementsAre(Set(10003, 55), Ui("CURRENT_POWER", 55), Set(10003, -1),
                                        Ui("CURRENT_POWER", -1)));
    EXPECT_EQ(m_device->GetCurrentPower(), -1);
}

TEST_F(NxBaseEnergyDeviceTest, PowerWhileOn_MakesNoEnergy)
{
    Start();
    m_device->newPowerReading(6000);
    m_record.Take();
    EXPECT_EQ(TicksOn(12).size(), 8U);
    EXPECT_EQ(State(), StateXml(2, 2, 0, 0, 0));
}

TEST_F(NxBaseEnergyDeviceTest, AllValuesToUi_TellsSixInOrder)
{
    Start(InState(StateXml(1, 2, 3, 4, 5)));
    m_device->newPowerReading(8);
    m_record.Take();
    m_device->allEnergyValuesToUI();
    EXPECT_THAT(Happened(), ElementsAre(Ui("MINUTES_ON", 1), Ui("MINUTES_ON_TODAY", 2),
                                        Ui("MINUTES_OFF", 3), Ui("CURRENT_POWER", 8),
                                        Ui("ENERGY_USED", 4), Ui("ENERGY_USED_TODAY", 5)));
}

TEST_F(NxBaseEnergyDeviceTest, Reset_LeavesPowerAndWaitingTicks)
{
    Start(InState(StateXml(1, 2, 3, 4, 5)));
    m_device->newPowerReading(8);
    TicksOn(5);
    m_device->resetEnergyUsed();
    EXPECT_THAT(Happened(), ElementsAre(Ui("MINUTES_ON", 0), Ui("MINUTES_ON_TODAY", 0),
                                        Ui("MINUTES_OFF", 0), Ui("CURRENT_POWER", 8),
                                        Ui("ENERGY_USED", 0), Ui("ENERGY_USED_TODAY", 0)));
    EXPECT_EQ(State(), StateXml(0, 0, 0, 0, 0));
    EXPECT_THAT(TicksOn(1), ElementsAre(Set(10000, 1), Ui("MINUTES_ON", 1), Set(10002, 1),
                                        Ui("MINUTES_ON_TODAY", 1)));
}

TEST_F(NxBaseEnergyDeviceTest, StateForUi_IsThePersistedState)
{
    Start(InState(StateXml(1, 2, 3, 4, 5)));
    EXPECT_EQ(m_device->GetPersistStateForUI()->ToText(), StateXml(1, 2, 3, 4, 5));
}
