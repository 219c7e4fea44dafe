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

std::vector<ButtonOffer> DriverAdapter::Buttons() const
{
    return {};
}

std::vector<SettingOffer> DriverAdapter::Settings() const
{
    return {};
}

std::vector<FigureOffer> DriverAdapter::Figures() const
{
    return {};
}

std::vector<unsigned> DriverAdapter::PlayedScenes() const
{
    return {};
}

std::optional<ButtonUse> DriverAdapter::UseOf(const embedded_host::Effect&) const
{
    return std::nullopt;
}

Json DriverAdapter::LedInput(const ButtonOffer&, const std::string&) const
{
    return Json::object();
}

Json DriverAdapter::SettingInput(const SettingOffer&, const std::string&) const
{
    return Json::object();
}
} // namespace lighting_host
