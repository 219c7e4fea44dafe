#include "lighting_common/Bus485Helper.h"

#include "tests/lighting_common/BusDoubles.h"
#include "tests/lighting_common/Gen3Doubles.h"
#include "tests/support/LogSwitchedOff.h"

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

using bus_test::Message;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using State = Bus485Helper::State;

const std::string SOURCE = "lighting_common/Bus485Helper";

class Bus485HelperTest : public testing::Test
{
protected:
    Bus485HelperTest()
    {
        host.ExpectSource(SOURCE, "Bus485Helper::");
        helper = std::make_unique<Bus485Helper>(instances);
        helper->setOwner(&owner);
    }
    ~Bus485HelperTest() override
    {
        EXPECT_THAT(owner.TakeSent(), IsEmpty()) << "never looked at";
        EXPECT_EQ(owner.TakeTimesOffline(), 0) << "never looked at";
        record.Forget();
    }

    void Online()
    {
        helper->setGatewayOnline(true);
        helper->setDeviceOnline(true);
    }
    void Queue(int opcode, const std::vector<std::uint8_t>& payload = {})
    {
        helper->queueMessage(opcode, payload.data(), static_cast<int>(payload.size()));
    }
    void Answered()
    {
        helper->resetRetryCounter();
        helper->sendNext();
    }
    // Entries without a timer: what remains when a send was refused.
    void GivenStalled(std::initializer_list<int> opcodes)
    {
        Online();
        for (int opcode : opcodes)
            Queue(opcode);
        helper->setGatewayOnline(false);
        helper->sendQueueFront();
        helper->setGatewayOnline(true);
        owner.TakeSent();
        record.Forget();
    }
    gen3_test::Lines Logged() { return record.Take(); }

    gen3_test::Record record;
    gen3_test::TestHost host{record};
    bus_test::TestTimers timers;
    bus_test::TestInstances instances{&timers};
    bus_test::RecordingBusOwner owner;
    std::unique_ptr<Bus485Helper> helper;
};
} // namespace

// --- Construction and end ---

TEST_F(Bus485HelperTest, NewHelper_IsOfflineAndEmpty)
{
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    EXPECT_EQ(helper->getRetryTimer(), 0u);
    EXPECT_EQ(helper->getRetryCount(), 0);
    EXPECT_FALSE(helper->isGatewayOnline());
    EXPECT_FALSE(helper->isDeviceOnline());
    EXPECT_EQ(helper->getState(), State::Offline);
}

TEST_F(Bus485HelperTest, NoTimerManager_IsReportedAndSurvived)
{
    bus_test::TestInstances none(nullptr);
    Bus485Helper lame(none);
    EXPECT_THAT(Logged(), ElementsAre("assert " + SOURCE + ":24"));
    lame.setOwner(&owner);
    lame.setGatewayOnline(true);
    lame.setDeviceOnline(true);
    lame.queueMessage(1, nullptr, 0);
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":201"));
    lame.sendNext();
    lame.resetQueue();
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":73"));
}

TEST_F(Bus485HelperTest, NoOwner_IsReportedAndSurvived)
{
    helper->setOwner(nullptr);
    Online();
    helper->sendQueueFront();
    EXPECT_THAT(Logged(), ElementsAre("assert " + SOURCE + ":200"));
    Queue(1);
    helper->sendNext();
    helper->sendInstant(1, nullptr, 0);
    helper->resetQueue();
    EXPECT_EQ(helper->getQueuedCount(), 0u);
}

TEST_F(Bus485HelperTest, Destruction_StopsTheTimer)
{
    Online();
    Queue(1);
    ASSERT_EQ(timers.Running().size(), 1u);
    helper.reset();
    EXPECT_TRUE(timers.Running().empty());
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
}

// --- Queueing ---

