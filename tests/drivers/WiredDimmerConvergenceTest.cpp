// The wired dimmer's driver against a dimmer that misbehaves: whatever has happened, one
// undisturbed going online after all scenes were pushed brings both sides to the same.

#include "DimmerRig.h"

#include <chrono>
#include <embedded_host/LibraryLog.h>
#include <ostream>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>
#include <rapidcheck.h>

namespace
{
using namespace std::chrono_literals;
using namespace dimmer_rig;

// Scenes at both ends of what the checksum covers, of the bits of an id, and in between.
const std::vector<unsigned> SCENES = {0, 1, 5, 254, 255, 300, 4095};
constexpr unsigned INDICES = 16;

// Something that happens; the numbers mean what each kind makes of them.
struct Event
{
    enum Kind
    {
        PushScene,
        PushForGroup,
        PushFlash,
        RemoveScene,
        ClearScenes,
        AllPushed,
        MarkSynced,
        ForceAndMode,
        JoinGroup,
        LeaveGroup,
        ClearGroups,
        GoOnline,
        TimePasses,
        DriverRestarts,
        PowerFails,
        Misbehaves,
        Behaves,
        ForeignElement,
        ElementLost,
        KINDS
    };

    int kind;
    unsigned a;
    unsigned b;
    unsigned c;
};

std::ostream& operator<<(std::ostream& out, const Event& event)
{
    return out << "{" << event.kind << ", " << event.a << ", " << event.b << ", " << event.c << "}";
}

// Any kind of fault that a dimmer can have.
void AddFault(simulated::WiredDimmer& device, unsigned which, unsigned every)
{
    const std::vector<const simulated::FaultKind*> kinds = device.GetFaults()->Kinds();
    const simulated::FaultKind& kind = *kinds[which % kinds.size()];
    simulated::FaultValues values;
    for (const simulated::FaultAttribute& attribute : kind.attributes)
        values[attribute.name] = every;
    EXPECT_TRUE(device.AddFault(kind.name, values)) << kind.name;
}

unsigned SceneOf(const Event& event)
{
    return SCENES[event.a % SCENES.size()];
}

std::uint16_t KeyOf(const Event& event)
{
    return static_cast<std::uint16_t>((event.b % INDICES) << 12 | SceneOf(event));
}

// Up to 17 steps, one more than a scene can have.
std::vector<int> LevelsOf(const Event& event)
{
    std::vector<int> levels;
    for (unsigned step = 0; step < event.b % 18; ++step)
        levels.push_back(static_cast<int>((event.c + step) % 101));
    return levels;
}

void Happen(DimmerRig& rig, const Event& event)
{
    switch (event.kind)
    {
    case Event::PushScene:
        return rig.Push(SceneOf(event), LevelsOf(event));
    case Event::PushForGroup:
        return rig.Push(SceneOf(event), LevelsOf(event), {{"FROM_GROUP", "true"}});
    case Event::PushFlash:
        return rig.Push(SceneOf(event), LevelsOf(event),
                        {{"FLASH", "true"}, {"IGNORE_RAMP", "true"}});
    case Event::RemoveScene:
        return rig.Remove(SceneOf(event));
    case Event::ClearScenes:
        return rig.Command("CLEAR_ALL_SCENES");
    case Event::AllPushed:
        return rig.Command("ALL_SCENES_PUSHED");
    case Event::MarkSynced:
        return rig.Driver().AdvScenes().MarkAllSynced();
    case Event::ForceAndMode:
        rig.Driver().SetForceScenePush(event.a % 2 != 0);
        return rig.Driver().SetSceneMode(event.b % 2 != 0);
    case Event::JoinGroup:
        return rig.Join(event.a % 3 == 0 ? 0xffff - event.b % 4 : event.b % 8);
    case Event::LeaveGroup:
        return rig.Leave(event.b % 8);
    case Event::ClearGroups:
        return rig.Command("CLEAR_ALL_GROUPS");
    case Event::GoOnline:
        return rig.Online();
    case Event::TimePasses:
        return rig.Advance(std::chrono::milliseconds(event.b % 7000));
    case Event::DriverRestarts:
        return rig.RestartDriver();
    case Event::PowerFails:
        return rig.Device().OnPowerOn();
    case Event::Misbehaves:
        return AddFault(rig.Device(), event.a, 1 + event.b % 4);
    case Event::Behaves:
        return rig.Device().ClearFaults();
    case Event::ForeignElement:
        rig.Device().Tables().elements[KeyOf(event)] = {event.c, event.c, 7, 8};
        return;
    default:
        rig.Device().Tables().elements.erase(KeyOf(event));
    }
}

rc::Gen<std::vector<Event>> Histories()
{
    const auto number = []
    {
        return rc::gen::inRange(0u, 10000u);
    };
    const auto event = rc::gen::build<Event>(
        rc::gen::set(&Event::kind, rc::gen::inRange(0, static_cast<int>(Event::KINDS))),
        rc::gen::set(&Event::a, number()), rc::gen::set(&Event::b, number()),
        rc::gen::set(&Event::c, number()));
    return rc::gen::container<std::vector<Event>>(event);
}

class WiredDimmerConvergence : public testing::Test
{
protected:
    // Histories miss traps by the thousand; nobody reads that here.
    WiredDimmerConvergence() { embedded_host::ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL); }
    ~WiredDimmerConvergence() override
    {
        embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL);
    }

    static bool ChecksumsAgree(DimmerRig& rig)
    {
        return rig.Driver().Groups().getCRC() == rig.Device().GroupChecksum() &&
               rig.Driver().AdvScenes().getCRC() == rig.Device().ElementChecksum();
    }

    // Every element of every scene used, those that no checksum covers included.
    static bool ElementsAgree(DimmerRig& rig)
    {
        for (const unsigned scene : SCENES)
            for (unsigned index = 0; index < INDICES; ++index)
                if (!rig.SameAt(index << 12 | scene))
                    return false;
        return true;
    }
};

