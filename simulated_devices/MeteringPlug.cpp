#include "simulated_devices/MeteringPlug.h"

#include <algorithm>
#include <utility>

namespace simulated
{
namespace
{
using std::chrono::milliseconds;
using std::chrono::minutes;

constexpr std::uint64_t WATT_MS_PER_MILLIWATT_HOUR = 3600;
constexpr std::uint64_t MILLIWATT_HOURS_PER_WATT_HOUR = 1000;

milliseconds At(int hour, int minute)
{
    return std::chrono::hours(hour) + minutes(minute);
}

std::uint64_t WattMilliseconds(std::uint32_t watts, milliseconds time)
{
    return watts * static_cast<std::uint64_t>(time.count());
}

// The compressor runs for a third of each 45 minutes; at night its heater defrosts it once.
std::vector<LoadCurve::Step> Fridge()
{
    constexpr minutes CYCLE(45);
    constexpr minutes RUN(15);
    std::vector<LoadCurve::Step> steps;
    for (milliseconds start{}; start < LoadCurve::DAY; start += CYCLE)
    {
        steps.push_back({start, 85});
        steps.push_back({start + RUN, 2});
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
    for (const milliseconds start : {At(6, 50), At(7, 25), At(10, 15), At(15, 40), At(20, 5)})
    {
        steps.push_back({start, 2200});
        steps.push_back({start + minutes(3), 0});
    }
    return steps;
}

std::vector<LoadCurve::Step> Television()
{
    return {{At(0, 0), 1}, {At(7, 0), 95}, {At(7, 20), 1}, {At(18, 55), 110}, {At(22, 50), 1}};
}

std::string Hex(std::uint64_t value, std::size_t digits)
{
    std::string text(digits, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, value >>= 4)
        *digit = "0123456789abcdef"[value & 0xf];
    return text;
}
} // namespace

LoadCurve::LoadCurve(std::vector<Step> steps) : m_steps(std::move(steps))
{
    for (Step& step : m_steps)
        step.at %= DAY;
    std::stable_sort(m_steps.begin(), m_steps.end(),
                     [](const Step& a, const Step& b) { return a.at < b.at; });
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

std::uint32_t LoadCurve::WattsAt(milliseconds time) const
{
    if (m_steps.empty())
        return 0;
    const milliseconds ofDay = time % DAY;
    std::uint32_t watts = m_steps.back().watts;
    for (const Step& step : m_steps)
    {
        if (step.at > ofDay)
            break;
        watts = step.watts;
    }
    return watts;
}

milliseconds LoadCurve::NextChangeAfter(milliseconds time) const
{
    const std::uint32_t watts = WattsAt(time);
    const milliseconds midnight = time - time % DAY;
    for (const milliseconds day : {midnight, midnight + DAY})
    {
        for (const Step& step : m_steps)
        {
            if (day + step.at > time && WattsAt(step.at) != watts)
                return day + step.at;
        }
    }
    return {};
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
    m_countedUpTo = Environment().Now();
    m_watts = 0;
    FollowTheCurve();
    After(REPORT_INTERVAL, [this] { ReportEveryMinute(); });
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
    return m_fault == 0 ? m_curve.WattsAt(Environment().Now()) : 0;
}

std::uint64_t MeteringPlug::MeterMilliwattHours() const
{
    const milliseconds since = Environment().Now() - m_countedUpTo;
    return (m_counted + WattMilliseconds(m_watts, since)) / WATT_MS_PER_MILLIWATT_HOUR;
}

// Up to now at the power so far.
void MeteringPlug::Count()
{
    const milliseconds now = Environment().Now();
    m_counted += WattMilliseconds(m_watts, now - m_countedUpTo);
    m_countedUpTo = now;
}

void MeteringPlug::FollowTheCurve()
{
    Count();
    m_watts = Watts();
    const milliseconds now = Environment().Now();
    if (const milliseconds next = m_curve.NextChangeAfter(now); next.count() > 0)
        After(next - now, [this] { FollowTheCurve(); });
    Report();
}

void MeteringPlug::ReportEveryMinute()
{
    After(REPORT_INTERVAL, [this] { ReportEveryMinute(); });
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
