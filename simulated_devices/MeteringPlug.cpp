#include "simulated_devices/MeteringPlug.h"

#include <algorithm>
#include <utility>

namespace simulated
{
namespace
{
constexpr std::uint64_t MINUTE_MS = 60000;
constexpr std::uint64_t HOUR_MS = 60 * MINUTE_MS;
constexpr std::uint64_t WATT_MS_PER_MILLIWATT_HOUR = HOUR_MS / 1000;
constexpr std::uint64_t MILLIWATT_HOURS_PER_WATT_HOUR = 1000;

std::uint64_t At(unsigned hour, unsigned minute)
{
    return hour * HOUR_MS + minute * MINUTE_MS;
}

// The compressor runs for a third of each 45 minutes; at night its heater defrosts it once.
std::vector<LoadCurve::Step> Fridge()
{
    constexpr std::uint64_t CYCLE_MS = 45 * MINUTE_MS;
    constexpr std::uint64_t RUN_MS = 15 * MINUTE_MS;
    std::vector<LoadCurve::Step> steps;
    for (std::uint64_t start = 0; start < LoadCurve::DAY_MS; start += CYCLE_MS)
    {
        steps.push_back({start, 85});
        steps.push_back({start + RUN_MS, 2});
    }
    steps.push_back({At(3, 20), 180});
    steps.push_back({At(3, 40), 2});
    return steps;
}

// One wash: heat, turn, heat the rest, rinse, spin; then it waits to be emptied.
std::vector<LoadCurve::Step> WashingMachine()
{
    return {{At(0, 0), 1},     {At(9, 30), 140}, {At(9, 36), 2050},
            {At(9, 52), 190},  {At(10, 20), 60}, {At(10, 24), 90},
            {At(10, 46), 480}, {At(10, 55), 3},  {At(11, 20), 1}};
}

std::vector<LoadCurve::Step> Kettle()
{
    std::vector<LoadCurve::Step> steps;
    for (const std::uint64_t start : {At(6, 50), At(7, 25), At(10, 15), At(15, 40), At(20, 5)})
    {
        steps.push_back({start, 2200});
        steps.push_back({start + 3 * MINUTE_MS, 0});
    }
    return steps;
}

std::vector<LoadCurve::Step> Television()
{
    return {{At(0, 0), 1}, {At(7, 0), 95}, {At(7, 20), 1}, {At(18, 55), 110}, {At(22, 50), 1}};
}

std::string Hex(std::uint64_t value, int digits)
{
    std::string text;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[value >> shift & 0xf];
    return text;
}
} // namespace

LoadCurve::LoadCurve(std::vector<Step> steps) : m_steps(std::move(steps))
{
    for (Step& step : m_steps)
        step.atMs %= DAY_MS;
    std::stable_sort(m_steps.begin(), m_steps.end(),
                     [](const Step& a, const Step& b) { return a.atMs < b.atMs; });
}

bool LoadCurve::ByName(const std::string& name, LoadCurve& curve)
{
    using Steps = std::vector<Step> (*)();
    static const std::pair<const char*, Steps> LOADS[] = {
        {"fridge", &Fridge},
        {"washing_machine", &WashingMachine},
        {"kettle", &Kettle},
        {"tv", &Television},
    };
    for (const auto& [known, steps] : LOADS)
    {
        if (name != known)
            continue;
        curve = LoadCurve(steps());
        return true;
    }
    return false;
}

std::uint32_t LoadCurve::WattsAt(std::uint64_t ms) const
{
    if (m_steps.empty())
        return 0;
    const std::uint64_t ofDay = ms % DAY_MS;
    std::uint32_t watts = m_steps.back().watts;
    for (const Step& step : m_steps)
    {
        if (step.atMs > ofDay)
            break;
        watts = step.watts;
    }
    return watts;
}

std::uint64_t LoadCurve::NextChangeAfter(std::uint64_t ms) const
{
    const std::uint32_t watts = WattsAt(ms);
    const std::uint64_t midnight = ms - ms % DAY_MS;
    for (const std::uint64_t day : {midnight, midnight + DAY_MS})
    {
        for (const Step& step : m_steps)
        {
            if (day + step.atMs > ms && WattsAt(step.atMs) != watts)
                return day + step.atMs;
        }
    }
    return 0;
}

MeteringPlug::MeteringPlug(DeviceEnvironment& environment, LoadCurve curve)
    : SimulatedDevice(environment), m_curve(std::move(curve))
{
}

void MeteringPlug::OnPowerOn()
{
    CancelPending();
    m_before += MeterMilliwattHours();
    m_counted = 0;
    m_countedMs = Environment().NowMs();
    m_watts = 0;
    FollowTheCurve();
    After(REPORT_MS, [this] { ReportEveryMinute(); });
}

void MeteringPlug::SetFault(std::uint8_t fault)
{
    Count();
    m_fault = fault;
    m_watts = Watts();
    Report();
}

std::uint32_t MeteringPlug::Watts() const
{
    return m_fault == 0 ? m_curve.WattsAt(Environment().NowMs()) : 0;
}

std::uint64_t MeteringPlug::MeterMilliwattHours() const
{
    const std::uint64_t since = Environment().NowMs() - m_countedMs;
    return (m_counted + m_watts * since) / WATT_MS_PER_MILLIWATT_HOUR;
}

// Up to now at the power so far.
void MeteringPlug::Count()
{
    const std::uint64_t now = Environment().NowMs();
    m_counted += m_watts * (now - m_countedMs);
    m_countedMs = now;
}

void MeteringPlug::FollowTheCurve()
{
    Count();
    m_watts = Watts();
    const std::uint64_t now = Environment().NowMs();
    if (const std::uint64_t next = m_curve.NextChangeAfter(now))
        After(next - now, [this] { FollowTheCurve(); });
    Report();
}

void MeteringPlug::ReportEveryMinute()
{
    After(REPORT_MS, [this] { ReportEveryMinute(); });
    Report();
}

void MeteringPlug::Report()
{
    const bool on = m_watts > STANDBY_WATTS;
    Environment().Send(
        wire::MibMessage{wire::MibMessage::Trap,
                         "nx.dmx.pwr",
                         {Hex(on ? 1 : 0, 2), Hex(m_fault, 2), Hex(m_watts, 8),
                          Hex(MeterMilliwattHours() / MILLIWATT_HOURS_PER_WATT_HOUR, 8)}});
}
} // namespace simulated