TEST_F(WiredDimmerConvergence, AnyHistory_OneUndisturbedCycleMakesBothSidesEqual)
{
    EXPECT_TRUE(rc::check("checksums and elements agree",
                          []
                          {
                              const std::vector<Event> history = *Histories();
                              DimmerRig rig;
                              for (const Event& event : history)
                                  Happen(rig, event);
                              rig.UndisturbedCycle();
                              RC_ASSERT(ChecksumsAgree(rig));
                              RC_ASSERT(ElementsAgree(rig));
                          }));
}

TEST_F(WiredDimmerConvergence, AfterAnyHistory_TheNextCycleSendsNoElementAgain)
{
    EXPECT_TRUE(rc::check("a second cycle only asks",
                          []
                          {
                              const std::vector<Event> history = *Histories();
                              DimmerRig rig;
                              for (const Event& event : history)
                                  Happen(rig, event);
                              // Two: the first may leave elements for the next walk to remove.
                              rig.UndisturbedCycle();
                              for (unsigned left = 0; left < INDICES * SCENES.size(); ++left)
                                  rig.Command("ALL_SCENES_PUSHED");
                              rig.Settle();
                              const auto held = rig.Device().Tables().elements.size();
                              const unsigned before = rig.Sent();
                              rig.Online();
                              rig.Advance(120000ms);
                              const auto groups = rig.Driver().Groups().getGroups().size();
                              // The wipe and the groups, the question, and one more for each.
                              RC_ASSERT(rig.Sent() - before == 1 + groups + 1 + held);
                              RC_ASSERT(ElementsAgree(rig));
                          }));
}

TEST_F(WiredDimmerConvergence, WhatTheDeviceAloneHas_IsGoneAfterTheCycle)
{
    DimmerRig rig;
    rig.Push(5, {1, 2});
    for (const std::uint16_t key : {0x0001, 0x0002, 0x2005, 0x0fff, 0xf0fe})
        rig.Device().Tables().elements[key] = {0, 0, 9, 8};
    rig.UndisturbedCycle();
    EXPECT_EQ(rig.Device().Tables().elements.size(), 2u);
    EXPECT_TRUE(ChecksumsAgree(rig));
}