TEST_F(Bus485HelperTest, QueueIntoIdle_SendsAtOnceWithItsParametersInOrder)
{
    Online();
    Queue(4736, {1, 2});
    EXPECT_THAT(owner.TakeSent(), ElementsAre("485_BUS_MESSAGE DEVICE_ID:INT=7 OPCODE:INT=4736 "
                                              "PAYLOAD:STRING=AQI="));
    EXPECT_THAT(Logged(),
                ElementsAre("TRACE Bus485Helper(7)hall::queueMessage(): queing message, opcode: "
                            "4736, payload: AQI=",
                            "DEBUG Bus485Helper(7)hall::queueMessage(): Sending message to the "
                            "Gatweay Driver queue",
                            "DEBUG Bus485Helper(7)hall::sendQueueFront(): message send to gateway "
                            "driver, response expected.  Retry timer set for: 20000 milliseconds"));
}

TEST_F(Bus485HelperTest, QueueWithoutPayload_AddsNone)
{
    Online();
    helper->queueMessage(1, nullptr, 5);
    Answered();
    const std::uint8_t byte = 9;
    helper->queueMessage(2, &byte, 0);
    Answered();
    helper->queueMessage(3, &byte, -1);
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(2), Message(3)));
}

TEST_F(Bus485HelperTest, QueueWhileOffline_DropsWithYesAndNo)
{
    struct Row
    {
        bool gateway;
        bool device;
        const char* text;
    };
    const Row rows[] = {
        {false, false, "Gateway Online: No, Device Online: No"},
        {true, false, "Gateway Online: Yes, Device Online: No"},
        {false, true, "Gateway Online: No, Device Online: Yes"},
    };
    for (const Row& row : rows)
    {
        helper->setGatewayOnline(row.gateway);
        helper->setDeviceOnline(row.device);
        Queue(1);
        EXPECT_THAT(Logged(),
                    ElementsAre("TRACE Bus485Helper(7)hall::queueMessage(): queing message, "
                                "opcode: 1, payload: ",
                                std::string("DEBUG Bus485Helper(7)hall::queueMessage(): Not queing "
                                            "packet, ") +
                                    row.text));
        EXPECT_EQ(helper->getQueuedCount(), 0u);
    }
}

TEST_F(Bus485HelperTest, QueueInTransit_AppendsWithoutSending)
{
    Online();
    Queue(1);
    owner.TakeSent();
    record.Forget();
    Queue(2);
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    EXPECT_THAT(Logged(),
                ElementsAre("TRACE Bus485Helper(7)hall::queueMessage(): queing message, opcode: 2, "
                            "payload: ",
                            "DEBUG Bus485Helper(7)hall::queueMessage(): a message is already in "
                            "transit, not sending. (Retry Timer Active: 1) (Queued Messages: 2"));
}

TEST_F(Bus485HelperTest, QueueIntoStalled_SaysThatItIsOddAndSendsTheFrontAgain)
{
    GivenStalled({1});
    Queue(2);
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    const gen3_test::Lines logged = Logged();
    ASSERT_EQ(logged.size(), 4u);
    EXPECT_EQ(logged[1],
              "DEBUG Bus485Helper(7)hall::queueMessage(): This is odd, there is no timer "
              "running but messages are in the queue.  Lets skip whatever packet is "
              "stuck and move on to the next.  (Queued Messages: 2");
    EXPECT_EQ(logged[2],
              "DEBUG Bus485Helper(7)hall::queueMessage(): Sending message to the Gatweay "
              "Driver queue");
}

// --- Consolidation ---

TEST_F(Bus485HelperTest, ExactlyFiveOpcodesAreFolded)
{
    std::vector<int> folded;
    for (int opcode = 0x1000; opcode < 0x1600; opcode += 0x10)
    {
        Online();
        Queue(1);
        Queue(opcode, {1});
        Queue(opcode, {2});
        if (helper->getQueuedCount() == 2)
            folded.push_back(opcode);
        helper->resetQueue();
    }
    EXPECT_THAT(folded, ElementsAre(0x1110, 0x1280, 0x12C0, 0x13C0, 0x14C0));
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, Folding_KeepsTheNewerPayload)
{
    Online();
    Queue(1);
    Queue(0x12C0, {1});
    record.Forget();
    Queue(0x12C0, {2});
    EXPECT_THAT(Logged(), testing::Contains("DEBUG Bus485Helper(7)hall::queueMessage(): Swapping "
                                            "consolidated opcode for new version that was just "
                                            "queued"));
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(0x12C0, "Ag==")));
    EXPECT_EQ(helper->getQueuedCount(), 1u);
}

