#pragma once

#include "simulated_devices/PuckModule.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace simulated
{
// One way in which a puck module misbehaves. Each operation has its say at one place of the module
// and does nothing unless overridden. Owned by the module that it was added to; must not call it.
class PuckModuleFault
{
public:
    virtual ~PuckModuleFault() = default;

    // The module gets power; its settings as they survived the failure.
    virtual void OnPowerOn(PuckSettings&) {}

    // A message has arrived. False: the module has not heard it.
    virtual bool OnHeard(const wire::MibMessage&) { return true; }

    // A message is about to leave, `delayMs` from now. False loses it. What is appended to `also`
    // leaves too, as a message and its delay.
    using Extra = std::vector<std::pair<wire::MibMessage, std::uint64_t>>;
    virtual bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also)
    {
        (void)message;
        (void)delayMs;
        (void)also;
        return true;
    }
};

// The faults of puck modules; in every "every nth", 1 is each one and 0 none.
namespace puck
{
// Counts, and says of every nth that it is one.
class EveryNth
{
public:
    explicit EveryNth(unsigned n) : m_n(n) {}
    bool Next() { return m_n != 0 && ++m_count % m_n == 0; }

private:
    const unsigned m_n;
    unsigned m_count = 0;
};

// Every nth message never leaves.
class LosesMessages : public PuckModuleFault
{
public:
    explicit LosesMessages(unsigned every) : m_lose(every) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    EveryNth m_lose;
};

// Every nth message leaves that much later, so that it may arrive after others, out of turn.
class SendsLate : public PuckModuleFault
{
public:
    SendsLate(unsigned every, std::uint64_t lateMs) : m_delay(every), m_lateMs(lateMs) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    EveryNth m_delay;
    const std::uint64_t m_lateMs;
};

// Every nth message leaves a second time, that much later.
class RepeatsMessages : public PuckModuleFault
{
public:
    RepeatsMessages(unsigned every, std::uint64_t laterMs) : m_repeat(every), m_laterMs(laterMs) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    EveryNth m_repeat;
    const std::uint64_t m_laterMs;
};

// The end of a push or hold is never reported, nor a click.
class LosesReleases : public PuckModuleFault
{
public:
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;
};

// A contact that bounces: each push is followed by so many hold ends and pushes, a few milliseconds
// apart.
class Chatters : public PuckModuleFault
{
public:
    explicit Chatters(unsigned bounces) : m_bounces(bounces) {}
    bool OnSend(const wire::MibMessage& message, std::uint64_t& delayMs, Extra& also) override;

private:
    const unsigned m_bounces;
};

// Does not hear every nth message.
class HearsBadly : public PuckModuleFault
{
public:
    explicit HearsBadly(unsigned every) : m_miss(every) {}
    bool OnHeard(const wire::MibMessage& message) override;

private:
    EveryNth m_miss;
};

// Comes back from a power failure as it left the factory.
class ForgetsSettings : public PuckModuleFault
{
public:
    void OnPowerOn(PuckSettings& settings) override;
};
} // namespace puck
} // namespace simulated
