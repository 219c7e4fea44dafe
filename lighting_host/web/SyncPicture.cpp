#include "lighting_host/web/SyncPicture.h"

#include "embedded_host/ZclMessages.h"
#include "lighting_host/text/JsonWriter.h"
#include "nxshared/NxMIBPacket.h"
#include "wire/MibMessage.h"
#include "wire/ZclFrame.h"

#include <cstring>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lighting_host
{
namespace
{
constexpr const char* DONE = "done";
constexpr const char* GIVEN_UP = "given up";

std::string ZclMembers(unsigned cluster, const std::vector<std::uint8_t>& bytes)
{
    return fmt::format("\"cluster\":{},\"hex\":\"{:02x}\"", cluster, fmt::join(bytes, ""));
}

std::string MibMembers(const std::string& mib, const std::vector<std::string>& params)
{
    std::string text = "\"mib\":";
    AppendJsonText(text, mib);
    text += ",\"params\":[";
    const char* comma = "";
    for (const std::string& param : params)
    {
        text += comma;
        AppendJsonText(text, param);
        comma = ",";
    }
    return text + ']';
}
} // namespace

bool SyncPicture::Runs(std::int64_t nowMs) const
{
    return m_any && m_endedMs < 0 && nowMs - m_lastMs < m_patienceMs;
}

void SyncPicture::Begin(std::int64_t nowMs, std::int64_t patienceMs, const char* atSilence)
{
    m_patienceMs = patienceMs;
    m_atSilence = atSilence;
    m_any = true;
    m_sinceMs = m_lastMs = nowMs;
    m_endedMs = -1;
    m_frames.clear();
}

void SyncPicture::End(std::int64_t nowMs)
{
    if (!Runs(nowMs))
        return;
    m_endedMs = nowMs;
}

void SyncPicture::Add(std::int64_t nowMs, const char* way, std::uint64_t seq,
                      const std::string& members)
{
    m_lastMs = nowMs;
    m_frames.push_back(fmt::format("{{\"t_ms\":{},\"way\":\"{}\",\"seq\":{},{}}}", nowMs, way,
                                   seq == 0 ? std::string("null") : std::to_string(seq), members));
    if (m_frames.size() > MOST_FRAMES)
        m_frames.pop_front();
}

void SyncPicture::OnOutput(const embedded_host::Output& output, std::uint64_t seq)
{
    const std::int64_t now = output.timeMs;
    if (const auto* zcl = std::get_if<embedded_host::ZclSent>(&output.effect))
    {
        if (!Runs(now))
            Begin(now, LIGHT_SILENCE_MS, GIVEN_UP);
        Add(now, "out", seq,
            ZclMembers(zcl->message.Cluster(), {zcl->frame, zcl->frame + zcl->length}));
    }
    else if (const auto* mib = std::get_if<embedded_host::MibSent>(&output.effect))
    {
        if (!Runs(now))
            Begin(now, DIMMER_SILENCE_MS, DONE);
        Add(now, "out", seq, MibMembers(mib->packet.GetMib(), mib->packet.GetParams()));
    }
    else if (const auto* call = std::get_if<embedded_host::OwnerCall>(&output.effect))
    {
        if (std::strcmp(call->operation, "SynchronizationDone") == 0)
            End(now);
    }
}

void SyncPicture::OnZcl(const wire::ZclFrame& frame, std::int64_t nowMs)
{
    if (Runs(nowMs))
        Add(nowMs, "in", 0, ZclMembers(frame.cluster, frame.bytes));
}

void SyncPicture::OnMib(const wire::MibMessage& message, std::int64_t nowMs)
{
    if (Runs(nowMs))
        Add(nowMs, "in", 0, MibMembers(message.mib, message.params));
}

std::string SyncPicture::Text(std::int64_t nowMs) const
{
    if (!m_any)
        return "null";
    const bool silent = m_endedMs < 0 && !Runs(nowMs);
    const std::int64_t ended = silent ? m_lastMs + m_patienceMs : m_endedMs;
    const char* const how = silent ? m_atSilence : DONE;
    return fmt::format("{{\"since_ms\":{},\"ended_ms\":{},\"how\":{},\"next_ms\":null,"
                       "\"pause_ms\":null,\"watchdog_ms\":null,\"timer\":null,\"frames\":[{}]}}",
                       m_sinceMs, ended < 0 ? std::string("null") : std::to_string(ended),
                       ended < 0 ? std::string("null") : fmt::format("\"{}\"", how),
                       fmt::join(m_frames, ","));
}
} // namespace lighting_host
