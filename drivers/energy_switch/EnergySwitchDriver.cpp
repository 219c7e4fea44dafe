#include "drivers/energy_switch/EnergySwitchDriver.h"

#include "drivers/DriverLog.h"
#include "lighting_common/Names.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include <boost/bind/bind.hpp>

namespace
{
const char* const SOURCE = "drivers/energy_switch/EnergySwitchDriver";

// Beside the energy in the state.
const std::string METER_READING = "METER_READING";

// More than this is not used while nobody looks: what one circuit of 16 A carries in eleven days. A
// meter that shows more is another one.
constexpr std::uint32_t MOST_UNSEEN_WH = 1000000;
} // namespace

EnergySwitchDriver::EnergySwitchDriver(IInstanceManager& instances)
    : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, PROTOCOL_MIB),
      NxBaseEnergyDevice(&GetVariableManager(), GetTimerManager())
{
    using namespace boost::placeholders;
    GetCmdDispatcher().RegisterCmd0(names::general::RESET_ENERGY_USED,
                                    boost::bind(&EnergySwitchDriver::OnCmdResetEnergy, this));
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
    if (state)
        RestoreReading(*state);
    return true;
}

void EnergySwitchDriver::RestoreReading(const nx::XmlNode& state)
{
    if (!state.HasChild(METER_READING))
        return;
    const std::string& text = state.GetChildData(METER_READING);
    const char* const end = text.data() + text.size();
    std::uint32_t reading = 0;
    const auto read = std::from_chars(text.data(), end, reading);
    if (read.ec != std::errc() || read.ptr != end)
    {
        DRIVER_WARN(SOURCE, GetDriverName() << ": the state has no meter reading but \"" << text
                                            << "\"; the next report begins anew");
        return;
    }
    m_lastReading = reading;
    m_hasReading = m_readingIsRestored = true;
}

boost::shared_ptr<nx::XmlNode> EnergySwitchDriver::GetPersistState(unsigned long)
{
    const auto state = nx::CreateXmlNode();
    state->Initialize(names::puck::STATE, "");
    state->AddChild(NxBaseEnergyDevice::GetPersistState());
    if (m_hasReading)
        state->AddChild(METER_READING, m_lastReading);
    return state;
}

void EnergySwitchDriver::OnCmdResetEnergy()
{
    resetEnergyUsed();
    RequestPersist();
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
    const std::uint32_t last = std::exchange(m_lastReading, wattHours);
    const bool restored = std::exchange(m_readingIsRestored, false);
    // What the meter has counted before the driver knew it is not known to be new.
    if (!std::exchange(m_hasReading, true))
        return;
    if (wattHours < last)
        DRIVER_WARN(SOURCE, GetDriverName()
                                << ": the meter shows " << wattHours << " Wh after " << last
                                << " Wh; it was reset or replaced, and counts from 0");
    // A meter that shows less than before has begun at 0 again, by a power failure most often.
    const std::uint32_t used = wattHours >= last ? wattHours - last : wattHours;
    if (restored && used > MOST_UNSEEN_WH)
    {
        DRIVER_WARN(SOURCE, GetDriverName()
                                << ": the meter shows " << wattHours << " Wh after " << last
                                << " Wh, more than can have been used meanwhile; it was replaced, "
                                   "and counts from there");
        return;
    }
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
