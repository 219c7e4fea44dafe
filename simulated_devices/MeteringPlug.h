#pragma once

#include "simulated_devices/SimulatedDevice.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace simulated
{
// What a load draws over a day, which repeats: from each step's time of day on, its power. Before
// the first step, and with no steps at all, it is the last step's power, or nothing.
//
// The day of a curve begins when the world does.
class LoadCurve
{
public:
    static constexpr std::chrono::milliseconds DAY = std::chrono::hours(24);

    struct Step
    {
        std::chrono::milliseconds at;
        std::uint32_t watts;
    };

    // Steps in any order, each within the day; of two at one time the later in the list counts.
    explicit LoadCurve(std::vector<Step> steps);

    // A fridge, a washing machine, a kettle or a television as households have them. False, and
    // `curve` untouched, for any other name.
    static bool ByName(const std::string& name, LoadCurve& curve);

    // The power at that moment, and the next moment at which it changes to another; 0 for never.
    std::uint32_t WattsAt(std::chrono::milliseconds time) const;
    std::chrono::milliseconds NextChangeAfter(std::chrono::milliseconds time) const;

private:
    std::vector<Step> m_steps;
};

// A plug that meters the load in it.
//
// Written from the wire. Reports with the trap "nx.dmx.pwr" whether the load is on (2 hexadecimal
// digits), its fault (2), its power in watts (8) and its meter in whole watt-hours (8). Reports
// when it gets power, whenever the load's power changes, and once a minute. The meter counts
// exactly, and begins at 0 when the plug has lost its power. Listens to nothing.
class MeteringPlug : public SimulatedDevice
{
public:
    static constexpr std::chrono::milliseconds REPORT_INTERVAL = std::chrono::minutes(1);
    // A load that draws no more than this stands by: it is reported as off.
    static constexpr std::uint32_t STANDBY_WATTS = 5;

    MeteringPlug(DeviceEnvironment& environment, LoadCurve curve);

    void OnPowerOn() override;

    // Makes the load fail, or mends it: the code is reported at once, 0 to 255 and 0 for none. A
    // load that failed draws nothing.
    void SetFault(std::uint8_t fault);

    // What the load draws now, and what the meter has counted since the plug got power, in
    // milliwatt-hours rounded down.
    std::uint32_t Watts() const;
    std::uint64_t MeterMilliwattHours() const;

    // What it would show had it never lost its power.
    std::uint64_t TotalMilliwattHours() const { return m_before + MeterMilliwattHours(); }

private:
    void Count();
    void Report();
    void ReportEveryMinute();
    void FollowTheCurve();

    LoadCurve m_curve;
    std::uint8_t m_fault = 0;
    // The power since the time up to which the meter has counted.
    std::uint32_t m_watts = 0;
    std::chrono::milliseconds m_countedUpTo{};
    // What the meter showed at the power failures so far.
    std::uint64_t m_before = 0;
    // Watts times milliseconds.
    std::uint64_t m_counted = 0;
};
} // namespace simulated
