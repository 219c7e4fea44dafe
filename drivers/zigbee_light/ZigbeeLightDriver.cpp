#include "drivers/zigbee_light/ZigbeeLightDriver.h"

#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/XmlNode.h"

#include <boost/bind/bind.hpp>

namespace
{
// Parameters.
const std::string LEVEL = "LEVEL";
const std::string TIME = "TIME";
const std::string STALL_DELAY = "STALL_DELAY";
} // namespace

ZigbeeLightDriver::ZigbeeLightDriver(IInstanceManager& instances)
    : NxBaseDriver(instances, NX_DRIVER_LIGHT), m_energy(&GetVariableManager(), GetTimerManager()),
      m_stallDelay(zigbee_light::STALL_DELAY_S.usual)
{
    m_energy.setOwner(this);
}

ZigbeeLightDriver::~ZigbeeLightDriver() = default;

bool ZigbeeLightDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                                   boost::shared_ptr<nx::XmlNode> state)
{
    using namespace boost::placeholders;
    if (!NxBaseDriver::Initialize(id, config, state))
        return false;
    const auto endpoint =
        static_cast<unsigned char>(drivers::ReadSetting(config.get(), zigbee_light::ENDPOINT));
    m_stallDelay =
        static_cast<unsigned>(drivers::ReadSetting(config.get(), zigbee_light::STALL_DELAY_S));
    CmdDispatcher& commands = GetCmdDispatcher();
    m_member = std::make_unique<LightSceneMember>(*this, GetTimerManager(), commands, endpoint);
    for (const std::string* name : {&names::general::ADD_TO_SCENE, &names::general::MODIFY_SCENE})
        commands.RegisterCmd1(*name, boost::bind(&ZigbeeLightDriver::OnCmdKeepScene, this, _1));
    commands.RegisterCmd1(names::general::DELETE_FROM_SCENE,
                          boost::bind(&ZigbeeLightDriver::OnCmdDeleteFromScene, this, _1));
    commands.RegisterCmd1(names::general::SYNCHRONIZE,
                          boost::bind(&ZigbeeLightDriver::OnCmdSynchronize, this, _1));
    commands.RegisterCmd0(names::general::RESET_ENERGY_USED,
                          boost::bind(&EnergyInfoCollector::resetEnergyUsed, &m_energy));
    m_scenes.FromXML(state);
    m_energy.Initialize(id, state);
    return true;
}

boost::shared_ptr<nx::XmlNode> ZigbeeLightDriver::GetPersistState(unsigned long)
{
    const auto state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(m_scenes.ToXML());
    state->AddChild(m_energy.GetPersistState());
    return state;
}

void ZigbeeLightDriver::OnDeviceOnlineChanged(bool online)
{
    NxBaseDriver::OnDeviceOnlineChanged(online);
    if (online)
        SynchronizeOwnScenes(m_stallDelay);
}

IZclListener* ZigbeeLightDriver::GetZclListener()
{
    return m_member.get();
}

// --- the wanted scenes ---------------------------------------------------------------------------

void ZigbeeLightDriver::OnCmdKeepScene(const ICmdMessage& message)
{
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    const int level = message.GetParamInt(LEVEL);
    const int time = message.GetParamInt(TIME);
    if (m_scenes.inScene(scene))
        m_scenes.modifyScene(scene, level, time);
    else
        m_scenes.addScene(scene, level, time);
    RequestPersist();
}

void ZigbeeLightDriver::OnCmdDeleteFromScene(const ICmdMessage& message)
{
    m_scenes.deleteScene(message.GetParamUInt(names::general::SCENE_ID));
    RequestPersist();
}

// --- synchronisation -----------------------------------------------------------------------------

void ZigbeeLightDriver::OnCmdSynchronize(const ICmdMessage& message)
{
    SynchronizeOwnScenes(message.GetParamUInt(STALL_DELAY));
}

void ZigbeeLightDriver::SynchronizeOwnScenes(unsigned stallDelay)
{
    SceneDetailsLightMap wanted;
    for (const auto& [scene, detail] : m_scenes.getAllScenes())
    {
        SceneDetailsLight& details = wanted[scene];
        details.level = detail.level;
        details.time = detail.time;
    }
    Synchronize(wanted, stallDelay);
}

void ZigbeeLightDriver::Synchronize(const SceneDetailsLightMap& wanted, unsigned stallDelay)
{
    if (!m_member)
        return;
    m_wanted = wanted;
    NxTypes::SynchronizeData data;
    data.scenes = &m_wanted;
    data.stallDelay = stallDelay;
    m_member->SynchronizeStart(data);
}

void ZigbeeLightDriver::AbortSynchronization()
{
    if (m_member)
        m_member->AbortSynchronization();
}

// --- LightSceneMemberOwner -----------------------------------------------------------------------

void ZigbeeLightDriver::SendZclMessage(NxZclPacket& packet, unsigned char endpoint)
{
    SendZclPacket(packet, endpoint);
}

void ZigbeeLightDriver::SynchronizationDone() {}

void ZigbeeLightDriver::AddSceneFailed(unsigned, unsigned char, unsigned char) {}

// --- IEnergyOwner --------------------------------------------------------------------------------

bool ZigbeeLightDriver::IsLoadOn()
{
    return m_loadOn;
}

bool ZigbeeLightDriver::IsEnergyReady()
{
    return m_energyReady;
}

void ZigbeeLightDriver::EnergyValueToUI(const std::string&, int) {}
