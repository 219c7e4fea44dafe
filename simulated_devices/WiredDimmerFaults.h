#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/WiredDimmer.h"
#include "wire/MibMessage.h"

#include <cstdint>

namespace simulated
{
// One way in which a wired dimmer misbehaves.
class WiredDimmerFault : public KeepingFault<wire::MibMessage, DimmerTables>
{
public:
    // An element is to be removed. False: it is kept, and the request is answered all the same.
    virtual bool OnRemoveElement(std::uint16_t id)
    {
        (void)id;
        return true;
    }
};

// The kinds of them.
const FaultTable<WiredDimmerFault>& WiredDimmerFaultTable();

// What a dimmer sends.
struct DimmerAnswers
{
    static bool Includes(const wire::MibMessage& message)
    {
        return message.type != wire::MibMessage::Trap;
    }
};
struct DimmerTraps
{
    static bool Includes(const wire::MibMessage& message)
    {
        return message.type == wire::MibMessage::Trap;
    }
};

// Every nth trap leaves so late that the next two come before it.
class ReordersTraps : public Delays<WiredDimmerFault, DimmerTraps>
{
public:
    explicit ReordersTraps(unsigned every)
        : Delays(every, 2 * WiredDimmer::REPORT_INTERVAL + std::chrono::milliseconds(1))
    {
    }
};

// Answers that it has removed every nth element, and keeps it.
class KeepsStaleElements : public WiredDimmerFault
{
public:
    explicit KeepsStaleElements(unsigned every) : m_turn(every) {}
    bool OnRemoveElement(std::uint16_t id) override;

private:
    EveryNth m_turn;
};
} // namespace simulated
