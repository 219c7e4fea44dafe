#include "lighting_common/ContactButton.h"

#include "tests/lighting_common/RecordingButtonOwner.h"

#include <stdexcept>
#include <utility>

#include <climits>

using button_test::Lines;
using button_test::NO_LINES;
using button_test::RecordingButtonOwner;
using button_test::StateNode;

namespace
{
class ContactButtonTest : public testing::Test
{
protected:
    RecordingButtonOwner owner;
    ContactButton contact{0, 1, owner, nullptr};
    ContactButton second{1, 2, owner, nullptr};

    void With(int behavior, int ledBehavior)
    {
        contact.SetBehavior(behavior, false);
        contact.SetLEDBehavior(ledBehavior, false);
        owner.Take();
    }
};

struct LedRow
{
    int ledBehavior;
    Lines requests;
};

// A driver's own contact, whose local actions leave the state alone.
class OwnLocalActions : public ContactButton
{
public:
    using ContactButton::ContactButton;
    void DoPush() override { PuckButton::DoPush(); }
    void DoRelease() override { PuckButton::DoRelease(); }
};

// The five requests of contact 0 for each LED behaviour; the contact's device number is 7.
const LedRow LED_ROWS[] = {
    {0,
     {"set nx.dmx.led 0 1 2", "set nx.dmx.led 0 0 7", "set nx.dmx.led 0 2 0",
      "set nx.dmx.led 0 3 '000000'", "set nx.dmx.led 0 4 'ffffff'"}},
    {1,
     {"set nx.dmx.led 0 1 2", "set nx.dmx.led 0 0 7", "set nx.dmx.led 0 2 0",
      "set nx.dmx.led 0 3 'ffffff'", "set nx.dmx.led 0 4 '000000'"}},
    {2,
     {"set nx.dmx.led 0 1 1", "set nx.dmx.led 0 0 0", "set nx.dmx.led 0 2 1",
      "set nx.dmx.led 0 3 'ffffff'", "set nx.dmx.led 0 4 '000000'"}},
    {3,
     {"set nx.dmx.led 0 1 1", "set nx.dmx.led 0 0 0", "set nx.dmx.led 0 2 2",
      "set nx.dmx.led 0 3 '000000'", "set nx.dmx.led 0 4 'ffffff'"}},
    {4,
     {"set nx.dmx.led 0 1 4", "set nx.dmx.led 0 0 0", "set nx.dmx.led 0 2 0",
      "set nx.dmx.led 0 3 '000000'", "set nx.dmx.led 0 4 '000000'"}},
};
} // namespace

TEST_F(ContactButtonTest, BaseEventNumber_Is6000)
{
    EXPECT_EQ(ContactButton::BASE_EVENT_NUM, 6000);
}

TEST_F(ContactButtonTest, Fresh_HasBothBehaviorsTwoAndItsNumberAsBinding)
{
    EXPECT_EQ(contact.GetBehavior(), 2);
    EXPECT_EQ(contact.GetLEDBehavior(), 2);
    EXPECT_EQ(contact.GetCurState(), 0);
    EXPECT_EQ(contact.GetLinkControlBinding(), 1u);
    EXPECT_EQ(second.GetLinkControlBinding(), 2u);
}

TEST_F(ContactButtonTest, PushAndRelease_FireTheEventsOfEachContact)
{
    contact.DoPush();
    contact.DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"event 6001", "event 6000"}));
    second.DoPush();
    second.DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"event 6011", "event 6010"}));
}

TEST_F(ContactButtonTest, PersistState_HoldsNumberAndBothBehaviorsInOrder)
{
    second.SetBehavior(5, false);
    second.SetLEDBehavior(4, false);
    owner.Take();
    EXPECT_EQ(second.GetPersistState()->ToText(),
              "<CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER><AUX_BEHAVIOR>5</AUX_BEHAVIOR>"
              "<AUX_LEDS>4</AUX_LEDS></CONTACT_STATUS>");
}

