#include "lighting_common/LightSceneMember.h"

#include "NxLibDriverBases/NxZclPacket.h"
#include "lighting_common/LightSceneMemberOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/Zcl.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>

#include <boost/bind.hpp>

namespace
{
constexpr const char* SOURCE = "lighting_common/LightSceneMember";

// Parameters of the scene commands.

// The watchdog runs this many step delays.
constexpr unsigned WATCHDOG_STEPS = 16;

// The ascending `wanted` without what a merge with `reported` meets. Where `reported` is not
// ascending, the merge runs past values and keeps some that are there: deliberate, see its caller.
nx::GroupIdVec MergeDifference(const nx::GroupIdVec& wanted, const nx::GroupIdVec& reported)
{
    nx::GroupIdVec missing;
    std::size_t next = 0;
    for (const unsigned short group : wanted)
    {
        while (next < reported.size() && reported[next] < group)
            ++next;
        if (next < reported.size() && reported[next] == group)
            ++next;
        else
            missing.push_back(group);
    }
    return missing;
}

template <class Vector>
void SortWithoutRepeats(Vector& values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}
} // namespace

SceneVec GetExtraScenes(const SceneVec& a, const SceneVec& b)
{
    SceneVec sortedA = a;
    SceneVec sortedB = b;
    std::sort(sortedA.begin(), sortedA.end());
    std::sort(sortedB.begin(), sortedB.end());
    SceneVec extra;
    std::set_difference(sortedA.begin(), sortedA.end(), sortedB.begin(), sortedB.end(),
                        std::back_inserter(extra));
    return extra;
}

void LogSyncData(const NxTypes::SynchronizeData& data)
{
    LIGHTING_LOG(DEBUG, SOURCE, "  My stall delay is ", data.stallDelay, " seconds.");
    const std::size_t count = data.scenes ? data.scenes->size() : 0;
    LIGHTING_LOG(DEBUG, SOURCE, "  I should be a member of ", count, " scenes.");
    if (!data.scenes)
        return;
    for (const auto& [scene, details] : *data.scenes)
    {
        LIGHTING_LOG(DEBUG, SOURCE, "    For scene ID ", scene);
        LIGHTING_LOG(DEBUG, SOURCE, "      The ramp time (ms) is ", details.time);
        LIGHTING_LOG(DEBUG, SOURCE, "      The level (percent) is ", details.level);
    }
}

LightSceneMember::LightSceneMember(LightSceneMemberOwner& owner, ITimerManager& timers,
                                   CmdDispatcher& dispatcher, unsigned char endpoint)
    : m_owner(owner), m_timers(timers), m_endpoint(endpoint)
{
    dispatcher.RegisterCmd(names::general::ADD_TO_SCENE,
                           boost::bind(&LightSceneMember::HandleCmdAddToScene, this, _1, _2));
    dispatcher.RegisterCmd(names::general::DELETE_FROM_SCENE,
                           boost::bind(&LightSceneMember::HandleCmdDeleteFromScene, this, _1, _2));
    dispatcher.RegisterCmd(names::general::MODIFY_SCENE,
                           boost::bind(&LightSceneMember::HandleCmdModifyScene, this, _1, _2));
}

LightSceneMember::~LightSceneMember()
{
    AbortSynchronization();
}

void LightSceneMember::HandleCmdAddToScene(const ICmdMessage& message, ICmdReturn*)
{
    const auto scene = static_cast<unsigned>(message.GetParamInt(names::general::SCENE_ID));
    const int level = message.GetParamInt(names::parameter::LEVEL);
    const int time = message.GetParamInt(names::parameter::TIME);
    SetRampDetails(scene, level, time);
}

void LightSceneMember::HandleCmdDeleteFromScene(const ICmdMessage& message, ICmdReturn*)
{
    LeaveScene(static_cast<unsigned>(message.GetParamInt(names::general::SCENE_ID)));
}

