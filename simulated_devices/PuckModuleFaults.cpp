#include "simulated_devices/PuckModuleFaults.h"

namespace simulated
{
namespace puck
{
namespace
{
constexpr std::uint64_t BOUNCE_MS = 3;
} // namespace

bool LosesMessages::OnSend(const wire::MibMessage&, std::uint64_t&, Extra&)
{
    return !m_lose.Next();
}

bool SendsLate::OnSend(const wire::MibMessage&, std::uint64_t& delayMs, Extra&)
{
    if (m_delay.Next())
        delayMs += m_lateMs;
    return true;
}

bool RepeatsMessages::OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also)
{
    if (m_repeat.Next())
        also.emplace_back(message, delayMs + m_laterMs);
    return true;
}

bool LosesReleases::OnSend(const wire::MibMessage& message, std::uint64_t&, Extra&)
{
    return message.mib != "nx.dmx.he" && message.mib != "nx.dmx.sc";
}

bool Chatters::OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also)
{
    if (message.mib != "nx.dmx.bp")
        return true;
    wire::MibMessage end = message;
    end.mib = "nx.dmx.he";
    std::uint64_t at = delayMs;
    for (unsigned i = 0; i < m_bounces; ++i)
    {
        also.emplace_back(end, at += BOUNCE_MS);
        also.emplace_back(message, at += BOUNCE_MS);
    }
    return true;
}

bool HearsBadly::OnHeard(const wire::MibMessage&)
{
    return !m_miss.Next();
}

void ForgetsSettings::OnPowerOn(PuckSettings& settings)
{
    settings = PuckSettings();
}
} // namespace puck
} // namespace simulated