TEST_F(ContactButtonTest, PersistedState_RestoresBothAndIsSentWithTheLedState)
{
    ContactButton restored(0, 1, owner,
                           StateNode("CONTACT_STATUS", {{"AUX_LEDS", "4"}, {"AUX_BEHAVIOR", "5"}}));
    EXPECT_EQ(restored.GetLEDBehavior(), 4);
    EXPECT_EQ(restored.GetBehavior(), 5);
    EXPECT_EQ(owner.Take(), NO_LINES);
    restored.SendSettingsToHW();
    EXPECT_EQ(owner.Take(),
              Lines({"set nx.dmx.btn 7 1 5", "set nx.dmx.led 0 1 4", "set nx.dmx.led 0 0 0",
                     "set nx.dmx.led 0 2 0", "set nx.dmx.led 0 3 '000000'",
                     "set nx.dmx.led 0 4 '000000'", "set nx.dmx.led 0 5 '000000'"}));
}

TEST_F(ContactButtonTest, PersistedStateWithoutChildren_ReadsAsZero)
{
    const ContactButton restored(0, 1, owner, StateNode("CONTACT_STATUS", {}));
    EXPECT_EQ(restored.GetLEDBehavior(), 0);
    EXPECT_EQ(restored.GetBehavior(), 0);
    EXPECT_EQ(restored.GetCurState(), 0);
}

TEST_F(ContactButtonTest, PersistedBehavior_IsAuxBehaviorNotBehavior)
{
    const ContactButton restored(
        0, 1, owner,
        StateNode("CONTACT_STATUS", {{"BEHAVIOR", "4"}, {"AUX_BEHAVIOR", "1"}, {"AUX_LEDS", "3"}}));
    EXPECT_EQ(restored.GetBehavior(), 1);
}

