#include "embedded_host/internal/Dispatchers.h"

#include "embedded_host/Messages.h"
#include "nxshared/NxMIBPacket.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using namespace embedded_host;
using Strings = std::vector<std::string>;

// The three kinds of tables, and what their handlers wrote down.
class DispatchersTest : public testing::Test, private UnhandledSink
{
protected:
    ~DispatchersTest() override
    {
        EXPECT_TRUE(m_seen.empty()) << "never looked at: " << m_seen.front();
    }

    void Note(const std::string& what) { m_seen.push_back(what); }
    Strings Seen() { return std::exchange(m_seen, {}); }

    // Dispatches a command and gives what came of it.
    Strings Command(const std::string& name)
    {
        commands.Dispatch(CmdMessage(name), nullptr, CmdDispatcher::CONTROLLER);
        return Seen();
    }

    CmdTable commands{*this};
    MibTable mibs;
    CondTable conditions;

private:
    void OnUnhandled(const std::string& name) override { Note("unhandled " + name); }

    Strings m_seen;
};

TEST_F(DispatchersTest, CommandHandlersOfThreeForms_RunInOrderOfRegistration)
{
    commands.RegisterCmd1("A",
                          [&](const ICmdMessage& message) { Note("one " + message.GetName()); });
    commands.RegisterCmd0("A", [&] { Note("none"); });
    commands.RegisterCmd("A", [&](const ICmdMessage& message, ICmdReturn* ret)
                         { Note("both " + message.GetName() + (ret ? " with return" : "")); });
    EXPECT_EQ((Strings{"one A", "none", "both A"}), Command("A"));
}

TEST_F(DispatchersTest, CommandReturn_ReachesTheHandler)
{
    commands.RegisterCmd("A", [&](const ICmdMessage&, ICmdReturn* ret) { ret->Refuse("no"); });
    CmdReturn ret;
    EXPECT_TRUE(commands.Dispatch(CmdMessage("A"), &ret, CmdDispatcher::CONTROLLER));
    EXPECT_EQ("no", ret.Reason());
}

TEST_F(DispatchersTest, UnknownCommand_IsReportedUnhandled)
{
    commands.RegisterCmd0("A", [&] { Note("A"); });
    EXPECT_FALSE(commands.Dispatch(CmdMessage("B"), nullptr, 7));
    EXPECT_EQ((Strings{"unhandled B"}), Seen());
}

TEST_F(DispatchersTest, RemovedCommand_IsUnhandled)
{
    commands.RegisterCmd0("A", [&] { Note("A"); });
    commands.RemoveCmd("A");
    commands.RemoveCmd("B");
    EXPECT_EQ((Strings{"unhandled A"}), Command("A"));
}

TEST_F(DispatchersTest, CommandRemovedInItsHandler_WasHandledThisTime)
{
    commands.RegisterCmd0("A",
                          [&]
                          {
                              commands.RemoveCmd("A");
                              Note("A");
                          });
    commands.RegisterCmd0("A", [&] { Note("never"); });
    EXPECT_EQ((Strings{"A"}), Command("A"));
    EXPECT_EQ((Strings{"unhandled A"}), Command("A"));
}

TEST_F(DispatchersTest, NestedCommand_RunsInside)
{
    commands.RegisterCmd0("OUTER",
                          [&]
                          {
                              Note("begin");
                              EXPECT_TRUE(commands.Dispatch(CmdMessage("INNER"), nullptr, 1));
                              EXPECT_FALSE(commands.Dispatch(CmdMessage("NOBODY"), nullptr, 1));
                              Note("end");
                          });
    commands.RegisterCmd0("INNER", [&] { Note("inner"); });
    EXPECT_EQ((Strings{"begin", "inner", "unhandled NOBODY", "end"}), Command("OUTER"));
}

TEST_F(DispatchersTest, ClearedCommands_AreUnhandled)
{
    commands.RegisterCmd0("A", [&] { Note("A"); });
    commands.Clear();
    EXPECT_EQ((Strings{"unhandled A"}), Command("A"));
}

TEST_F(DispatchersTest, EmptyHandler_ThrowsInsteadOfJumpingToNowhere)
{
    commands.RegisterCmd("A", CmdDispatcher::Handler());
    EXPECT_THROW(Command("A"), boost::bad_function_call);
}

// --- Device messages ----------------------------------------------------------------------------

