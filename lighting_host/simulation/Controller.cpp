#include "lighting_host/simulation/Controller.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

namespace lighting_host
{
using embedded_host::CmdMessage;

namespace
{
using namespace std::chrono_literals;

std::size_t LoadCount(const HouseFileScene& scene)
{
    std::set<std::string> names;
    for (const HouseFileLoad& load : scene.loads)
        names.insert(load.driver);
    return names.size();
}

std::string Describe(const HouseFileGroup& group, const HouseFileGroupAct& act)
{
    const std::string name =
        group.name.empty() ? fmt::format("load group {}", group.id) : "\"" + group.name + "\"";
    switch (act.what)
    {
    case HouseFileGroupAct::RampUp:
        return "brightens " + name;
    case HouseFileGroupAct::RampDown:
        return "dims " + name;
    default:
        return fmt::format("sets {} to {} %", name, act.level);
    }
}
} // namespace

Controller::Controller(const HouseFile& file, Session& session, Listeners& listeners)
    : m_file(file), m_session(session), m_listeners(listeners), m_sceneCounts(file.scenes.size()),
      m_groupCounts(file.groups.size())
{
    const embedded_host::House& house = session.House();
    for (std::size_t i = 0; i < file.scenes.size(); ++i)
        for (const HouseFileUse& use : file.scenes[i].uses)
            m_reactions[house.Find(use.driver)].push_back({use, i, 0, nullptr});
    for (std::size_t i = 0; i < file.groups.size(); ++i)
        for (const HouseFileGroupAct& act : file.groups[i].acts)
            m_reactions[house.Find(act.use.driver)].push_back({act.use, 0, i, &act});
    for (const auto& device : session.Devices())
        m_devices[device->Driver().Config().name] = device.get();
}

Controller::~Controller()
{
    m_session.House().KillDeviceTimer(m_dueTimer);
    m_session.House().KillDeviceTimer(m_resyncTimer);
}

void Controller::Start()
{
    for (const auto& driver : m_session.House().Drivers())
        Provision(*driver);
    const std::size_t drivers = m_session.House().Drivers().size();
    if (drivers > 0)
        m_resyncTimer = m_session.House().AddDeviceTimer(RESYNC_PERIOD / drivers, this);
}

void Controller::Provision(nx::DriverHost& driver)
{
    const DriverType* const type = FindDriverType(driver.Config().type);
    if (type && type->provision)
    {
        for (const CmdMessage& command : type->provision(m_file, driver.Config().name))
            Tell(driver, command);
    }
    SendSettings(driver);
}

void Controller::Tell(nx::DriverHost& driver, const CmdMessage& command)
{
    m_speaking = true;
    driver.Command(command, CmdDispatcher::CONTROLLER);
    m_speaking = false;
}

void Controller::SendSettings(nx::DriverHost& driver)
{
    DriverAdapter* const adapter = m_session.AdapterOf(driver);
    if (!adapter)
        return;
    m_speaking = true;
    driver.CallDriver("its settings", [adapter] { adapter->SendSettings(); });
    m_speaking = false;
}

void Controller::ResyncNext()
{
    const auto& drivers = m_session.House().Drivers();
    m_resyncTimer = m_session.House().AddDeviceTimer(RESYNC_PERIOD / drivers.size(), this);
    nx::DriverHost& driver = *drivers[m_nextToResync];
    m_nextToResync = (m_nextToResync + 1) % drivers.size();
    if (!IsGoneRemoteLight(m_session.KindOf(driver), driver))
        driver.Online(true);
    SendSettings(driver);
}

void Controller::OnOutput(const embedded_host::Output& output)
{
    const bool isUse = std::holds_alternative<embedded_host::EventFired>(output.effect) ||
                       std::holds_alternative<embedded_host::OwnerCall>(output.effect);
    if (!isUse)
        return;
    const auto reactions = m_reactions.find(&output.driver);
    if (reactions == m_reactions.end())
        return;
    const DriverType* const type = FindDriverType(output.driver.Config().type);
    for (const Reaction& reaction : reactions->second)
    {
        if (!type || !type->isUse || !type->isUse(output.effect, reaction.use))
            continue;
        m_due.push_back(&reaction);
        if (m_dueTimer == 0)
            m_dueTimer = m_session.House().AddDeviceTimer(0ms, this);
    }
}

void Controller::OnTimerExpired(ID::Timer timer, time_t)
{
    if (timer == m_resyncTimer)
    {
        ResyncNext();
        return;
    }
    m_dueTimer = 0;
    std::vector<const Reaction*> due;
    due.swap(m_due);
    for (const Reaction* reaction : due)
        React(*reaction);
}

void Controller::React(const Reaction& reaction)
{
    const HouseFileScene* const scene = reaction.act ? nullptr : &m_file.scenes[reaction.scene];
    // The end of a ramp belongs to its beginning.
    if (scene || reaction.act->what != HouseFileGroupAct::StopRamp)
    {
        CountOne(scene ? m_sceneCounts[reaction.scene] : m_groupCounts[reaction.group],
                 m_session.House().GetClock().Now().count());
        m_listeners.OnControllerAct(
            *m_session.House().Find(reaction.use.driver),
            scene ? fmt::format("recalls \"{}\" ({} loads)", scene->name, LoadCount(*scene))
                  : Describe(m_file.groups[reaction.group], *reaction.act));
    }
    if (scene)
        Recall(*scene);
    else
        MoveGroup(m_file.groups[reaction.group], *reaction.act);
}

void Controller::CountOne(Count& count, std::int64_t nowMs)
{
    ++count.times;
    count.lastMs = nowMs;
}

bool Controller::RecallScene(unsigned id)
{
    for (std::size_t i = 0; i < m_file.scenes.size(); ++i)
    {
        if (m_file.scenes[i].id != id)
            continue;
        CountOne(m_sceneCounts[i], m_session.House().GetClock().Now().count());
        Recall(m_file.scenes[i]);
        return true;
    }
    return false;
}

bool Controller::ActOnGroup(unsigned id, const HouseFileGroupAct& act)
{
    for (std::size_t i = 0; i < m_file.groups.size(); ++i)
    {
        if (m_file.groups[i].id != id)
            continue;
        if (act.what != HouseFileGroupAct::StopRamp)
            CountOne(m_groupCounts[i], m_session.House().GetClock().Now().count());
        MoveGroup(m_file.groups[i], act);
        return true;
    }
    return false;
}

void Controller::SetLevel(const std::string& driver, int level, std::chrono::milliseconds time)
{
    ToDevice(driver, [level, time](simulated::SimulatedDevice& device)
             { device.RampToLevel(level, time); });
}

void Controller::Recall(const HouseFileScene& scene)
{
    std::set<std::string> done;
    for (const HouseFileLoad& load : scene.loads)
    {
        if (done.insert(load.driver).second)
            RecallScene(*m_session.House().Find(load.driver), scene.id);
    }
}

// The load follows by itself, as it has stored the scene; the driver is told.
void Controller::RecallScene(nx::DriverHost& driver, unsigned id)
{
    const DriverType* const type = FindDriverType(driver.Config().type);
    if (type && type->recallCommand)
    {
        CmdMessage activate(type->recallCommand);
        activate.AddParam(names::general::SCENE_ID, names::type::INT, static_cast<long long>(id));
        Tell(driver, activate);
    }
    ToDevice(driver.Config().name, [id](simulated::SimulatedDevice& device)
             { device.RecallScene(static_cast<std::uint16_t>(id)); });
}

void Controller::MoveGroup(const HouseFileGroup& group, const HouseFileGroupAct& act)
{
    const bool ramps = act.what != HouseFileGroupAct::ToLevel;
    CmdMessage command(ramps ? names::forwarded::BUTTON_ACTION : names::forwarded::RAMP_TO_LEVEL);
    if (ramps)
    {
        command.AddParam(names::general::BUTTON_ID, names::type::INT,
                         static_cast<long long>(act.what != HouseFileGroupAct::RampUp));
        command.AddParam(names::parameter::ACTION, names::type::INT,
                         static_cast<long long>(act.what != HouseFileGroupAct::StopRamp));
    }
    else
    {
        command.AddParam(names::parameter::LEVEL, names::type::INT,
                         static_cast<long long>(act.level));
        command.AddParam(names::parameter::TIME, names::type::INT,
                         static_cast<long long>(act.timeMs));
    }
    m_speaking = true;
    m_session.House().ForwardToGroup(group.id, command);
    m_speaking = false;
    for (const std::string& member : group.members)
        ToDevice(
            member,
            [id = static_cast<std::uint16_t>(group.id), act](simulated::SimulatedDevice& device)
            {
                if (act.what == HouseFileGroupAct::StopRamp)
                    device.GroupStopRamp(id);
                else if (act.what == HouseFileGroupAct::ToLevel)
                    device.GroupRampToLevel(id, static_cast<int>(act.level),
                                            std::chrono::milliseconds(act.timeMs));
                else
                    device.GroupStartRamp(id, act.what == HouseFileGroupAct::RampUp);
            });
}

void Controller::ToDevice(const std::string& driver,
                          const std::function<void(simulated::SimulatedDevice&)>& arrive)
{
    const auto device = m_devices.find(driver);
    if (device != m_devices.end())
        device->second->FromElsewhere(arrive);
}
} // namespace lighting_host