void LightSceneMember::HandleCmdModifyScene(const ICmdMessage& message, ICmdReturn*)
{
    // Deliberate: the same as adding, since storing a scene overwrites an earlier one.
    const auto scene = static_cast<unsigned>(message.GetParamInt(names::general::SCENE_ID));
    const int level = message.GetParamInt(names::parameter::LEVEL);
    const int time = message.GetParamInt(names::parameter::TIME);
    SetRampDetails(scene, level, time);
}

void LightSceneMember::Send(nx::ZclMessage* message)
{
    NxZclPacket packet(message, nx::Zmessage::Unicast);
    m_owner.SendZclMessage(packet, m_endpoint);
}

void LightSceneMember::JoinGroup(unsigned group)
{
    Send(nx::MakeJoinGroupPacket(group));
}

void LightSceneMember::LeaveThisGroup(unsigned short group)
{
    Send(nx::MakeLeaveThisGroupPacket(group));
}

void LightSceneMember::LeaveScene(unsigned scene)
{
    Send(nx::MakeRemoveScene(scene));
}

void LightSceneMember::SetRampDetails(unsigned scene, int level, int time)
{
    // Deliberate: built before the group is joined, sent after it, since a light refuses a scene of
    // a group that it is not in. The builder takes the scene id itself and finds the group.
    NxZclPacket ramp(nx::MakeSceneRamp(scene, level, time), nx::Zmessage::Unicast);
    JoinGroup(scene);
    m_owner.SendZclMessage(ramp, m_endpoint);
}

void LightSceneMember::OnAddSceneFailure(unsigned scene, unsigned char status)
{
    m_owner.AddSceneFailed(scene, status, m_endpoint);
}

ID::Timer LightSceneMember::AddTimer(unsigned long interval, unsigned count)
{
    return m_timers.AddTimer(interval, 0, count, this);
}

void LightSceneMember::KillTimer(ID::Timer& timer)
{
    m_timers.KillTimer(timer);
}

void LightSceneMember::SynchronizeStart(const NxTypes::SynchronizeData& data)
{
    LIGHTING_LOG(TRACE, SOURCE, "Starting Synchronization");
    LogSyncData(data);
    m_aborted = false;
    m_wantedScenes = data.scenes;
    LIGHTING_ASSERT(m_wantedScenes != nullptr, SOURCE, __LINE__);
    m_scenesToView.clear();
    const std::chrono::milliseconds stepDelay = std::chrono::seconds(data.stallDelay);
    m_stepDelay = static_cast<unsigned>(stepDelay.count());
    if (m_stepDelay != 0)
        StartSynchronizeWatchdogTimer();
    Send(nx::MakeGetAllGroupMembership());
}

void LightSceneMember::AbortSynchronization()
{
    m_aborted = true;
    m_timers.RemoveAllTimers(this);
    m_sceneCountTimer = 0;
    m_viewSceneTimer = 0;
    m_sceneMembershipTimer = 0;
    m_watchdogTimer = 0;
    m_wantedScenes = nullptr;
}

void LightSceneMember::NotifySynchronizationDone()
{
    LIGHTING_LOG(TRACE, SOURCE, "NotifySynchronizationDone");
    KillTimer(m_watchdogTimer);
    m_owner.SynchronizationDone();
}

nx::GroupIdVec LightSceneMember::GetAllSceneGroupsSorted()
{
    nx::GroupIdVec groups;
    if (!m_wantedScenes)
    {
        LIGHTING_LOG(ERROR, SOURCE, "LightSceneMeber synchronization map is NULL. Cannot proceed");
        AbortSynchronization();
        NotifySynchronizationDone();
        return groups;
    }
    for (const auto& wanted : *m_wantedScenes)
        groups.push_back(nx::GetGroupId(wanted.first));
    SortWithoutRepeats(groups);
    return groups;
}

