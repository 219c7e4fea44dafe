#include "embedded_host/DriverHost.h"

#include "AllocationCount.h"
#include "HostDoubles.h"
#include "embedded_host/DeviceLink.h"
#include "nxshared/Assert.h"
#include "nxshared/Crypto.h"
#include "nxshared/IVariableManager.h"
#include "nxshared/NxTime.h"

#include <chrono>
#include <stdexcept>

#include <gtest/gtest.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;
using host_test::Command;
using host_test::Node;
using host_test::Strings;
using host_test::TestDriver;

NxMIBPacket Packet(NxMIB::Type type, const std::string& mib, const Strings& params = {})
{
    NxMIBPacket packet(type, mib);
    for (const std::string& param : params)
        packet.AddParam(param);
    return packet;
}

class DriverHostTest : public host_test::HouseTest
{
protected:
    // One driver, made, and its host.
    TestDriver& Hall(std::function<void(TestDriver&)> construct = {})
    {
        TestDriver& driver = Made("hall", 101, std::move(construct));
        host = house.Find("hall");
        return driver;
    }

    void Trap(const std::string& mib) { host->Trap(Packet(NxMIB::Trap, mib)); }
    void Reply(const std::string& mib, const Strings& params = {})
    {
        host->Reply(Packet(NxMIB::Reply, mib, params));
    }

    nx::DriverHost* host = nullptr;
};

// --- What goes out ------------------------------------------------------------------------------

TEST_F(DriverHostTest, Effects_LeaveInOrderWithTheirTime)
{
    Hall(
        [](TestDriver& driver)
        {
            driver.OnTrap("nx.a",
                          [&driver]
                          {
                              driver.FireEvent(6001);
                              driver.SendMib("nx.dmx.led", {"00", "ffffff"});
                              driver.AddTimer(5, 1, 1);
                          });
            driver.onTimer = [&driver](ID::Timer, time_t)
            {
                driver.FireEvent(6000);
            };
        });
    Trap("nx.a");
    house.Advance(100ms);
    Trap("nx.a");
    EXPECT_EQ(
        (Strings{"0 hall event 6001", "0 hall mib 3 nx.dmx.led 00 ffffff", "5 hall event 6000",
                 "100 hall event 6001", "100 hall mib 3 nx.dmx.led 00 ffffff"}),
        Seen());
}

TEST_F(DriverHostTest, EveryKindOfEffect_LeavesAsItIs)
{
    TestDriver& driver = Hall();
    const auto message = driver.CreateBindMessage();
    message->SetName("DO_PUSH");
    message->AddParam("N", "INT", 1LL);
    driver.SendBoundCall(300, message);
    driver.SendDataToUI(Node("CONTACT_STATUS", "1"));
    driver.SendToGateway(Command("485_BUS_MESSAGE", {"DEVICE_ID", "7"}));
    driver.FireEvent(7);
    EXPECT_EQ((Strings{"0 hall bound call 300 DO_PUSH N=1",
                       "0 hall ui <CONTACT_STATUS>1</CONTACT_STATUS>",
                       "0 hall gateway 485_BUS_MESSAGE DEVICE_ID=7", "0 hall event 7"}),
              Seen());
}

TEST_F(DriverHostTest, NothingToSend_IsIgnored)
{
    TestDriver& driver = Hall();
    driver.SendMibPacket(nullptr, 0);
    driver.SendBoundCall(300, nullptr);
    driver.SendDataToUI(nullptr);
    driver.QueryDeviceInfo();
    EXPECT_EQ(Strings(), Seen());
}

TEST_F(DriverHostTest, Variables_AreAddedSetAndRemovedOnce)
{
    TestDriver& driver = Hall();
    EXPECT_FALSE(driver.SetVariable(1014, "1"));
    EXPECT_TRUE(driver.AddVariable(1014, "Aux 1", "0", 4));
    EXPECT_FALSE(driver.AddVariable(1014, "Aux 2", "5", 4));
    EXPECT_TRUE(driver.SetVariable(1014, "1"));
    EXPECT_TRUE(driver.SetVariable(1014, "1"));
    EXPECT_TRUE(driver.RemoveVariable(1014));
    EXPECT_FALSE(driver.RemoveVariable(1014));
    EXPECT_EQ((Strings{"0 hall variable 1014 Aux 1=0 add", "0 hall variable 1014 Aux 1=1 set",
                       "0 hall variable 1014 Aux 1=1 set", "0 hall variable 1014 Aux 1=1 remove"}),
              Seen());
}

