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
    // How often OnPeriod is called while the keypad has power, from its start on; 0 for never,
    // which is the default. Always the same.
    virtual std::chrono::milliseconds Period() const { return {}; }

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
    static constexpr std::chrono::milliseconds DELAY = std::chrono::seconds(25);
    bool OnSend(const Message& message, std::chrono::milliseconds& delay,
                Departures& also) override;
};

// Answers only every nth message that it hears, repeated ones counted.
class AnswersSeldom : public BusKeypadFault
{
public:
    explicit AnswersSeldom(unsigned every) : m_turn(every) {}
    bool OnSend(const Message& message, std::chrono::milliseconds& delay,
                Departures& also) override;

private:
    EveryNth m_turn;
};

// Restarts every hour and has then forgotten everything.
class RestartsHourly : public BusKeypadFault
{
public:
    static constexpr std::chrono::milliseconds RESTART_PERIOD = std::chrono::hours(1);
    std::chrono::milliseconds Period() const override { return RESTART_PERIOD; }
    void OnPeriod(BusKeypad& keypad, DeviceEnvironment& world) override;
};

// Talks in between: noise, halves of frames, answers that nobody waits for, messages that do not
// exist or are too short. Always in its own name.
class Babbles : public BusKeypadFault
{
public:
    static constexpr std::chrono::milliseconds BABBLE_PERIOD = std::chrono::seconds(5);
    std::chrono::milliseconds Period() const override { return BABBLE_PERIOD; }
    void OnPeriod(BusKeypad& keypad, DeviceEnvironment& world) override;
};
} // namespace simulated
