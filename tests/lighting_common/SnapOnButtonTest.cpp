#include "lighting_common/SnapOnButton.h"

#include "tests/lighting_common/RecordingButtonOwner.h"

using button_test::Lines;
using button_test::NO_LINES;
using button_test::RecordingButtonOwner;
using button_test::StateNode;

namespace
{
class SnapOnButtonTest : public testing::Test
{
protected:
    RecordingButtonOwner owner;
    SnapOnButton button{2, 302, owner, nullptr};
};

boost::shared_ptr<nx::XmlNode> FullState()
{
    return StateNode("BUTTON_STATUS", {{"BUTTON_NUMBER", "2"},
                                       {"NAME", "Hall"},
                                       {"LED_MANAGED", "false"},
                                       {"LED_ON_COLOR", "00ff00"},
                                       {"LED_OFF_COLOR", "100000"},
                                       {"LED_CUR_COLOR", "123456"},
                                       {"FOLLOW_BOUND_COLOR", "true"},
                                       {"CONTROL_BOUND", "true"},
                                       {"CURRENT_STATE", "1"},
                                       {"BEHAVIOR", "4"}});
}
} // namespace

TEST_F(SnapOnButtonTest, BaseEventNumber_Is5000)
{
    EXPECT_EQ(SnapOnButton::BASE_EVENT_NUM, 5000);
}

TEST_F(SnapOnButtonTest, Fresh_HasTheDefaults)
{
    EXPECT_EQ(button.GetVarName(), "Button 3");
    EXPECT_EQ(button.GetOnColor(), "b00000");
    EXPECT_EQ(button.GetOffColor(), "0000b0");
    EXPECT_EQ(button.GetCurColor(), "0000b0");
    EXPECT_TRUE(button.IsLocalLEDManaged());
    EXPECT_FALSE(button.FollowsBoundColor());
    EXPECT_EQ(button.GetBehavior(), 2);
    EXPECT_EQ(button.GetCurState(), 0);
    EXPECT_EQ(button.GetLinkControlBinding(), 302u);
}

TEST_F(SnapOnButtonTest, ButtonZero_IsNamedButtonOne)
{
    const SnapOnButton first(0, 300, owner, nullptr);
    EXPECT_EQ(first.GetVarName(), "Button 1");
    EXPECT_EQ(first.GetReleaseEventNum(), 5000u);
    EXPECT_EQ(first.GetPressEventNum(), 5001u);
}

TEST_F(SnapOnButtonTest, PushAndRelease_FireTheEventsOfButtonTwo)
{
    button.DoPush();
    button.DoRelease();
    EXPECT_EQ(owner.Take(), Lines({"event 5021", "event 5020"}));
}

