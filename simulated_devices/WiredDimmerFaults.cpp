#include "simulated_devices/WiredDimmerFaults.h"

namespace simulated
{
namespace
{
// Counts one more; true at every nth.
bool IsTurn(unsigned& count, unsigned every)
{
    ++count;
    return every != 0 && count % every == 0;
}

bool IsTrap(const wire::MibMessage& message)
{
    return message.type == wire::MibMessage::Trap;
}
} // namespace

bool DimmerLosesRequests::OnRequest(const wire::MibMessage&)
{
    return !IsTurn(m_requests, m_every);
}

bool DimmerLosesAnswers::OnSend(const wire::MibMessage& message, std::uint64_t&, Extra&)
{
    return IsTrap(message) || !IsTurn(m_answers, m_every);
}

bool DimmerLosesTraps::OnSend(const wire::MibMessage& message, std::uint64_t&, Extra&)
{
    return !IsTrap(message) || !IsTurn(m_traps, m_every);
}

bool DimmerRepeatsTraps::OnSend(const wire::MibMessage& message, std::uint64_t& delayMs,
                                Extra& also)
{
    if (IsTrap(message) && IsTurn(m_traps, m_every))
        also.emplace_back(message, delayMs);
    return true;
}

bool DimmerReordersTraps::OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra&)
{
    if (IsTrap(message) && IsTurn(m_traps, m_every))
        delayMs += 2 * WiredDimmer::REPORT_MS + 1;
    return true;
}

void DimmerForgets::OnPowerOn(DimmerTables& tables)
{
    tables = DimmerTables();
}

bool DimmerKeepsStaleElements::OnRemoveElement(std::uint16_t)
{
    return !IsTurn(m_removals, m_every);
}
} // namespace simulated
