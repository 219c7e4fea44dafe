#pragma once

#include "lighting_common/Export.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/Ids.h"
#include "nxshared/NxTime.h"

#include <ctime>
#include <string>

#include <boost/shared_ptr.hpp>

class IEnergyOwner;
class ITimerManager;

namespace nx
{
class IVariableManager;
class XmlNode;
} // namespace nx

// Keeps the energy statistics of one load: minutes on and off, minutes on today, present power and
// energy used, in total and today. Counts once a minute from a timer of its own. Publishes every
// value as a variable of the device and tells its owner the values for the user interface. Is
// persisted as one XML element.
//
// Not a meter: power and energy come from the driver that owns it. Lives on the driver's thread.
// Life: construct, setOwner, Initialize; the timer runs from construction until destruction.
// Invariants: totals stop at the largest 32-bit number instead of wrapping; between 0 and 99
// hundredths of a watt-hour wait in each of the two fractions, unless a restored state said
// otherwise.
class LIGHTING_COMMON_API EnergyInfoCollector : public ITimerManagerCallback
{
public:
    // Milliseconds in a tick, for drivers that count by themselves; the collector's own timing is
    // another. On purpose not that of NxBaseEnergyDevice, whose drivers are others.
    static constexpr int TIMER_INTERVAL = 10000;
    // Ticks in a minute, on purpose not those of NxBaseEnergyDevice either.
    static constexpr int TIMER_TICKS_PER_MINUTE = 6;

    // The element that the state is persisted in (wire value, do not change).
    static const std::string ENERGY_NODE_DATA;

    // Zeroes everything, draws the second of the minute at which it will count, and starts the
    // first timer, of one minute. `timers` and `vars` must outlive the collector. With a null
    // `vars` every registration fails and updates do nothing.
    EnergyInfoCollector(nx::IVariableManager* vars, ITimerManager& timers);
    EnergyInfoCollector(const EnergyInfoCollector&) = delete;
    EnergyInfoCollector& operator=(const EnergyInfoCollector&) = delete;

    // Stops every timer that it started. The variables stay.
    ~EnergyInfoCollector() override;

    // Who is asked about the load and told the values. Not owned. While there is none, no minute is
    // counted and nothing goes to the user interface. Not to be called from inside an operation of
    // the owner.
    void setOwner(IEnergyOwner* owner);

    // Takes over the "ENERGY_DATA" child of `state`, when there is one, and registers the six
    // variables of the device with the values that hold then. Children that are missing read as 0;
    // a null `state` or one without that child leaves everything as it is.
    void Initialize(unsigned deviceId, boost::shared_ptr<nx::XmlNode> state);

    // Adds variable `id` to the device. A refusal is an assertion and has no other effect.
    void RegisterEnergyVar(unsigned id, const std::string& name, int value);

    // Sets variable `id` of the device.
    void updateEnergyVar(unsigned id, int value);

    // Takes the load's present power in watts; publishes it when it changed, and tells the owner in
    // every case.
    void newCurrentPower(int watts);

    // Adds whole watt-hours to both totals and publishes them. 0 does nothing; a negative number is
    // logged as an error and refused.
    void increaseEnergyUsed(int wattHours);

    // Adds watt-hours, to the nearest hundredth: hundredths gather in the fractions until they make
    // a watt-hour. Publishes the totals when at least one of them grew by a whole watt-hour. 0 does
    // nothing. What no meter can have read is logged as an error and refused: negative numbers, and
    // also NaN, infinity and what does not fit 32 bits.
    void increaseEnergyUsed(float wattHours);

    // Called by the timer manager when a minute is over: asks the owner, rolls the values of the
    // day over at a change of day, counts, and starts the next timer. Any other timer id counts
    // nothing, but starts a timer too, which becomes the collector's own. What the owner throws
    // goes on to the caller; the next timer has been started by then.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // Tells the owner all six values.
    void allEnergyValuesToUI() const;

    // Zeroes every count, energy and fraction, but not the present power, and tells the owner. The
    // variables keep their values until they are set next.
    void resetEnergyUsed();

    // Says whether the load is faulted (not 0). A faulted load counts as off. Default 0.
    void SetFault(int fault);
    int GetFault() const;

    // Whether each minute on adds one minute of the present power to the energy, for devices that
    // measure power only. Default false.
    void SetAutoUpdateEnergy(bool on);

    // A new element with the counts, energies and fractions: what Initialize takes, as a child of
    // the driver's state.
    boost::shared_ptr<nx::XmlNode> GetPersistState() const;

    // The same element, for the user interface.
    boost::shared_ptr<nx::XmlNode> GetPersistStateForUI() const;

    int GetMinutesOn() const { return m_minutesOn; }
    int GetMinutesOff() const { return m_minutesOff; }
    int GetMinutesOnToday() const { return m_minutesOnToday; }

    // Watt-hours, and hundredths of a watt-hour that wait to become one.
    int GetEnergyUsed() const { return m_energyUsed; }
    int GetEnergyFraction() const { return m_energyFraction; }
    int GetEnergyUsedToday() const { return m_energyUsedToday; }
    int GetTodayFraction() const { return m_todayFraction; }

    // Watts.
    int GetCurrentPower() const { return m_currentPower; }

private:
    void CountMinute(const NxTime& now);
    void StartDay(const NxTime& now);
    void StartNextTimer(const NxTime& now);
    void PublishEnergy();
    void ToUI(const std::string& name, int value) const;

    IEnergyOwner* m_owner = nullptr;
    ITimerManager& m_timers;
    nx::IVariableManager* m_vars;
    int m_fault = 0;
    unsigned m_deviceId = 0;
    int m_secondOffset;
    ID::Timer m_timer = 0;
    int m_minutesOn = 0;
    int m_minutesOff = 0;
    int m_minutesOnToday = 0;
    int m_energyUsed = 0;
    int m_energyFraction = 0;
    int m_energyUsedToday = 0;
    int m_todayFraction = 0;
    int m_currentPower = 0;
    bool m_autoUpdateEnergy = false;
    NxTime m_lastDayTime;
};
