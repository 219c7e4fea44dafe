#include "lighting_host/switchboard/HouseActions.h"

#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"

namespace lighting_host
{
bool IsHouseAction(const std::string&)
{
    return false;
}

std::function<void()> PrepareHouseAction(HouseRun&, const std::string&)
{
    throw InputError("not yet");
}
} // namespace lighting_host
