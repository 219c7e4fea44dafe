#pragma once

#include "embedded_host/Output.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace wire
{
struct BusFrame;
}

namespace lighting_host
{
// What has become of a keypad's messages, as it is heard: what is on its way, what was answered or
// given up, and how often. Keeps the last MOST_DONE of those that are done.
class QueuePicture
{
public:
    static constexpr std::size_t MOST_DONE = 10;
    // How often a message is sent at most.
    static constexpr unsigned ATTEMPTS = 3;

    // What is heard of the driver.
    void OnOutput(const embedded_host::Output& output);
    void OnBus(const wire::BusFrame& frame, std::int64_t nowMs);

    // The members `messages` and `totals` as JSON. `dueMs` is when the message on its way is sent
    // again, -1 for never; `waiting` are the opcodes of those that have not been sent yet.
    std::string Messages(std::int64_t dueMs, const std::vector<int>& waiting) const;
    std::string Totals() const;

private:
    struct Message
    {
        unsigned number = 0;
        int opcode = 0;
        const char* state = "transit";
        std::int64_t queuedMs = 0;
        std::vector<std::int64_t> sentMs;
        std::int64_t doneMs = -1;
    };

    void OnSent(const ICmdMessage& command, std::int64_t nowMs);
    void End(const char* state, std::int64_t nowMs);
    static std::string Text(const Message& message, std::int64_t dueMs);

    // At most one, and nothing while none is on its way.
    std::deque<Message> m_underWay;
    // The newest first.
    std::deque<Message> m_done;
    std::uint64_t m_queued = 0;
    std::uint64_t m_answered = 0;
    std::uint64_t m_givenUp = 0;
    std::uint64_t m_retries = 0;
};
} // namespace lighting_host
