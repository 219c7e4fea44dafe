#include "embedded_host/HandledNames.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/internal/Dispatchers.h"

#include <algorithm>

namespace embedded_host
{
namespace
{
std::vector<std::string> Once(std::vector<std::string> names)
{
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}
} // namespace

HandledNames NamesHandledBy(nx::DriverHost& driver)
{
    std::vector<std::string> mibs = driver.Mibs().Traps();
    const std::vector<std::string> responses = driver.Mibs().Responses();
    mibs.insert(mibs.end(), responses.begin(), responses.end());
    return {Once(driver.Commands().Names()), Once(driver.Conditions().Names()),
            Once(std::move(mibs))};
}
} // namespace embedded_host
