#include "drivers/energy_switch/EnergySwitchDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/types/LoadFacts.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/energy_switch/EnergySwitch.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// The driver of a switch that meters its load as the protocol sees it.
class EnergySwitchAdapter : public EnergySwitchDriver, public TabledAdapter<EnergySwitchAdapter>
{
public:
    EnergySwitchAdapter(IInstanceManager& instances, LoadFacts& facts)
        : EnergySwitchDriver(instances), m_facts(facts)
    {
        SetLoadOn(facts.loadOn);
        SetEnergyReady(facts.energyReady);
    }

    void EnergyValueToUI(const std::string& name, int value) override
    {
        Host().ReportCall("EnergyValueToUI", {name, std::int64_t{value}});
        EnergySwitchDriver::EnergyValueToUI(name, value);
    }

    static std::vector<FactRow> Facts()
    {
        return LoadFactRows<FactRow>(&EnergySwitchAdapter::PrepareLoad);
    }

    static std::vector<QueryRow> Queries()
    {
        return {{ENERGY_QUERY, &EnergySwitchAdapter::QueryEnergy}};
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        return {{"minutes on", std::to_string(GetMinutesOn())},
                {"energy", fmt::format("{} Wh", GetEnergyUsed())}};
    }

    std::optional<EnergyFigures> EnergyOfLoad() const override { return FiguresOf(Energy()); }

private:
    Action PrepareLoad(const std::string& name, const Json& value)
    {
        return PrepareLoadFact(*this, m_facts, name, value);
    }

    Json QueryEnergy(Fields&) const { return EnergyAnswer(Energy()); }

    LoadFacts& m_facts;
};
} // namespace

TypeTables EnergySwitchTables()
{
    return EnergySwitchAdapter::Tables();
}

MadeDriver MakeEnergySwitch(IInstanceManager& instances, LoadFacts& facts)
{
    return MadeDriver(std::make_unique<EnergySwitchAdapter>(instances, facts));
}
} // namespace lighting_host
