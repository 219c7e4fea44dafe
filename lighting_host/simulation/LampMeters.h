#pragma once

#include "nxshared/ITimerManagerCallback.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace nx
{
class DriverHost;
}

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
struct HouseFile;
class Session;

// The lamps of a house's simulated lights: what each draws at its level, metered. Only for `run`,
// where nobody else tells a light's driver what its load is.
//
// Samples every lamp each SAMPLE_PERIOD and tells the driver when its load went on or off or draws
// another power. Once a minute it hands over the energy, in whole hundredths of a watt-hour. Lives
// on the house's thread.
class LampMeters : private ITimerManagerCallback
{
public:
    static constexpr std::chrono::seconds SAMPLE_PERIOD{10};
    static constexpr unsigned SAMPLES_PER_MINUTE = 6;

    // One lamp's meter.
    struct Meter
    {
        nx::DriverHost* driver;
        const device_wire::AttachedDevice* device;
        // At full level.
        unsigned wattsAtMost;
        bool on = false;
        unsigned watts = 0;
        // What was not handed over yet, in joules, and what was in all, in hundredths of a
        // watt-hour.
        std::uint64_t joules = 0;
        std::uint64_t reported = 0;
    };

    // Both must outlive this.
    LampMeters(const HouseFile& file, Session& session);
    ~LampMeters() override;
    LampMeters(const LampMeters&) = delete;
    LampMeters& operator=(const LampMeters&) = delete;

    // Called once, after the session has started.
    void Start();

    // A driver has started again and knows nothing of its load.
    void OnDriverStarted(const nx::DriverHost& driver);

    const std::vector<Meter>& Meters() const { return m_meters; }

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void Sample(Meter& meter) const;
    void Tell(const Meter& meter) const;
    void ReportEnergy(Meter& meter) const;

    Session& m_session;
    std::vector<Meter> m_meters;
    unsigned m_timer = 0;
    unsigned m_samples = 0;
};
} // namespace lighting_host