TEST_F(DriverHostTest, VariableManager_ReachesTheDeviceWithThatId)
{
    TestDriver& driver = Hall();
    Made("other", 102);
    nx::IVariableManager& variables = driver.GetVariableManager();
    EXPECT_EQ(0, variables.AddVariable(102, 5, "Power", 2, "0", 0, 1, 0));
    EXPECT_NE(0, variables.AddVariable(102, 5, "Power", 2, "0", 0, 1, 0));
    EXPECT_NE(0, variables.AddVariable(999, 5, "Power", 2, "0", 0, 1, 0));
    EXPECT_EQ(0, variables.SetVariable(102, 5, "9", 101, 1));
    EXPECT_NE(0, variables.SetVariable(101, 5, "9", 101, 1));
    EXPECT_EQ(0, variables.RemoveVariable(102, 5));
    EXPECT_NE(0, variables.RemoveVariable(102, 5));
    EXPECT_EQ((Strings{"0 other variable 5 Power=0 add", "0 other variable 5 Power=9 set",
                       "0 other variable 5 Power=9 remove"}),
              Seen());
}

TEST_F(DriverHostTest, Bindings_AreAddedAndRemovedOnce)
{
    TestDriver& driver = Hall();
    const auto add = [&]
    {
        return driver.AddDynamicBinding(1, NX_BINDING_CONTROL, 0, "Aux 1", "BUTTON_LINK", 0, 0);
    };
    EXPECT_TRUE(add());
    EXPECT_FALSE(add());
    EXPECT_EQ(1u, host->Bindings().size());
    EXPECT_TRUE(driver.RemoveDynamicBinding(1));
    EXPECT_FALSE(driver.RemoveDynamicBinding(1));
    EXPECT_EQ((Strings{"0 hall binding 1 Aux 1 BUTTON_LINK add",
                       "0 hall binding 1 Aux 1 BUTTON_LINK remove"}),
              Seen());
}

TEST_F(DriverHostTest, Capabilities_AreReadAsTextsAndTruths)
{
    DriverConfig config;
    config.name = "hall";
    config.capabilities = {{"load_present", "true"}, {"empty", ""}};
    config.create = [](IInstanceManager& instances)
    {
        return new TestDriver(instances);
    };
    nx::DriverHost& added = *house.Add(std::move(config));
    added.Start(nullptr);
    TestDriver& driver = DriverOf(added);
    EXPECT_TRUE(driver.HasCapability("load_present"));
    EXPECT_TRUE(driver.GetCapabilityBool("load_present"));
    EXPECT_EQ("true", driver.GetCapability("load_present"));
    EXPECT_TRUE(driver.HasCapability("empty"));
    EXPECT_FALSE(driver.HasCapability("missing"));
    EXPECT_EQ("", driver.GetCapability("missing"));
    EXPECT_FALSE(driver.GetCapabilityBool("missing"));
}

TEST_F(DriverHostTest, Messages_AreMadeForTheDriver)
{
    TestDriver& driver = Hall();
    EXPECT_EQ("X", driver.CreateCommandMessage("X")->GetName());
    const auto message = driver.CreateCommandMessageFromXml(
        "<command name=\"X\"><param name=\"N\" type=\"INT\">5</param></command>");
    ASSERT_TRUE(message);
    EXPECT_EQ(5, message->GetParamInt("N"));
    for (const char* text : {"", "text", "<other/>", "<command name=\"X\">"})
        EXPECT_FALSE(driver.CreateCommandMessageFromXml(text)) << text;
}

