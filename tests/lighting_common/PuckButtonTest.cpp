#include "lighting_common/PuckButton.h"

#include "tests/lighting_common/RecordingButtonOwner.h"

#include <memory>

#include <climits>

using button_test::Lines;
using button_test::NO_LINES;
using button_test::RecordingButtonOwner;
using button_test::StateNode;

namespace
{
constexpr unsigned BINDING = 7;
// The least that makes a PuckButton whole.
class PlainButton : public PuckButton
{
public:
    PlainButton(IKeypadButtonOwner& newOwner, boost::shared_ptr<nx::XmlNode> state)
        : PuckButton(0, puck::MIBS::TYPE_CONTACT, BINDING, newOwner, std::move(state))
    {
        eventBase = 6000;
    }
    boost::shared_ptr<nx::XmlNode> GetPersistState() const override
    {
        return StateNode("PLAIN", {});
    }
    void SetBehavior(puck::MIBS::ButtonBehavior newBehavior, bool) override
    {
        behavior = newBehavior;
    }
    void SetCurState(puck::MIBS::ButtonState newState, bool) override { curState = newState; }
    void SendSettingsToHW() override {}
    void StartEventsAt(unsigned base) { eventBase = base; }
    bool IsPressed() const { return pressed != 0; }
};

// A button whose release is all its own.
class OwnRelease : public PlainButton
{
public:
    using PlainButton::PlainButton;
    void DoRelease() override { owner.FireButtonEvent(1); }
};

class PuckButtonTest : public testing::Test
{
protected:
    RecordingButtonOwner owner;
    std::unique_ptr<PlainButton> button = std::make_unique<PlainButton>(owner, nullptr);

    void WithBehavior(int behavior) { button->SetBehavior(behavior, false); }
    void Pressed()
    {
        button->DoPush();
        owner.Take();
    }
};

struct RemoteRow
{
    int behavior;
    Lines push;
    Lines release;
    Lines click;
};

// What the device is asked for, by behaviour; nothing where a list is empty.
const RemoteRow REMOTE_ROWS[] = {
    {-1, {}, {}, {}},
    {0, {"invoke nx.dmx.rbp 13 1"}, {"invoke nx.dmx.rbp 13 0"}, {"invoke nx.dmx.rbp 13 2"}},
    {1, {"invoke nx.dmx.rbp 14 1"}, {"invoke nx.dmx.rbp 14 0"}, {"invoke nx.dmx.rbp 14 2"}},
    {2, {"invoke nx.dmx.rbp 15 1"}, {"invoke nx.dmx.rbp 15 0"}, {"invoke nx.dmx.rbp 15 2"}},
    {3, {}, {}, {}},
    {4, {}, {}, {"invoke nx.dmx.rbp 15 2"}},
    {5, {}, {}, {}},
    {6, {}, {}, {}},
    {INT_MAX, {}, {}, {}},
    {INT_MIN, {}, {}, {}},
};

Lines Joined(Lines first, const Lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}
} // namespace

TEST_F(PuckButtonTest, Fresh_HasStateOffBehaviorTwoAndTheNextVariable)
{
    EXPECT_EQ(button->GetCurState(), 0);
    EXPECT_EQ(button->GetBehavior(), 2);
    EXPECT_EQ(button->GetVariableID(), 1014u);
    EXPECT_EQ(button->GetLinkControlBinding(), BINDING);
    EXPECT_FALSE(button->IsControlBound());
    EXPECT_EQ(button->GetTimerID(), 0u);
    EXPECT_EQ(button->GetReleaseEventNum(), 6000u);
    EXPECT_EQ(button->GetPressEventNum(), 6001u);
}

TEST_F(PuckButtonTest, EachButton_TakesOneVariableId)
{
    const PlainButton second(owner, nullptr);
    EXPECT_EQ(second.GetVariableID(), 1015u);
}

TEST_F(PuckButtonTest, PersistedState_GivesStateAndBehavior)
{
    const PlainButton restored(owner, StateNode("X", {{"CURRENT_STATE", "1"}, {"BEHAVIOR", "4"}}));
    EXPECT_EQ(restored.GetCurState(), 1);
    EXPECT_EQ(restored.GetBehavior(), 4);
}

TEST_F(PuckButtonTest, PersistedStateWithoutChildren_ReadsAsZero)
{
    const PlainButton restored(owner, StateNode("X", {}));
    EXPECT_EQ(restored.GetCurState(), 0);
    EXPECT_EQ(restored.GetBehavior(), 0);
}

TEST_F(PuckButtonTest, Push_FiresPressEvent)
{
    button->DoPush();
    EXPECT_EQ(owner.Take(), Lines({"event 6001"}));
    EXPECT_TRUE(button->IsPressed());
}

