#include "drivers/energy_switch/EnergySwitchDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/types/Adapters.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/LoadFacts.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// The driver of a switch that meters its load as the protocol sees it.
class EnergySwitchAdapter : public EnergySwitchDriver, public DriverAdapter
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

    Action PrepareFact(const std::string& name, const Json& value) override
    {
        return PrepareLoadFact(*this, m_facts, name, value);
    }

    bool Query(const std::string& word, Fields&, Json& value) override
    {
        if (word != "energy")
            return false;
        value = EnergyAnswer(Energy());
        return true;
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        return {{"minutes on", std::to_string(GetMinutesOn())},
                {"energy", fmt::format("{} Wh", GetEnergyUsed())}};
    }

    std::optional<EnergyFigures> EnergyOfLoad() const override { return FiguresOf(Energy()); }

private:
    LoadFacts& m_facts;
};
} // namespace

NxBaseDriver* MakeEnergySwitch(IInstanceManager& instances, LoadFacts& facts)
{
    return new EnergySwitchAdapter(instances, facts);
}
} // namespace lighting_host
