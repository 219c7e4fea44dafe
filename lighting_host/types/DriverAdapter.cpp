#include "lighting_host/types/DriverAdapter.h"

namespace lighting_host
{
DriverAdapter::Action DriverAdapter::PrepareInput(const std::string&, Fields&)
{
    return nullptr;
}

DriverAdapter::Action DriverAdapter::PrepareFact(const std::string&, const Json&)
{
    return nullptr;
}

bool DriverAdapter::Query(const std::string&, Fields&, Json&)
{
    return false;
}

void DriverAdapter::SendSettings() {}

std::string DriverAdapter::DescribeEvent(unsigned) const
{
    return std::string();
}

std::vector<std::pair<std::string, std::string>> DriverAdapter::Summary() const
{
    return {};
}

std::optional<EnergyFigures> DriverAdapter::EnergyOfLoad() const
{
    return std::nullopt;
}
} // namespace lighting_host
