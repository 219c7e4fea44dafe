#include "lighting_host/types/gen3_keypad/KeypadQueuePicture.h"

#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/gen3_keypad/KeypadBus.h"
#include "lighting_common/Names.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "wire/BusFrame.h"

#include <algorithm>
#include <utility>

namespace lighting_host
{
namespace
{
using namespace embedded_host;
using Octets = std::vector<std::uint8_t>;

// What every message to the keypad, and every answer, begins with.
using keypad_bus::NUMBER_SIZE;
// More uses than this are not counted one by one.
constexpr std::size_t MOST_USES = 64;
constexpr std::size_t MOST_SENDINGS = 16;

unsigned NumberOf(const Octets& payload)
{
    return payload.size() < NUMBER_SIZE ? 0 : payload[0] * 256u + payload[1];
}

Json OrNull(const std::optional<std::int64_t>& ms)
{
    return ms ? Json(*ms) : Json(nullptr);
}

// The state that an operation of a button writes to; 0 for none.
int OpcodeOf(const OwnerCall& call)
{
    const std::string operation = call.operation;
    if (operation == "SetLedParam")
        return keypad_bus::LED_SETUP;
    if (operation == "SetLedColor")
    {
        const auto* const parameter = std::get_if<std::int64_t>(&call.arguments[1]);
        return parameter && *parameter == gen3_lights::LED_CURRENT_COLOR ? keypad_bus::LED_COLORS
                                                                         : keypad_bus::LED_SETUP;
    }
    if (operation == "OnButtonBehaviorChanged")
        return keypad_bus::BUTTON_BEHAVIORS;
    if (operation == "SetBacklightDefault" || operation == "SetBacklightColor")
        return keypad_bus::BACKLIGHT;
    return operation == "SendButtonAction" ? keypad_bus::BUTTON_ACTION : 0;
}
} // namespace

void KeypadQueuePicture::OnOutput(const Output& output)
{
    if (const auto* const sent = std::get_if<GatewaySent>(&output.effect))
        OnSent(sent->command, output.timeMs);
    else if (const auto* const call = std::get_if<OwnerCall>(&output.effect))
        OnCall(*call, output.timeMs);
}

void KeypadQueuePicture::OnCall(const OwnerCall& call, std::int64_t nowMs)
{
    if (call.operation == std::string("OnDeviceOffline"))
        return EndUnderWay("given_up", nowMs);
    const int opcode = OpcodeOf(call);
    if (opcode != 0)
        Asked(opcode, nowMs);
}

// A state that waits already takes in what is asked for now.
void KeypadQueuePicture::Asked(int opcode, std::int64_t nowMs)
{
    if (opcode == keypad_bus::BUTTON_ACTION)
    {
        if (m_usesAsked.size() < MOST_USES)
            m_usesAsked.push_back(nowMs);
        return;
    }
    if (!m_asked.emplace(opcode, nowMs).second)
        ++m_superseded;
}

std::optional<std::int64_t> KeypadQueuePicture::TakeAsked(int opcode)
{
    std::optional<std::int64_t> since;
    if (opcode == keypad_bus::BUTTON_ACTION)
    {
        if (m_usesAsked.empty())
            return since;
        since = m_usesAsked.front();
        m_usesAsked.pop_front();
        return since;
    }
    const auto asked = m_asked.extract(opcode);
    if (asked)
        since = asked.mapped();
    return since;
}

void KeypadQueuePicture::OnSent(const ICmdMessage& command, std::int64_t nowMs)
{
    Octets payload;
    nx::crypto::base64Decode(command.GetParamString(names::general::PAYLOAD), payload);
    const unsigned number = NumberOf(payload);
    if (number == 0)
        return;
    const int opcode = command.GetParamInt(names::general::OPCODE);
    if (m_underWay && m_underWay->number == number && m_underWay->opcode == opcode)
    {
        ++m_retries;
        if (m_underWay->sentMs.size() < MOST_SENDINGS)
            m_underWay->sentMs.push_back(nowMs);
        return;
    }
    EndUnderWay("dropped", nowMs);
    ++m_queued;
    m_underWay = Message();
    m_underWay->number = number;
    m_underWay->opcode = opcode;
    m_underWay->queuedMs = TakeAsked(opcode);
    m_underWay->sentMs.push_back(nowMs);
}

void KeypadQueuePicture::OnBus(std::int64_t nowMs, const wire::BusFrame& frame)
{
    if (m_underWay && frame.opcode == keypad_bus::ANSWER &&
        NumberOf(frame.payload) == m_underWay->number)
        EndUnderWay("answered", nowMs);
}

void KeypadQueuePicture::EndUnderWay(const char* state, std::int64_t nowMs)
{
    if (!m_underWay)
        return;
    m_answered += state == std::string("answered") ? 1 : 0;
    m_givenUp += state == std::string("given_up") ? 1 : 0;
    m_underWay->state = state;
    m_underWay->doneMs = nowMs;
    m_done.push_front(std::move(*m_underWay));
    m_underWay.reset();
    if (m_done.size() > MOST_DONE)
        m_done.pop_back();
}

Json KeypadQueuePicture::Of(const Message& message, std::optional<std::int64_t> dueMs)
{
    return {{"number", message.number == 0 ? Json(nullptr) : Json(message.number)},
            {"opcode", message.opcode},
            {"state", message.state},
            {"queued_ms", OrNull(message.queuedMs)},
            {"sent_ms", message.sentMs},
            {"due_ms", OrNull(dueMs)},
            {"done_ms", OrNull(message.doneMs)},
            {"replaced_by", nullptr}};
}

Json KeypadQueuePicture::Describe(const Gen3KeypadDriver& driver,
                                  std::optional<std::int64_t> dueMs) const
{
    Json messages = Json::array();
    // The queue of the bus has only what is under way; the driver keeps the others.
    if (m_underWay)
        messages.push_back(Of(*m_underWay, dueMs));
    std::size_t uses = 0;
    for (const KeypadOutbox::Entry& entry : driver.Outbox().Entries())
    {
        Message message;
        message.opcode = entry.opcode;
        message.state = "waits";
        const auto asked = m_asked.find(entry.opcode);
        if (asked != m_asked.end())
            message.queuedMs = asked->second;
        else if (entry.opcode == keypad_bus::BUTTON_ACTION && uses < m_usesAsked.size())
            message.queuedMs = m_usesAsked[uses++];
        messages.push_back(Of(message, std::nullopt));
    }
    for (const Message& message : m_done)
        messages.push_back(Of(message, std::nullopt));
    return {{"gateway_online", driver.Bus().isGatewayOnline()},
            {"device_online", driver.Bus().isDeviceOnline()},
            {"retry_ms", {Bus485Helper::MIN_RETRY_MS, Bus485Helper::MAX_RETRY_MS}},
            {"attempts", Bus485Helper::ATTEMPTS},
            {"messages", std::move(messages)},
            {"totals",
             {{"queued", m_queued},
              {"answered", m_answered},
              {"superseded", m_superseded},
              {"given_up", m_givenUp},
              {"retries", m_retries}}}};
}
} // namespace lighting_host