TEST_F(PuckButtonTest, PushWhileBoundAndHoldReported_StartsTimerThenCallsThenFires)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    button->DoPush();
    EXPECT_EQ(owner.Take(), Lines({"start timer 1", "call 7 DO_PUSH", "event 6001"}));
    EXPECT_EQ(button->GetTimerID(), 1u);
    button.reset();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1"}));
}

TEST_F(PuckButtonTest, SecondPushWithoutHoldFeedback_IsSilent)
{
    Pressed();
    button->DoPush();
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(PuckButtonTest, SecondPushWithHoldFeedback_RestartsTimerOnly)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    Pressed();
    button->DoPush();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1", "start timer 2"}));
    button.reset();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 2"}));
}

TEST_F(PuckButtonTest, Release_KillsTimerThenCallsThenFires)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    Pressed();
    button->DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1", "call 7 DO_RELEASE", "event 6000"}));
    EXPECT_EQ(button->GetTimerID(), 0u);
    EXPECT_FALSE(button->IsPressed());
}

TEST_F(PuckButtonTest, ReleaseOfAReleasedButton_FiresAllTheSame)
{
    button->DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"event 6000"}));
}

TEST_F(PuckButtonTest, PushAfterRelease_FiresAgain)
{
    Pressed();
    button->DoRelease();
    button->DoPush();
    EXPECT_EQ(owner.Take(), Lines({"event 6000", "event 6001"}));
}

TEST_F(PuckButtonTest, Click_KillsTimerClearsPressedAndFiresRelease)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    Pressed();
    button->DoClick();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1", "call 7 DO_CLICK", "event 6000"}));
    EXPECT_FALSE(button->IsPressed());
}

TEST_F(PuckButtonTest, ClickInBehaviorsFourAndFive_TurnsPressedOverWithoutEvent)
{
    button->SetControlBoundFlag(true);
    for (const int behavior : {4, 5})
    {
        WithBehavior(behavior);
        button->DoClick();
        EXPECT_TRUE(button->IsPressed());
        button->DoClick();
        EXPECT_FALSE(button->IsPressed());
        EXPECT_EQ(owner.Take(), Lines({"call 7 DO_CLICK", "call 7 DO_CLICK"}));
    }
}

TEST_F(PuckButtonTest, ClickInOtherBehaviors_ClearsPressed)
{
    for (const int behavior : {-1, 0, 1, 2, 3, 6})
    {
        WithBehavior(behavior);
        Pressed();
        button->DoClick();
        EXPECT_EQ(owner.Take(), Lines({"event 6000"})) << behavior;
        EXPECT_FALSE(button->IsPressed()) << behavior;
    }
}

TEST_F(PuckButtonTest, MultipleClick_FiresTheEventOfItsCountOnly)
{
    button->SetControlBoundFlag(true);
    Pressed();
    button->DoMultipleClick(2);
    EXPECT_EQ(owner.Take(), Lines({"event 6003"}));
    EXPECT_TRUE(button->IsPressed());
}

TEST_F(PuckButtonTest, MultipleClickOfAnyCount_WrapsInsteadOfOverflowing)
{
    const std::pair<int, const char*> rows[] = {{0, "event 6001"},
                                                {1, "event 6002"},
                                                {-1, "event 6000"},
                                                {INT_MAX, "event 2147489648"},
                                                {INT_MIN, "event 2147489649"}};
    for (const auto& row : rows)
    {
        button->DoMultipleClick(row.first);
        EXPECT_EQ(owner.Take(), Lines({row.second})) << row.first;
    }
    button->StartEventsAt(UINT_MAX);
    button->DoMultipleClick(1);
    EXPECT_EQ(owner.Take(), Lines({"event 1"}));
}

TEST_F(PuckButtonTest, BoundCommands_GoOutOnlyWhileBound)
{
    button->SetControlBoundFlag(true);
    button->DoPush();
    button->SetControlBoundFlag(false);
    button->DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"call 7 DO_PUSH", "event 6001", "event 6000"}));
}

TEST_F(PuckButtonTest, WithoutHoldFeedback_NoTimerEverStarts)
{
    button->DoPush();
    button->OnHoldReceived();
    button->DoPush();
    button->DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"event 6001", "event 6000"}));
    EXPECT_EQ(button->GetTimerID(), 0u);
}

TEST_F(PuckButtonTest, HoldReports_KeepTheButtonPressed)
{
    owner.ReportsHold(true);
    Pressed();
    button->OnHoldReceived();
    button->OnHoldReceived();
    EXPECT_EQ(owner.Take(),
              Lines({"kill timer 1", "start timer 2", "kill timer 2", "start timer 3"}));
    EXPECT_TRUE(button->IsPressed());
    button->DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 3", "event 6000"}));
}

