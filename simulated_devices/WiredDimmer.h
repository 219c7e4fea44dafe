#pragma once

#include "simulated_devices/SimulatedDevice.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace simulated
{
// A wired dimmer: a load that stores its load groups and the elements of its advanced scenes.
//
// Written from the wire: it keeps a group table and an element store of its own from the requests
// that reach it, answers them, reports its elements one by one when asked, plays scenes and tells
// when one has run to its end. A healthy one keeps both tables without power. Requests that make no
// sense are not answered and change nothing.
//
// Time on the wire, in milliseconds: an answer takes ANSWER_MS, and the reported elements follow
// each other every REPORT_MS. A step's delay and rate are milliseconds too.
class WiredDimmer : public SimulatedDevice
{
public:
    static constexpr std::uint64_t ANSWER_MS = 5;
    static constexpr std::uint64_t REPORT_MS = 20;

    // One step of a scene; the id has the scene in bits 0 to 11 and the index above.
    struct Element
    {
        std::uint32_t delay = 0;
        std::uint32_t rate = 0;
        std::uint8_t level = 0;
        std::uint8_t flags = 0;

        bool operator==(const Element& other) const
        {
            return delay == other.delay && rate == other.rate && level == other.level &&
                   flags == other.flags;
        }
    };

    using Groups = std::set<std::uint16_t>;
    using Elements = std::map<std::uint16_t, Element>;

    explicit WiredDimmer(DeviceEnvironment& environment);

    void OnMib(const wire::MibMessage& message) override;

    // Whatever was under way is not, and the load is off.
    void OnPowerOn() override;

    // Starts a scene, as a keypad on the same bus does; one that is not stored is ignored. At the
    // end, which a scene that flashes does not have, the trap tells.
    void PlayScene(unsigned scene);

    // Lets a person at a keypad on the same bus start one of the stored scenes now and then, the
    // pauses being `minMs` to `maxMs`.
    void LetAPersonPlay(std::uint32_t minMs, std::uint32_t maxMs);

    // The load's level at this moment, from 0 to 255, as the elements give it.
    int Level() const;

    bool IsPlaying() const { return m_playing; }
    const Groups& StoredGroups() const { return m_groups; }
    const Elements& StoredElements() const { return m_elements; }

    // CRC-32 over the group table: high byte, low byte and a zero byte for each group.
    std::uint32_t GroupChecksum() const;

    // CRC-32 over the elements of scenes 0 to 254, each scene up to its first gap: id, delay, rate
    // (most significant byte first), level and flags.
    std::uint32_t ElementChecksum() const;

protected:
    Groups m_groups;
    Elements m_elements;

    // Sends one trap of the report; called once for each element, in order of id.
    virtual void SendReportTrap(std::uint16_t sequence, std::uint16_t id);

    void Trap(const std::string& mib, const std::vector<std::string>& params);

    // `digits` lower-case hexadecimal digits.
    static std::string Hex(std::uint32_t value, int digits);

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

    void Answer(const std::string& mib, const Params& params);
    void ReportFrom(unsigned report, std::uint32_t firstId, std::uint16_t sequence);
    void PlayStep(unsigned run, std::uint16_t id);
    void EndStep(unsigned run, std::uint16_t id);
    void RampTo(int level, std::uint64_t ms);
    void StopPlaying();
    void PersonPlays(std::uint32_t minMs, std::uint32_t maxMs);

    // The report and the playing under way; a later one ends an earlier one.
    unsigned m_report = 0;
    unsigned m_run = 0;
    bool m_playing = false;
    unsigned m_scene = 0;
    int m_rampFrom = 0;
    int m_rampTo = 0;
    std::uint64_t m_rampStart = 0;
    std::uint64_t m_rampMs = 0;
};
} // namespace simulated
