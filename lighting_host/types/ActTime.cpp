#include "lighting_host/types/ActTime.h"

namespace lighting_host
{
ActTime::ActTime(DeviceElement& act)
    : m_at(act.RequireTime("at")), m_every(act.Time("every", {})),
      m_says(act.Word("says", std::string()))
{
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