void LightSceneMember::OnZclGroupMembership(const nx::GroupIdVec& groups)
{
    LIGHTING_LOG(TRACE, SOURCE, "OnZclGroupMembership");
    if (m_aborted)
        return;
    const nx::GroupIdVec wanted = GetAllSceneGroupsSorted();
    // Deliberate: the report is taken in the order received. A light that reports out of order is
    // asked once more to join what it has, which it answers as success.
    const nx::GroupIdVec missing = MergeDifference(wanted, groups);
    if (!missing.empty())
        LIGHTING_LOG(DEBUG, SOURCE, "Wow, we are not in the correct groups");
    for (const unsigned short group : missing)
        JoinGroup(group);
    m_groupsToCheck = wanted;
    m_groupsToCheck.insert(m_groupsToCheck.end(), groups.begin(), groups.end());
    SortWithoutRepeats(m_groupsToCheck);
    // Deliberate: also after GetAllSceneGroupsSorted has given up.
    StartGetSceneCountTimer();
}

void LightSceneMember::OnZclSceneCount(int count)
{
    // Deliberate: no look at the aborted flag.
    LIGHTING_LOG(DEBUG, SOURCE, "I am a member of ", count, " scenes.");
    m_sceneCount = count;
    StartSynchronizeGetSceneMembershipTimer();
}

void LightSceneMember::OnZclSceneMembership(unsigned short group, const SceneVec& scenes)
{
    LIGHTING_LOG(TRACE, SOURCE, "OnZclSceneMembership");
    if (!m_wantedScenes)
    {
        LIGHTING_LOG(ERROR, SOURCE,
                     "OnZclSceneMebership synchronization map is NULL. Cannot proceed");
        AbortSynchronization();
        NotifySynchronizationDone();
        return;
    }
    m_reportedScenes = scenes;
    m_scenesToView.clear();
    for (const auto& wanted : *m_wantedScenes)
        if (nx::GetGroupId(wanted.first) == group)
            m_scenesToView.push_back(wanted.first);
    RemoveExtraScenes();
    AddMissingScenes();
    SynchronizeNextScene();
}

void LightSceneMember::RemoveExtraScenes()
{
    const SceneVec extra = GetExtraScenes(m_reportedScenes, m_scenesToView);
    if (extra.empty())
        LIGHTING_LOG(DEBUG, SOURCE, "No extra scenes.");
    for (const unsigned scene : extra)
    {
        LIGHTING_LOG(DEBUG, SOURCE, "Oops, we are in some scenes, and we should not be");
        LeaveScene(scene);
    }
}

void LightSceneMember::AddMissingScenes()
{
    // The owner may have aborted while the extra scenes went out.
    LIGHTING_ASSERT(m_wantedScenes != nullptr, SOURCE, __LINE__);
    if (!m_wantedScenes)
    {
        LIGHTING_LOG(ERROR, SOURCE,
                     "Error: AddMissingScenes synchronization map is NULL. Cannot proceed");
        AbortSynchronization();
        NotifySynchronizationDone();
    }
    if (m_aborted)
        return;
    const SceneVec missing = GetExtraScenes(m_scenesToView, m_reportedScenes);
    if (missing.empty())
        LIGHTING_LOG(DEBUG, SOURCE, "No missing scenes");
    for (const unsigned scene : missing)
    {
        // Sending may abort, so the map is asked for anew each time.
        if (!m_wantedScenes)
            return;
        LIGHTING_LOG(DEBUG, SOURCE, "The light lost this scene, we need to add it.");
        const auto wanted = m_wantedScenes->find(scene);
        if (wanted != m_wantedScenes->end())
            Send(nx::MakeSceneRamp(scene, wanted->second.level, wanted->second.time));
        else
            LIGHTING_LOG(DEBUG, SOURCE,
                         "Unusual...I probably should have this scene here to synchronize with");
    }
}

void LightSceneMember::SynchronizeNextScene()
{
    if (!m_scenesToView.empty())
    {
        StartSynchronizeViewSceneTimer();
        return;
    }
    LIGHTING_ASSERT(!m_groupsToCheck.empty(), SOURCE, __LINE__);
    if (m_groupsToCheck.empty())
        LIGHTING_LOG(ERROR, SOURCE,
                     "The groups with scenes vector is empty when it should not be.");
    else
        m_groupsToCheck.pop_back();
    if (!m_groupsToCheck.empty())
    {
        StartSynchronizeGetSceneMembershipTimer();
        return;
    }
    m_aborted = true;
    m_wantedScenes = nullptr;
    NotifySynchronizationDone();
}

