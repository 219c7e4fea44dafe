#include "lighting_host/types/SyncFrames.h"

#include "wire/MibMessage.h"

#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lighting_host
{
namespace
{
Json OrNull(const std::optional<std::int64_t>& ms)
{
    return ms ? Json(*ms) : Json(nullptr);
}
} // namespace

void SyncFrames::Begin(std::int64_t nowMs)
{
    m_sinceMs = nowMs;
    m_endedMs.reset();
    m_frames.clear();
}

void SyncFrames::End(std::int64_t nowMs)
{
    if (IsRunning())
        m_endedMs = nowMs;
}

void SyncFrames::AddZcl(std::int64_t nowMs, const char* way, std::uint64_t seq,
                        std::uint16_t cluster, const std::uint8_t* octets, std::size_t length)
{
    if (!HasBegun())
        return;
    const std::string hex = fmt::format("{:02x}", fmt::join(octets, octets + length, ""));
    Add(nowMs, way, seq, {{"cluster", cluster}, {"hex", hex}});
}

void SyncFrames::AddMib(std::int64_t nowMs, const char* way, std::uint64_t seq,
                        const wire::MibMessage& message)
{
    if (HasBegun())
        Add(nowMs, way, seq,
            {{"mib", message.mib}, {"params", message.params}, {"type", message.type}});
}

void SyncFrames::AddNote(std::int64_t nowMs, const std::string& words)
{
    if (HasBegun())
        Add(nowMs, "note", 0, {{"words", words}});
}

void SyncFrames::Add(std::int64_t nowMs, const char* way, std::uint64_t seq, Json members)
{
    Json frame = {{"t_ms", nowMs}, {"way", way}};
    if (seq != 0)
        frame["seq"] = seq;
    frame.update(members);
    m_frames.push_back(std::move(frame));
    if (m_frames.size() > MOST_FRAMES)
        m_frames.pop_front();
}

Json SyncFrames::Describe(const Course& course) const
{
    if (!HasBegun())
        return nullptr;
    const bool runs = IsRunning();
    return {{"since_ms", *m_sinceMs},
            {"ended_ms", OrNull(m_endedMs)},
            {"how", runs ? Json(nullptr) : Json(course.how)},
            {"next_ms", runs ? OrNull(course.nextMs) : Json(nullptr)},
            {"pause_ms", course.pauseMs},
            {"watchdog_ms", runs ? OrNull(course.watchdogMs) : Json(nullptr)},
            {"frames", m_frames}};
}
} // namespace lighting_host
