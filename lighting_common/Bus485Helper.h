#pragma once

#include "lighting_common/Export.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/Ids.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

class IBus485Owner;
class ICmdMessage;
class IInstanceManager;
class ITimerManager;

// The send queue of a driver whose device is on an RS-485 bus behind a gateway. It sends one
// message at a time. A message without an answer is sent again after a random time; when the third
// time brings no answer either, the device counts as offline.
//
// It does not talk to the bus. The owner passes messages to the gateway's driver, and tells this
// object about answers and about what is online. Owned by the device's driver; lives on its thread.
//
// Invariants: a message is in transit exactly while the retry timer runs. The message in transit is
// the front of the queue, and the front is never replaced. Only sendQueueFront decides whether a
// message is sent.
class LIGHTING_COMMON_API Bus485Helper : public ITimerManagerCallback
{
public:
    // What the queue is doing, read from timer, flags and queue in this order.
    enum class State
    {
        // The front has been sent and awaits its answer.
        InTransit,
        // Gateway or device are offline: nothing is taken and nothing is sent.
        Offline,
        // Nothing is queued.
        Idle,
        // Messages wait, but nothing is in transit. The next message, or sendQueueFront, starts the
        // front again.
        Stalled,
    };

    // Default range of the random time until a message is sent again, in milliseconds.
    static constexpr int MIN_RETRY_MS = 20000;
    static constexpr int MAX_RETRY_MS = 40000;

    // How often a message is sent at most.
    static constexpr int ATTEMPTS = 3;

    // Takes the timers from `instances`, which must outlive this object. Everything is offline and
    // without an owner at first.
    explicit Bus485Helper(IInstanceManager& instances);
    Bus485Helper(const Bus485Helper&) = delete;
    Bus485Helper& operator=(const Bus485Helper&) = delete;

    // Stops the timer and drops the queue; calls nobody.
    ~Bus485Helper() override;

    // The owner, not owned; must outlive this object or be reset to null. Default: null.
    void setOwner(IBus485Owner* owner) { m_owner = owner; }

    // Facts that the owner keeps up to date. Writing them sends nothing.
    void setGatewayOnline(bool online) { m_gatewayOnline = online; }
    void setDeviceOnline(bool online) { m_deviceOnline = online; }
    void setMinRetryTime(int milliseconds) { m_minRetryMs = milliseconds; }
    void setMaxRetryTime(int milliseconds) { m_maxRetryMs = milliseconds; }

    // Queues a message and sends it when nothing is in transit. With a null `payload` or a `length`
    // of 0 or less the message has no payload. While gateway or device are offline the message is
    // dropped. A state message (five opcodes) replaces one of the same opcode at the very back of
    // the queue, unless that is the front. A message that cannot be written replaces nothing.
    void queueMessage(int opcode, const std::uint8_t* payload, int length);

    // Called when the device has answered the front: drops it and sends the next one. The retry
    // count stays as it is.
    void sendNext();

    // Sends the front (again) and starts the retry timer. If the queue is empty or gateway or
    // device are offline, only stops a running timer. The timer runs also when the owner throws:
    // the front is tried again.
    void sendQueueFront();

    // Sends a message at once: no queue, no retry, and also while offline.
    void sendInstant(int opcode, const std::uint8_t* payload, int length) const;

    // The retry timer ran out; other ids are ignored.
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // Drops every queued message, stops the timer and forgets the attempts.
    void resetQueue();

    // Forgets the attempts; called when an answer arrives, before sendNext.
    void resetRetryCounter();

    State getState() const;
    std::size_t getQueuedCount() const { return m_queue.size(); }

    // The running retry timer, 0 when none runs.
    ID::Timer getRetryTimer() const { return m_retryTimer; }

    // Expiries of the retry timer since the last answer.
    int getRetryCount() const { return m_retryCount; }
    bool isGatewayOnline() const { return m_gatewayOnline; }
    bool isDeviceOnline() const { return m_deviceOnline; }

private:
    struct QueuedMessage
    {
        // A response is expected. Always 1; nothing decides by it.
        std::uint8_t responseExpected;
        std::string xml;
    };

    boost::shared_ptr<ICmdMessage> BuildMessage(int opcode, const std::uint8_t* payload,
                                                int length) const;
    boost::shared_ptr<ICmdMessage> ReadMessage(const std::string& xml, int assertionLine) const;
    boost::shared_ptr<ICmdMessage> TakeReadableFront();
    bool BackIsOlderStateOf(int opcode) const;
    int StartTimer();
    void StopTimer();
    std::string LogPrefix(const char* function) const;

    ITimerManager* m_timers;
    IBus485Owner* m_owner = nullptr;
    std::list<QueuedMessage> m_queue;
    ID::Timer m_retryTimer = 0;
    int m_retryCount = 0;
    bool m_gatewayOnline = false;
    bool m_deviceOnline = false;
    int m_minRetryMs = MIN_RETRY_MS;
    int m_maxRetryMs = MAX_RETRY_MS;
};