TEST_F(Bus485HelperTest, FoldingWithTheLogSwitchedOff_FoldsAlike)
{
    const test_support::LogSwitchedOff off;
    Online();
    Queue(1);
    Queue(0x12C0, {1});
    Queue(0x12C0, {2});
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(0x12C0, "Ag==")));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(Bus485HelperTest, TheFrontIsNeverFolded)
{
    Online();
    Queue(0x12C0, {1});
    Queue(0x12C0, {2});
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(0x12C0, "AQ=="), Message(0x12C0, "Ag==")));
}

TEST_F(Bus485HelperTest, OnlyTheVeryBackIsFolded)
{
    Online();
    for (int opcode : {1, 0x1280, 0x12C0, 0x1280})
        Queue(opcode);
    EXPECT_EQ(helper->getQueuedCount(), 4u);
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, Folding_MayTakeAwayThePayload)
{
    Online();
    Queue(1);
    Queue(0x1110, {1});
    Queue(0x1110);
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(0x1110)));
}

// --- Answers ---

TEST_F(Bus485HelperTest, Answer_SendsTheNextWithAFreshTimer)
{
    Online();
    Queue(1);
    Queue(2);
    record.Forget();
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(2)));
    EXPECT_EQ(timers.Running().size(), 1u);
    EXPECT_THAT(Logged(),
                ElementsAre("DEBUG Bus485Helper(7)hall::resetRetryCounter(): resetting retry "
                            "counter",
                            "DEBUG Bus485Helper(7)hall::sendNext(): retryTimer active, killing it.",
                            "DEBUG bus485helper(7)::sendNext(): is sending next Message to the "
                            "gateway transmit queue, 2 packets queued still.",
                            "DEBUG Bus485Helper(7)hall::sendQueueFront(): message send to gateway "
                            "driver, response expected.  Retry timer set for: 20000 milliseconds"));
}

TEST_F(Bus485HelperTest, AnswerToTheLast_LeavesNothing)
{
    Online();
    Queue(1);
    record.Forget();
    helper->sendNext();
    EXPECT_EQ(helper->getState(), State::Idle);
    EXPECT_TRUE(timers.Running().empty());
    EXPECT_THAT(Logged(),
                ElementsAre("DEBUG Bus485Helper(7)hall::sendNext(): retryTimer active, killing it.",
                            "DEBUG bus485helper(7)::sendNext(): is sending next Message to the "
                            "gateway transmit queue, 1 packets queued still.",
                            "DEBUG Bus485Helper(7)hall::sendQueueFront(): queue is empty, can't "
                            "send front of message queue if empty"));
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, SendNextOnEmpty_LogsAndSendsNothing)
{
    Online();
    helper->sendNext();
    EXPECT_THAT(Logged(), ElementsAre("DEBUG bus485helper(7)::sendNext(): is empty, can't sendNext "
                                      "message since there isn't one to send."));
}

TEST_F(Bus485HelperTest, SendNext_LeavesTheRetryCount)
{
    Online();
    Queue(1);
    timers.Expire();
    helper->sendNext();
    EXPECT_EQ(helper->getRetryCount(), 1);
    helper->resetRetryCounter();
    EXPECT_EQ(helper->getRetryCount(), 0);
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, AnswerInsideTheSend_GoesOnWithTheNext)
{
    Online();
    Queue(1);
    Queue(2);
    Queue(3);
    owner.onSend = [this]
    {
        Answered();
    };
    Answered();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(2), Message(3)));
    EXPECT_EQ(helper->getState(), State::Idle);
    EXPECT_TRUE(timers.Running().empty());
}

// --- Retries ---