TEST_F(DispatchersTest, TrapsAndResponsesOfOneId_AreApart)
{
    mibs.RegisterTrap("nx.a", [&](const NxMIBPacket& trap) { Note("trap " + trap.GetMib()); });
    mibs.RegisterResponse("nx.a", [&](const NxMIBPacket& reply, const NxMIBPacket* request)
                          { Note("reply " + reply.GetMib() + (request ? " asked" : "")); });
    const NxMIBPacket packet(NxMIB::Trap, "nx.a");
    EXPECT_TRUE(mibs.DispatchTrap(packet));
    EXPECT_EQ((Strings{"trap nx.a"}), Seen());
    EXPECT_TRUE(mibs.DispatchResponse(packet, nullptr));
    EXPECT_TRUE(mibs.DispatchResponse(packet, &packet));
    EXPECT_EQ((Strings{"reply nx.a", "reply nx.a asked"}), Seen());
}

TEST_F(DispatchersTest, SeveralTrapHandlers_RunInOrder)
{
    mibs.RegisterTrap("nx.a", [&](const NxMIBPacket&) { Note("first"); });
    mibs.RegisterTrap("nx.a", [&](const NxMIBPacket&) { Note("second"); });
    EXPECT_TRUE(mibs.DispatchTrap(NxMIBPacket(NxMIB::Trap, "nx.a")));
    EXPECT_EQ((Strings{"first", "second"}), Seen());
}

TEST_F(DispatchersTest, UnknownOrRemovedIds_AreNotTaken)
{
    const NxMIBPacket packet(NxMIB::Trap, "nx.a");
    EXPECT_FALSE(mibs.DispatchTrap(packet));
    EXPECT_FALSE(mibs.DispatchResponse(packet, nullptr));
    mibs.RegisterTrap("nx.a", [&](const NxMIBPacket&) { Note("trap"); });
    mibs.RegisterResponse("nx.a", [&](const NxMIBPacket&, const NxMIBPacket*) { Note("reply"); });
    EXPECT_TRUE(mibs.HandlesResponse("nx.a"));
    mibs.RemoveTrap("nx.a");
    EXPECT_FALSE(mibs.DispatchTrap(packet));
    EXPECT_TRUE(mibs.DispatchResponse(packet, nullptr));
    EXPECT_EQ((Strings{"reply"}), Seen());
    mibs.RemoveResponse("nx.a");
    EXPECT_FALSE(mibs.HandlesResponse("nx.a"));
    EXPECT_FALSE(mibs.DispatchResponse(packet, nullptr));
}

TEST_F(DispatchersTest, ClearedIds_AreNotTaken)
{
    mibs.RegisterTrap("nx.a", [&](const NxMIBPacket&) { Note("trap"); });
    mibs.RegisterResponse("nx.a", [&](const NxMIBPacket&, const NxMIBPacket*) { Note("reply"); });
    mibs.Clear();
    EXPECT_FALSE(mibs.DispatchTrap(NxMIBPacket(NxMIB::Trap, "nx.a")));
    EXPECT_FALSE(mibs.DispatchResponse(NxMIBPacket(NxMIB::Reply, "nx.a"), nullptr));
}

// --- Conditions ---------------------------------------------------------------------------------

TEST_F(DispatchersTest, UnknownCondition_IsFalse)
{
    EXPECT_FALSE(conditions.Test(CondMessage("ON")));
}

TEST_F(DispatchersTest, Condition_IsAnsweredByItsHandler)
{
    conditions.RegisterCond("ON", [&](const ICondMessage& message, unsigned*)
                            { return message.GetParamInt("BUTTON_ID") == 1; });
    CondMessage message("ON");
    EXPECT_FALSE(conditions.Test(message));
    message.Append({"BUTTON_ID", "INT", "1"});
    EXPECT_TRUE(conditions.Test(message));
}

TEST_F(DispatchersTest, SeveralConditionHandlers_AllRunAndTheLastCounts)
{
    conditions.RegisterCond("ON",
                            [&](const ICondMessage&, unsigned*)
                            {
                                Note("first");
                                return true;
                            });
    conditions.RegisterCond("ON",
                            [&](const ICondMessage&, unsigned*)
                            {
                                Note("last");
                                return false;
                            });
    EXPECT_FALSE(conditions.Test(CondMessage("ON")));
    EXPECT_EQ((Strings{"first", "last"}), Seen());
}

TEST_F(DispatchersTest, RemovedOrClearedCondition_IsFalse)
{
    const auto yes = [](const ICondMessage&, unsigned*)
    {
        return true;
    };
    conditions.RegisterCond("ON", yes);
    conditions.RegisterCond("OFF", yes);
    conditions.RemoveCond("ON");
    EXPECT_FALSE(conditions.Test(CondMessage("ON")));
    EXPECT_TRUE(conditions.Test(CondMessage("OFF")));
    conditions.Clear();
    EXPECT_FALSE(conditions.Test(CondMessage("OFF")));
}
} // namespace
