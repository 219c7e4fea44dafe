#pragma once

#include "lighting_host/house/HouseFile.h"

#include <string>
#include <vector>

namespace lighting_host
{
// What looks wrong in a house that can be run: settings and states that its drivers pass over or
// take for something else, uses of buttons that there are not. By line. What drivers of libraries
// are configured with is not judged.
//
// The text is that of a house file without errors.
std::vector<HouseFileError> FindDoubts(const std::string& text);

// The same for a file.
std::vector<HouseFileError> FindDoubtsInFile(const std::string& path);
} // namespace lighting_host