TEST_F(DriverHostTest, Driver_KnowsItsNameAndId)
{
    std::string nameInConstructor;
    unsigned idInConstructor = 0;
    TestDriver& driver = Hall(
        [&](TestDriver& made)
        {
            nameInConstructor = made.GetDriverName();
            idInConstructor = made.GetDeviceId();
        });
    EXPECT_EQ("hall", driver.GetDriverName());
    EXPECT_EQ("hall", nameInConstructor);
    EXPECT_EQ(101u, idInConstructor);
}

TEST_F(DriverHostTest, Services_AreGivenByTheirIds)
{
    TestDriver& driver = Hall();
    EXPECT_EQ(&driver.GetTimerManager(), host->GetInterface(ITimerManager::INTERFACE_ID));
    EXPECT_EQ(nullptr, host->GetInterface("{00000000-0000-0000-0000-000000000000}"));
    EXPECT_EQ(nullptr, host->GetInterface(""));
}

// --- Commands and conditions --------------------------------------------------------------------

TEST_F(DriverHostTest, Command_RunsItsHandlersAndAnswersARefusal)
{
    TestDriver& driver = Hall();
    driver.OnCommand("YES", [&](const ICmdMessage& message, ICmdReturn*)
                     { driver.Say("did " + message.GetParamString("P")); });
    driver.OnCommand("NO", [](const ICmdMessage&, ICmdReturn* ret) { ret->Refuse("not now"); });
    EXPECT_EQ("", host->Command(Command("YES", {"P", "it"}), CmdDispatcher::CONTROLLER));
    EXPECT_EQ("not now", host->Command(Command("NO"), CmdDispatcher::CONTROLLER));
    EXPECT_EQ((Strings{"0 hall did it"}), Seen());
}

TEST_F(DriverHostTest, UnknownCommand_LeavesAsUnhandled)
{
    TestDriver& driver = Hall();
    EXPECT_EQ("", host->Command(Command("WHAT"), CmdDispatcher::CONTROLLER));
    EXPECT_FALSE(driver.DispatchCommand(Command("ELSE"), nullptr, 300));
    EXPECT_EQ((Strings{"0 hall unhandled WHAT", "0 hall unhandled ELSE"}), Seen());
}

TEST_F(DriverHostTest, Condition_LeavesWithItsAnswer)
{
    TestDriver& driver = Hall();
    driver.GetCondDispatcher().RegisterCond("ON", [](const ICondMessage& message, unsigned*)
                                            { return message.GetParamBool("P"); });
    CondMessage on("ON");
    host->Condition(on);
    on.Append({"P", "BOOL", "true"});
    host->Condition(on);
    host->Condition(CondMessage("UNKNOWN"));
    EXPECT_EQ((Strings{"0 hall condition ON false", "0 hall condition ON true",
                       "0 hall condition UNKNOWN false"}),
              Seen());
}

// --- Replies ------------------------------------------------------------------------------------

TEST_F(DriverHostTest, Replies_ArePairedWithTheOldestRequestOfTheirId)
{
    TestDriver& driver = Hall();
    driver.ReportReplies("nx.als.gad");
    driver.ReportReplies("nx.als.sgo");
    driver.SendMib("nx.als.gad", {"01"});
    driver.SendMib("nx.als.sgo", {"02"});
    driver.SendMib("nx.als.gad", {"03"});
    Seen();
    Reply("nx.als.gad", {"a"});
    Reply("nx.als.gad", {"b"});
    Reply("nx.als.gad", {"c"});
    Reply("nx.als.sgo", {"d"});
    EXPECT_EQ((Strings{"0 hall reply nx.als.gad a to 3 nx.als.gad 01",
                       "0 hall reply nx.als.gad b to 3 nx.als.gad 03",
                       "0 hall reply nx.als.gad c to nothing",
                       "0 hall reply nx.als.sgo d to 3 nx.als.sgo 02"}),
              Seen());
}

TEST_F(DriverHostTest, OfSeventeenRequests_TheOldestIsForgotten)
{
    TestDriver& driver = Hall();
    driver.ReportReplies("nx.a");
    for (int i = 0; i < 17; ++i)
        driver.SendMib("nx.a", {std::to_string(i)});
    Seen();
    for (int i = 1; i < 17; ++i)
    {
        Reply("nx.a");
        EXPECT_EQ((Strings{"0 hall reply nx.a to 3 nx.a " + std::to_string(i)}), Seen());
    }
    Reply("nx.a");
    EXPECT_EQ((Strings{"0 hall reply nx.a to nothing"}), Seen());
}

