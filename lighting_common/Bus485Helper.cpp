#include "lighting_common/Bus485Helper.h"

#include "lighting_common/IBus485Owner.h"
#include "lighting_common/Names.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_common/internal/Diagnostics.h"
#include "nxshared/Crypto.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{
constexpr const char* SOURCE = "lighting_common/Bus485Helper";

// The lines that the host's reports carry.
constexpr int LINE_NO_TIMER_MANAGER = 24;
constexpr int LINE_RESET_WITHOUT_TIMERS = 73;
constexpr int LINE_BACK_UNREADABLE = 107;
constexpr int LINE_SEND_WITHOUT_OWNER = 200;
constexpr int LINE_SEND_WITHOUT_TIMERS = 201;
constexpr int LINE_FRONT_UNREADABLE = 227;

// Messages that carry a state: of several only the newest is worth sending.
constexpr std::array<int, 5> STATE_OPCODES = {0x1110, 0x1280, 0x12C0, 0x13C0, 0x14C0};

constexpr time_t NANOSECONDS_PER_MILLISECOND = 1000000;

bool IsStateOpcode(int opcode)
{
    return std::find(STATE_OPCODES.begin(), STATE_OPCODES.end(), opcode) != STATE_OPCODES.end();
}

std::string Encode(const std::uint8_t* payload, int length)
{
    if (!payload || length < 1)
        return std::string();
    return nx::crypto::base64Encode(payload, static_cast<std::size_t>(length));
}

const char* YesNo(bool value)
{
    return value ? "Yes" : "No";
}
} // namespace

Bus485Helper::Bus485Helper(IInstanceManager& instances)
    : m_timers(static_cast<ITimerManager*>(instances.GetInterface(ITimerManager::INTERFACE_ID)))
{
    LIGHTING_ASSERT(m_timers, SOURCE, LINE_NO_TIMER_MANAGER);
}

Bus485Helper::~Bus485Helper()
{
    if (m_timers)
        m_timers->RemoveAllTimers(this);
}

Bus485Helper::State Bus485Helper::getState() const
{
    if (m_retryTimer != 0)
        return State::InTransit;
    if (!m_gatewayOnline || !m_deviceOnline)
        return State::Offline;
    return m_queue.empty() ? State::Idle : State::Stalled;
}

void Bus485Helper::queueMessage(int opcode, const std::uint8_t* payload, int length)
{
    LIGHTING_LOG(TRACE, SOURCE, LogPrefix(__func__), "(): queing message, opcode: ", opcode,
                 ", payload: ", Encode(payload, length));
    if (!m_gatewayOnline || !m_deviceOnline)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): Not queing packet, Gateway Online: ", YesNo(m_gatewayOnline),
                     ", Device Online: ", YesNo(m_deviceOnline));
        return;
    }
    const boost::shared_ptr<ICmdMessage> message = BuildMessage(opcode, payload, length);
    if (!message)
        return;
    // Before the back is looked at: a message that cannot be written loses nothing that waits.
    std::string xml = message->ToXml();
    if (BackIsOlderStateOf(opcode))
    {
        m_queue.back().xml.swap(xml);
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): Swapping consolidated opcode for new version that was just queued");
    }
    else
    {
        m_queue.push_back(QueuedMessage{1, std::move(xml)});
    }

    if (getState() == State::InTransit)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): a message is already in transit, not sending. (Retry Timer Active: ",
                     m_retryTimer, ") (Queued Messages: ", m_queue.size());
        return;
    }
    // deliberate: nothing is skipped, whatever the text says; the front is sent again.
    if (m_queue.size() > 1)
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): This is odd, there is no timer running but messages are in the queue.  "
                     "Lets skip whatever packet is stuck and move on to the next.  (Queued "
                     "Messages: ",
                     m_queue.size());
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                 "(): Sending message to the Gatweay Driver queue");
    sendQueueFront();
}

void Bus485Helper::sendNext()
{
    if (m_retryTimer != 0)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__), "(): retryTimer active, killing it.");
        StopTimer();
    }
    // deliberate: these two lines have a prefix of their own, in lower case and without a name.
    const unsigned long device = m_owner ? m_owner->GetDeviceId() : 0;
    if (m_queue.empty())
    {
        LIGHTING_LOG(DEBUG, SOURCE, "bus485helper(", device, ")::", __func__,
                     "(): is empty, can't sendNext message since there isn't one to send.");
        return;
    }
    LIGHTING_LOG(DEBUG, SOURCE, "bus485helper(", device, ")::", __func__,
                 "(): is sending next Message to the gateway transmit queue, ", m_queue.size(),
                 " packets queued still.");
    m_queue.pop_front();
    sendQueueFront();
}

void Bus485Helper::sendQueueFront()
{
    LIGHTING_ASSERT(m_owner, SOURCE, LINE_SEND_WITHOUT_OWNER);
    LIGHTING_ASSERT(m_timers, SOURCE, LINE_SEND_WITHOUT_TIMERS);
    if (!m_owner || !m_timers)
        return;
    if (m_retryTimer != 0)
    {
        StopTimer();
        LIGHTING_LOG(TRACE, SOURCE, LogPrefix(__func__),
                     "(): Timer was running, clearing old timer.");
    }
    if (m_queue.empty())
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): queue is empty, can't send front of message queue if empty");
        return;
    }
    if (!m_gatewayOnline)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): gateway is offline, can't send front of message queue");
        return;
    }
    if (!m_deviceOnline)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): device is offline, can't send front of message queue");
        return;
    }
    boost::shared_ptr<ICmdMessage> message;
    try
    {
        message = TakeReadableFront();
    }
    catch (...)
    {
        // The owner gave no message this time: the front is tried again, and does not wait for
        // ever.
        StartTimer();
        throw;
    }
    if (!message)
        return;
    const int milliseconds = StartTimer();
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                 "(): message send to gateway driver, response expected.  Retry timer set for: ",
                 milliseconds, " milliseconds");
    // Last of all: the answer, or the end of this object, may come inside the call.
    m_owner->SendMessage(message);
}

