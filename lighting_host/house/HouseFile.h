#pragma once

#include "lighting_host/types/HousePlan.h"

#include <string>
#include <vector>

namespace lighting_host
{
// Something that is wrong with a house file.
struct HouseFileError
{
    // From 1; 0 when it is not about a line.
    int line = 0;
    std::string what;
};

// A house as its file describes it.
struct HouseFile : HousePlan
{
    // Empty for one that does not come from a file.
    std::string path;
    // Everything that is wrong; the rest is as complete as it can be. A house with errors is not
    // run.
    std::vector<HouseFileError> errors;
};

// Lets go of what only the making of a session and its simulation needs: the states and the
// devices, which are most of what a large house takes. No other session can be made of this one
// then.
void ForgetStart(HouseFile& house);

// Reads a house file, and loads its driver libraries to see whether they can be. Never throws; what
// cannot be read is an error of the result.
HouseFile ReadHouseFile(const std::string& path);

// The same from a text; `folder` is what library paths are relative to.
HouseFile ParseHouseFile(const std::string& text, const std::string& folder);
} // namespace lighting_host