TEST_F(DriverHostTest, ExplicitRequest_IsHandedOnAndLeavesTheOthers)
{
    TestDriver& driver = Hall();
    driver.ReportReplies("nx.a");
    driver.SendMib("nx.a", {"sent"});
    Seen();
    const NxMIBPacket given = Packet(NxMIB::Set, "nx.a", {"given"});
    host->ReplyTo(Packet(NxMIB::Reply, "nx.a"), &given);
    host->ReplyTo(Packet(NxMIB::Reply, "nx.a"), nullptr);
    Reply("nx.a");
    EXPECT_EQ((Strings{"0 hall reply nx.a to 4 nx.a given", "0 hall reply nx.a to nothing",
                       "0 hall reply nx.a to 3 nx.a sent"}),
              Seen());
}

TEST_F(DriverHostTest, RequestSentInsideAReply_WaitsForTheNext)
{
    TestDriver& driver = Hall();
    driver.GetMibDispatcher().RegisterResponse("nx.a",
                                               [&](const NxMIBPacket&, const NxMIBPacket* request)
                                               {
                                                   driver.Say(host_test::InWords(*request));
                                                   driver.SendMib("nx.a", {"again"});
                                               });
    driver.SendMib("nx.a", {"first"});
    Reply("nx.a");
    Reply("nx.a");
    EXPECT_EQ((Strings{"0 hall mib 3 nx.a first", "0 hall 3 nx.a first", "0 hall mib 3 nx.a again",
                       "0 hall 3 nx.a again", "0 hall mib 3 nx.a again"}),
              Seen());
}

TEST_F(DriverHostTest, ReplyAndTrapThatNobodyTakes_HaveNoEffect)
{
    Hall().SendMib("nx.a", {});
    Seen();
    Reply("nx.a");
    Trap("nx.a");
    EXPECT_EQ(Strings(), Seen());
}

// --- The device ---------------------------------------------------------------------------------

class RecordingLink : public DeviceLink
{
public:
    void OnMibSent(const NxMIBPacket& packet) override { sent.push_back(packet.ProperToString()); }
    void OnZclSent(std::uint16_t, std::uint8_t, const std::uint8_t*, std::size_t) override {}
    void OnGatewaySent(const ICmdMessage& command) override { sent.push_back(command.GetName()); }
    Strings sent;
};

TEST_F(DriverHostTest, AttachedDevice_GetsWhatLeaves)
{
    TestDriver& driver = Hall();
    RecordingLink link;
    host->Attach(&link);
    driver.SendMib("nx.a", {"1"});
    driver.SendToGateway(Command("485_BUS_MESSAGE"));
    host->Attach(nullptr);
    driver.SendMib("nx.b", {});
    EXPECT_EQ((Strings{"nx.a 1", "485_BUS_MESSAGE"}), link.sent);
    EXPECT_EQ(
        (Strings{"0 hall mib 3 nx.a 1", "0 hall gateway 485_BUS_MESSAGE", "0 hall mib 3 nx.b"}),
        Seen());
}

TEST_F(DriverHostTest, OnlineStatus_IsPassedOnRepeatedOrNot)
{
    Hall();
    host->Online(true);
    host->Online(true);
    host->Online(false);
    EXPECT_EQ((Strings{"0 hall online", "0 hall online", "0 hall offline"}), Seen());
}

TEST_F(DriverHostTest, Packets_LeaveWhetherOrNotTheDeviceIsOnline)
{
    TestDriver& driver = Hall();
    host->Online(false);
    driver.SendMib("nx.a", {});
    EXPECT_EQ((Strings{"0 hall offline", "0 hall mib 3 nx.a"}), Seen());
}

// A driver whose device does not speak MIB.
class PlainDriver : public NxBaseDriver
{
public:
    explicit PlainDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_LIGHT) {}
    void OnDeviceOnlineChanged(bool online) override
    {
        Host().ReportCall(online ? "up" : "down", {});
    }
};