TEST_F(Bus485HelperTest, RetryTime_IsDrawnBetweenMinimumAndMaximum)
{
    gen3_test::TestHost random(record, embedded_host::Draw::Random);
    random.ExpectSource(SOURCE, "Bus485Helper::");
    Online();
    Queue(1);
    std::vector<std::uint64_t> drawn;
    for (int i = 0; i < 200; ++i)
    {
        drawn.push_back(timers.Running().at(0).amount);
        helper->sendQueueFront();
    }
    EXPECT_THAT(drawn, testing::Each(testing::AllOf(testing::Ge(20000u), testing::Le(40000u))));
    EXPECT_THAT(drawn, testing::Contains(testing::Lt(25000u)));
    EXPECT_THAT(drawn, testing::Contains(testing::Gt(35000u)));
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, RetryTimes_CanBeSet)
{
    gen3_test::TestHost high(record, embedded_host::Draw::High);
    high.ExpectSource(SOURCE, "Bus485Helper::");
    Online();
    helper->setMinRetryTime(10);
    helper->setMaxRetryTime(11);
    Queue(1);
    EXPECT_EQ(timers.Running().at(0).amount, 11u);
    helper->setMinRetryTime(-5);
    helper->setMaxRetryTime(-5);
    helper->sendQueueFront();
    EXPECT_EQ(timers.Running().at(0).amount, 0u);
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, FirstExpiry_SendsTheFrontAgain)
{
    Online();
    Queue(1);
    owner.TakeSent();
    record.Forget();
    timers.Expire();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
    EXPECT_THAT(Logged(),
                ElementsAre("DEBUG Bus485Helper(7)hall::OnTimerExpired(): Timer expired, retry "
                            "attempt:1, milliseconds elapsed: 20000",
                            "DEBUG Bus485Helper(7)hall::OnTimerExpired(): didn't hear back, "
                            "resending front of queue",
                            "TRACE Bus485Helper(7)hall::sendQueueFront(): Timer was running, "
                            "clearing old timer.",
                            "DEBUG Bus485Helper(7)hall::sendQueueFront(): message send to gateway "
                            "driver, response expected.  Retry timer set for: 20000 milliseconds"));
}

TEST_F(Bus485HelperTest, ThirdExpiry_GivesTheDeviceUpAndKeepsTheQueue)
{
    Online();
    Queue(1);
    Queue(2);
    timers.Expire();
    timers.Expire();
    record.Forget();
    timers.Expire();
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1), Message(1), Message(1)));
    EXPECT_EQ(owner.TakeTimesOffline(), 1);
    EXPECT_FALSE(helper->isDeviceOnline());
    EXPECT_TRUE(helper->isGatewayOnline());
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    EXPECT_TRUE(timers.Running().empty());
    EXPECT_THAT(Logged(),
                ElementsAre("DEBUG Bus485Helper(7)hall::OnTimerExpired(): Timer expired, retry "
                            "attempt:3, milliseconds elapsed: 20000",
                            "WARN Bus485Helper(7)hall::OnTimerExpired(): being marked offline due "
                            "to 3 attempts failed."));
}

TEST_F(Bus485HelperTest, OwnerThatIsGoneAtTheThirdExpiry_IsNotToldAndTheWarningHasNoName)
{
    Online();
    Queue(1);
    timers.Expire();
    timers.Expire();
    EXPECT_EQ(owner.TakeSent().size(), 3u);
    helper->setOwner(nullptr);
    record.Forget();
    timers.Expire();
    EXPECT_EQ(owner.TakeTimesOffline(), 0);
    EXPECT_FALSE(helper->isDeviceOnline());
    EXPECT_EQ(Logged().back(), "WARN Bus485Helper(0)::OnTimerExpired(): being marked offline due "
                               "to 3 attempts failed.");
}

TEST_F(Bus485HelperTest, BackOnlineWithoutAnAnswer_TheNextExpiryGivesUpAtOnce)
{
    Online();
    Queue(1);
    for (int i = 0; i < 3; ++i)
        timers.Expire();
    owner.TakeSent();
    helper->setDeviceOnline(true);
    helper->sendQueueFront();
    record.Forget();
    timers.Expire();
    EXPECT_EQ(owner.TakeTimesOffline(), 2);
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
    EXPECT_EQ(Logged().back(), "WARN Bus485Helper(7)hall::OnTimerExpired(): being marked offline "
                               "due to 4 attempts failed.");
}

