#pragma once

#include "embedded_host/Output.h"

#include <cstdint>
#include <deque>
#include <string>

namespace wire
{
struct MibMessage;
struct ZclFrame;
} // namespace wire

namespace lighting_host
{
// The last repair or synchronisation between a driver and its device, as it is heard: what the two
// said to each other, and how it ended. Keeps the last MOST_FRAMES messages.
class SyncPicture
{
public:
    static constexpr std::size_t MOST_FRAMES = 200;
    // So long after the last message one whose end nobody tells is over: with a light it was given
    // up then, with a dimmer, which never tells the end, it was done.
    static constexpr std::int64_t LIGHT_SILENCE_MS = 120000;
    static constexpr std::int64_t DIMMER_SILENCE_MS = 10000;

    // What is heard of the driver; `seq` is the number of the output's line.
    void OnOutput(const embedded_host::Output& output, std::uint64_t seq);
    void OnZcl(const wire::ZclFrame& frame, std::int64_t nowMs);
    void OnMib(const wire::MibMessage& message, std::int64_t nowMs);

    // The member `sync` as JSON.
    std::string Text(std::int64_t nowMs) const;

private:
    void Begin(std::int64_t nowMs, std::int64_t patienceMs, const char* atSilence);
    void End(std::int64_t nowMs);
    void Add(std::int64_t nowMs, const char* way, std::uint64_t seq, const std::string& members);
    bool Runs(std::int64_t nowMs) const;

    bool m_any = false;
    std::int64_t m_sinceMs = 0;
    std::int64_t m_lastMs = 0;
    // -1 while it runs.
    std::int64_t m_endedMs = -1;
    std::int64_t m_patienceMs = 0;
    const char* m_atSilence = "";
    std::deque<std::string> m_frames;
};
} // namespace lighting_host
