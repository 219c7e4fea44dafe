#include "lighting_common/LoadGroupManager.h"

#include "lighting_common/ILoadGroupOwner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "lighting_common/internal/WhileSet.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <limits>

#include <boost/bind/bind.hpp>
#include <boost/crc.hpp>
#include <boost/make_shared.hpp>

namespace
{
const char* const LOAD_GROUP_SOURCE = "lighting_common/LoadGroupManager";

// The virtual buttons of "BUTTON_ACTION" and what is done to them.
constexpr int BUTTON_UP = 0;
constexpr int BUTTON_DOWN = 1;
constexpr int ACTION_RELEASE = 0;
constexpr int ACTION_PRESS = 1;

boost::shared_ptr<NxMIBPacket> Request(const std::string& mib)
{
    return boost::make_shared<NxMIBPacket>(NxMIB::Invoke, mib);
}

unsigned GroupIdOf(const ICmdMessage& message)
{
    return message.GetParamUInt(names::general::GROUP_ID);
}

// The first entry at or after the one with id `next`; ids up to the highest have a successor, which
// is why `next` is wider than an id.
template <class Map>
auto FirstFrom(Map& map, std::uint64_t next)
{
    if (next > std::numeric_limits<unsigned>::max())
        return map.end();
    return map.lower_bound(static_cast<unsigned>(next));
}
} // namespace

LoadGroupManager::LoadGroupManager(CmdDispatcher* commands, MibDispatcher* mibs)
{
    using namespace boost::placeholders;
    using Command = void (LoadGroupManager::*)(const ICmdMessage&);
    using Response = void (LoadGroupManager::*)(const NxMIBPacket&, const NxMIBPacket*);
    const auto onCommand = [&](const std::string& name, Command handler)
    {
        if (commands != nullptr)
            commands->RegisterCmd1(name, boost::bind(handler, this, _1));
    };
    const auto onResponse = [&](const std::string& mib, Response handler)
    {
        if (mibs != nullptr)
            mibs->RegisterResponse(mib, boost::bind(handler, this, _1, _2));
    };

    onCommand(names::general::JOIN_GROUP, &LoadGroupManager::OnCmdJoinGroup);
    onCommand(names::general::LEAVE_GROUP, &LoadGroupManager::OnCmdLeaveGroup);
    onCommand(names::general::SET_GROUP_SYNC, &LoadGroupManager::OnCmdSetGroupSync);
    onCommand(names::general::GROUP_RAMP_TO_LEVEL, &LoadGroupManager::OnCmdGroupRampToLvl);
    onCommand(names::general::GROUP_SET_LEVEL, &LoadGroupManager::OnCmdGroupSetLvl);
    onCommand(names::general::GROUP_START_RAMP, &LoadGroupManager::OnCmdGroupStartRamp);
    onCommand(names::general::GROUP_STOP_RAMP, &LoadGroupManager::OnCmdGroupStopRamp);
    onCommand(names::general::GROUP_JOIN_SCENE, &LoadGroupManager::OnCmdJoinGroupScene);
    onCommand(names::general::GROUP_LEAVE_SCENE, &LoadGroupManager::OnCmdGroupLeaveScene);
    onResponse(names::mib::ALS_GAD, &LoadGroupManager::OnRspAddGroup);
    onResponse(names::mib::ALS_GRM, &LoadGroupManager::OnRspLeaveGroup);
    onResponse(names::mib::ALS_GRA, &LoadGroupManager::OnRspClearGroups);
}

LoadGroupManager::~LoadGroupManager() = default;

void LoadGroupManager::setOwner(ILoadGroupOwner* owner)
{
    m_owner = owner;
}

// --- questions -----------------------------------------------------------------------------------

bool LoadGroupManager::haveSyncGroup() const
{
    return std::any_of(m_groups.begin(), m_groups.end(),
                       [](const GroupMap::value_type& group) { return group.second.keepSync; });
}

bool LoadGroupManager::inScene(unsigned scene) const
{
    return std::any_of(m_groups.begin(), m_groups.end(),
                       [scene](const GroupMap::value_type& group)
                       { return group.second.scenes.inScene(scene); });
}

const LoadGroupManager::GroupMap& LoadGroupManager::getGroups() const
{
    return m_groups;
}

std::uint32_t LoadGroupManager::getCRC() const
{
    boost::crc_32_type crc;
    for (const auto& group : m_groups)
    {
        // Deliberate: high byte first, then a zero byte, as the device does it.
        crc.process_byte(static_cast<unsigned char>(group.second.groupId >> 8));
        crc.process_byte(static_cast<unsigned char>(group.second.groupId));
        crc.process_byte(0);
    }
    return crc.checksum();
}

