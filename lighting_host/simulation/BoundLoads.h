#pragma once

#include "lighting_host/simulation/HouseListener.h"
#include "nxshared/ITimerManagerCallback.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
struct HouseFile;
class Listeners;
class Session;

// The simulated loads to which the house file binds buttons: what such a load does by itself when
// its button is used, and what the button's driver is told of the load. Only for `run`: in `stdio`
// whoever writes the input says what a load does.
//
// A click, or a press that ends within HOLD_TIME, turns the load on or off. A press that is held
// moves it up or down, by turns, until the release. Each SAMPLE_PERIOD the button's driver is told
// the load's level in percent when that has changed, whoever moved the load. Lives on the house's
// thread.
class BoundLoads : public HouseListener, private ITimerManagerCallback
{
public:
    static constexpr std::chrono::milliseconds SAMPLE_PERIOD{1000};
    static constexpr std::chrono::milliseconds HOLD_TIME{500};
    // From dark to full, or back.
    static constexpr std::chrono::milliseconds RAMP_TIME = std::chrono::seconds(4);

    // All must outlive this. `listeners` are told what the loads do.
    BoundLoads(const HouseFile& file, Session& session, Listeners& listeners);
    ~BoundLoads() override;
    BoundLoads(const BoundLoads&) = delete;
    BoundLoads& operator=(const BoundLoads&) = delete;

    // Called once, after the session has started.
    void Start();

    // A driver has started again and knows nothing of its load.
    void OnDriverStarted(const nx::DriverHost& driver);

    // HouseListener. Notices bound calls; what follows is done in a timer.
    void OnOutput(const embedded_host::Output& output) override;

private:
    // A load and one binding of a driver that uses it.
    struct Pair
    {
        nx::DriverHost* user;
        unsigned binding;
        device_wire::AttachedDevice* load;
        // In percent, as the user was told last; below 0 when it was told nothing.
        int told = -1;
        bool pressed = false;
        bool ramps = false;
        bool rampsUp = false;
        unsigned holdTimer = 0;
    };
    struct Use
    {
        std::size_t pair;
        std::string what;
    };

    void Add(const Session& session, const std::string& user, unsigned binding,
             const std::string& load);
    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void Act(Pair& pair, const std::string& what);
    void Toggle(Pair& pair);
    void BeginRamp(Pair& pair);
    void EndRamp(Pair& pair);
    void Move(const Pair& pair, int level, std::chrono::milliseconds time);
    void Say(const Pair& pair, const char* what);
    void Sample(Pair& pair);
    static int LevelOf(const Pair& pair);

    Session& m_session;
    Listeners& m_listeners;
    std::vector<Pair> m_pairs;
    std::vector<Use> m_due;
    unsigned m_dueTimer = 0;
    unsigned m_sampleTimer = 0;
};
} // namespace lighting_host
