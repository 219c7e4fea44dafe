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
    if (HasBegun())
        Add({nowMs, way, seq, Frame::Zcl, std::string(octets, octets + length), cluster, {}});
}

void SyncFrames::AddMib(std::int64_t nowMs, const char* way, std::uint64_t seq,
                        const wire::MibMessage& message)
{
    if (HasBegun())
        Add({nowMs, way, seq, Frame::Mib, message.mib, message.type, message.params});
}

void SyncFrames::AddNote(std::int64_t nowMs, const std::string& words)
{
    if (HasBegun())
        Add({nowMs, "note", 0, Frame::Note, words, 0, {}});
}

void SyncFrames::Add(Frame frame)
{
    m_frames.push_back(std::move(frame));
    if (m_frames.size() > MOST_FRAMES)
        m_frames.pop_front();
}

Json SyncFrames::Frame::Describe() const
{
    Json frame = {{"t_ms", timeMs}, {"way", way}};
    if (seq != 0)
        frame["seq"] = seq;
    if (kind == Zcl)
    {
        const auto* const octets = reinterpret_cast<const std::uint8_t*>(text.data());
        frame["cluster"] = number;
        frame["hex"] = fmt::format("{:02x}", fmt::join(octets, octets + text.size(), ""));
    }
    else if (kind == Mib)
        frame.update({{"mib", text}, {"params", params}, {"type", number}});
    else
        frame["words"] = text;
    return frame;
}

Json SyncFrames::Describe(const Course& course) const
{
    if (!HasBegun())
        return nullptr;
    const bool runs = IsRunning();
    Json frames = Json::array();
    for (const Frame& frame : m_frames)
        frames.push_back(frame.Describe());
    return {{"since_ms", *m_sinceMs},
            {"ended_ms", OrNull(m_endedMs)},
            {"how", runs ? Json(nullptr) : Json(course.how)},
            {"next_ms", runs ? OrNull(course.nextMs) : Json(nullptr)},
            {"pause_ms", course.pauseMs},
            {"watchdog_ms", runs ? OrNull(course.watchdogMs) : Json(nullptr)},
            {"frames", std::move(frames)}};
}
} // namespace lighting_host