TEST_F(DriverHostTest, OnlineStatusOfAPlainDriver_ComesByItsOwnOperation)
{
    DriverConfig config;
    config.name = "plain";
    config.create = [](IInstanceManager& instances)
    {
        return new PlainDriver(instances);
    };
    nx::DriverHost& plain = *house.Add(std::move(config));
    plain.Start(nullptr);
    plain.Online(true);
    plain.Online(false);
    EXPECT_EQ((Strings{"0 plain up", "0 plain down"}), Seen());
}

// --- Bindings -----------------------------------------------------------------------------------

TEST_F(DriverHostTest, BindingChanges_ArePassedOnForAnyIdAndClass)
{
    Hall();
    host->BindingMade(1, "BUTTON_LINK", true);
    host->BindingMade(1, "BUTTON_LINK", true);
    host->BindingMade(4000000000u, "", false);
    EXPECT_EQ((Strings{"0 hall BUTTON_LINK 1 bound", "0 hall BUTTON_LINK 1 bound",
                       "0 hall  4000000000 unbound"}),
              Seen());
}

TEST_F(DriverHostTest, BoundCall_LeavesItsResult)
{
    TestDriver& driver = Hall();
    driver.onBoundCall = [&](unsigned binding, const std::string& name, const IBindMessage& message)
    {
        driver.Say(std::to_string(binding) + " " + name + " " + message.GetXml());
        return -3;
    };
    host->BoundCall(300, BindMessage("PROTOCOL_COMMAND", "X", "<command/>"));
    EXPECT_EQ((Strings{"0 hall 300 X <command/>", "0 hall bound call result -3"}), Seen());
}

TEST_F(DriverHostTest, BoundCallThatTheDriverDoesNotTake_AnswersZero)
{
    Hall();
    host->BoundCall(300, BindMessage("OTHER", "X", ""));
    EXPECT_EQ((Strings{"0 hall bound call result 0"}), Seen());
}

// --- Faults -------------------------------------------------------------------------------------

TEST_F(DriverHostTest, ExceptionsOfHandlers_BecomeFaults)
{
    TestDriver& driver = Hall();
    driver.OnTrap("nx.a", [] { throw std::runtime_error("out of ideas"); });
    driver.OnTrap("nx.b", [] { throw 42; });
    driver.onTimer = [](ID::Timer, time_t)
    {
        throw std::logic_error("timer");
    };
    driver.AddTimer(10, 1, 2);
    Trap("nx.a");
    Trap("nx.b");
    house.Advance(20ms);
    EXPECT_EQ((Strings{"0 hall fault the driver failed: out of ideas",
                       "0 hall fault the driver failed: something that is no exception",
                       "10 hall fault the driver failed: timer",
                       "20 hall fault the driver failed: timer"}),
              Seen());
}

TEST_F(DriverHostTest, ExceptionInEveryOtherCall_BecomesAFaultToo)
{
    TestDriver& driver = Hall();
    driver.onPersist = []() -> boost::shared_ptr<nx::XmlNode>
    {
        throw std::runtime_error("p");
    };
    driver.onBoundCall = [](unsigned, const std::string&, const IBindMessage&) -> int
    {
        throw std::runtime_error("b");
    };
    driver.GetCondDispatcher().RegisterCond(
        "ON", [](const ICondMessage&, unsigned*) -> bool { throw std::runtime_error("c"); });
    driver.OnCommand("X", [](const ICmdMessage&, ICmdReturn*) { throw std::runtime_error("x"); });
    EXPECT_EQ("", host->Persist());
    host->BoundCall(1, BindMessage());
    host->Condition(CondMessage("ON"));
    EXPECT_EQ("", host->Command(Command("X"), 0));
    EXPECT_EQ((Strings{"0 hall fault the driver failed: p", "0 hall fault the driver failed: b",
                       "0 hall fault the driver failed: c", "0 hall fault the driver failed: x"}),
              Seen());
}

