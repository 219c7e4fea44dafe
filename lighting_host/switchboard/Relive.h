#pragma once

#include "lighting_host/switchboard/Breaks.h"
#include "lighting_host/switchboard/FlightRecord.h"

#include <cstdint>
#include <vector>

namespace lighting_host
{
class LiveHouse;

// Lets a live house go through what a record holds, up to `toMs` of the house or the first of these
// breaks, as fast as it goes. The house must just have been started, paused; it stays so. What was
// handed in then counts as handed in, so that one can go back to before it; what the house refuses,
// being another one than it was, does not. The breaks stay in the house.
//
// `nowNs`: the machine's monotonic clock.
void Relive(LiveHouse& house, const std::vector<RecordInput>& inputs, std::int64_t toMs,
            const std::vector<BreakCondition>& breaks, std::int64_t nowNs);
} // namespace lighting_host
