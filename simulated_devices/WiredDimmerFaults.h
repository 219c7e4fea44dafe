#pragma once

#include "simulated_devices/WiredDimmer.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace simulated
{
// One way in which a wired dimmer misbehaves. Each operation has its say at one place of the dimmer
// and does nothing unless overridden. Owned by the dimmer that it was added to; must not call the
// dimmer.
class WiredDimmerFault
{
public:
    // Messages that leave too, each with its delay from now.
    using Extra = std::vector<std::pair<wire::MibMessage, std::uint64_t>>;

    virtual ~WiredDimmerFault() = default;

    // The dimmer gets power; its tables as they survived the failure.
    virtual void OnPowerOn(DimmerTables&) {}

    // A request has come. False: it is not heard.
    virtual bool OnRequest(const wire::MibMessage&) { return true; }

    // An answer or a trap is about to leave, `delayMs` from now. False loses it.
    virtual bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also)
    {
        (void)message;
        (void)delayMs;
        (void)also;
        return true;
    }

    // An element is to be removed. False: it is kept, and the request is answered all the same.
    virtual bool OnRemoveElement(std::uint16_t) { return true; }
};

// Every nth request is not heard; 1 is a dimmer that is deaf, 0 hears all.
class DimmerLosesRequests : public WiredDimmerFault
{
public:
    explicit DimmerLosesRequests(unsigned every) : m_every(every) {}
    bool OnRequest(const wire::MibMessage& request) override;

private:
    const unsigned m_every;
    unsigned m_requests = 0;
};

// Every nth answer never leaves.
class DimmerLosesAnswers : public WiredDimmerFault
{
public:
    explicit DimmerLosesAnswers(unsigned every) : m_every(every) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    unsigned m_answers = 0;
};

// Every nth trap never leaves.
class DimmerLosesTraps : public WiredDimmerFault
{
public:
    explicit DimmerLosesTraps(unsigned every) : m_every(every) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    unsigned m_traps = 0;
};

// Every nth trap comes a second time.
class DimmerRepeatsTraps : public WiredDimmerFault
{
public:
    explicit DimmerRepeatsTraps(unsigned every) : m_every(every) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    unsigned m_traps = 0;
};

// Every nth trap leaves so late that the next two come before it.
class DimmerReordersTraps : public WiredDimmerFault
{
public:
    explicit DimmerReordersTraps(unsigned every) : m_every(every) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_every;
    unsigned m_traps = 0;
};

// Loses its tables without power.
class DimmerForgets : public WiredDimmerFault
{
public:
    void OnPowerOn(DimmerTables& tables) override;
};

// Answers that it has removed every nth element, and keeps it.
class DimmerKeepsStaleElements : public WiredDimmerFault
{
public:
    explicit DimmerKeepsStaleElements(unsigned every) : m_every(every) {}
    bool OnRemoveElement(std::uint16_t id) override;

private:
    const unsigned m_every;
    unsigned m_removals = 0;
};
} // namespace simulated