TEST_F(DriverHostTest, DriverThatThrowsInItsConstructor_IsNotThereAndLeavesNothing)
{
    nx::DriverHost& failed =
        Add("hall", 101,
            [](TestDriver& driver)
            {
                driver.OnCommand("X", [&driver](const ICmdMessage&, ICmdReturn*)
                                 { driver.FireEvent(1); });
                driver.OnTrap("nx.a", [&driver] { driver.FireEvent(2); });
                driver.AddVariable(1, "v", "0", 4);
                driver.AddTimer(10, 1, 0);
                throw std::runtime_error("no memory");
            });
    failed.Start(nullptr);
    EXPECT_EQ((Strings{"0 hall variable 1 v=0 add", "0 hall fault the driver failed: no memory"}),
              Seen());
    EXPECT_EQ(nullptr, failed.Driver());
    EXPECT_TRUE(failed.Variables().empty());
    failed.Command(Command("X"), 0);
    failed.Trap(Packet(NxMIB::Trap, "nx.a"));
    failed.Online(true);
    house.Advance(100ms);
    EXPECT_EQ(Strings(), Seen());
}

TEST_F(DriverHostTest, DriverThatIsNotMade_IsAFault)
{
    DriverConfig config;
    config.name = "hall";
    config.create = [](IInstanceManager&)
    {
        return nullptr;
    };
    nx::DriverHost& failed = *house.Add(std::move(config));
    failed.Start(nullptr);
    EXPECT_EQ((Strings{"0 hall fault the driver failed: it was not made"}), Seen());
    failed.BindingMade(1, "", true);
    failed.BoundCall(1, BindMessage());
    failed.Condition(CondMessage("ON"));
    EXPECT_EQ("", failed.Persist());
    EXPECT_EQ(Strings(), Seen());
}

TEST_F(DriverHostTest, FailedInitialize_IsAFaultAndTheDriverStays)
{
    Hall(
        [](TestDriver& driver)
        {
            driver.onInitialize =
                [](unsigned, boost::shared_ptr<nx::XmlNode>&, boost::shared_ptr<nx::XmlNode>)
            {
                return false;
            };
        });
    EXPECT_NE(nullptr, host->Driver());
    host->Online(true);
    EXPECT_EQ((Strings{"0 hall fault the driver failed: Initialize failed", "0 hall online"}),
              Seen());
}

// --- Life ---------------------------------------------------------------------------------------

TEST_F(DriverHostTest, Initialize_GetsIdConfigurationAndState)
{
    Strings seen;
    DriverConfig config;
    config.name = "hall";
    config.id = 101;
    config.create = [&](IInstanceManager& instances)
    {
        auto* driver = new TestDriver(instances);
        driver->onInitialize = [&](unsigned id, boost::shared_ptr<nx::XmlNode>& node,
                                   boost::shared_ptr<nx::XmlNode> state)
        {
            seen.push_back(std::to_string(id) + " " + node->GetName() + " " +
                           (state ? state->ToText() : "none"));
            return true;
        };
        return driver;
    };
    nx::DriverHost& added = *house.Add(std::move(config));
    added.Start(nullptr);
    added.Start(Node("State", "5"));
    EXPECT_EQ((Strings{"101  none", "101  <State>5</State>"}), seen);
}

TEST_F(DriverHostTest, StartWhenThereIsADriver_DestroysItFirst)
{
    int made = 0;
    Hall(
        [&made](TestDriver& driver)
        {
            const std::string number = std::to_string(++made);
            driver.Say("made " + number);
            driver.onDestroy = [&driver, number]
            {
                driver.Say("destroyed " + number);
            };
            driver.OnTrap("nx.a", [&driver, number] { driver.Say("trap " + number); });
        });
    host->Start(nullptr);
    Trap("nx.a");
    house.StopAll();
    EXPECT_EQ((Strings{"0 hall made 1", "0 hall destroyed 1", "0 hall made 2", "0 hall trap 2",
                       "0 hall destroyed 2"}),
              Seen());
}

TEST_F(DriverHostTest, Persist_GivesTheStateAsText)
{
    TestDriver& driver = Hall();
    EXPECT_EQ("", host->Persist());
    driver.onPersist = []
    {
        return Node("State", "<5>");
    };
    EXPECT_EQ("<State>&lt;5&gt;</State>", host->Persist());
}