// --- membership ----------------------------------------------------------------------------------

void LoadGroupManager::OnCmdJoinGroup(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    const bool keepSync = message.GetParamBool(names::general::KEEP_SYNC);
    const bool hadSyncGroup = haveSyncGroup();
    GroupInfo joined;
    joined.groupId = group;
    joined.keepSync = keepSync;
    // Deliberate: a group already held keeps its flag, which "SET_GROUP_SYNC" changes.
    m_groups.emplace(group, joined);
    // Deliberate: judged from the command, whatever flag the group has.
    if (!hadSyncGroup && keepSync)
        m_owner->GroupSyncStarted();
    sendAddGroup(group);
}

void LoadGroupManager::OnCmdLeaveGroup(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    reportScenesRemoved(group);
    const auto left = m_groups.find(group);
    if (left == m_groups.end())
        return;
    const bool hadSync = left->second.keepSync;
    m_groups.erase(left);
    if (hadSync && !haveSyncGroup())
        m_owner->GroupSyncStopped();
    const auto packet = Request(names::mib::ALS_GRM);
    packet->AddHexParam<unsigned short>(static_cast<unsigned short>(group));
    m_owner->SendMibPacket(packet);
}

void LoadGroupManager::OnCmdSetGroupSync(const ICmdMessage& message)
{
    const auto group = m_groups.find(GroupIdOf(message));
    if (group == m_groups.end())
        return;
    const bool hadSyncGroup = haveSyncGroup();
    const bool keepSync = message.GetParamBool(names::general::KEEP_SYNC);
    group->second.keepSync = keepSync;
    if (haveSyncGroup() == hadSyncGroup)
        return;
    if (keepSync)
        m_owner->GroupSyncStarted();
    else
        m_owner->GroupSyncStopped();
}

void LoadGroupManager::OnCmdJoinGroupScene(const ICmdMessage& message)
{
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    const int level = message.GetParamInt(names::parameter::LEVEL);
    const int time = message.GetParamInt(names::parameter::TIME);
    const auto group = m_groups.find(GroupIdOf(message));
    if (group == m_groups.end())
        return;
    SceneManager& scenes = group->second.scenes;
    if (scenes.inScene(scene))
    {
        scenes.modifyScene(scene, level, time);
        m_owner->GroupSceneModified(scene, level, time);
        return;
    }
    scenes.addScene(scene, level, time);
    m_owner->GroupSceneAdded(scene, level, time);
}

void LoadGroupManager::OnCmdGroupLeaveScene(const ICmdMessage& message)
{
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    const auto group = m_groups.find(GroupIdOf(message));
    if (group == m_groups.end() || !group->second.scenes.inScene(scene))
        return;
    group->second.scenes.deleteScene(scene);
    m_owner->GroupSceneRemoved(scene);
}

void LoadGroupManager::clearAllGroups()
{
    // By id from step to step, because the owner may change the groups while it is told.
    std::uint64_t next = 0;
    for (auto group = FirstFrom(m_groups, next); group != m_groups.end();
         group = FirstFrom(m_groups, next))
    {
        next = std::uint64_t{group->first} + 1;
        reportScenesRemoved(group->first);
    }
    m_groups.clear();
    m_owner->GroupSyncStopped();
    m_owner->SendMibPacket(Request(names::mib::ALS_GRA));
}

void LoadGroupManager::syncGroupsToHW()
{
    m_owner->SendMibPacket(Request(names::mib::ALS_GRA));
    if (haveSyncGroup())
        m_owner->GroupSyncStarted();
    else
        m_owner->GroupSyncStopped();
    std::uint64_t next = 0;
    for (auto group = FirstFrom(m_groups, next); group != m_groups.end();
         group = FirstFrom(m_groups, next))
    {
        next = std::uint64_t{group->first} + 1;
        sendAddGroup(group->first);
    }
}

void LoadGroupManager::sendAddGroup(unsigned group)
{
    const auto packet = Request(names::mib::ALS_GAD);
    packet->AddHexParam<unsigned short>(static_cast<unsigned short>(group));
    packet->AddHexParam<char>(0);
    m_owner->SendMibPacket(packet);
}