TEST_F(Bus485HelperTest, OtherTimers_ChangeNothing)
{
    helper->OnTimerExpired(0, 0);
    Online();
    Queue(1);
    record.Forget();
    helper->OnTimerExpired(0, 0);
    helper->OnTimerExpired(helper->getRetryTimer() + 1, 5000000);
    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_EQ(helper->getRetryCount(), 0);
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, DestroyedInsideTheOfflineCall_StillWarns)
{
    Online();
    Queue(1);
    timers.Expire();
    timers.Expire();
    owner.onOffline = [this]
    {
        helper.reset();
    };
    record.Forget();
    timers.Expire();
    EXPECT_EQ(Logged().back(), "WARN Bus485Helper(7)hall::OnTimerExpired(): being marked offline "
                               "due to 3 attempts failed.");
    EXPECT_EQ(owner.TakeTimesOffline(), 1);
    owner.TakeSent();
}

TEST_F(Bus485HelperTest, DestroyedInsideTheSend_IsLeftAlone)
{
    Online();
    owner.onSend = [this]
    {
        helper.reset();
    };
    Queue(1);
    EXPECT_TRUE(timers.Running().empty());
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
}

// --- The gate ---

TEST_F(Bus485HelperTest, SendFrontWhileOffline_StopsTheTimerAndSaysWhy)
{
    Online();
    Queue(1);
    helper->setGatewayOnline(false);
    helper->setDeviceOnline(false);
    record.Forget();
    helper->sendQueueFront();
    EXPECT_THAT(Logged(),
                ElementsAre("TRACE Bus485Helper(7)hall::sendQueueFront(): Timer was running, "
                            "clearing old timer.",
                            "DEBUG Bus485Helper(7)hall::sendQueueFront(): gateway is offline, "
                            "can't send front of message queue"));
    helper->setGatewayOnline(true);
    helper->sendQueueFront();
    EXPECT_THAT(Logged(), ElementsAre("DEBUG Bus485Helper(7)hall::sendQueueFront(): device is "
                                      "offline, can't send front of message queue"));
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(1)));
}

// --- Instant messages ---

TEST_F(Bus485HelperTest, Instant_LeavesEvenOfflineAndTouchesNothing)
{
    const std::uint8_t bytes[] = {0xF0};
    helper->sendInstant(5, bytes, 1);
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(5, "8A==")));
    EXPECT_THAT(Logged(), ElementsAre("DEBUG Bus485Helper(7)hall::sendInstant(): Sending Instant "
                                      "Message"));
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    EXPECT_TRUE(timers.Running().empty());
}

TEST_F(Bus485HelperTest, InstantWithoutPayload_HasIdAndOpcodeOnly)
{
    const std::uint8_t byte = 1;
    helper->sendInstant(5, nullptr, 1);
    helper->sendInstant(6, &byte, 0);
    helper->sendInstant(7, &byte, -1);
    EXPECT_THAT(owner.TakeSent(), ElementsAre(Message(5), Message(6), Message(7)));
}

// --- Reset ---

TEST_F(Bus485HelperTest, Reset_DropsTheQueueTheTimerAndTheAttempts)
{
    Online();
    Queue(1);
    Queue(2);
    timers.Expire();
    record.Forget();
    helper->resetQueue();
    EXPECT_THAT(Logged(), ElementsAre("DEBUG Bus485Helper(7)hall::resetQueue(): resetting queue"));
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    EXPECT_EQ(helper->getRetryCount(), 0);
    EXPECT_EQ(helper->getRetryTimer(), 0u);
    EXPECT_TRUE(timers.Running().empty());
    owner.TakeSent();
}

// --- Queued texts that cannot be read ---

