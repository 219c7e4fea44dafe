#pragma once

#include "embedded_host/Messages.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/simulation/HouseListener.h"
#include "nxshared/ITimerManagerCallback.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace simulated
{
class SimulatedDevice;
}

namespace device_wire
{
class AttachedDevice;
}

namespace lighting_host
{
class Listeners;
class Session;

// Plays the controller of a house that runs by itself: tells the drivers their load groups and
// scenes, acts on the uses of buttons that the house file names, and resyncs every driver now and
// then.
//
// Only for `run`: in `stdio` whoever writes the input is the controller. What it says goes to the
// drivers as commands and, where loads follow by themselves, to the devices over the air or the
// bus; what it hears it hears as a listener. Lives on the house's thread.
class Controller : public HouseListener, private ITimerManagerCallback
{
public:
    // How often each driver is told that its device is online, which makes it resync what its
    // device holds. The drivers' turns are spread evenly over this time.
    static constexpr std::chrono::milliseconds RESYNC_PERIOD = std::chrono::hours(6);

    // All must outlive the controller. `listeners` are told what it does.
    Controller(const HouseFile& file, Session& session, Listeners& listeners);
    ~Controller() override;
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // Called once, after the session has started: provisions every driver and begins to resync
    // them.
    void Start();

    // A driver has started (again): it is told what the controller wants it to know.
    void Provision(nx::DriverHost& driver);

    // HouseListener. Notices uses of buttons; what follows is done in a timer.
    void OnOutput(const embedded_host::Output& output) override;

    // Somebody else than a button asks for it: the scene or load group of that id in the house
    // file, or a scene or the lamp of one load alone. False when the house has no such scene or
    // group. The act's `use` is not looked at.
    bool RecallScene(unsigned id);
    void RecallScene(nx::DriverHost& driver, unsigned id);
    bool ActOnGroup(unsigned id, const HouseFileGroupAct& act);
    void SetLevel(const std::string& driver, int level, std::chrono::milliseconds time);

    // Whether the controller is just telling a driver something.
    bool IsSpeaking() const { return m_speaking; }

    // How often a scene was recalled, and when last, in milliseconds of the house's clock; likewise
    // for a load group and its acts. In the order of the house file.
    struct Count
    {
        unsigned times = 0;
        std::int64_t lastMs = 0;
    };
    const std::vector<Count>& SceneCounts() const { return m_sceneCounts; }
    const std::vector<Count>& GroupCounts() const { return m_groupCounts; }

private:
    // What is done on a use of a button: a scene, or a group's act.
    struct Reaction
    {
        HouseFileUse use;
        std::size_t scene = 0;
        std::size_t group = 0;
        // Null for a scene.
        const HouseFileGroupAct* act = nullptr;
    };

    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void Tell(nx::DriverHost& driver, const embedded_host::CmdMessage& command);
    void ToDevice(const std::string& driver,
                  const std::function<void(simulated::SimulatedDevice&)>& arrive);
    void SendSettings(nx::DriverHost& driver);
    void ResyncNext();
    void React(const Reaction& reaction);
    static void CountOne(Count& count, std::int64_t nowMs);
    void Recall(const HouseFileScene& scene);
    void MoveGroup(const HouseFileGroup& group, const HouseFileGroupAct& act);

    const HouseFile& m_file;
    Session& m_session;
    Listeners& m_listeners;
    std::unordered_map<const nx::DriverHost*, std::vector<Reaction>> m_reactions;
    std::unordered_map<std::string, device_wire::AttachedDevice*> m_devices;
    std::vector<const Reaction*> m_due;
    std::vector<Count> m_sceneCounts;
    std::vector<Count> m_groupCounts;
    unsigned m_dueTimer = 0;
    unsigned m_resyncTimer = 0;
    std::size_t m_nextToResync = 0;
    bool m_speaking = false;
};
} // namespace lighting_host
