#pragma once

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "lighting_common/NxBaseEnergyDevice.h"

#include <cstdint>
#include <string>

#include <boost/shared_ptr.hpp>

class NxMIBPacket;

// A switch or plug that meters what its load uses: the older form of the energy statistics, which
// the driver derives from.
//
// Its statistics are the base's; what the load is (on, its power, its fault) comes from the plug's
// own reports, or is told. Switches nothing. Lives on the host's thread; the owner operations are
// virtual so that a driver derived from this one can do more in them.
class EnergySwitchDriver : public NxBaseMibDriver, public NxBaseEnergyDevice
{
public:
    // Registers the command and the trap. `instances` must outlive the driver.
    explicit EnergySwitchDriver(IInstanceManager& instances);
    ~EnergySwitchDriver() override;

    // Reads the energy and the last meter reading from `state`.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // "State" with the child "ENERGY_DATA" and, once the plug has reported, "METER_READING" in
    // watt-hours.
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    // The driver has no timer but the tick of its statistics.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // What the load is. Default: off, energy ready.
    void SetLoadOn(bool on) { m_loadOn = on; }
    void SetEnergyReady(bool ready) { m_energyReady = ready; }

    NxBaseEnergyDevice& Energy() { return *this; }
    const NxBaseEnergyDevice& Energy() const { return *this; }

    // NxBaseEnergyDevice.
    bool IsLoadOn() override;
    bool IsEnergyReady() override;
    void EnergyValueToUI(const std::string& name, int value) override;

private:
    void OnCmdResetEnergy();
    void OnTrapMeter(const NxMIBPacket& packet);
    void RestoreReading(const nx::XmlNode& state);
    void TakeMeterReading(std::uint32_t wattHours);

    bool m_loadOn = false;
    bool m_energyReady = true;
    // What the plug's own meter showed last, once it has reported.
    bool m_hasReading = false;
    std::uint32_t m_lastReading = 0;
    // The reading is that of the state: what happened to the plug since is not known.
    bool m_readingIsRestored = false;
};
