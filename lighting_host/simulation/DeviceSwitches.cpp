#include "lighting_host/simulation/DeviceSwitches.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/Random.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
// On purpose not that of a level: chances are counted in it.
constexpr int PERCENT = 100;
constexpr std::uint64_t THIRD_SEED = 0xD1B54A32D192ED03;
constexpr const char* FORGETS = "forgets";

DeviceFaults Together(const DeviceFaults& own, const DeviceFaults& house)
{
    DeviceFaults all;
    all.deaf = own.deaf || house.deaf;
    all.forgets = own.forgets || house.forgets;
    all.repeats = own.repeats || house.repeats;
    all.lossPercent =
        std::min(own.lossPercent + house.lossPercent, DeviceSwitches::MOST_LOSS_PERCENT);
    all.delayMs = own.delayMs + house.delayMs;
    return all;
}
} // namespace

// Does to a message what was switched, after what the link behind it does.
class DeviceSwitches::SwitchedLink : public device_wire::Link
{
public:
    SwitchedLink(std::uint64_t seed, Link* behind)
        : m_random(seed, embedded_host::Draw::Random), m_behind(behind)
    {
    }

    Delivery ForNextMessage(Way way) override
    {
        Delivery delivery = m_behind ? m_behind->ForNextMessage(way) : Delivery();
        delivery.lost = delivery.lost || (m_faults.deaf && way == Way::ToDevice) || IsLost();
        delivery.delay += std::chrono::milliseconds(m_faults.delayMs);
        if (delivery.twice)
            delivery.second += std::chrono::milliseconds(m_faults.delayMs);
        else if (m_faults.repeats && way == Way::ToDriver)
        {
            delivery.twice = true;
            delivery.second = delivery.delay;
        }
        return delivery;
    }

    void Set(const DeviceFaults& faults) { m_faults = faults; }
    Link* Behind() const { return m_behind; }

private:
    bool IsLost()
    {
        return m_faults.lossPercent > 0 &&
               m_random.Between(1, PERCENT) <= static_cast<int>(m_faults.lossPercent);
    }

    embedded_host::Random m_random;
    Link* const m_behind;
    DeviceFaults m_faults;
};

DeviceSwitches::DeviceSwitches(Session& session, Listeners& listeners, std::uint64_t seed)
    : m_session(session), m_listeners(listeners), m_seed(seed),
      m_switched(session.Devices().size()), m_forgets(session.Devices().size())
{
}

DeviceSwitches::~DeviceSwitches()
{
    for (std::size_t i = 0; i < m_links.size(); ++i)
        m_session.Devices()[i]->SetLink(m_links[i]->Behind());
}

void DeviceSwitches::Start()
{
    for (const auto& device : m_session.Devices())
    {
        m_links.push_back(std::make_unique<SwitchedLink>(m_seed + (m_links.size() + 1) * THIRD_SEED,
                                                         device->GetLink()));
        device->SetLink(m_links.back().get());
    }
}

std::int64_t DeviceSwitches::NowMs() const
{
    return m_session.House().GetClock().Now().count();
}

bool DeviceSwitches::IsReal(std::size_t device) const
{
    return IsRemoteLight(m_session.KindOf(m_session.Devices()[device]->Driver()));
}

void DeviceSwitches::SetPower(std::size_t device, bool on)
{
    Switched& switched = m_switched[device];
    if (switched.power == on)
        return;
    switched.power = on;
    switched.powerMs = NowMs();
    device_wire::AttachedDevice& attached = *m_session.Devices()[device];
    if (!on)
        m_listeners.OnPowerFailure(attached.Driver());
    attached.SetPower(on);
}

void DeviceSwitches::SetPower(bool on)
{
    if (m_house.power != on)
        m_house.powerMs = NowMs();
    m_house.power = on;
    for (std::size_t i = 0; i < m_switched.size(); ++i)
    {
        if (!IsReal(i))
            SetPower(i, on);
    }
}

void DeviceSwitches::SetFaults(std::size_t device, const DeviceFaults& faults)
{
    Switched& switched = m_switched[device];
    if (switched.faults.deaf != faults.deaf)
        switched.deafMs = NowMs();
    switched.faults = faults;
    Apply(device);
}

void DeviceSwitches::SetFaults(const DeviceFaults& faults)
{
    if (m_house.faults.deaf != faults.deaf)
        m_house.deafMs = NowMs();
    m_house.faults = faults;
    for (std::size_t i = 0; i < m_switched.size(); ++i)
    {
        if (!IsReal(i))
            Apply(i);
    }
}

void DeviceSwitches::Apply(std::size_t device)
{
    const DeviceFaults faults = Together(m_switched[device].faults, m_house.faults);
    m_links[device]->Set(faults);
    const bool forgets = faults.forgets && CanForget(device);
    if (forgets == m_forgets[device])
        return;
    simulated::FaultList* const list = m_session.Devices()[device]->Device()->GetFaults();
    m_forgets[device] = forgets;
    if (forgets)
        list->Add(FORGETS, {});
    else
        list->RemoveLast(FORGETS);
}

const DeviceSwitches::Switched& DeviceSwitches::Of(std::size_t device) const
{
    return m_switched[device];
}

bool DeviceSwitches::CanForget(std::size_t device) const
{
    const simulated::FaultList* const list = m_session.Devices()[device]->Device()->GetFaults();
    return list && list->FindKind(FORGETS);
}
} // namespace lighting_host