TEST_F(SnapOnButtonTest, PersistedState_RestoresEverythingWithoutSending)
{
    const SnapOnButton restored(2, 302, owner, FullState());
    EXPECT_EQ(restored.GetVarName(), "Hall");
    EXPECT_EQ(restored.GetOnColor(), "00ff00");
    EXPECT_EQ(restored.GetOffColor(), "100000");
    EXPECT_EQ(restored.GetCurColor(), "123456");
    EXPECT_FALSE(restored.IsLocalLEDManaged());
    EXPECT_TRUE(restored.FollowsBoundColor());
    EXPECT_EQ(restored.GetBehavior(), 4);
    EXPECT_EQ(restored.GetCurState(), 1);
    EXPECT_FALSE(restored.IsControlBound());
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(SnapOnButtonTest, PersistedStateWithoutChildren_ReadsAsEmptyFalseAndZero)
{
    const SnapOnButton restored(2, 302, owner, StateNode("BUTTON_STATUS", {}));
    EXPECT_EQ(restored.GetVarName(), "");
    EXPECT_EQ(restored.GetOnColor(), "");
    EXPECT_EQ(restored.GetCurColor(), "");
    EXPECT_FALSE(restored.IsLocalLEDManaged());
    EXPECT_EQ(restored.GetBehavior(), 0);
}

TEST_F(SnapOnButtonTest, PersistState_WritesEightChildrenInOrder)
{
    button.SetControlBoundFlag(true);
    button.SetVarName("Stairs");
    EXPECT_EQ(button.GetPersistState()->ToText(),
              "<BUTTON_STATUS><BUTTON_NUMBER>2</BUTTON_NUMBER><NAME>Stairs</NAME>"
              "<LED_MANAGED>true</LED_MANAGED><LED_ON_COLOR>b00000</LED_ON_COLOR>"
              "<LED_OFF_COLOR>0000b0</LED_OFF_COLOR>"
              "<FOLLOW_BOUND_COLOR>false</FOLLOW_BOUND_COLOR><CONTROL_BOUND>true</CONTROL_BOUND>"
              "<BEHAVIOR>2</BEHAVIOR></BUTTON_STATUS>");
}

TEST_F(SnapOnButtonTest, PersistAndRestore_LosesCurrentColorAndState)
{
    button.SetCurState(1, false);
    button.SetCurColor("abcdef", false);
    button.SetBehavior(3, false);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 1 3"}));
    const SnapOnButton restored(2, 302, owner, button.GetPersistState());
    EXPECT_EQ(restored.GetCurColor(), "");
    EXPECT_EQ(restored.GetCurState(), 0);
    EXPECT_EQ(restored.GetBehavior(), 3);
}

TEST_F(SnapOnButtonTest, SetBehavior_SendsChangesAndWhatIsForced)
{
    button.SetBehavior(2, false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    button.SetBehavior(2, true);
    button.SetBehavior(5, false);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 1 2", "set nx.dmx.btn 2 1 5"}));
}

TEST_F(SnapOnButtonTest, SetCurStateTwice_SendsOnce)
{
    button.SetCurState(1, true);
    button.SetCurState(1, true);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 0 1"}));
}

TEST_F(SnapOnButtonTest, SetCurStateWithoutSend_IsKeptAndNeverSent)
{
    button.SetCurState(1, false);
    button.SetCurState(1, true);
    EXPECT_EQ(owner.Take(), NO_LINES);
    EXPECT_EQ(button.GetCurState(), 1);
}

TEST_F(SnapOnButtonTest, SetLocalLEDManaged_SendsChangesOnly)
{
    button.SetLocalLEDManaged(true, true);
    EXPECT_EQ(owner.Take(), NO_LINES);
    button.SetLocalLEDManaged(false, true);
    button.SetLocalLEDManaged(false, true);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 2 0"}));
    button.SetLocalLEDManaged(true, false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    EXPECT_TRUE(button.IsLocalLEDManaged());
}

TEST_F(SnapOnButtonTest, SetColors_SendChangesOnTheirChannels)
{
    button.SetOnColor("111111", true);
    button.SetOffColor("222222", true);
    button.SetCurColor("333333", true);
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 3 '111111'", "set nx.dmx.btn 2 4 '222222'",
                                   "set nx.dmx.btn 2 5 '333333'"}));
    button.SetOnColor("111111", true);
    button.SetOffColor("222222", true);
    button.SetCurColor("333333", true);
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(SnapOnButtonTest, SetColorsWithoutSend_AreKept)
{
    button.SetOnColor("111111", false);
    button.SetOffColor("222222", false);
    button.SetCurColor("333333", false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    EXPECT_EQ(button.GetOnColor(), "111111");
    EXPECT_EQ(button.GetOffColor(), "222222");
    EXPECT_EQ(button.GetCurColor(), "333333");
}

TEST_F(SnapOnButtonTest, CurStateColor_IsTheOnColorForStateOneOnly)
{
    EXPECT_EQ(button.GetCurStateColor(), "0000b0");
    button.SetCurState(1, false);
    EXPECT_EQ(button.GetCurStateColor(), "b00000");
    button.SetCurState(2, false);
    EXPECT_EQ(button.GetCurStateColor(), "0000b0");
}

TEST_F(SnapOnButtonTest, FollowOnAnUnboundButton_AsksOnlyAtTheNextChangeAfterBinding)
{
    button.SetFollowBoundColor(true);
    button.SetControlBoundFlag(true);
    button.SetFollowBoundColor(true);
    button.SetFollowBoundColor(false);
    EXPECT_EQ(owner.Take(), NO_LINES);
    button.SetFollowBoundColor(true);
    EXPECT_EQ(owner.Take(), Lines({"call 302 REQUEST_BUTTON_COLORS"}));
}

TEST_F(SnapOnButtonTest, RequestBoundColors_NeedsBothFollowingAndABinding)
{
    button.SetControlBoundFlag(true);
    button.RequestBoundColors();
    EXPECT_EQ(owner.Take(), NO_LINES);
    button.SetFollowBoundColor(true);
    button.RequestBoundColors();
    EXPECT_EQ(owner.Take(),
              Lines({"call 302 REQUEST_BUTTON_COLORS", "call 302 REQUEST_BUTTON_COLORS"}));
    button.SetControlBoundFlag(false);
    button.RequestBoundColors();
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(SnapOnButtonTest, SendSettingsToHW_SendsSixChannelsInOrder)
{
    button.SendSettingsToHW();
    EXPECT_EQ(owner.Take(), Lines({"set nx.dmx.btn 2 0 0", "set nx.dmx.btn 2 1 2",
                                   "set nx.dmx.btn 2 3 'b00000'", "set nx.dmx.btn 2 4 '0000b0'",
                                   "set nx.dmx.btn 2 5 '0000b0'", "set nx.dmx.btn 2 2 1"}));
}

TEST_F(SnapOnButtonTest, RemoteActions_SendTheStateWhileTheLedIsManagedLocally)
{
    button.SetCurState(1, false);
    button.RemotePush();
    EXPECT_EQ(owner.Take(),
              Lines({"invoke nx.dmx.rbp 15 1", "event 5021", "set nx.dmx.btn 2 0 1"}));
    button.RemoteRelease();
    EXPECT_EQ(owner.Take(),
              Lines({"invoke nx.dmx.rbp 15 0", "event 5020", "set nx.dmx.btn 2 0 1"}));
    button.RemoteClick();
    EXPECT_EQ(owner.Take(), Lines({"invoke nx.dmx.rbp 15 2", "event 5020", "event 5022",
                                   "set nx.dmx.btn 2 0 1"}));
}

TEST_F(SnapOnButtonTest, RemoteActionsWhileTheControllerManagesTheLed_SendNoState)
{
    button.SetLocalLEDManaged(false, false);
    button.RemotePush();
    button.RemoteRelease();
    button.RemoteClick();
    EXPECT_EQ(owner.Take(),
              Lines({"invoke nx.dmx.rbp 15 1", "event 5021", "invoke nx.dmx.rbp 15 0", "event 5020",
                     "invoke nx.dmx.rbp 15 2", "event 5020", "event 5022"}));
}

// Unlike a contact, which ignores them there.
TEST_F(SnapOnButtonTest, RemotePushInBehaviorFour_StillActsHere)
{
    button.SetBehavior(4, false);
    owner.Take();
    button.RemotePush();
    EXPECT_EQ(owner.Take(), Lines({"event 5021", "set nx.dmx.btn 2 0 0"}));
}

TEST_F(SnapOnButtonTest, LightLevel_CountsOnlyWhileTheLedIsManagedLocally)
{
    button.LightLevel(100);
    EXPECT_EQ(button.GetCurState(), 1);
    button.LightLevel(0);
    EXPECT_EQ(button.GetCurState(), 0);
    button.SetLocalLEDManaged(false, false);
    button.LightLevel(100);
    EXPECT_EQ(button.GetCurState(), 0);
    EXPECT_EQ(owner.Take(), NO_LINES);
}

TEST_F(SnapOnButtonTest, LightLevelInBehaviorThree_LeavesTheStateAlone)
{
    button.SetBehavior(3, false);
    owner.Take();
    button.LightLevel(100);
    EXPECT_EQ(button.GetCurState(), 0);
}

TEST_F(SnapOnButtonTest, SendStatusToUI_SendsThePersistedState)
{
    button.SendStatusToUI();
    const Lines sent = owner.Take();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].rfind("ui <BUTTON_STATUS><BUTTON_NUMBER>2</BUTTON_NUMBER>", 0), 0u);
}
