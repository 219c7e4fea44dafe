#pragma once

#include "lighting_host/text/Json.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace wire
{
struct MibMessage;
}

namespace lighting_host
{
// A repair or synchronisation between a driver and its device as a page shows it: when it began and
// ended, and the last messages of it, in order. At first there has been none.
class SyncFrames
{
public:
    static constexpr std::size_t MOST_FRAMES = 200;

    // A new one begins; what was known of an earlier one is forgotten.
    void Begin(std::int64_t nowMs);

    // It has ended. Nothing when none runs.
    void End(std::int64_t nowMs);

    bool HasBegun() const { return m_sinceMs.has_value(); }
    bool IsRunning() const { return HasBegun() && !m_endedMs; }
    // 0 while there has been none.
    std::int64_t SinceMs() const { return m_sinceMs.value_or(0); }
    std::optional<std::int64_t> EndedMs() const { return m_endedMs; }

    // Messages on their way, kept while there has been a beginning. `way` is "out" or "in"; `seq`
    // the number of an effect, 0 for none.
    void AddZcl(std::int64_t nowMs, const char* way, std::uint64_t seq, std::uint16_t cluster,
                const std::uint8_t* octets, std::size_t length);
    void AddMib(std::int64_t nowMs, const char* way, std::uint64_t seq,
                const wire::MibMessage& message);
    void AddNote(std::int64_t nowMs, const std::string& words);

    // What else a page shows of it.
    struct Course
    {
        // When it goes on by itself, and how long it waits for that.
        std::optional<std::int64_t> nextMs;
        std::int64_t pauseMs = 0;
        // When it is given up.
        std::optional<std::int64_t> watchdogMs;
        // How it has ended.
        const char* how = "done";
    };

    // The member `sync`: null when there has been none.
    Json Describe(const Course& course) const;

private:
    // Only what is shown is made JSON: of most messages nobody ever asks.
    struct Frame
    {
        enum Kind
        {
            Zcl,
            Mib,
            Note,
        };

        std::int64_t timeMs = 0;
        const char* way = "";
        std::uint64_t seq = 0;
        Kind kind = Note;
        // The octets of ZCL, the name of a MIB, or words.
        std::string text;
        // The cluster, or the MIB's type.
        int number = 0;
        std::vector<std::string> params;

        Json Describe() const;
    };

    void Add(Frame frame);

    std::optional<std::int64_t> m_sinceMs;
    std::optional<std::int64_t> m_endedMs;
    std::deque<Frame> m_frames;
};
} // namespace lighting_host
