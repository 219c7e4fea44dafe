// Drivers that are bound to each other: who is told, and which calls arrive.

#include "embedded_host/internal/BindingLinks.h"

#include "HostDoubles.h"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace
{
using namespace embedded_host;
using host_test::Strings;
using host_test::TestDriver;

class BindingLinksTest : public host_test::HouseTest
{
protected:
    // A driver that says which calls reach it, and answers each with `answer` on the same binding.
    void Listen(TestDriver& driver, const std::string& answer = {})
    {
        driver.onBoundCall =
            [this, &driver, answer](unsigned binding, const std::string& name, const IBindMessage&)
        {
            driver.Say(name + " on " + std::to_string(binding));
            if (!answer.empty())
                Call(driver, binding, answer);
            return 0;
        };
    }

    static void Call(TestDriver& driver, unsigned binding, const std::string& name)
    {
        boost::shared_ptr<IBindMessage> message = driver.CreateBindMessage();
        message->SetName(name);
        driver.SendBoundCall(binding, message);
    }
};

TEST_F(BindingLinksTest, BothEnds_AreToldWhenTheyHaveStarted)
{
    Add("hall", 1,
        [](TestDriver& driver)
        { driver.AddDynamicBinding(1, NX_BINDING_CONTROL, 0, "Aux 1", "RELAY_LINK", 0, 0); });
    Add("lamp", 2);
    house.Bind("hall", 1, "lamp", 0);
    house.StartAll();
    EXPECT_EQ((Strings{"0 hall binding 1 Aux 1 RELAY_LINK add", "0 hall RELAY_LINK 1 bound",
                       "0 lamp BUTTON_LINK 0 bound"}),
              Seen());
}

TEST_F(BindingLinksTest, Restart_TellsTheDriverAgainAndNobodyElse)
{
    Made("hall", 1);
    Made("lamp", 2);
    house.Bind("hall", 1, "lamp", 0);
    house.Find("lamp")->Restart();
    EXPECT_EQ((Strings{"0 lamp BUTTON_LINK 0 bound"}), Seen());
}

TEST_F(BindingLinksTest, Call_ArrivesAtTheOtherEndOfItsBindingAlone)
{
    TestDriver& hall = Made("hall", 1);
    Listen(Made("lamp", 2));
    Listen(Made("fan", 3));
    house.Bind("hall", 1, "lamp", 0);
    house.Bind("hall", 2, "fan", 7);
    Call(hall, 1, "DO_PUSH");
    EXPECT_EQ((Strings{"0 hall bound call 1 DO_PUSH", "0 lamp DO_PUSH on 0",
                       "0 lamp bound call result 0"}),
              Seen());
    Call(hall, 3, "DO_PUSH");
    EXPECT_EQ((Strings{"0 hall bound call 3 DO_PUSH"}), Seen());
}

TEST_F(BindingLinksTest, BindingOfSeveralLinks_ReachesEachInTheOrderOfTheHouse)
{
    TestDriver& hall = Made("hall", 1);
    Listen(Made("lamp", 2));
    Listen(Made("fan", 3));
    house.Bind("hall", 1, "fan", 0);
    house.Bind("lamp", 0, "hall", 1);
    Call(hall, 1, "DO_CLICK");
    EXPECT_EQ(
        (Strings{"0 hall bound call 1 DO_CLICK", "0 fan DO_CLICK on 0", "0 fan bound call result 0",
                 "0 lamp DO_CLICK on 0", "0 lamp bound call result 0"}),
        Seen());
}

TEST_F(BindingLinksTest, AnswerInsideACall_ArrivesWhenThatCallIsOver)
{
    TestDriver& hall = Made("hall", 1);
    TestDriver& lamp = Made("lamp", 2);
    Listen(hall);
    Listen(lamp, "DONE");
    house.Bind("hall", 1, "lamp", 0);
    Call(hall, 1, "DO_PUSH");
    EXPECT_EQ(
        (Strings{"0 hall bound call 1 DO_PUSH", "0 lamp DO_PUSH on 0", "0 lamp bound call 0 DONE",
                 "0 lamp bound call result 0", "0 hall DONE on 1", "0 hall bound call result 0"}),
        Seen());
}

TEST_F(BindingLinksTest, CallsWithoutEnd_AreAFaultAndEnd)
{
    TestDriver& hall = Made("hall", 1);
    Listen(hall, "PING");
    Listen(Made("lamp", 2), "PONG");
    house.Bind("hall", 1, "lamp", 0);
    for (int chain = 0; chain < 2; ++chain)
    {
        Call(hall, 1, "PING");
        unsigned arrived = 0;
        unsigned faults = 0;
        for (const std::string& line : Seen())
        {
            arrived += line.find(" on ") != std::string::npos &&
                               line.find("bound call") == std::string::npos
                           ? 1
                           : 0;
            faults += line == "0 hall fault the driver failed: its bound calls and those of a "
                              "driver that it is bound to answer each other without end; the last "
                              "one was dropped"
                          ? 1
                          : 0;
        }
        EXPECT_EQ(arrived, BindingLinks::MAX_CALLS_IN_A_CHAIN);
        EXPECT_EQ(faults, 1u);
    }
}

TEST_F(BindingLinksTest, AsManyCallsAsALinkCarries_AreNoFault)
{
    TestDriver& hall = Made("hall", 1);
    TestDriver& lamp = Made("lamp", 2);
    unsigned arrived = 0;
    lamp.onBoundCall = [&](unsigned, const std::string&, const IBindMessage&)
    {
        if (++arrived < BindingLinks::MAX_CALLS_IN_A_CHAIN)
            Call(hall, 1, "AGAIN");
        return 0;
    };
    house.Bind("hall", 1, "lamp", 0);
    Call(hall, 1, "AGAIN");
    EXPECT_EQ(arrived, BindingLinks::MAX_CALLS_IN_A_CHAIN);
    for (const std::string& line : Seen())
        EXPECT_EQ(line.find("fault"), std::string::npos) << line;
}

TEST_F(BindingLinksTest, CallToADriverThatDoesNotRun_ReachesNobody)
{
    TestDriver& hall = Made("hall", 1);
    Made("lamp", 2);
    house.Bind("hall", 1, "lamp", 0);
    house.Find("lamp")->Stop();
    Seen();
    Call(hall, 1, "DO_PUSH");
    EXPECT_EQ((Strings{"0 hall bound call 1 DO_PUSH"}), Seen());
}

TEST_F(BindingLinksTest, UnknownDriver_IsBoundToNobody)
{
    TestDriver& hall = Made("hall", 1);
    house.Bind("hall", 1, "nobody", 0);
    house.Bind("nobody", 1, "hall", 1);
    Call(hall, 1, "DO_PUSH");
    EXPECT_EQ((Strings{"0 hall bound call 1 DO_PUSH"}), Seen());
}
} // namespace
