#include "simulated_devices/WiredDimmerFaults.h"

namespace simulated
{
const FaultTable<WiredDimmerFault>& WiredDimmerFaultTable()
{
    using Base = WiredDimmerFault;
    static const FaultTable<Base> table = {
        {{"loses_requests", {Every()}, "does not hear every nth request"},
         &MakeEvery<Base, HearsBadly<Base>>},
        {{"loses_answers", {Every()}, "obeys, and loses every nth answer"},
         &MakeEvery<Base, Loses<Base, DimmerAnswers>>},
        {{"loses_traps", {Every()}, "loses every nth trap"},
         &MakeEvery<Base, Loses<Base, DimmerTraps>>},
        {{"repeats_traps", {Every()}, "sends every nth trap twice"},
         &MakeEvery<Base, Repeats<Base, DimmerTraps>>},
        {{"reorders_traps", {Every()}, "sends every nth trap after the two that follow it"},
         &MakeEvery<Base, ReordersTraps>},
        {{"forgets", {}, "has empty tables after a power failure"}, &Make<Base, Forgets<Base>>},
        {{"keeps_stale", {Every()}, "answers that it has removed every nth element, and keeps it"},
         &MakeEvery<Base, KeepsStaleElements>},
    };
    return table;
}

bool KeepsStaleElements::OnRemoveElement(std::uint16_t)
{
    return !m_turn.Next();
}
} // namespace simulated
