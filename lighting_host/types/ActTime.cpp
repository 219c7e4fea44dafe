#include "lighting_host/types/ActTime.h"

#include "lighting_host/text/Duration.h"

#include <algorithm>

namespace lighting_host
{
namespace
{
// A time of several parts, as in "7h5m".
bool ParseParts(const std::string& text, std::chrono::milliseconds& time)
{
    const char* const digits = "0123456789.";
    time = {};
    std::size_t begin = 0;
    do
    {
        const std::size_t unit = text.find_first_not_of(digits, begin);
        const std::size_t end = std::min(text.find_first_of(digits, unit), text.size());
        std::int64_t part = 0;
        if (!ParseDuration(text.substr(begin, end - begin), part))
            return false;
        time += std::chrono::milliseconds(part);
        begin = end;
    } while (begin < text.size());
    return true;
}
} // namespace

ActTime::ActTime(DeviceElement& act)
    : m_every(act.Time("every", {})), m_says(act.Word("says", std::string()))
{
    if (!act.Has("at"))
        act.Fail("\"at\" is missing");
    if (!ParseParts(act.Word("at", std::string()), m_at))
        act.Fail("\"at\" is no time like 500ms, 2s or 7h5m");
    if (act.Has("every") && m_every.count() == 0)
        act.Fail("\"every\" is no time at all");
}

void ActTime::Plan(simulated::DeviceEnvironment& world, const std::function<void()>& act) const
{
    world.Schedule(m_at,
                   [&world, act, time = *this]() mutable
                   {
                       if (time.m_every.count() > 0)
                       {
                           time.m_at = time.m_every;
                           time.Plan(world, act);
                       }
                       if (!time.m_says.empty())
                           world.ReportAct(time.m_says);
                       act();
                   });
}
} // namespace lighting_host
