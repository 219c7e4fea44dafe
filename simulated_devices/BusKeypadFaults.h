#pragma once

#include "simulated_devices/BusKeypad.h"
#include "simulated_devices/Faults.h"
#include "wire/BusFrame.h"

#include <cstdint>

namespace simulated
{
// One way in which a keypad on a bus misbehaves.
class BusKeypadFault : public WireFault<wire::BusFrame>
{
public:
    // How often OnPeriod is called while the keypad has power, from its start on, in milliseconds;
    // 0 for never, which is the default. Always the same.
    virtual std::uint64_t PeriodMs() const { return 0; }

    // The time has passed once more. May do anything with the keypad but clear its faults.
    virtual void OnPeriod(BusKeypad& keypad, DeviceEnvironment& world)
    {
        (void)keypad;
        (void)world;
    }
};

// The kinds of them.
const FaultTable<BusKeypadFault>& BusKeypadFaultTable();

// Hears nothing: its receiver is broken. It still announces itself.
class HearsNothing : public HearsBadly<BusKeypadFault>
{
public:
    HearsNothing() : HearsBadly(1) {}
};

// Answers, but only after a long while, so that a message may have been sent again before its
// answer comes.
class AnswersLate : public BusKeypadFault
{
public:
    static constexpr std::uint64_t DELAY_MS = 25000;
    bool OnSend(const Message& message, std::uint64_t& delayMs, Departures& also) override;
};

// Answers only every nth message that it hears, repeated ones counted.
class AnswersSeldom : public BusKeypadFault
{
public:
    explicit AnswersSeldom(unsigned every) : m_turn(every) {}
    bool OnSend(const Message& message, std::uint64_t& delayMs, Departures& also) override;

private:
    EveryNth m_turn;
};

// Restarts every hour and has then forgotten everything.
class RestartsHourly : public BusKeypadFault
{
public:
    static constexpr std::uint64_t RESTART_EVERY_MS = 3600000;
    std::uint64_t PeriodMs() const override { return RESTART_EVERY_MS; }
    void OnPeriod(BusKeypad& keypad, DeviceEnvironment& world) override;
};

// Talks in between: noise, halves of frames, answers that nobody waits for, messages that do not
// exist or are too short. Always in its own name.
class Babbles : public BusKeypadFault
{
public:
    static constexpr std::uint64_t BABBLE_EVERY_MS = 5000;
    std::uint64_t PeriodMs() const override { return BABBLE_EVERY_MS; }
    void OnPeriod(BusKeypad& keypad, DeviceEnvironment& world) override;
};
} // namespace simulated
