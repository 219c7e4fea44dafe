#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/text/Json.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

class Gen3KeypadDriver;
class ICmdMessage;

namespace wire
{
struct BusFrame;
}

namespace lighting_host
{
// The messages between a keypad's driver and the bus as a page shows them: what is under way, what
// waits in the driver, and the last ones that are done, with totals. Told what happens as it
// happens; keeps a bounded part of it.
class KeypadQueuePicture
{
public:
    static constexpr std::size_t MOST_DONE = 10;

    // An effect of the driver; a message of the keypad, before the driver gets it.
    void OnOutput(const embedded_host::Output& output);
    void OnBus(std::int64_t nowMs, const wire::BusFrame& frame);

    // The member `queue`. `dueMs`: when the message under way is sent again.
    Json Describe(const Gen3KeypadDriver& driver, std::optional<std::int64_t> dueMs) const;

private:
    struct Message
    {
        unsigned number = 0;
        int opcode = 0;
        const char* state = "transit";
        std::optional<std::int64_t> queuedMs;
        std::vector<std::int64_t> sentMs;
        std::optional<std::int64_t> doneMs;
    };

    void OnCall(const embedded_host::OwnerCall& call, std::int64_t nowMs);
    void OnSent(const ICmdMessage& command, std::int64_t nowMs);
    void Asked(int opcode, std::int64_t nowMs);
    void EndUnderWay(const char* state, std::int64_t nowMs);
    std::optional<std::int64_t> TakeAsked(int opcode);
    static Json Of(const Message& message, std::optional<std::int64_t> dueMs);

    // The last one sent, until it is done.
    std::optional<Message> m_underWay;
    // Newest first.
    std::deque<Message> m_done;
    // Since when a state of that opcode waits.
    std::map<int, std::int64_t> m_asked;
    // Since when uses of buttons wait, the oldest first.
    std::deque<std::int64_t> m_usesAsked;
    unsigned m_queued = 0;
    unsigned m_answered = 0;
    unsigned m_superseded = 0;
    unsigned m_givenUp = 0;
    unsigned m_retries = 0;
};
} // namespace lighting_host