namespace
{
// A message that writes something else than a command.
class UnreadableMessage : public embedded_host::CmdMessage
{
public:
    explicit UnreadableMessage(std::string xml) : CmdMessage("X"), m_xml(std::move(xml)) {}
    std::string ToXml() const override { return m_xml; }

private:
    std::string m_xml;
};

class UnreliableOwner : public bus_test::RecordingBusOwner
{
public:
    boost::shared_ptr<ICmdMessage> CreateMessage() override
    {
        if (createsLeft-- == 0)
            return nullptr;
        if (!spoil)
            return RecordingBusOwner::CreateMessage();
        return boost::make_shared<UnreadableMessage>(spoiltXml);
    }
    bool spoil = false;
    std::string spoiltXml = "<command";
    // After that many it creates none; a negative number is for ever.
    int createsLeft = -1;
};
} // namespace

TEST_F(Bus485HelperTest, UnreadableFront_IsReportedAndDoesNotBlockTheOthers)
{
    UnreliableOwner unreliable;
    helper->setOwner(&unreliable);
    Online();
    unreliable.spoil = true;
    Queue(1);
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":227"));
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    unreliable.spoil = false;
    Queue(2);
    EXPECT_THAT(unreliable.TakeSent(), ElementsAre(Message(2)));
    helper.reset();
}

TEST_F(Bus485HelperTest, FrontThatIsNoCommand_IsReportedAndRemoved)
{
    UnreliableOwner unreliable;
    helper->setOwner(&unreliable);
    Online();
    unreliable.spoil = true;
    unreliable.spoiltXml = "<somebody/>";
    Queue(1);
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":227"));
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    EXPECT_THAT(unreliable.TakeSent(), IsEmpty());
    helper.reset();
}

TEST_F(Bus485HelperTest, OwnerThatCreatesNoMessage_QueuesNothingOrSendsNothing)
{
    UnreliableOwner unreliable;
    helper->setOwner(&unreliable);
    Online();
    unreliable.createsLeft = 0;
    Queue(1);
    EXPECT_EQ(helper->getQueuedCount(), 0u);
    unreliable.createsLeft = 1;
    record.Forget();
    Queue(2);
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":227"));
    EXPECT_THAT(unreliable.TakeSent(), IsEmpty());
    helper.reset();
}

TEST_F(Bus485HelperTest, UnreadableBack_IsReportedAndNotFolded)
{
    UnreliableOwner unreliable;
    helper->setOwner(&unreliable);
    Online();
    Queue(1);
    unreliable.spoil = true;
    Queue(0x1280);
    unreliable.spoil = false;
    record.Forget();
    Queue(0x1280);
    EXPECT_THAT(Logged(), testing::Contains("assert " + SOURCE + ":107"));
    EXPECT_EQ(helper->getQueuedCount(), 3u);
    Answered();
    EXPECT_THAT(unreliable.TakeSent(), ElementsAre(Message(1), Message(0x1280)));
    helper.reset();
}

// --- Owners that fail ---

namespace
{
// Notes the order in which messages are made, written and read; those that are written throw when
// told to.
class OrderOwner : public bus_test::RecordingBusOwner
{
public:
    struct Message : embedded_host::CmdMessage
    {
        explicit Message(OrderOwner& made) : CmdMessage("485_BUS_MESSAGE"), owner(made) {}
        std::string ToXml() const override
        {
            owner.order.push_back("ToXml");
            if (owner.cannotWrite)
                throw std::runtime_error("cannot be written");
            return CmdMessage::ToXml();
        }
        bool FromXml(const boost::shared_ptr<nx::XmlNode>& command) override
        {
            owner.order.push_back("FromXml");
            return CmdMessage::FromXml(command);
        }
        int GetParamInt(const std::string& name) const override
        {
            owner.order.push_back("GetParamInt");
            return CmdMessage::GetParamInt(name);
        }
        OrderOwner& owner;
    };

    boost::shared_ptr<ICmdMessage> CreateMessage() override
    {
        order.push_back("CreateMessage");
        if (cannotCreate)
            throw std::runtime_error("no message");
        return boost::make_shared<Message>(*this);
    }

    std::vector<std::string> order;
    bool cannotWrite = false;
    bool cannotCreate = false;
};
} // namespace

