#include "drivers/wired_dimmer/WiredDimmerDriver.h"

#include "drivers/wired_dimmer/WiredDimmerSettings.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/XmlNode.h"

#include <boost/bind/bind.hpp>

WiredDimmerDriver::WiredDimmerDriver(IInstanceManager& instances)
    : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, PROTOCOL_MIB),
      m_groups(&GetCmdDispatcher(), &GetMibDispatcher()),
      m_advScenes(&GetCmdDispatcher(), &GetMibDispatcher()),
      m_energy(&GetVariableManager(), GetTimerManager()),
      m_syncTimerMs(wired_dimmer::SYNC_TIMER_MS.usual)
{
    m_groups.setOwner(this);
    m_advScenes.setOwner(this);
    m_energy.setOwner(this);
    RegisterCommands();
}

WiredDimmerDriver::~WiredDimmerDriver() = default;

void WiredDimmerDriver::RegisterCommands()
{
    using namespace boost::placeholders;
    CmdDispatcher& commands = GetCmdDispatcher();
    commands.RegisterCmd0(names::general::CLEAR_ALL_GROUPS,
                          boost::bind(&LoadGroupManager::clearAllGroups, &m_groups));
    for (const std::string* name : {&names::general::ADD_TO_SCENE, &names::general::MODIFY_SCENE})
        commands.RegisterCmd1(*name, boost::bind(&WiredDimmerDriver::OnCmdKeepScene, this, _1));
    commands.RegisterCmd1(names::general::DELETE_FROM_SCENE,
                          boost::bind(&WiredDimmerDriver::OnCmdDeleteFromScene, this, _1));
    commands.RegisterCmd0(names::general::RESET_ENERGY_USED,
                          boost::bind(&WiredDimmerDriver::OnCmdResetEnergy, this));
}

// --- life ----------------------------------------------------------------------------------------

bool WiredDimmerDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                                   boost::shared_ptr<nx::XmlNode> state)
{
    if (!NxBaseMibDriver::Initialize(id, config, state))
        return false;
    m_syncTimerMs =
        static_cast<unsigned>(drivers::ReadSetting(config.get(), wired_dimmer::SYNC_TIMER_MS));
    m_scenes.FromXML(state);
    m_advScenes.Initialize(id, state);
    m_energy.Initialize(id, state);
    m_advScenes.LateInitialize();
    return true;
}

boost::shared_ptr<nx::XmlNode> WiredDimmerDriver::GetPersistState(unsigned long)
{
    const auto state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(m_scenes.ToXML());
    state->AddChild(m_energy.GetPersistState());
    return state;
}

void WiredDimmerDriver::OnMIBDeviceOnlineStatusChanged(DeviceStatus status,
                                                       const std::string& detail,
                                                       const std::string& address)
{
    NxBaseMibDriver::OnMIBDeviceOnlineStatusChanged(status, detail, address);
    if (status != DEVICE_ONLINE)
        return;
    m_groups.syncGroupsToHW();
    m_advScenes.Online();
}

void WiredDimmerDriver::OnTimerExpired(ID::Timer timer, time_t time)
{
    m_advScenes.OnTimerExpired(timer, time);
}

// --- the scene map -------------------------------------------------------------------------------

void WiredDimmerDriver::OnCmdKeepScene(const ICmdMessage& message)
{
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    const int level = message.GetParamInt(names::parameter::LEVEL);
    const int time = message.GetParamInt(names::parameter::TIME);
    if (m_scenes.inScene(scene))
        m_scenes.modifyScene(scene, level, time);
    else
        m_scenes.addScene(scene, level, time);
    RequestPersist();
}

void WiredDimmerDriver::OnCmdDeleteFromScene(const ICmdMessage& message)
{
    m_scenes.deleteScene(message.GetParamUInt(names::general::SCENE_ID));
    RequestPersist();
}

void WiredDimmerDriver::OnCmdResetEnergy()
{
    m_energy.resetEnergyUsed();
    RequestPersist();
}

// --- ILoadGroupOwner -----------------------------------------------------------------------------

void WiredDimmerDriver::GroupSyncStarted() {}

void WiredDimmerDriver::GroupSyncStopped() {}

boost::shared_ptr<ICmdMessage> WiredDimmerDriver::CreateCommand(const std::string& name)
{
    return CreateCommandMessage(name);
}

void WiredDimmerDriver::ForwardCommandToGroup(unsigned group, const ICmdMessage& command)
{
    ForwardToGroup(group, command);
}

void WiredDimmerDriver::GroupSetLevel(unsigned, int level, int)
{
    m_level = level;
}

void WiredDimmerDriver::GroupStartRamp(unsigned, unsigned, bool) {}

void WiredDimmerDriver::GroupStopRamp(unsigned) {}

void WiredDimmerDriver::SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet)
{
    NxBaseMibDriver::SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void WiredDimmerDriver::GroupSceneAdded(unsigned, int, int) {}

void WiredDimmerDriver::GroupSceneModified(unsigned, int, int) {}

void WiredDimmerDriver::GroupSceneRemoved(unsigned) {}

// --- IAdvSceneOwner ------------------------------------------------------------------------------

void WiredDimmerDriver::ExecuteScene(unsigned) {}

void WiredDimmerDriver::SetSceneLevel(unsigned char level)
{
    m_level = level;
}

void WiredDimmerDriver::SendMIBPacket(const boost::shared_ptr<NxMIBPacket>& packet)
{
    SendMibPacket(packet);
}

void WiredDimmerDriver::SceneRampStopped() {}

void WiredDimmerDriver::ScenePushConflict(unsigned sceneId, const std::string&)
{
    const auto command = CreateCommandMessage(names::general::REMOVE_SCENE);
    command->AddParam(names::general::SCENE_ID, names::type::INT, static_cast<long long>(sceneId));
    DispatchCommand(*command, nullptr, CmdDispatcher::CONTROLLER);
}

bool WiredDimmerDriver::ForceScenePush()
{
    return m_forceScenePush;
}

bool WiredDimmerDriver::SceneModeEnabled()
{
    return m_sceneMode;
}

unsigned WiredDimmerDriver::StartSyncTimer()
{
    return AddTimer(m_syncTimerMs, ITimerManager::UNIT_MILLISECONDS, 1);
}

void WiredDimmerDriver::KillSyncTimer(unsigned timerId)
{
    KillTimer(timerId);
}

// --- IEnergyOwner --------------------------------------------------------------------------------

bool WiredDimmerDriver::IsLoadOn()
{
    return m_loadOn;
}

bool WiredDimmerDriver::IsEnergyReady()
{
    return m_energyReady;
}

void WiredDimmerDriver::EnergyValueToUI(const std::string&, int) {}