// Tells the owner of every scene of the group, which it may take away meanwhile.
void LoadGroupManager::reportScenesRemoved(unsigned group)
{
    std::uint64_t next = 0;
    for (;;)
    {
        const auto held = m_groups.find(group);
        if (held == m_groups.end())
            return;
        const auto& scenes = held->second.scenes.getAllScenes();
        const auto scene = FirstFrom(scenes, next);
        if (scene == scenes.end())
            return;
        next = std::uint64_t{scene->first} + 1;
        m_owner->GroupSceneRemoved(scene->first);
    }
}

// --- levels and ramps ----------------------------------------------------------------------------

void LoadGroupManager::OnCmdGroupRampToLvl(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    const int level = message.GetParamInt(names::parameter::LEVEL);
    const int time = message.GetParamInt(names::parameter::TIME);
    m_owner->GroupSetLevel(group, level, time);
    const auto command = createForward(names::forwarded::RAMP_TO_LEVEL);
    if (command == nullptr)
        return;
    command->AddParam(names::parameter::LEVEL, names::type::INT, level);
    command->AddParam(names::parameter::TIME, names::type::INT, time);
    sendCmdToSyncGroups(*command, group);
}

void LoadGroupManager::OnCmdGroupSetLvl(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    const int level = message.GetParamInt(names::parameter::LEVEL);
    m_owner->GroupSetLevel(group, level, 0);
    const auto command = createForward(names::forwarded::SET_LEVEL);
    if (command == nullptr)
        return;
    command->AddParam(names::parameter::LEVEL, names::type::INT, level);
    sendCmdToSyncGroups(*command, group);
}

void LoadGroupManager::OnCmdGroupStartRamp(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    const unsigned rate = message.GetParamUInt(names::general::RATE);
    const bool up = message.GetParamBool(names::general::RAMP_UP);
    m_owner->GroupStartRamp(group, rate, up);
    m_lastRampUp = up;
    forwardButtonAction(up, ACTION_PRESS, group);
}

void LoadGroupManager::OnCmdGroupStopRamp(const ICmdMessage& message)
{
    const unsigned group = GroupIdOf(message);
    m_owner->GroupStopRamp(group);
    // Deliberate: the direction of the last start, so that the button which that pressed is
    // released.
    forwardButtonAction(m_lastRampUp, ACTION_RELEASE, group);
}

void LoadGroupManager::forwardButtonAction(bool up, int action, unsigned fromGroup)
{
    const auto command = createForward(names::forwarded::BUTTON_ACTION);
    if (command == nullptr)
        return;
    command->AddParam(names::general::BUTTON_ID, names::type::INT, up ? BUTTON_UP : BUTTON_DOWN);
    command->AddParam(names::parameter::ACTION, names::type::INT, action);
    sendCmdToSyncGroups(*command, fromGroup);
}

// A new message for the keep-sync groups, null when there is none of them.
boost::shared_ptr<ICmdMessage> LoadGroupManager::createForward(const std::string& name)
{
    if (!haveSyncGroup())
        return nullptr;
    return m_owner->CreateCommand(name);
}

void LoadGroupManager::sendCmdToSyncGroups(const ICmdMessage& command, unsigned fromGroup)
{
    if (m_forwarding)
        return;
    const WhileSet forwarding(m_forwarding);
    std::uint64_t next = 0;
    for (auto group = FirstFrom(m_groups, next); group != m_groups.end();
         group = FirstFrom(m_groups, next))
    {
        next = std::uint64_t{group->first} + 1;
        if (group->second.keepSync && group->first != fromGroup)
            m_owner->ForwardCommandToGroup(group->first, command);
    }
}

// --- answers of the device -----------------------------------------------------------------------

void LoadGroupManager::OnRspAddGroup(const NxMIBPacket&, const NxMIBPacket* request)
{
    if (request == nullptr || request->GetType() != NxMIB::Set)
        return;
    int group = 0;
    if (request->GetHexParams(group))
        LIGHTING_LOG(DEBUG, LOAD_GROUP_SOURCE, "joined group ", group);
}

void LoadGroupManager::OnRspLeaveGroup(const NxMIBPacket&, const NxMIBPacket* request)
{
    if (request == nullptr || request->GetType() != NxMIB::Set)
        return;
    int group = 0;
    if (request->GetHexParams(group))
        LIGHTING_LOG(DEBUG, LOAD_GROUP_SOURCE, "left group ", group);
}

void LoadGroupManager::OnRspClearGroups(const NxMIBPacket&, const NxMIBPacket*)
{
    LIGHTING_LOG(DEBUG, LOAD_GROUP_SOURCE, "all groups wiped off device");
}
