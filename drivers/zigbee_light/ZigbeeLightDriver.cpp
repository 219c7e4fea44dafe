#include "drivers/zigbee_light/ZigbeeLightDriver.h"

#include "drivers/DriverLog.h"
#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <utility>

#include <boost/bind/bind.hpp>

namespace
{
const char* const ZIGBEE_LIGHT_SOURCE = "drivers/zigbee_light/ZigbeeLightDriver";

// What a light can hold of a scene.
constexpr int MAX_LEVEL = 100;
constexpr int MAX_TIME_MS = 65535 * 1000;
constexpr unsigned MAX_SCENE_ID = 0xffffff;

// Parameters.
const std::string STALL_DELAY = "STALL_DELAY";

bool SameScenes(const SceneDetailsLightMap& a, const SceneDetailsLightMap& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& left, const auto& right)
                      {
                          return left.first == right.first &&
                                 left.second.level == right.second.level &&
                                 left.second.time == right.second.time;
                      });
}
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
    m_gate = std::make_unique<AnswerGate>(*m_member);
    for (const std::string* name : {&names::general::ADD_TO_SCENE, &names::general::MODIFY_SCENE})
        commands.RegisterCmd1(*name, boost::bind(&ZigbeeLightDriver::OnCmdKeepScene, this, _1));
    commands.RegisterCmd1(names::general::DELETE_FROM_SCENE,
                          boost::bind(&ZigbeeLightDriver::OnCmdDeleteFromScene, this, _1));
    commands.RegisterCmd1(names::general::SYNCHRONIZE,
                          boost::bind(&ZigbeeLightDriver::OnCmdSynchronize, this, _1));
    commands.RegisterCmd0(names::general::RESET_ENERGY_USED,
                          boost::bind(&ZigbeeLightDriver::OnCmdResetEnergy, this));
    m_scenes.FromXML(state);
    BringScenesIntoRange();
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
    return m_gate.get();
}

// --- the wanted scenes ---------------------------------------------------------------------------

void ZigbeeLightDriver::OnCmdKeepScene(const ICmdMessage& message)
{
    const unsigned scene = message.GetParamUInt(names::general::SCENE_ID);
    const SceneDetail kept = InRange(scene, {message.GetParamInt(names::parameter::LEVEL),
                                             message.GetParamInt(names::parameter::TIME)});
    if (m_scenes.inScene(scene))
        m_scenes.modifyScene(scene, kept.level, kept.time);
    else
        m_scenes.addScene(scene, kept.level, kept.time);
    if (scene > MAX_SCENE_ID)
        DRIVER_WARN(ZIGBEE_LIGHT_SOURCE,
                    "scene " << scene << " has an id above " << MAX_SCENE_ID
                             << ", which a light can never report: every synchronisation "
                                "stores it, deletes it and stands still");
    RequestPersist();
}

// What a light can hold of it. Anything else would differ at every comparison.
SceneDetail ZigbeeLightDriver::InRange(unsigned scene, const SceneDetail& asked) const
{
    SceneDetail kept = asked;
    kept.level = std::clamp(asked.level, 0, MAX_LEVEL);
    kept.time = std::clamp(asked.time, 0, MAX_TIME_MS);
    if (kept.level != asked.level)
        DRIVER_WARN(ZIGBEE_LIGHT_SOURCE, "scene " << scene << " asks for level " << asked.level
                                                  << " %, kept as " << kept.level << " %");
    if (kept.time != asked.time)
        DRIVER_WARN(ZIGBEE_LIGHT_SOURCE, "scene " << scene << " asks for a time of " << asked.time
                                                  << " ms, kept as " << kept.time << " ms");
    return kept;
}

void ZigbeeLightDriver::BringScenesIntoRange()
{
    const SceneManager::SceneMap restored = m_scenes.getAllScenes();
    for (const auto& [scene, asked] : restored)
    {
        const SceneDetail kept = InRange(scene, asked);
        m_scenes.modifyScene(scene, kept.level, kept.time);
    }
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

void ZigbeeLightDriver::OnCmdResetEnergy()
{
    m_energy.resetEnergyUsed();
    RequestPersist();
}

SceneDetailsLightMap ZigbeeLightDriver::OwnScenes() const
{
    SceneDetailsLightMap wanted;
    for (const auto& [scene, detail] : m_scenes.getAllScenes())
    {
        SceneDetailsLight& details = wanted[scene];
        details.level = detail.level;
        details.time = detail.time;
    }
    return wanted;
}

void ZigbeeLightDriver::SynchronizeOwnScenes(unsigned stallDelay)
{
    Start(OwnScenes(), stallDelay, true);
}

void ZigbeeLightDriver::Synchronize(const SceneDetailsLightMap& wanted, unsigned stallDelay)
{
    Start(wanted, stallDelay, false);
}

void ZigbeeLightDriver::Start(SceneDetailsLightMap wanted, unsigned stallDelay, bool own)
{
    if (!m_member)
        return;
    // Neither a step nor an answer of an earlier one has a part in this one.
    AbortSynchronization();
    m_wanted = std::move(wanted);
    m_gate->Begin(m_wanted);
    m_synchronizing = true;
    m_withOwnScenes = own;
    m_lastStallDelay = stallDelay;
    NxTypes::SynchronizeData data;
    data.scenes = &m_wanted;
    data.stallDelay = stallDelay;
    m_member->SynchronizeStart(data);
}

void ZigbeeLightDriver::AbortSynchronization()
{
    m_synchronizing = false;
    if (m_member)
        m_member->AbortSynchronization();
}

// --- LightSceneMemberOwner -----------------------------------------------------------------------

void ZigbeeLightDriver::SendZclMessage(NxZclPacket& packet, unsigned char endpoint)
{
    SendZclPacket(packet, endpoint);
}

void ZigbeeLightDriver::SynchronizationDone()
{
    // Answers that nobody asked for end a synchronisation that does not run.
    if (!std::exchange(m_synchronizing, false) || !m_withOwnScenes)
        return;
    // What was changed or deleted meanwhile has been stored again as it was before.
    if (!SameScenes(OwnScenes(), m_wanted))
        SynchronizeOwnScenes(m_lastStallDelay);
}

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
