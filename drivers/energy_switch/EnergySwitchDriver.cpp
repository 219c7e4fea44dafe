#include "drivers/energy_switch/EnergySwitchDriver.h"

#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <limits>

#include <boost/bind/bind.hpp>

namespace
{
constexpr int PROTOCOL_MIB = 1;
} // namespace

EnergySwitchDriver::EnergySwitchDriver(IInstanceManager& instances)
    : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, PROTOCOL_MIB),
      NxBaseEnergyDevice(&GetVariableManager(), GetTimerManager())
{
    using namespace boost::placeholders;
    GetCmdDispatcher().RegisterCmd0(names::general::RESET_ENERGY_USED,
                                    boost::bind(&NxBaseEnergyDevice::resetEnergyUsed, this));
    GetMibDispatcher().RegisterTrap(names::mib::DMX_PWR,
                                    boost::bind(&EnergySwitchDriver::OnTrapMeter, this, _1));
}

EnergySwitchDriver::~EnergySwitchDriver() = default;

bool EnergySwitchDriver::Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                                    boost::shared_ptr<nx::XmlNode> state)
{
    if (!NxBaseMibDriver::Initialize(id, config, state))
        return false;
    NxBaseEnergyDevice::Initialize(id, state);
    return true;
}

boost::shared_ptr<nx::XmlNode> EnergySwitchDriver::GetPersistState(unsigned long)
{
    const auto state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(NxBaseEnergyDevice::GetPersistState());
    return state;
}

void EnergySwitchDriver::OnTimerExpired(ID::Timer timer, time_t time)
{
    NxBaseEnergyDevice::OnTimerExpired(timer, time);
}

void EnergySwitchDriver::OnTrapMeter(const NxMIBPacket& packet)
{
    std::uint8_t on = 0;
    std::uint8_t fault = 0;
    std::int32_t watts = 0;
    std::uint32_t wattHours = 0;
    if (!packet.GetHexParams(on, fault, watts, wattHours))
        return;
    SetLoadOn(on != 0);
    SetFault(fault);
    newPowerReading(watts);
    TakeMeterReading(wattHours);
}

void EnergySwitchDriver::TakeMeterReading(std::uint32_t wattHours)
{
    const std::uint32_t last = m_lastReading;
    const bool first = !m_hasReading;
    m_lastReading = wattHours;
    m_hasReading = true;
    // What the meter has counted before the driver knew it is not known to be new.
    if (first || wattHours == last)
        return;
    // A meter that shows less than before has lost its power and begun at 0 again.
    const std::uint32_t used = wattHours > last ? wattHours - last : wattHours;
    constexpr std::uint32_t LARGEST = std::numeric_limits<int>::max();
    if (used > 0)
        increaseEnergyUsed(static_cast<int>(std::min(used, LARGEST)));
}

bool EnergySwitchDriver::IsLoadOn()
{
    return m_loadOn;
}

bool EnergySwitchDriver::IsEnergyReady()
{
    return m_energyReady;
}

void EnergySwitchDriver::EnergyValueToUI(const std::string&, int) {}
