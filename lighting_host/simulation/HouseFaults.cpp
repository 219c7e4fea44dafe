#include "lighting_host/simulation/HouseFaults.h"

#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
constexpr int THOUSAND = 1000;
constexpr std::uint64_t SECOND_SEED = 0x9E3779B97F4A7C15;

// Each link has a sequence of its own.
constexpr std::uint64_t SeedOfLink(std::uint64_t seed, std::size_t link)
{
    return seed + (link + 1) * SECOND_SEED;
}

// How often a message meets each fault, of a thousand; how late it can be; how long a device has
// power, on average.
struct Rates
{
    int lost;
    int late;
    int twice;
    int latestMs;
    int powerMs;
};
constexpr Rates LIGHT = {5, 10, 5, 400, 48 * 3600 * 1000};
constexpr Rates HEAVY = {60, 80, 40, 2500, 8 * 3600 * 1000};

// What devices do wrong besides, each that knows the kind. The order is that of the draws.
struct DeviceFault
{
    const char* kind;
    // Half of the devices are.
    bool onlyUnlucky;
    bool onlyHeavy;
    // Drawn from `min` to `max`; null for none, and then the defaults hold.
    const char* attribute;
    int min;
    int max;
};
constexpr DeviceFault DEVICE_FAULTS[] = {
    {"forgets", true, false, nullptr, 0, 0},
    {"chatters", false, true, "bounces", 1, 1},
    {"reorders_traps", false, true, "every", 5, 15},
};

const Rates& RatesOf(FaultLevel level)
{
    return level == FaultLevel::Heavy ? HEAVY : LIGHT;
}
} // namespace

class HouseFaults::FaultyLink : public device_wire::Link
{
public:
    // `overTheAir`: messages may overtake each other.
    FaultyLink(std::uint64_t seed, FaultLevel level, bool overTheAir)
        : m_random(seed, embedded_host::Draw::Random), m_rates(RatesOf(level)),
          m_inOrder(level != FaultLevel::None && !overTheAir)
    {
    }

    Delivery ForNextMessage(Way) override
    {
        Delivery delivery;
        delivery.inOrder = m_inOrder;
        ++m_counts.messages;
        if (!m_faulty)
            return delivery;
        delivery.lost = Meets(m_rates.lost);
        if (Meets(m_rates.late))
            delivery.delay = DrawTime();
        delivery.twice = Meets(m_rates.twice);
        if (delivery.twice)
            delivery.second = DrawTime();
        if (delivery.lost)
        {
            ++m_counts.lost;
            return delivery;
        }
        m_counts.late += delivery.delay.count() > 0 ? 1 : 0;
        m_counts.twice += delivery.twice ? 1 : 0;
        return delivery;
    }

    void StopFaults() { m_faulty = false; }
    void Redraw(std::uint64_t seed)
    {
        m_random = embedded_host::Random(seed, embedded_host::Draw::Random);
    }
    Counts& GetCounts() { return m_counts; }

private:
    std::chrono::milliseconds DrawTime()
    {
        return std::chrono::milliseconds(m_random.Between(1, m_rates.latestMs));
    }
    bool Meets(int ofAThousand) { return m_random.Between(1, THOUSAND) <= ofAThousand; }

    embedded_host::Random m_random;
    const Rates& m_rates;
    const bool m_inOrder;
    Counts m_counts;
    bool m_faulty = true;
};

HouseFaults::HouseFaults(Session& session, Listeners& listeners, FaultLevel level,
                         std::uint64_t seed)
    : m_session(session), m_listeners(listeners), m_level(level),
      m_random(seed, embedded_host::Draw::Random)
{
    for (std::size_t i = 0; i < session.Devices().size(); ++i)
        m_links.push_back(std::make_unique<FaultyLink>(
            SeedOfLink(seed, i), level,
            session.KindOf(session.Devices()[i]->Driver())->overTheAir));
}

HouseFaults::~HouseFaults()
{
    Stop();
    for (const auto& device : m_session.Devices())
        device->SetLink(nullptr);
}

void HouseFaults::Start()
{
    for (std::size_t i = 0; i < m_links.size(); ++i)
    {
        m_session.Devices()[i]->SetLink(m_links[i].get());
        if (m_level == FaultLevel::None)
        {
            m_links[i]->StopFaults();
            continue;
        }
        // A real lamp has those of its own.
        if (IsRemoteLight(m_session.KindOf(m_session.Devices()[i]->Driver())))
        {
            m_links[i]->StopFaults();
            m_failures.push_back(0);
            continue;
        }
        AddDeviceFaults(*m_session.Devices()[i]->Device());
        m_failures.push_back(0);
        PlanFailure(i);
    }
}

void HouseFaults::Stop()
{
    for (const unsigned timer : m_failures)
        m_session.House().KillDeviceTimer(timer);
    m_failures.clear();
    for (const auto& link : m_links)
        link->StopFaults();
    for (const auto& attached : m_session.Devices())
        attached->Device()->ClearFaults();
}

void HouseFaults::Redraw(std::uint64_t seed)
{
    m_random = embedded_host::Random(seed, embedded_host::Draw::Random);
    for (std::size_t i = 0; i < m_links.size(); ++i)
        m_links[i]->Redraw(SeedOfLink(seed, i));
}

const HouseFaults::Counts& HouseFaults::Of(std::size_t device) const
{
    return m_links[device]->GetCounts();
}

// Whether it is one of the unlucky half is drawn for every device, also for one that can have no
// such fault: the draws of the others do not depend on it then.
void HouseFaults::AddDeviceFaults(simulated::SimulatedDevice& device)
{
    const bool unlucky = m_random.Between(0, 1) == 1;
    simulated::FaultList* const faults = device.GetFaults();
    for (const DeviceFault& fault : DEVICE_FAULTS)
    {
        if (!faults || !faults->FindKind(fault.kind))
            continue;
        if (fault.onlyUnlucky && !unlucky)
            continue;
        if (fault.onlyHeavy && m_level != FaultLevel::Heavy)
            continue;
        simulated::FaultValues values;
        if (fault.attribute)
            values[fault.attribute] =
                static_cast<std::uint64_t>(m_random.Between(fault.min, fault.max));
        faults->Add(fault.kind, values);
    }
}

void HouseFaults::PlanFailure(std::size_t device)
{
    const int mean = RatesOf(m_level).powerMs;
    const std::chrono::milliseconds wait(m_random.Between(mean / 10, 2 * mean));
    m_failures[device] = m_session.House().AddDeviceTimer(wait, this);
}

void HouseFaults::OnTimerExpired(ID::Timer timer, time_t)
{
    const auto failure = std::find(m_failures.begin(), m_failures.end(), timer);
    if (failure == m_failures.end())
        return;
    const auto device = static_cast<std::size_t>(failure - m_failures.begin());
    PlanFailure(device);
    FailPower(device);
}

void HouseFaults::FailPower(std::size_t device)
{
    ++m_links[device]->GetCounts().powerFailures;
    device_wire::AttachedDevice& attached = *m_session.Devices()[device];
    m_listeners.OnPowerFailure(attached.Driver());
    // One that somebody has switched off stays without power.
    if (attached.HasPower())
        attached.SetPower(true);
}

std::string NameOf(FaultLevel level)
{
    switch (level)
    {
    case FaultLevel::Light:
        return "light";
    case FaultLevel::Heavy:
        return "heavy";
    default:
        return "none";
    }
}
} // namespace lighting_host