TEST_F(DriverHostTest, Restart_GivesTheStateToTheNextLife)
{
    Hall(
        [](TestDriver& driver)
        {
            driver.onPersist = []
            {
                return Node("State", " 5 ");
            };
            driver.onInitialize = [&driver](unsigned, boost::shared_ptr<nx::XmlNode>&,
                                            boost::shared_ptr<nx::XmlNode> state)
            {
                driver.Say("initialized with " + (state ? state->GetData() : "nothing"));
                return true;
            };
            driver.onDestroy = [&driver]
            {
                driver.Say("destroyed");
            };
        });
    house.Advance(7ms);
    host->Restart();
    EXPECT_EQ((Strings{"0 hall initialized with nothing", "7 hall destroyed",
                       "7 hall initialized with  5 "}),
              Seen());
    house.StopAll();
    EXPECT_EQ((Strings{"7 hall destroyed"}), Seen());
}

TEST_F(DriverHostTest, Restart_ForgetsTimersHandlersVariablesBindingsAndRequests)
{
    bool first = true;
    Hall(
        [&first](TestDriver& driver)
        {
            driver.ReportReplies("nx.a");
            if (!std::exchange(first, false))
                return;
            driver.OnTrap("nx.t", [&driver] { driver.Say("old trap"); });
            driver.OnCommand("X",
                             [&driver](const ICmdMessage&, ICmdReturn*) { driver.Say("old"); });
            driver.AddTimer(10, 1, 0);
            driver.AddVariable(1, "v", "0", 4);
            driver.AddDynamicBinding(1, NX_BINDING_CONTROL, 0, "b", "c", 0, 0);
            driver.SendMib("nx.a", {});
        });
    Seen();
    host->Restart();
    EXPECT_TRUE(host->Variables().empty());
    EXPECT_TRUE(host->Bindings().empty());
    Trap("nx.t");
    Reply("nx.a");
    host->Command(Command("X"), 0);
    house.Advance(100ms);
    EXPECT_EQ((Strings{"0 hall reply nx.a to nothing", "0 hall unhandled X"}), Seen());
}

TEST_F(DriverHostTest, StateThatCannotBeReadBack_IsAFault)
{
    TestDriver& driver = Hall();
    driver.onPersist = []
    {
        return Node("no name", "5");
    };
    host->Restart();
    EXPECT_EQ((Strings{"0 hall fault the driver failed: its state cannot be read back"}), Seen());
    EXPECT_NE(nullptr, host->Driver());
}

TEST_F(DriverHostTest, WhileADriverIsDestroyed_NothingReachesIt)
{
    TestDriver& driver = Hall();
    driver.OnCommand("X", [&](const ICmdMessage&, ICmdReturn*) { driver.Say("never"); });
    driver.OnTrap("nx.a", [&] { driver.Say("never"); });
    driver.onDestroy = [&]
    {
        host->Command(Command("X"), 0);
        host->Trap(Packet(NxMIB::Trap, "nx.a"));
        host->Online(true);
        driver.Say("going");
    };
    host->Stop();
    host->Stop();
    host->Trap(Packet(NxMIB::Trap, "nx.a"));
    EXPECT_EQ((Strings{"0 hall going"}), Seen());
}

TEST_F(DriverHostTest, TimersThatADriverLeaves_AreKilled)
{
    TestDriver& driver = Hall();
    driver.AddTimer(10, 1, 0);
    TestDriver& other = Made("other", 102);
    other.AddTimer(10, 1, 1);
    host->Stop();
    house.Advance(100ms);
    EXPECT_EQ((Strings{"10 other timer 2 after 10000000"}), Seen());
}

TEST_F(DriverHostTest, DriverTimers_CountUnitsAndTimes)
{
    TestDriver& driver = Hall();
    driver.AddTimer(1, ITimerManager::UNIT_SECONDS, 1);
    driver.AddTimer(250, ITimerManager::UNIT_MILLISECONDS, 2);
    const ID::Timer killed = driver.AddTimer(10, ITimerManager::UNIT_MILLISECONDS, 0);
    driver.KillTimer(killed);
    driver.KillTimer(0);
    driver.KillTimer(99);
    driver.AddTimer(~0ul, ITimerManager::UNIT_SECONDS, 1);
    house.Advance(1000000ms);
    EXPECT_EQ((Strings{"250 hall timer 2 after 250000000", "500 hall timer 2 after 500000000",
                       "1000 hall timer 1 after 1000000000"}),
              Seen());
}

