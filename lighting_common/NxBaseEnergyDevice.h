#pragma once

#include "lighting_common/Export.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/Ids.h"
#include "nxshared/NxTime.h"

#include <ctime>
#include <string>

#include <boost/shared_ptr.hpp>

class ITimerManager;

namespace nx
{
class IVariableManager;
class XmlNode;
} // namespace nx

// The older form of the energy statistics, for drivers that derive from it; new drivers own an
// EnergyInfoCollector. The same six values, counted in ticks of ten seconds. A minute is six ticks
// in one state. When the load leaves a state part-way, its ticks wait until the load is back in
// that state. Knows whole watt-hours only and makes no energy from power.
//
// Lives on the driver's thread. Life: construct, Initialize; the ticks run from construction until
// destruction. The order of the virtual operations is part of the binary interface.
// Invariants: 0 to 5 ticks wait in each tick counter; counts stop at the ends of the 32-bit range
// instead of wrapping.
class LIGHTING_COMMON_API NxBaseEnergyDevice : public ITimerManagerCallback
{
public:
    // Milliseconds in a tick, and ticks in a minute.
    static constexpr int TIMER_INTERVAL = 10000;
    static constexpr int TIMER_TICKS_PER_MINUTE = 6;

    // The element that the state is persisted in (wire value, do not change).
    static const std::string ENERGY_NODE_DATA;

    // Zeroes everything and starts the repeating tick. `timers` must outlive this object, and so
    // must `vars`; a null `vars` makes every registration fail and every update go nowhere.
    NxBaseEnergyDevice(nx::IVariableManager* vars, ITimerManager& timers);
    NxBaseEnergyDevice(const NxBaseEnergyDevice&) = delete;
    NxBaseEnergyDevice& operator=(const NxBaseEnergyDevice&) = delete;

    // Stops the tick. The variables stay.
    ~NxBaseEnergyDevice() override;

    // Called every ten seconds: rolls the values of the day over at a change of day and counts the
    // tick. Any other timer id is ignored. A derived driver that overrides this hands on every
    // timer that is not its own.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // Whether the load is on now. Called once for each tick that is counted.
    virtual bool IsLoadOn() = 0;

    // Whether the driver knows enough of its load for the tick to be counted; false leaves the
    // whole tick uncounted, the change of day included.
    virtual bool IsEnergyReady() = 0;

    // A value for the user interface, named as its variable. Called after the variable was set. May
    // call this object; must not destroy it.
    virtual void EnergyValueToUI(const std::string& name, int value) = 0;

    // Takes over the "ENERGY_DATA" child of `state`, when there is one, and registers the six
    // variables of the device with the values that hold then. Children that are missing read as 0;
    // a null `state` or one without that child leaves everything as it is.
    void Initialize(unsigned deviceId, boost::shared_ptr<nx::XmlNode> state);

    // Adds variable `id` to the device. A refusal is an assertion and has no other effect.
    void RegisterEnergyVar(unsigned id, const std::string& name, int value);

    // Sets variable `id` of the device.
    void updateEnergyVar(unsigned id, int value);

    // Takes the load's present power in watts. The same value again does nothing at all.
    void newPowerReading(int watts);

    // Adds watt-hours to both totals and publishes them, also 0 and negative numbers.
    void increaseEnergyUsed(int wattHours);

    // Tells the user interface all six values.
    void allEnergyValuesToUI();

    // Zeroes every count and energy, but neither the present power nor the ticks that wait, and
    // tells the user interface. The variables keep their values until they are set next.
    void resetEnergyUsed();

    // Says whether the load is faulted (not 0). A faulted load counts as off. Default 0.
    void SetFault(int fault);
    int GetFault() const;

    // A new element with the counts and energies: what Initialize takes, as a child of the driver's
    // state.
    boost::shared_ptr<nx::XmlNode> GetPersistState() const;

    // The same element, for the user interface.
    boost::shared_ptr<nx::XmlNode> GetPersistStateForUI() const;

    int GetMinutesOn() const { return m_minutesOn; }
    int GetMinutesOff() const { return m_minutesOff; }
    int GetMinutesOnToday() const { return m_minutesOnToday; }

    // Watt-hours.
    int GetEnergyUsed() const { return m_energyUsed; }
    int GetEnergyUsedToday() const { return m_energyUsedToday; }

    // Watts.
    int GetCurrentPower() const { return m_currentPower; }

private:
    void StartDay(const NxTime& now);
    void CountOnTick();
    bool CountOnTodayTick();
    void CountOffTick();
    void Publish(unsigned id, const std::string& name, int value);

    int m_fault = 0;
    ITimerManager& m_timers;
    nx::IVariableManager* m_vars;
    unsigned m_deviceId = 0;
    ID::Timer m_timer = 0;
    int m_minutesOn = 0;
    int m_minutesOff = 0;
    int m_minutesOnToday = 0;
    int m_energyUsed = 0;
    int m_energyUsedToday = 0;
    int m_currentPower = 0;
    int m_onTicks = 0;
    int m_onTodayTicks = 0;
    int m_offTicks = 0;
    NxTime m_lastDayTime;
};
