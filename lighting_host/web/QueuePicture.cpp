#include "lighting_host/web/QueuePicture.h"

#include "drivers/gen3_keypad/KeypadBus.h"
#include "lighting_common/Names.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "wire/BusFrame.h"

#include <cstring>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lighting_host
{
namespace
{
// What every message to the keypad, and every answer, begins with.
unsigned NumberOf(const std::vector<std::uint8_t>& payload)
{
    return payload.size() < 2 ? 0 : payload[0] * 256u + payload[1];
}
} // namespace

void QueuePicture::OnOutput(const embedded_host::Output& output)
{
    if (const auto* sent = std::get_if<embedded_host::GatewaySent>(&output.effect))
        OnSent(sent->command, output.timeMs);
    const auto* call = std::get_if<embedded_host::OwnerCall>(&output.effect);
    if (call && std::strcmp(call->operation, "OnDeviceOffline") == 0)
    {
        m_givenUp += m_underWay.size();
        End("given_up", output.timeMs);
    }
}

void QueuePicture::OnSent(const ICmdMessage& command, std::int64_t nowMs)
{
    std::vector<std::uint8_t> payload;
    nx::crypto::base64Decode(command.GetParamString(names::general::PAYLOAD), payload);
    const unsigned number = NumberOf(payload);
    if (!m_underWay.empty() && m_underWay.front().number == number)
    {
        ++m_retries;
        m_underWay.front().sentMs.push_back(nowMs);
        return;
    }
    // The queue has gone on without an answer.
    End("dropped", nowMs);
    ++m_queued;
    Message message;
    message.number = number;
    message.opcode = command.GetParamInt(names::general::OPCODE);
    message.queuedMs = nowMs;
    message.sentMs.push_back(nowMs);
    m_underWay.push_back(std::move(message));
}

void QueuePicture::OnBus(const wire::BusFrame& frame, std::int64_t nowMs)
{
    if (frame.opcode != keypad_bus::ANSWER || m_underWay.empty() ||
        m_underWay.front().number != NumberOf(frame.payload))
        return;
    ++m_answered;
    End("answered", nowMs);
}

void QueuePicture::End(const char* state, std::int64_t nowMs)
{
    if (m_underWay.empty())
        return;
    Message message = std::move(m_underWay.front());
    m_underWay.clear();
    message.state = state;
    message.doneMs = nowMs;
    m_done.push_front(std::move(message));
    if (m_done.size() > MOST_DONE)
        m_done.pop_back();
}

std::string QueuePicture::Text(const Message& message, std::int64_t dueMs)
{
    const auto orNull = [](std::int64_t ms)
    {
        return ms < 0 ? std::string("null") : std::to_string(ms);
    };
    return fmt::format("{{\"number\":{},\"opcode\":{},\"state\":\"{}\",\"queued_ms\":{},"
                       "\"sent_ms\":[{}],\"due_ms\":{},\"done_ms\":{},\"replaced_by\":null}}",
                       message.number, message.opcode, message.state, message.queuedMs,
                       fmt::join(message.sentMs, ","), orNull(dueMs), orNull(message.doneMs));
}

std::string QueuePicture::Messages(std::int64_t dueMs, const std::vector<int>& waiting) const
{
    std::vector<std::string> texts;
    for (const Message& message : m_underWay)
        texts.push_back(Text(message, dueMs));
    // Numbered, and known to the time, only when they are sent.
    for (const int opcode : waiting)
        texts.push_back(fmt::format("{{\"number\":null,\"opcode\":{},\"state\":\"waits\","
                                    "\"queued_ms\":null,\"sent_ms\":[],\"due_ms\":null,"
                                    "\"done_ms\":null,\"replaced_by\":null}}",
                                    opcode));
    for (const Message& message : m_done)
        texts.push_back(Text(message, -1));
    return fmt::format("[{}]", fmt::join(texts, ","));
}

std::string QueuePicture::Totals() const
{
    return fmt::format("{{\"queued\":{},\"answered\":{},\"superseded\":0,\"given_up\":{},"
                       "\"retries\":{}}}",
                       m_queued, m_answered, m_givenUp, m_retries);
}
} // namespace lighting_host