TEST_F(DriverHostTest, RequestPersist_TellsWhoeverWantsToKnow)
{
    TestDriver& driver = Hall();
    driver.RequestPersist();
    Strings asked;
    house.onPersistRequested = [&](nx::DriverHost& who)
    {
        asked.push_back(who.Config().name);
    };
    driver.RequestPersist();
    EXPECT_EQ((Strings{"hall"}), asked);
}

// --- The host's free functions inside a driver --------------------------------------------------

TEST_F(DriverHostTest, InsideADriver_TimeChanceAndAssertionsAreItsHouses)
{
    TestDriver& driver = Hall();
    driver.OnTrap("nx.a",
                  [&]
                  {
                      driver.Say("day " + std::to_string(NxTime::GetCurrentTime().GetDay()));
                      nx::AssertWrite("lighting_common/X", 5, nx::StackTrace());
                  });
    house.Advance(86400000ms);
    Trap("nx.a");
    EXPECT_EQ((Strings{"86400000 hall day 1", "86400000 hall assert lighting_common/X:5"}), Seen());
    EXPECT_EQ(nullptr, HostScope::Current());
}

TEST_F(DriverHostTest, StackFramesInsideADriver_HaveDemangledNames)
{
    std::string frames;
    TestDriver& driver = Hall();
    driver.OnCommand("X",
                     [&](const ICmdMessage&, ICmdReturn*)
                     {
                         const nx::StackTrace trace;
                         for (std::size_t i = 0; i < trace.Size(); ++i)
                             frames += trace.Frame(i) + "\n";
                     });
    host->Command(Command("X"), 0);
    EXPECT_NE(std::string::npos,
              frames.find("embedded_host::CmdTable::Dispatch(ICmdMessage const&"))
        << frames;
}

// --- The hot path -------------------------------------------------------------------------------

class CountingSink : public OutputSink
{
public:
    void Write(const Output& output) override { effects += output.timeMs >= 0 ? 1 : 0; }
    int effects = 0;
};

TEST(DriverHostMemory, OnceWarm_ATrapWithItsTimerPacketAndEventAllocatesNothing)
{
    VirtualClock clock(0);
    Random random(1, Draw::Random);
    CountingSink sink;
    House house(clock, random, sink);
    const boost::shared_ptr<NxMIBPacket> packet(new NxMIBPacket(NxMIB::Query, "nx.a"));
    DriverConfig config;
    config.create = [&](IInstanceManager& instances)
    {
        auto* driver = new TestDriver(instances);
        driver->GetMibDispatcher().RegisterResponse("nx.a",
                                                    [](const NxMIBPacket&, const NxMIBPacket*) {});
        driver->onTimer = [driver](ID::Timer, time_t)
        {
            driver->FireEvent(6000);
        };
        driver->OnTrap("nx.dmx.bp",
                       [driver, packet]
                       {
                           driver->SendMibPacket(packet, 0);
                           driver->KillTimer(driver->AddTimer(5, 1, 1));
                           driver->AddTimer(10, 1, 1);
                           driver->FireEvent(6001);
                       });
        return driver;
    };
    nx::DriverHost& host = *house.Add(std::move(config));
    host.Start(nullptr);
    const NxMIBPacket trap(NxMIB::Trap, "nx.dmx.bp");
    const auto press = [&]
    {
        host.Trap(trap);
        host.Reply(*packet);
        house.Advance(20ms);
    };
    for (int i = 0; i < 20; ++i)
        press();
    sink.effects = 0;
    const std::size_t before = host_test::Allocations();
    for (int i = 0; i < 100; ++i)
        press();
    EXPECT_EQ(before, host_test::Allocations());
    EXPECT_EQ(300, sink.effects);
}
} // namespace
