#pragma once

#include "lighting_host/switchboard/FlightRecord.h"
#include "test_kit/AnyInput.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lighting_host
{
struct HouseFile;

// The words that these drivers of the house listen to, beside those that the library's own parts
// know: commands, conditions and MIB ids that they have registered, and the parameters that they
// ask commands for. Found out in a child process; a driver that crashes there has told what it told
// until then. Throws std::system_error for no child.
test_kit::Vocabulary WordsOf(const HouseFile& file, const std::vector<std::string>& drivers,
                             const std::function<bool()>& goesOn);

// Draws what a soak hands in to these drivers in `forMs` of the house: inputs of every kind but bus
// messages, which no input line can say, and now and then a restart, with the driver's state asked
// for before and after it. Lines alone move the time. The same seed and words give the same lines.
std::vector<RecordInput> DrawSoakInputs(std::uint64_t seed, const test_kit::Vocabulary& words,
                                        const std::vector<std::string>& drivers,
                                        std::int64_t forMs);

// Gives each line the time at which the lines before it leave the house; returns that after the
// last one.
std::int64_t StampByLines(std::vector<RecordInput>& inputs);
} // namespace lighting_host