TEST_F(ContactButtonTest, SetBehavior_SendsTheDeviceNumberAndOnlyChangesUnlessForced)
{
    contact.SetBehavior(2, false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    contact.SetBehavior(2, true);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 7 1 2"}));
    second.SetBehavior(4, false);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 8 1 4"}));
    EXPECT_EQ(second.GetBehavior(), 4);
}

TEST_F(ContactButtonTest, SetCurState_SendsThePlainIdAndAColor)
{
    second.SetCurState(0, false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    second.SetCurState(0, true);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.led 1 5 '000000'"}));
    second.SetCurState(1, false);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.led 1 5 'ffffff'"}));
    second.SetCurState(2, false);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.led 1 5 '000000'"}));
    EXPECT_EQ(second.GetCurState(), 2);
}

TEST_F(ContactButtonTest, SetLEDBehavior_SendsFiveRequestsForEachRow)
{
    for (const LedRow& row : LED_ROWS)
    {
        contact.SetLEDBehavior(row.ledBehavior, true);
        EXPECT_EQ(owner.Take(), row.requests) << row.ledBehavior;
        EXPECT_EQ(contact.GetLEDBehavior(), row.ledBehavior);
    }
}

TEST_F(ContactButtonTest, SetLEDBehaviorOfTheSecondContact_NamesItsIdAndDeviceNumber)
{
    second.SetLEDBehavior(1, false);
    EXPECT_EQ(owner.Take(),
              Lines({"set nx.dmx.led 1 1 2", "set nx.dmx.led 1 0 8", "set nx.dmx.led 1 2 0",
                     "set nx.dmx.led 1 3 'ffffff'", "set nx.dmx.led 1 4 '000000'"}));
}

TEST_F(ContactButtonTest, SetLEDBehaviorToTheInitialValue_SendsOnlyWhenForced)
{
    contact.SetLEDBehavior(2, false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    contact.SetLEDBehavior(2, true);
    EXPECT_EQ(owner.Take(), LED_ROWS[2].requests);
}

TEST_F(ContactButtonTest, SetLEDBehaviorOutsideTheTable_IsKeptAndNotSent)
{
    for (const int outside : {5, INT_MAX, -1, INT_MIN})
    {
        contact.SetLEDBehavior(outside, true);
        EXPECT_EQ(contact.GetLEDBehavior(), outside);
        contact.UpdateState();
        EXPECT_EQ(contact.GetCurState(), 0);
    }
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(ContactButtonTest, LedBehaviorZero_ShowsTheContactInverse)
{
    With(2, 0);
    contact.SetStatus(0);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.SetStatus(1);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.LightLevel(100);
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, LedBehaviorOne_ShowsTheContact)
{
    With(2, 1);
    contact.SetStatus(1);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.SetStatus(0);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.LightLevel(100);
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, LedBehaviorTwo_ShowsTheLoad)
{
    contact.LightLevel(1);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.LightLevel(0);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.LightLevel(-1);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.SetStatus(1);
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, LedBehaviorThree_ShowsTheLoadInverse)
{
    With(2, 3);
    contact.LightLevel(0);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.LightLevel(40);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.LightLevel(-1);
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, LedBehaviorFour_KeepsWhatTheControllerSet)
{
    With(2, 4);
    contact.SetCurState(1, true);
    owner.Take();
    contact.LightLevel(0);
    contact.SetStatus(0);
    EXPECT_EQ(contact.GetCurState(), 1);
}

TEST_F(ContactButtonTest, LightLevelInBehaviorThree_CountsUnlikeForOtherButtons)
{
    With(3, 2);
    contact.LightLevel(100);
    EXPECT_EQ(contact.GetCurState(), 1);
}

TEST_F(ContactButtonTest, StateChangesFromContactAndLoad_SendNothing)
{
    With(2, 1);
    contact.DoPush();
    contact.LightLevel(50);
    contact.SetStatus(0);
    EXPECT_EQ(owner.Take(), Lines({"event 6001"}));
}

TEST_F(ContactButtonTest, SetLEDBehavior_DoesNotWorkTheStateOut)
{
    contact.LightLevel(0);
    contact.SetLEDBehavior(3, false);
    owner.Take();
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, PushReleaseAndClick_MoveTheStateAlong)
{
    With(2, 1);
    contact.DoPush();
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.DoRelease();
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.DoPush();
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 0);
    EXPECT_EQ(owner.Take(), Lines({"event 6001", "event 6000", "event 6001", "event 6000"}));
}

TEST_F(ContactButtonTest, RemotePushAndRelease_ActAndMoveTheStateAlong)
{
    With(1, 1);
    contact.RemotePush();
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.RemoteRelease();
    EXPECT_EQ(contact.GetCurState(), 0);
    EXPECT_EQ(owner.Take(), Lines({"invoke nx.dmx.rbp 14 1", "event 6001", "invoke nx.dmx.rbp 14 0",
                                   "event 6000"}));
}

TEST_F(ContactButtonTest, RemoteActions_MoveTheStateAlongWhateverTheLocalOnesDo)
{
    OwnLocalActions own(0, 1, owner, nullptr);
    own.SetLEDBehavior(1, false);
    owner.Take();
    own.RemotePush();
    EXPECT_EQ(own.GetCurState(), 1);
    own.RemoteRelease();
    EXPECT_EQ(own.GetCurState(), 0);
    EXPECT_EQ(owner.Take().size(), 4u);
}

TEST_F(ContactButtonTest, RemotePushAndReleaseInBehaviorsFourAndFive_DoNothingAtAll)
{
    for (const int behavior : {4, 5})
    {
        With(behavior, 0);
        contact.RemotePush();
        contact.RemoteRelease();
        EXPECT_EQ(owner.Take(), NO_LINES) << behavior;
        EXPECT_EQ(contact.GetCurState(), 0) << behavior;
    }
}

TEST_F(ContactButtonTest, RemoteClickThenTheDevicesReport_TurnsOverOnce)
{
    for (const int behavior : {4, 5})
    {
        With(behavior, 1);
        contact.SetStatus(0);
        contact.RemoteClick();
        EXPECT_EQ(contact.GetCurState(), 1) << behavior;
        contact.DoClick();
        EXPECT_EQ(contact.GetCurState(), 1) << behavior;
        contact.DoClick();
        EXPECT_EQ(contact.GetCurState(), 0) << behavior;
        owner.Take();
    }
}

TEST_F(ContactButtonTest, TwoRemoteClicks_LeaveNoReportPending)
{
    With(4, 1);
    contact.RemoteClick();
    contact.RemoteClick();
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 1);
    EXPECT_EQ(owner.Take(), Lines({"invoke nx.dmx.rbp 15 2", "event 6002", "invoke nx.dmx.rbp 15 2",
                                   "event 6002"}));
}

TEST_F(ContactButtonTest, RemoteClickInOtherBehaviors_LeavesNoReportPending)
{
    With(2, 1);
    contact.RemoteClick();
    EXPECT_EQ(owner.Take(), Lines({"invoke nx.dmx.rbp 15 2", "event 6000", "event 6002"}));
    contact.SetStatus(1);
    contact.SetBehavior(4, false);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 0);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 7 1 4"}));
}

namespace
{
// Throws once in one of its operations.
class ThrowingOwner : public RecordingButtonOwner
{
public:
    void SendButtonBoundCall(unsigned binding, const std::string& cmd) override
    {
        ThrowIf(inCalls);
        RecordingButtonOwner::SendButtonBoundCall(binding, cmd);
    }
    void InvokeMIBForButton(std::string mib, int a, int b) override
    {
        ThrowIf(inRequests);
        RecordingButtonOwner::InvokeMIBForButton(mib, a, b);
    }
    bool inCalls = false;
    bool inRequests = false;

private:
    static void ThrowIf(bool& throws)
    {
        if (std::exchange(throws, false))
            throw std::runtime_error("the owner fails");
    }
};

class FailingContactTest : public testing::Test
{
protected:
    // A contact that only knows clicks, with an LED that follows it, or one with pushes.
    void With(int behavior)
    {
        contact.SetBehavior(behavior, false);
        contact.SetLEDBehavior(1, false);
        contact.SetControlBoundFlag(true);
        owner.Take();
    }
    ~FailingContactTest() override { owner.Take(); }

    ThrowingOwner owner;
    ContactButton contact{0, 1, owner, nullptr};
};
} // namespace

TEST_F(FailingContactTest, ClickThatCannotBeTold_MovesTheContactAllTheSame)
{
    With(4);
    owner.inCalls = true;
    EXPECT_THROW(contact.DoClick(), std::runtime_error);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(FailingContactTest, PushAndReleaseThatCannotBeTold_MoveTheState)
{
    With(2);
    owner.inCalls = true;
    EXPECT_THROW(contact.DoPush(), std::runtime_error);
    EXPECT_EQ(contact.GetCurState(), 1);
    owner.inCalls = true;
    EXPECT_THROW(contact.DoRelease(), std::runtime_error);
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(FailingContactTest, RemoteClickThatNeverLeft_AwaitsNoReport)
{
    With(4);
    owner.inRequests = true;
    EXPECT_THROW(contact.RemoteClick(), std::runtime_error);
    EXPECT_EQ(contact.GetCurState(), 0);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 1);
}

TEST_F(FailingContactTest, RemoteClickThatLeftAndCannotBeTold_AwaitsItsReport)
{
    With(4);
    owner.inCalls = true;
    EXPECT_THROW(contact.RemoteClick(), std::runtime_error);
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 1);
    contact.DoClick();
    EXPECT_EQ(contact.GetCurState(), 0);
}

TEST_F(ContactButtonTest, HoldTimerExpiry_ReleasesAndMovesTheStateAlong)
{
    With(2, 1);
    owner.ReportsHold(true);
    contact.DoPush();
    owner.LetTimerFire(1);
    contact.OnHoldTimerExpired();
    EXPECT_EQ(contact.GetCurState(), 0);
    EXPECT_EQ(owner.Take(), Lines({"start timer 1", "event 6001", "kill timer 1", "event 6000"}));
}

TEST_F(ContactButtonTest, SendSettingsToHW_SendsBothSettings)
{
    contact.SendSettingsToHW();
    Lines expected = {"set nx.dmx.btn 7 1 2"};
    expected.insert(expected.end(), LED_ROWS[2].requests.begin(), LED_ROWS[2].requests.end());
    EXPECT_EQ(owner.Take(), expected);
}

TEST_F(ContactButtonTest, SendStatusToUI_SendsThePersistedState)
{
    contact.SendStatusToUI();
    EXPECT_EQ(owner.Take(),
              Lines({"ui <CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER><AUX_BEHAVIOR>2"
                     "</AUX_BEHAVIOR><AUX_LEDS>2</AUX_LEDS></CONTACT_STATUS>"}));
}