TEST_F(PuckButtonTest, SilenceAfterAPush_MakesUpARelease)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    Pressed();
    owner.LetTimerFire(1);
    button->OnHoldTimerExpired();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1", "call 7 DO_RELEASE", "event 6000"}));
    EXPECT_EQ(button->GetTimerID(), 0u);
    EXPECT_FALSE(button->IsPressed());
}

TEST_F(PuckButtonTest, HoldTimerExpiry_KillsTheTimerWhateverTheReleaseDoes)
{
    OwnRelease own(owner, nullptr);
    owner.ReportsHold(true);
    own.OnHoldReceived();
    owner.Take();
    own.OnHoldTimerExpired();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1", "event 1"}));
}

TEST_F(PuckButtonTest, HoldTimerExpiryWithoutTimer_StillReleases)
{
    button->OnHoldTimerExpired();
    EXPECT_EQ(owner.Take(), Lines({"event 6000"}));
}

TEST_F(PuckButtonTest, RemotePush_AsksTheDeviceByBehaviorThenPushesHere)
{
    for (const RemoteRow& row : REMOTE_ROWS)
    {
        WithBehavior(row.behavior);
        button->RemotePush();
        EXPECT_EQ(owner.Take(), Joined(row.push, {"event 6001"})) << row.behavior;
        button->DoRelease();
        owner.Take();
    }
}

TEST_F(PuckButtonTest, RemoteRelease_AsksTheDeviceByBehaviorThenReleasesHere)
{
    for (const RemoteRow& row : REMOTE_ROWS)
    {
        WithBehavior(row.behavior);
        button->RemoteRelease();
        EXPECT_EQ(owner.Take(), Joined(row.release, {"event 6000"})) << row.behavior;
    }
}

TEST_F(PuckButtonTest, RemoteClick_AsksTheDeviceByBehaviorThenClicksOnceHere)
{
    for (const RemoteRow& row : REMOTE_ROWS)
    {
        WithBehavior(row.behavior);
        button->RemoteClick();
        const bool onlyClicks = row.behavior == 4 || row.behavior == 5;
        const Lines here = onlyClicks ? Lines({"event 6002"}) : Lines({"event 6000", "event 6002"});
        EXPECT_EQ(owner.Take(), Joined(row.click, here)) << row.behavior;
    }
}

TEST_F(PuckButtonTest, RemotePush_NeverHolds)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    button->RemotePush();
    EXPECT_EQ(owner.Take(), Lines({"invoke nx.dmx.rbp 15 1", "start timer 1", "call 7 DO_PUSH",
                                   "event 6001", "kill timer 1"}));
    EXPECT_EQ(button->GetTimerID(), 0u);
}

TEST_F(PuckButtonTest, RemotePushOfAPressedButton_AsksTheDeviceAndEndsTheHold)
{
    owner.ReportsHold(true);
    Pressed();
    button->RemotePush();
    EXPECT_EQ(owner.Take(),
              Lines({"invoke nx.dmx.rbp 15 1", "kill timer 1", "start timer 2", "kill timer 2"}));
}

TEST_F(PuckButtonTest, LightLevel_SetsTheStateAboveZero)
{
    for (const int level : {1, 100, INT_MAX})
    {
        button->LightLevel(level);
        EXPECT_EQ(button->GetCurState(), 1) << level;
    }
    for (const int level : {0, -1, INT_MIN})
    {
        button->LightLevel(level);
        EXPECT_EQ(button->GetCurState(), 0) << level;
    }
}

TEST_F(PuckButtonTest, LightLevelInBehaviorThree_LeavesTheStateAlone)
{
    WithBehavior(3);
    button->LightLevel(100);
    EXPECT_EQ(button->GetCurState(), 0);
    button->SetCurState(2, false);
    button->LightLevel(0);
    EXPECT_EQ(button->GetCurState(), 2);
}

TEST_F(PuckButtonTest, SendStatusToUI_SendsThePersistedState)
{
    button->SendStatusToUI();
    EXPECT_EQ(owner.Take(), Lines({"ui <PLAIN/>"}));
}

TEST_F(PuckButtonTest, Destruction_KillsARunningTimerAndNothingElse)
{
    owner.ReportsHold(true);
    button->SetControlBoundFlag(true);
    Pressed();
    button.reset();
    EXPECT_EQ(owner.Take(), Lines({"kill timer 1"}));
    {
        const PlainButton idle(owner, nullptr);
    }
    EXPECT_EQ(owner.Take(), NO_LINES);
}