void LightSceneMember::OnZclViewScene(unsigned scene, int level, int time)
{
    LIGHTING_LOG(TRACE, SOURCE, "OnZclViewScene");
    if (!m_wantedScenes)
    {
        LIGHTING_LOG(DEBUG, SOURCE, "Unsolicited ZCL View scene response.");
        AbortSynchronization();
        NotifySynchronizationDone();
        return;
    }
    const auto wanted = m_wantedScenes->find(scene);
    if (wanted == m_wantedScenes->end())
    {
        LIGHTING_LOG(ERROR, SOURCE, "Really unusual. The scene ID of ", scene,
                     " is incorrectly present.");
        // Deliberate: nothing is dropped and no step follows; only the watchdog ends this.
        LeaveScene(scene);
        return;
    }
    // Deliberate: taken for the scene that was asked for, whatever its id.
    if (!m_scenesToView.empty())
        m_scenesToView.pop_back();
    const SceneDetailsLight details = wanted->second;
    // The light answers in whole seconds; a finer comparison would store the scene for ever.
    const bool matches = details.level == level &&
                         nx::GetNearestSeconds(details.time) == nx::GetNearestSeconds(time);
    if (!matches)
    {
        LIGHTING_LOG(DEBUG, SOURCE, "Oops, the details of this scene do not match");
        Send(nx::MakeSceneRamp(scene, details.level, details.time));
    }
    SynchronizeNextScene();
}

void LightSceneMember::StartGetSceneCountTimer()
{
    m_sceneCountTimer = AddTimer(m_stepDelay, 1);
}

void LightSceneMember::StartSynchronizeGetSceneMembershipTimer()
{
    m_sceneMembershipTimer = AddTimer(m_stepDelay, 1);
}

void LightSceneMember::StartSynchronizeViewSceneTimer()
{
    m_viewSceneTimer = AddTimer(m_stepDelay, 1);
}

void LightSceneMember::StartSynchronizeWatchdogTimer()
{
    LIGHTING_LOG(TRACE, SOURCE, "Starting Sync Watchdog");
    m_watchdogTimer = AddTimer(static_cast<unsigned long>(m_stepDelay) * WATCHDOG_STEPS, 1);
}

void LightSceneMember::OnTimerExpired(ID::Timer timer, time_t)
{
    struct Step
    {
        ID::Timer LightSceneMember::*timer;
        void (LightSceneMember::*run)();
    };
    static const Step STEPS[] = {
        {&LightSceneMember::m_sceneCountTimer, &LightSceneMember::OnSceneCountTimer},
        {&LightSceneMember::m_sceneMembershipTimer, &LightSceneMember::OnSceneMembershipTimer},
        {&LightSceneMember::m_viewSceneTimer, &LightSceneMember::OnViewSceneTimer},
        {&LightSceneMember::m_watchdogTimer, &LightSceneMember::OnWatchdogTimer},
    };
    if (timer == 0)
        return;
    for (const Step& step : STEPS)
    {
        if (this->*step.timer != timer)
            continue;
        this->*step.timer = 0;
        (this->*step.run)();
        return;
    }
}

void LightSceneMember::OnSceneCountTimer()
{
    Send(nx::MakeGetSceneCount());
}

void LightSceneMember::OnSceneMembershipTimer()
{
    if (m_groupsToCheck.empty())
    {
        NotifySynchronizationDone();
        return;
    }
    m_sceneCount = 0;
    Send(nx::MakeGetSceneMembership(m_groupsToCheck.back()));
}

void LightSceneMember::OnViewSceneTimer()
{
    if (!m_scenesToView.empty())
        Send(nx::MakeViewScene(m_scenesToView.back()));
}

void LightSceneMember::OnWatchdogTimer()
{
    LIGHTING_LOG(DEBUG, SOURCE, "We bailed on synchronization because it took too long");
    AbortSynchronization();
    NotifySynchronizationDone();
}