TEST_F(WiredDimmerConvergence, FullStore_SurvivesADeviceThatForgets)
{
    DimmerRig rig;
    for (unsigned scene = 0; scene < 255; ++scene)
        rig.Push(scene, std::vector<int>(INDICES, static_cast<int>(scene % 101)));
    rig.Device().AddFault(std::make_unique<simulated::Forgets<simulated::WiredDimmerFault>>());
    rig.Device().OnPowerOn();
    EXPECT_TRUE(rig.Device().Tables().elements.empty());
    rig.UndisturbedCycle();
    EXPECT_EQ(rig.Device().Tables().elements.size(), 255u * INDICES);
    EXPECT_TRUE(ChecksumsAgree(rig));
}

// --- where the deliberate rules leave something behind
// --------------------------------------------

TEST_F(WiredDimmerConvergence, Exception_PruneRestart_LeavesDeviceElementsOnBothSides)
{
    DimmerRig rig;
    for (const std::uint16_t key : {0x0001, 0x0002, 0x0003})
        rig.Device().Tables().elements[key] = {0, 0, 9, 8};
    // Reported before the controller has said that it has pushed everything, so they are kept.
    rig.Online();
    rig.Advance(1000ms);
    rig.Command("ALL_SCENES_PUSHED");
    rig.Advance(20000ms);
    // 1 went and made 2 the first, which was passed over; 3 went. At the timer's walk 2 is examined
    // again and goes.
    EXPECT_TRUE(rig.Device().Tables().elements.empty());

    for (const std::uint16_t key : {0x0001, 0x0002, 0x0003})
        rig.Device().Tables().elements[key] = {0, 0, 9, 8};
    rig.RestartDriver();
    rig.Online();
    rig.Advance(20000ms);
    rig.Command("ALL_SCENES_PUSHED");
    rig.Advance(20000ms);
    EXPECT_EQ(rig.Device().Tables().elements.count(2), 1u);
    EXPECT_TRUE(rig.SameAt(2));
    EXPECT_TRUE(ChecksumsAgree(rig));
}

TEST_F(WiredDimmerConvergence, Exception_ElementsBehindAGap_StayUntilAWalkMeetsThem)
{
    DimmerRig rig;
    rig.Push(5, {1, 2, 3, 4});
    rig.Settle();
    // A device element two indices behind the scene's end.
    rig.Device().Tables().elements[0x6005] = {0, 0, 9, 8};
    rig.Online();
    rig.Advance(20000ms);
    const auto covered = rig.Device().ElementChecksum();
    rig.Remove(5);
    rig.Settle();
    EXPECT_EQ(rig.Device().Tables().elements.size(), 1u);
    EXPECT_TRUE(rig.SameAt(0x6005));
    EXPECT_NE(covered, 0u);
    EXPECT_EQ(rig.Device().ElementChecksum(), 0u);
    EXPECT_TRUE(ChecksumsAgree(rig));
    rig.UndisturbedCycle();
    EXPECT_TRUE(rig.Device().Tables().elements.empty());
}

TEST_F(WiredDimmerConvergence, Exception_GroupIdsAboveSixteenBits_DoNotFitTheDevicesTable)
{
    DimmerRig rig;
    rig.Join(5);
    rig.Join(65541);
    rig.UndisturbedCycle();
    EXPECT_EQ(rig.Device().Tables().groups, (std::set<std::uint16_t>{5}));
    // Here 5 counts twice, there once.
    EXPECT_FALSE(ChecksumsAgree(rig));
    rig.Leave(5);
    rig.UndisturbedCycle();
    EXPECT_TRUE(ChecksumsAgree(rig));
}

TEST_F(WiredDimmerConvergence, LostTrap_IsRepairedByTheTimerAlone)
{
    DimmerRig rig;
    rig.Push(5, {1, 2, 3});
    rig.Settle();
    rig.Device().AddFault(
        std::make_unique<simulated::Loses<simulated::WiredDimmerFault, simulated::DimmerTraps>>(2));
    const unsigned before = rig.Sent();
    rig.Online();
    rig.Advance(20000ms);
    // The wipe of the groups, the question, two of three elements, and the third one sent again.
    EXPECT_EQ(rig.Sent() - before, 5u);
    EXPECT_TRUE(ChecksumsAgree(rig));
}
} // namespace
