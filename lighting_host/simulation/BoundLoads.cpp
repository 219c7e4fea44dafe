#include "lighting_host/simulation/BoundLoads.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_common/Names.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/types/DriverType.h"
#include "nxshared/IBindMessage.h"
#include "simulated_devices/SimulatedDevice.h"

#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// On purpose not that of a LED.
constexpr int FULL_PERCENT = 100;
constexpr const char* LIGHT_LEVEL = "light_level";
} // namespace

BoundLoads::BoundLoads(const HouseFile& file, Session& session, Listeners& listeners)
    : m_session(session), m_listeners(listeners)
{
    for (const HouseFileBind& bind : file.binds)
    {
        Add(session, bind.from, bind.binding, bind.to);
        Add(session, bind.to, bind.toBinding, bind.from);
    }
}

BoundLoads::~BoundLoads()
{
    for (const Pair& pair : m_pairs)
        m_session.House().KillDeviceTimer(pair.holdTimer);
    m_session.House().KillDeviceTimer(m_dueTimer);
    m_session.House().KillDeviceTimer(m_sampleTimer);
}

// A load that has no simulated lamp does nothing by itself.
void BoundLoads::Add(const Session& session, const std::string& user, unsigned binding,
                     const std::string& load)
{
    for (const auto& device : session.Devices())
    {
        const DeviceKind* const kind = session.KindOf(device->Driver());
        if (device->Driver().Config().name == load && kind && kind->hasLamp)
            m_pairs.push_back({session.House().Find(user), binding, device.get()});
    }
}

void BoundLoads::Start()
{
    if (!m_pairs.empty())
        m_sampleTimer = m_session.House().AddDeviceTimer(SAMPLE_PERIOD, this);
}

void BoundLoads::OnDriverStarted(const nx::DriverHost& driver)
{
    for (Pair& pair : m_pairs)
    {
        if (pair.user == &driver)
            pair.told = -1;
    }
}

void BoundLoads::OnOutput(const embedded_host::Output& output)
{
    const auto* const call = std::get_if<embedded_host::BoundCallSent>(&output.effect);
    if (!call)
        return;
    for (std::size_t i = 0; i < m_pairs.size(); ++i)
    {
        if (m_pairs[i].user != &output.driver || m_pairs[i].binding != call->binding)
            continue;
        m_due.push_back({i, call->message.GetName()});
        if (m_dueTimer == 0)
            m_dueTimer = m_session.House().AddDeviceTimer(std::chrono::milliseconds(0), this);
    }
}

void BoundLoads::OnTimerExpired(ID::Timer timer, time_t)
{
    if (timer == m_sampleTimer)
    {
        m_sampleTimer = m_session.House().AddDeviceTimer(SAMPLE_PERIOD, this);
        for (Pair& pair : m_pairs)
            Sample(pair);
        return;
    }
    if (timer == m_dueTimer)
    {
        m_dueTimer = 0;
        for (const Use& use : std::exchange(m_due, {}))
            Act(m_pairs[use.pair], use.what);
        return;
    }
    for (Pair& pair : m_pairs)
    {
        if (pair.holdTimer == timer)
            BeginRamp(pair);
    }
}

void BoundLoads::Act(Pair& pair, const std::string& what)
{
    embedded_host::House& house = m_session.House();
    if (what == names::general::DO_PUSH)
    {
        house.KillDeviceTimer(pair.holdTimer);
        pair.pressed = true;
        pair.holdTimer = house.AddDeviceTimer(HOLD_TIME, this);
        return;
    }
    const bool click = what == names::general::DO_CLICK;
    if (!click && what != names::general::DO_RELEASE)
        return;
    house.KillDeviceTimer(std::exchange(pair.holdTimer, 0));
    const bool pressed = std::exchange(pair.pressed, false);
    if (pair.ramps)
        EndRamp(pair);
    else if (click || pressed)
        Toggle(pair);
}

void BoundLoads::Toggle(Pair& pair)
{
    const bool on = LevelOf(pair) == 0;
    Say(pair, on ? "turns on" : "turns off");
    Move(pair, on ? FULL_PERCENT : 0, {});
}

void BoundLoads::BeginRamp(Pair& pair)
{
    pair.holdTimer = 0;
    pair.ramps = true;
    const int level = LevelOf(pair);
    const bool atAnEnd = level == 0 || level == FULL_PERCENT;
    pair.rampsUp = atAnEnd ? level == 0 : !pair.rampsUp;
    Say(pair, pair.rampsUp ? "brightens" : "dims");
    const int left = pair.rampsUp ? FULL_PERCENT - level : level;
    Move(pair, pair.rampsUp ? FULL_PERCENT : 0, RAMP_TIME * left / FULL_PERCENT);
}

void BoundLoads::EndRamp(Pair& pair)
{
    pair.ramps = false;
    Move(pair, LevelOf(pair), {});
}

void BoundLoads::Move(const Pair& pair, int level, std::chrono::milliseconds time)
{
    pair.load->FromElsewhere([level, time](simulated::SimulatedDevice& device)
                             { device.RampToLevel(level, time); });
}

void BoundLoads::Say(const Pair& pair, const char* what)
{
    m_listeners.OnControllerAct(*pair.user,
                                fmt::format("{} \"{}\"", what, pair.load->Driver().Config().name));
}

void BoundLoads::Sample(Pair& pair)
{
    const int level = LevelOf(pair);
    DriverAdapter* const adapter = m_session.AdapterOf(*pair.user);
    if (level == pair.told || !adapter)
        return;
    pair.told = level;
    const Json input = {{LIGHT_LEVEL, level}};
    Fields fields(input, "the level");
    if (const auto act = adapter->PrepareInput(LIGHT_LEVEL, fields))
        pair.user->CallDriver("the level of what is bound", act);
}

int BoundLoads::LevelOf(const Pair& pair)
{
    const simulated::LampLevel lamp = pair.load->Device()->PresentLevel();
    return static_cast<int>((lamp.level * FULL_PERCENT + lamp.full / 2) / lamp.full);
}
} // namespace lighting_host
