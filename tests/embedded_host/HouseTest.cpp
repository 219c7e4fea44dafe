#include "embedded_host/House.h"

#include "HostDoubles.h"
#include "nxshared/Crypto.h"

#include <chrono>
#include <limits>
#include <optional>

#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

namespace
{
using namespace embedded_host;
using namespace std::chrono_literals;
using host_test::Command;
using host_test::Strings;
using host_test::TestDriver;

class HouseOfDriversTest : public host_test::HouseTest
{
protected:
    // A driver that says which commands of a group reach it, with their parameters.
    TestDriver& Load(const std::string& name, unsigned id)
    {
        TestDriver& driver = Made(name, id);
        for (const char* command :
             {"GROUP_RAMP_TO_LEVEL", "GROUP_SET_LEVEL", "GROUP_START_RAMP", "GROUP_STOP_RAMP"})
            driver.OnCommand(command, [&driver](const ICmdMessage& message, ICmdReturn*)
                             { driver.Say(InWords(message)); });
        return driver;
    }

    static std::string InWords(const ICmdMessage& message)
    {
        std::string text = message.GetName();
        for (const MessageParam& param : ParamsOf(message))
            text += " " + param.name + "=" + param.value;
        return text;
    }

    // What a forward by the first of two loads makes of a command.
    Strings Forwarded(const CmdMessage& command)
    {
        TestDriver& sofa = Load("sofa", 1);
        Load("ceiling", 2);
        house.AddGroup(2, {"ceiling", "sofa"});
        sofa.ForwardToGroup(2, command);
        return Seen();
    }
};

// --- Drivers ------------------------------------------------------------------------------------

TEST_F(HouseOfDriversTest, NamesAndIds_MustBeFree)
{
    Add("hall", 101);
    DriverConfig sameName;
    sameName.name = "hall";
    sameName.id = 5;
    DriverConfig sameId;
    sameId.name = "other";
    sameId.id = 101;
    EXPECT_EQ(nullptr, house.Add(sameName));
    EXPECT_EQ(nullptr, house.Add(sameId));
    EXPECT_EQ(1u, house.Drivers().size());
    EXPECT_EQ(nullptr, house.Find("other"));
    EXPECT_NE(nullptr, house.Find("hall"));
}

TEST_F(HouseOfDriversTest, TimerThatIsDueAtTheStart_WakesTheHouseAtOnce)
{
    TestDriver& driver = Made("hall", 101);
    EXPECT_EQ(std::nullopt, house.NextWake());
    driver.AddTimer(0, ITimerManager::UNIT_MILLISECONDS, 1);
    EXPECT_EQ(0ms, house.NextWake());
}

TEST_F(HouseOfDriversTest, Drivers_AreMadeAndDestroyedInOrder)
{
    for (const char* name : {"b", "a", "c"})
        Add(name, static_cast<unsigned>(name[0]),
            [](TestDriver& driver)
            {
                driver.Say("made");
                driver.onInitialize = [&driver](unsigned, boost::shared_ptr<nx::XmlNode>&,
                                                boost::shared_ptr<nx::XmlNode>)
                {
                    driver.Say("initialized");
                    return true;
                };
                driver.onDestroy = [&driver]
                {
                    driver.Say("destroyed");
                };
            });
    house.StartAll();
    EXPECT_EQ((Strings{"0 b made", "0 b initialized", "0 a made", "0 a initialized", "0 c made",
                       "0 c initialized"}),
              Seen());
    house.StopAll();
    EXPECT_EQ((Strings{"0 b destroyed", "0 a destroyed", "0 c destroyed"}), Seen());
}

TEST_F(HouseOfDriversTest, DriversThatAreLeft_AreDestroyedInOrderWithTheHouse)
{
    {
        House inner(clock, random, sink);
        for (const char* name : {"b", "a"})
        {
            DriverConfig config;
            config.name = name;
            config.id = static_cast<unsigned>(name[0]);
            config.create = [](IInstanceManager& instances)
            {
                auto* driver = new TestDriver(instances);
                driver->onDestroy = [driver]
                {
                    driver->Say("destroyed");
                };
                return driver;
            };
            inner.Add(std::move(config));
        }
        inner.StartAll();
    }
    EXPECT_EQ((Strings{"0 b destroyed", "0 a destroyed"}), Seen());
}

TEST_F(HouseOfDriversTest, StartAll_GivesEachItsState)
{
    DriverConfig config;
    config.name = "hall";
    config.state = host_test::Node("State", "5");
    config.create = [](IInstanceManager& instances)
    {
        auto* driver = new TestDriver(instances);
        driver->onInitialize = [driver](unsigned, boost::shared_ptr<nx::XmlNode>&,
                                        boost::shared_ptr<nx::XmlNode> state)
        {
            driver->Say(state->ToText());
            return true;
        };
        return driver;
    };
    house.Add(std::move(config));
    house.StartAll();
    EXPECT_EQ((Strings{"0 hall <State>5</State>"}), Seen());
}

TEST_F(HouseOfDriversTest, StateToStartFrom_IsReleasedWhenTheDriverHasIt)
{
    DriverConfig config;
    config.name = "hall";
    config.state = host_test::Node("State", "5");
    const boost::weak_ptr<nx::XmlNode> state = config.state;
    config.create = [](IInstanceManager& instances)
    {
        return new TestDriver(instances);
    };
    house.Add(std::move(config));
    EXPECT_FALSE(state.expired());
    house.StartAll();
    EXPECT_TRUE(state.expired());
}

// --- Time ---------------------------------------------------------------------------------------

class Device : public ITimerManagerCallback
{
public:
    explicit Device(std::function<void(ID::Timer, time_t)> action) : m_action(std::move(action)) {}
    void OnTimerExpired(ID::Timer timer, time_t time) override { m_action(timer, time); }

private:
    std::function<void(ID::Timer, time_t)> m_action;
};

TEST_F(HouseOfDriversTest, DriversOfOneMillisecond_FireInOrderOfTheirStartBeforeDevices)
{
    TestDriver& one = Made("one", 1);
    TestDriver& two = Made("two", 2);
    Device device([&](ID::Timer, time_t time) { one.Say("device after " + std::to_string(time)); });
    house.AddDeviceTimer(10ms, &device);
    two.AddTimer(10, 1, 1);
    one.AddTimer(10, 1, 1);
    house.Advance(10ms);
    EXPECT_EQ((Strings{"10 two timer 1 after 10000000", "10 one timer 2 after 10000000",
                       "10 one device after 10000000"}),
              Seen());
}

TEST_F(HouseOfDriversTest, KilledDeviceTimer_DoesNotFire)
{
    Device device([](ID::Timer, time_t) { ADD_FAILURE(); });
    const unsigned id = house.AddDeviceTimer(10ms, &device);
    house.KillDeviceTimer(id);
    house.KillDeviceTimer(id);
    house.KillDeviceTimer(0);
    house.Advance(100ms);
}

TEST_F(HouseOfDriversTest, KillDeviceTimer_LeavesDriversAlone)
{
    TestDriver& driver = Made("one", 1);
    house.KillDeviceTimer(driver.AddTimer(10, 1, 1));
    house.Advance(10ms);
    EXPECT_EQ((Strings{"10 one timer 1 after 10000000"}), Seen());
}

TEST_F(HouseOfDriversTest, Advance_TakesNegativeAsZeroAndEndsWithTime)
{
    house.Advance(5ms);
    house.Advance(-3ms);
    EXPECT_EQ(5ms, clock.Now());
    house.Advance(std::chrono::milliseconds::max());
    EXPECT_EQ(Clock::LATEST, clock.Now());
    Made("late", 1).AddTimer(0, 1, 1);
    house.Advance(1ms);
    EXPECT_EQ((Strings{std::to_string(Clock::LATEST.count()) + " late timer 1 after 0"}), Seen());
}

TEST_F(HouseOfDriversTest, InsideATimer_TheClockShowsItsDueTime)
{
    TestDriver& driver = Made("one", 1);
    driver.onTimer = [&](ID::Timer, time_t)
    {
        driver.FireEvent(static_cast<unsigned>(clock.Now().count()));
    };
    driver.AddTimer(300, 1, 2);
    house.Advance(1000ms);
    EXPECT_EQ(1000ms, clock.Now());
    EXPECT_EQ((Strings{"300 one event 300", "600 one event 600"}), Seen());
}

// --- Groups -------------------------------------------------------------------------------------

TEST_F(HouseOfDriversTest, ForwardedRampToLevel_ReachesEveryMemberInDocumentOrder)
{
    EXPECT_EQ((Strings{"0 ceiling GROUP_RAMP_TO_LEVEL LEVEL=50 TIME=2000 GROUP_ID=2",
                       "0 sofa GROUP_RAMP_TO_LEVEL LEVEL=50 TIME=2000 GROUP_ID=2"}),
              Forwarded(Command("RAMP_TO_LEVEL", {"LEVEL", "50", "TIME", "2000"})));
}

TEST_F(HouseOfDriversTest, ForwardedSetLevel_ReachesEveryMember)
{
    EXPECT_EQ((Strings{"0 ceiling GROUP_SET_LEVEL LEVEL=7 GROUP_ID=2",
                       "0 sofa GROUP_SET_LEVEL LEVEL=7 GROUP_ID=2"}),
              Forwarded(Command("SET_LEVEL", {"GROUP_ID", "9", "LEVEL", "7"})));
}

TEST_F(HouseOfDriversTest, ForwardedPressOfTheUpButton_StartsARampUp)
{
    EXPECT_EQ((Strings{"0 ceiling GROUP_START_RAMP RATE=0 RAMP_UP=true GROUP_ID=2",
                       "0 sofa GROUP_START_RAMP RATE=0 RAMP_UP=true GROUP_ID=2"}),
              Forwarded(Command("BUTTON_ACTION", {"BUTTON_ID", "0", "ACTION", "1"})));
}

TEST_F(HouseOfDriversTest, ForwardedPressOfTheDownButton_StartsARampDown)
{
    EXPECT_EQ((Strings{"0 ceiling GROUP_START_RAMP RATE=0 RAMP_UP=false GROUP_ID=2",
                       "0 sofa GROUP_START_RAMP RATE=0 RAMP_UP=false GROUP_ID=2"}),
              Forwarded(Command("BUTTON_ACTION", {"BUTTON_ID", "1", "ACTION", "1"})));
}

TEST_F(HouseOfDriversTest, ForwardedPress_SaysTheTypesOfWhatItAdds)
{
    TestDriver& sofa = Load("sofa", 1);
    std::string types;
    Made("ceiling", 2)
        .OnCommand("GROUP_START_RAMP",
                   [&types](const ICmdMessage& message, ICmdReturn*)
                   {
                       for (const MessageParam& param : ParamsOf(message))
                           types += param.name + " " + param.type + " ";
                   });
    house.AddGroup(2, {"ceiling"});
    sofa.ForwardToGroup(2, Command("BUTTON_ACTION", {"BUTTON_ID", "0", "ACTION", "1"}));
    EXPECT_EQ(types, "RATE INT RAMP_UP BOOL GROUP_ID INT ");
}

TEST_F(HouseOfDriversTest, ForwardedRelease_StopsTheRamp)
{
    EXPECT_EQ(
        (Strings{"0 ceiling GROUP_STOP_RAMP GROUP_ID=2", "0 sofa GROUP_STOP_RAMP GROUP_ID=2"}),
        Forwarded(Command("BUTTON_ACTION", {"BUTTON_ID", "1", "ACTION", "0"})));
}

TEST_F(HouseOfDriversTest, OtherForwards_ReachNobody)
{
    EXPECT_EQ(Strings(), Forwarded(Command("TOGGLE")));
    TestDriver& sofa = static_cast<TestDriver&>(*house.Find("sofa")->Driver());
    sofa.ForwardToGroup(2, Command("BUTTON_ACTION", {"ACTION", "2"}));
    sofa.ForwardToGroup(2, Command(""));
    sofa.ForwardToGroup(3, Command("SET_LEVEL", {"LEVEL", "7"}));
    EXPECT_EQ(Strings(), Seen());
}

TEST_F(HouseOfDriversTest, MembersWithoutHandler_AreToldAllTheSame)
{
    TestDriver& sofa = Load("sofa", 1);
    Made("mute", 2);
    house.AddGroup(2, {"mute", "unknown", "sofa"});
    sofa.ForwardToGroup(2, Command("SET_LEVEL", {"LEVEL", "7"}));
    EXPECT_EQ(
        (Strings{"0 mute unhandled GROUP_SET_LEVEL", "0 sofa GROUP_SET_LEVEL LEVEL=7 GROUP_ID=2"}),
        Seen());
}

TEST_F(HouseOfDriversTest, SecondGroupOfAnId_ReplacesTheFirst)
{
    TestDriver& sofa = Load("sofa", 1);
    Load("ceiling", 2);
    house.AddGroup(2, {"sofa"});
    house.AddGroup(2, {"ceiling"});
    sofa.ForwardToGroup(2, Command("SET_LEVEL"));
    EXPECT_EQ((Strings{"0 ceiling GROUP_SET_LEVEL GROUP_ID=2"}), Seen());
}

TEST_F(HouseOfDriversTest, OneChain_GivesAGroupEachCommandOnce)
{
    TestDriver& sofa = Load("sofa", 1);
    house.AddGroup(2, {"sofa"});
    sofa.OnTrap("nx.a",
                [&]
                {
                    for (const char* level : {"1", "2"})
                        sofa.ForwardToGroup(2, Command("SET_LEVEL", {"LEVEL", level}));
                    sofa.ForwardToGroup(2, Command("RAMP_TO_LEVEL"));
                    for (const char* action : {"1", "0", "1"})
                        sofa.ForwardToGroup(2, Command("BUTTON_ACTION", {"ACTION", action}));
                });
    const Strings expected{"0 sofa GROUP_SET_LEVEL LEVEL=1 GROUP_ID=2",
                           "0 sofa GROUP_RAMP_TO_LEVEL GROUP_ID=2",
                           "0 sofa GROUP_START_RAMP RATE=0 RAMP_UP=true GROUP_ID=2",
                           "0 sofa GROUP_STOP_RAMP GROUP_ID=2"};
    for (int chain = 0; chain < 2; ++chain)
    {
        house.Find("sofa")->Trap(NxMIBPacket(NxMIB::Trap, "nx.a"));
        EXPECT_EQ(expected, Seen());
    }
}

TEST_F(HouseOfDriversTest, ForwardInsideADelivery_ReachesOtherGroupsButNotTheSameAgain)
{
    TestDriver& sofa = Load("sofa", 1);
    Load("ceiling", 2);
    house.AddGroup(1, {"sofa"});
    house.AddGroup(2, {"ceiling"});
    sofa.OnCommand("GROUP_SET_LEVEL",
                   [&](const ICmdMessage&, ICmdReturn*)
                   {
                       sofa.ForwardToGroup(1, Command("SET_LEVEL"));
                       sofa.ForwardToGroup(2, Command("SET_LEVEL"));
                   });
    sofa.ForwardToGroup(1, Command("SET_LEVEL"));
    sofa.ForwardToGroup(1, Command("SET_LEVEL"));
    EXPECT_EQ(
        (Strings{"0 sofa GROUP_SET_LEVEL GROUP_ID=1", "0 ceiling GROUP_SET_LEVEL GROUP_ID=2",
                 "0 sofa GROUP_SET_LEVEL GROUP_ID=1", "0 ceiling GROUP_SET_LEVEL GROUP_ID=2"}),
        Seen());
}

TEST_F(HouseOfDriversTest, RingOfGroups_Ends)
{
    TestDriver& one = Load("one", 1);
    TestDriver& two = Load("two", 2);
    house.AddGroup(1, {"one"});
    house.AddGroup(2, {"two"});
    one.OnCommand("GROUP_SET_LEVEL", [&](const ICmdMessage&, ICmdReturn*)
                  { one.ForwardToGroup(2, Command("SET_LEVEL")); });
    two.OnCommand("GROUP_SET_LEVEL", [&](const ICmdMessage&, ICmdReturn*)
                  { two.ForwardToGroup(1, Command("SET_LEVEL")); });
    one.ForwardToGroup(1, Command("SET_LEVEL"));
    EXPECT_EQ((Strings{"0 one GROUP_SET_LEVEL GROUP_ID=1", "0 two GROUP_SET_LEVEL GROUP_ID=2"}),
              Seen());
}

TEST_F(HouseOfDriversTest, MemberThatThrows_DoesNotKeepTheOthersFromTheirs)
{
    TestDriver& sofa = Made("sofa", 1);
    Load("ceiling", 2);
    house.AddGroup(2, {"sofa", "ceiling"});
    sofa.OnCommand("GROUP_SET_LEVEL",
                   [](const ICmdMessage&, ICmdReturn*) { throw std::runtime_error("no"); });
    const Strings expected{"0 sofa fault the driver failed: no",
                           "0 ceiling GROUP_SET_LEVEL GROUP_ID=2"};
    sofa.ForwardToGroup(2, Command("SET_LEVEL"));
    EXPECT_EQ(expected, Seen());
    sofa.ForwardToGroup(2, Command("SET_LEVEL"));
    EXPECT_EQ(expected, Seen());
}

TEST_F(HouseOfDriversTest, ForwardOfADriverThatIsDestroyed_ReachesOnlyThoseThatAreThere)
{
    TestDriver& sofa = Load("sofa", 1);
    Load("ceiling", 2);
    house.AddGroup(2, {"sofa", "ceiling"});
    sofa.onDestroy = [&]
    {
        sofa.ForwardToGroup(2, Command("SET_LEVEL"));
    };
    house.Find("sofa")->Stop();
    EXPECT_EQ((Strings{"0 ceiling GROUP_SET_LEVEL GROUP_ID=2"}), Seen());
}

TEST_F(HouseOfDriversTest, InsideADelivery_EffectsAreThoseOfTheMember)
{
    TestDriver& sofa = Made("sofa", 1);
    TestDriver& ceiling = Made("ceiling", 2);
    house.AddGroup(2, {"ceiling"});
    const auto whose = []
    {
        return static_cast<nx::DriverHost*>(HostScope::Current())->Config().name;
    };
    ceiling.OnCommand("GROUP_SET_LEVEL",
                      [&](const ICmdMessage&, ICmdReturn*) { ceiling.Say("turn of " + whose()); });
    sofa.OnTrap("nx.a",
                [&]
                {
                    sofa.ForwardToGroup(2, Command("SET_LEVEL"));
                    sofa.Say("turn of " + whose());
                });
    house.Find("sofa")->Trap(NxMIBPacket(NxMIB::Trap, "nx.a"));
    EXPECT_EQ((Strings{"0 ceiling turn of ceiling", "0 sofa turn of sofa"}), Seen());
}
} // namespace