TEST_F(Bus485HelperTest, NewMessage_IsWrittenBeforeTheBackIsRead)
{
    OrderOwner ordered;
    helper->setOwner(&ordered);
    Online();
    Queue(1);
    Queue(0x1280);
    ordered.order.clear();
    Queue(0x1280);
    EXPECT_THAT(ordered.order,
                ElementsAre("CreateMessage", "ToXml", "CreateMessage", "FromXml", "GetParamInt"));
    ordered.TakeSent();
    helper.reset();
}

TEST_F(Bus485HelperTest, MessageThatCannotBeWritten_LosesNothingThatWaits)
{
    OrderOwner ordered;
    helper->setOwner(&ordered);
    Online();
    Queue(1);
    Queue(0x1280, {1});
    ordered.cannotWrite = true;
    EXPECT_THROW(Queue(0x1280, {2}), std::runtime_error);
    EXPECT_EQ(helper->getQueuedCount(), 2u);
    ordered.cannotWrite = false;
    Answered();
    EXPECT_THAT(ordered.TakeSent(), ElementsAre(Message(1), Message(0x1280, "AQ==")));
    helper.reset();
}

TEST_F(Bus485HelperTest, OwnerThatThrowsAtARetry_IsAskedAgain)
{
    OrderOwner ordered;
    helper->setOwner(&ordered);
    Online();
    Queue(1);
    ordered.cannotCreate = true;
    EXPECT_THROW(timers.Expire(), std::runtime_error);
    EXPECT_EQ(helper->getState(), State::InTransit);
    EXPECT_EQ(timers.Running().size(), 1u);
    ordered.cannotCreate = false;
    EXPECT_TRUE(timers.Expire());
    EXPECT_THAT(ordered.TakeSent(), ElementsAre(Message(1), Message(1)));
    helper.reset();
}

// --- The table of states, edge by edge ---

namespace
{
enum class From
{
    Idle,
    InTransit,        // 1 in transit
    InTransitWaiting, // 1 in transit, 2 waits
    Stalled,          // 1 and 2 wait, no timer
    GivenUp,          // 1 and 2 wait, the device was given up
    OfflineEmpty,     // nothing queued, the device is offline
};

enum class Event
{
    Queue3,
    Answered,
    SendFront,
    Expiry,
    ThirdExpiry,
    DeviceOffline,
    GatewayOffline,
    Online,
    Reset,
    Instant9,
};

struct Edge
{
    From from;
    Event event;
    State to;
    std::vector<int> sent;
    std::size_t queued;
    int timesOffline = 0;
};

// What a failing row says of itself.
void PrintTo(const Edge& edge, std::ostream* os)
{
    *os << "from " << static_cast<int>(edge.from) << " by " << static_cast<int>(edge.event);
}

const Edge EDGES[] = {
    {From::Idle, Event::Queue3, State::InTransit, {3}, 1},
    {From::Idle, Event::Answered, State::Idle, {}, 0},
    {From::Idle, Event::SendFront, State::Idle, {}, 0},
    {From::Idle, Event::DeviceOffline, State::Offline, {}, 0},
    {From::Idle, Event::GatewayOffline, State::Offline, {}, 0},
    {From::Idle, Event::Reset, State::Idle, {}, 0},
    {From::Idle, Event::Instant9, State::Idle, {9}, 0},
    {From::InTransit, Event::Queue3, State::InTransit, {}, 2},
    {From::InTransit, Event::Answered, State::Idle, {}, 0},
    {From::InTransit, Event::SendFront, State::InTransit, {1}, 1},
    {From::InTransit, Event::Expiry, State::InTransit, {1}, 1},
    {From::InTransit, Event::ThirdExpiry, State::Offline, {1, 1}, 1, 1},
    {From::InTransit, Event::DeviceOffline, State::InTransit, {}, 1},
    {From::InTransit, Event::Reset, State::Idle, {}, 0},
    {From::InTransit, Event::Instant9, State::InTransit, {9}, 1},
    {From::InTransitWaiting, Event::Queue3, State::InTransit, {}, 3},
    {From::InTransitWaiting, Event::Answered, State::InTransit, {2}, 1},
    {From::InTransitWaiting, Event::Expiry, State::InTransit, {1}, 2},
    {From::InTransitWaiting, Event::ThirdExpiry, State::Offline, {1, 1}, 2, 1},
    {From::InTransitWaiting, Event::GatewayOffline, State::InTransit, {}, 2},
    {From::InTransitWaiting, Event::Reset, State::Idle, {}, 0},
    {From::Stalled, Event::Queue3, State::InTransit, {1}, 3},
    {From::Stalled, Event::Answered, State::InTransit, {2}, 1},
    {From::Stalled, Event::SendFront, State::InTransit, {1}, 2},
    {From::Stalled, Event::DeviceOffline, State::Offline, {}, 2},
    {From::Stalled, Event::Reset, State::Idle, {}, 0},
    {From::Stalled, Event::Instant9, State::Stalled, {9}, 2},
    {From::GivenUp, Event::Queue3, State::Offline, {}, 2},
    {From::GivenUp, Event::Answered, State::Offline, {}, 1},
    {From::GivenUp, Event::SendFront, State::Offline, {}, 2},
    {From::GivenUp, Event::Online, State::Stalled, {}, 2},
    {From::GivenUp, Event::Reset, State::Offline, {}, 0},
    {From::GivenUp, Event::Instant9, State::Offline, {9}, 2},
    {From::OfflineEmpty, Event::Queue3, State::Offline, {}, 0},
    {From::OfflineEmpty, Event::Answered, State::Offline, {}, 0},
    {From::OfflineEmpty, Event::SendFront, State::Offline, {}, 0},
    {From::OfflineEmpty, Event::Online, State::Idle, {}, 0},
    {From::OfflineEmpty, Event::Reset, State::Offline, {}, 0},
    {From::OfflineEmpty, Event::Instant9, State::Offline, {9}, 0},
};

// Without a log: what happens does not hang on it.
class Bus485HelperEdges : public Bus485HelperTest, public testing::WithParamInterface<Edge>
{
protected:
    ~Bus485HelperEdges() override { EXPECT_THAT(Logged(), IsEmpty()); }

