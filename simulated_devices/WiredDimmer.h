#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/SimulatedDevice.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace simulated
{
class WiredDimmerFault;

// One step of a scene as a wired dimmer stores it: delay and rate in milliseconds, the level in
// percent. A level above 100, which the wire can carry, is stored and reported as it came.
struct DimmerElement
{
    std::uint32_t delay = 0;
    std::uint32_t rate = 0;
    std::uint8_t level = 0;
    std::uint8_t flags = 0;

    bool operator==(const DimmerElement& other) const
    {
        return delay == other.delay && rate == other.rate && level == other.level &&
               flags == other.flags;
    }
};

// What a wired dimmer keeps without power: the groups it is in, and the elements of its scenes by
// id, which has the scene in bits 0 to 11 and the index above.
struct DimmerTables
{
    std::set<std::uint16_t> groups;
    std::map<std::uint16_t, DimmerElement> elements;
};

// A wired dimmer: a load that stores its load groups and the elements of its advanced scenes.
//
// Written from the wire. Keeps both tables from the requests that reach it, answers them, reports
// its elements one by one when asked, plays scenes, and tells when one has ended. An answer takes
// ANSWER_TIME, and the reported elements follow each other every REPORT_INTERVAL. Requests that
// make no sense are not answered and change nothing. The tables survive a power failure, what was
// under way does not. Misbehaviour is added with AddFault, so that any dimmer can have any mix of
// faults, and they can end.
class WiredDimmer : public SimulatedDevice
{
public:
    static constexpr std::chrono::milliseconds ANSWER_TIME{5};
    static constexpr std::chrono::milliseconds REPORT_INTERVAL{20};

    explicit WiredDimmer(DeviceEnvironment& environment);
    ~WiredDimmer() override;

    // Adds a fault, which from now on has its say.
    using SimulatedDevice::AddFault;
    void AddFault(std::unique_ptr<WiredDimmerFault> fault);
    FaultList* GetFaults() override { return &m_faults; }

    // Lets a person at a keypad on the same bus start one of the stored scenes now and then, with
    // pauses of `shortest` to `longest`, from the next time that the dimmer gets power. 0 as the
    // longest, the default, means nobody.
    void LetAPersonPlay(std::chrono::milliseconds shortest, std::chrono::milliseconds longest);

    void OnMib(const wire::MibMessage& message) override;

    // Whatever was under way is not, and the load is off.
    void OnPowerOn() override;

    // How long GroupStartRamp takes from where the load is to either end.
    static constexpr std::chrono::milliseconds RAMP_TIME = std::chrono::seconds(5);
    void GroupRampToLevel(std::uint16_t group, int level, std::chrono::milliseconds time) override;
    void GroupStartRamp(std::uint16_t group, bool up) override;
    void GroupStopRamp(std::uint16_t group) override;

    void RampToLevel(int level, std::chrono::milliseconds time) override;

    // Starts a scene, 0 to 4095, as a keypad on the same bus does; one that is not stored is
    // ignored. At the end, which a scene that flashes does not have, the trap tells.
    void RecallScene(std::uint16_t scene) override;

    // The load's level at this moment in percent; more than FULL_LEVEL while an element of a scene
    // that asked for more says so.
    static constexpr int FULL_LEVEL = 100;
    int Level() const;
    LampLevel PresentLevel() const override;
    std::optional<LampRamp> PresentRamp() const override;

    bool IsPlaying() const { return m_playing; }
    // The tables as they are; a test may write to them.
    DimmerTables& Tables() { return m_tables; }
    const DimmerTables& Tables() const { return m_tables; }

    // CRC-32 over the group table: high byte, low byte and a zero byte for each group.
    std::uint32_t GroupChecksum() const;

    // CRC-32 over the elements of scenes 0 to 254, each scene up to its first gap: id, delay, rate
    // (most significant byte first), level and flags.
    std::uint32_t ElementChecksum() const;

private:
    using Params = std::vector<std::string>;
    using Handler = void (WiredDimmer::*)(const Params&);

    struct Request
    {
        const char* mib;
        std::size_t params;
        Handler handle;
    };
    static const std::vector<Request>& Requests();

    void AddGroup(const Params& params);
    void RemoveGroup(const Params& params);
    void RemoveAllGroups(const Params& params);
    void AddElement(const Params& params);
    void RemoveElement(const Params& params);
    void RemoveAllElements(const Params& params);
    void ReportAll(const Params& params);
    void ReportOne(const Params& params);
    void StartRamp(const Params& params);
    void StopRamp(const Params& params);

    void Answer(const char* mib, Params params);
    void Trap(const char* mib, Params params);
    void Transmit(const wire::MibMessage& message, std::chrono::milliseconds delay);
    void ReportFrom(unsigned report, std::uint32_t firstId, std::uint16_t sequence);
    void PlayStep(unsigned run, std::uint16_t id);
    void EndStep(unsigned run, std::uint16_t id);
    void RampTo(int level, std::chrono::milliseconds time);
    void StopPlaying();
    void AwaitPerson();
    void PersonPlays();

    std::chrono::milliseconds m_shortestPause{};
    std::chrono::milliseconds m_longestPause{};
    DimmerTables m_tables;
    Faults<WiredDimmerFault> m_faults;
    // The report and the playing under way; a later one ends an earlier one.
    unsigned m_report = 0;
    unsigned m_run = 0;
    bool m_playing = false;
    int m_rampFrom = 0;
    int m_rampTo = 0;
    std::chrono::milliseconds m_rampStart{};
    std::chrono::milliseconds m_rampTime{};
};
} // namespace simulated
