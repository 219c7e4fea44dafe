#pragma once

#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "lighting_host/house/HouseFile.h"
#include "nxshared/ITimerManagerCallback.h"

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
class Session;

// Plays the controller of a house that runs by itself: tells the drivers their load groups and
// scenes, acts on the uses of buttons that the house file names, and calls the roll.
//
// Only for `run`: in `stdio` whoever writes the input is the controller. What it says goes to the
// drivers as commands and, where loads follow by themselves, to the devices over the air or the
// bus; what it hears comes from the house's sink. Lives on the house's thread.
class Controller : private ITimerManagerCallback
{
public:
    // How long a roll call takes: in this time every driver is told once that its device is online,
    // one after the other, so that each looks after what its device holds.
    static constexpr std::uint64_t ROLL_CALL_MS = 6 * 3600 * 1000;

    // Both must outlive the controller.
    Controller(const HouseFile& file, Session& session);
    ~Controller() override;
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // A button was used, and this is done on it; told before it is done. The text says what, as in
    // `recalls "Dinner" (7 loads)`.
    std::function<void(const nx::DriverHost&, const std::string& what)> onAct;

    // Called once, after the session has started: greets every driver and begins the roll call.
    void Start();

    // A driver has started (again): it is told what the controller wants it to know.
    void Greet(nx::DriverHost& driver);

    // Called for each effect of the house, inside the sink. Notices uses of buttons; what follows
    // is done in a timer.
    void Hear(const embedded_host::Output& output);

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
    struct Deed
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
    void GreetDimmer(nx::DriverHost& driver);
    void GreetLight(nx::DriverHost& driver);
    void GreetPuck(nx::DriverHost& driver);
    void CallNext();
    void Do(const Deed& deed);
    void Recall(const HouseFileScene& scene);
    void MoveGroup(const HouseFileGroup& group, const HouseFileGroupAct& act);

    const HouseFile& m_file;
    Session& m_session;
    std::unordered_map<const nx::DriverHost*, std::vector<Deed>> m_deeds;
    std::unordered_map<std::string, device_wire::AttachedDevice*> m_devices;
    std::vector<const Deed*> m_due;
    std::vector<Count> m_sceneCounts;
    std::vector<Count> m_groupCounts;
    unsigned m_dueTimer = 0;
    unsigned m_rollTimer = 0;
    std::size_t m_called = 0;
    bool m_speaking = false;
};
} // namespace lighting_host