void Bus485Helper::sendInstant(int opcode, const std::uint8_t* payload, int length) const
{
    const boost::shared_ptr<ICmdMessage> message = BuildMessage(opcode, payload, length);
    if (!message)
        return;
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__), "(): Sending Instant Message");
    m_owner->SendMessage(message);
}

void Bus485Helper::OnTimerExpired(ID::Timer timer, time_t time)
{
    if (timer == 0 || timer != m_retryTimer)
        return;
    ++m_retryCount;
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                 "(): Timer expired, retry attempt:", m_retryCount,
                 ", milliseconds elapsed: ", time / NANOSECONDS_PER_MILLISECOND);
    if (m_retryCount < ATTEMPTS)
    {
        LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__),
                     "(): didn't hear back, resending front of queue");
        sendQueueFront();
        return;
    }
    m_retryTimer = 0;
    m_deviceOnline = false;
    // Taken beforehand, because the owner may destroy this object inside the call.
    const std::string prefix = LogPrefix(__func__);
    const int attempts = m_retryCount;
    if (m_owner)
        m_owner->OnDeviceOffline();
    LIGHTING_LOG(WARN, SOURCE, prefix, "(): being marked offline due to ", attempts,
                 " attempts failed.");
}

void Bus485Helper::resetQueue()
{
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__), "(): resetting queue");
    m_queue.clear();
    LIGHTING_ASSERT(m_timers, SOURCE, LINE_RESET_WITHOUT_TIMERS);
    StopTimer();
    m_retryCount = 0;
}

void Bus485Helper::resetRetryCounter()
{
    m_retryCount = 0;
    LIGHTING_LOG(DEBUG, SOURCE, LogPrefix(__func__), "(): resetting retry counter");
}

// Null without an owner: the report that it is missing belongs to sending.
boost::shared_ptr<ICmdMessage> Bus485Helper::BuildMessage(int opcode, const std::uint8_t* payload,
                                                          int length) const
{
    boost::shared_ptr<ICmdMessage> message;
    if (m_owner)
        message = m_owner->CreateMessage();
    if (!message)
        return message;
    message->AddParam(names::general::DEVICE_ID, names::type::INT,
                      static_cast<long long>(m_owner->GetDeviceId()));
    message->AddParam(names::general::OPCODE, names::type::INT, static_cast<long long>(opcode));
    if (payload && length >= 1)
        message->AddParam(names::general::PAYLOAD, names::type::STRING, Encode(payload, length));
    return message;
}

// The queued text as a message again; null, after a report, when it cannot be read.
boost::shared_ptr<ICmdMessage> Bus485Helper::ReadMessage(const std::string& xml,
                                                         int assertionLine) const
{
    const boost::shared_ptr<nx::XmlDocument> document = nx::CreateXmlDocument(xml);
    boost::shared_ptr<ICmdMessage> message = m_owner->CreateMessage();
    const bool read = document && message && message->FromXml(document->GetRoot());
    LIGHTING_ASSERT(read, SOURCE, assertionLine);
    if (!read)
        message.reset();
    return message;
}

// The front's message. An entry that cannot be read can never be sent: it is reported and removed,
// so that those behind it do not wait for ever. Null when nothing is left.
boost::shared_ptr<ICmdMessage> Bus485Helper::TakeReadableFront()
{
    boost::shared_ptr<ICmdMessage> message;
    while (!message && !m_queue.empty())
    {
        message = ReadMessage(m_queue.front().xml, LINE_FRONT_UNREADABLE);
        if (!message)
            m_queue.pop_front();
    }
    return message;
}

// Whether the back entry waits (it is not the front) and is an older state of the same kind.
bool Bus485Helper::BackIsOlderStateOf(int opcode) const
{
    if (m_queue.size() < 2)
        return false;
    const boost::shared_ptr<ICmdMessage> back =
        ReadMessage(m_queue.back().xml, LINE_BACK_UNREADABLE);
    return back && back->GetParamInt(names::general::OPCODE) == opcode && IsStateOpcode(opcode);
}

// Starts the retry timer; its milliseconds.
int Bus485Helper::StartTimer()
{
    const int milliseconds = std::max(0, nx::crypto::random(m_minRetryMs, m_maxRetryMs));
    m_retryTimer = m_timers->AddTimer(static_cast<std::uint64_t>(milliseconds),
                                      ITimerManager::UNIT_MILLISECONDS, this);
    return milliseconds;
}

void Bus485Helper::StopTimer()
{
    if (m_timers)
        m_timers->KillTimer(m_retryTimer);
    m_retryTimer = 0;
}

std::string Bus485Helper::LogPrefix(const char* function) const
{
    // Without an owner there is neither a number nor a name.
    if (!m_owner)
        return diagnostics::Concat("Bus485Helper(", 0, ")::", function);
    return diagnostics::Concat("Bus485Helper(", m_owner->GetDeviceId(), ")",
                               m_owner->GetDriverName(), "::", function);
}