    void Reach(From from)
    {
        Online();
        switch (from)
        {
        case From::Idle:
            break;
        case From::InTransit:
            Queue(1);
            break;
        case From::InTransitWaiting:
            Queue(1);
            Queue(2);
            break;
        case From::Stalled:
            GivenStalled({1, 2});
            break;
        case From::GivenUp:
            Queue(1);
            Queue(2);
            while (timers.Expire())
                ;
            break;
        case From::OfflineEmpty:
            helper->setDeviceOnline(false);
            break;
        }
        owner.TakeSent();
        owner.TakeTimesOffline();
    }

    void Happen(Event event)
    {
        switch (event)
        {
        case Event::Queue3:
            return Queue(3);
        case Event::Answered:
            return Answered();
        case Event::SendFront:
            return helper->sendQueueFront();
        case Event::Expiry:
            EXPECT_TRUE(timers.Expire());
            return;
        case Event::ThirdExpiry:
            for (int i = 0; i < 3; ++i)
                EXPECT_TRUE(timers.Expire());
            return;
        case Event::DeviceOffline:
            return helper->setDeviceOnline(false);
        case Event::GatewayOffline:
            return helper->setGatewayOnline(false);
        case Event::Online:
            return Online();
        case Event::Reset:
            return helper->resetQueue();
        case Event::Instant9:
            return helper->sendInstant(9, nullptr, 0);
        }
    }

    test_support::LogSwitchedOff logOff;
};
} // namespace

TEST_P(Bus485HelperEdges, LeadsWhereTheTableSays)
{
    const Edge& edge = GetParam();
    Reach(edge.from);
    Happen(edge.event);
    std::vector<std::string> sent;
    for (int opcode : edge.sent)
        sent.push_back(Message(opcode));
    EXPECT_EQ(owner.TakeSent(), sent);
    EXPECT_EQ(helper->getState(), edge.to);
    EXPECT_EQ(helper->getQueuedCount(), edge.queued);
    EXPECT_EQ(owner.TakeTimesOffline(), edge.timesOffline);
    EXPECT_EQ(timers.Running().size(), edge.to == State::InTransit ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Table, Bus485HelperEdges, testing::ValuesIn(EDGES));
