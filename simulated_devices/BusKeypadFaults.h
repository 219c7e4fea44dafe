#pragma once

#include "simulated_devices/BusKeypad.h"

namespace simulated
{
// Keypads with one fault each. All else about them is right.

// Hears nothing: its receiver is broken. It still announces itself.
class DeafKeypad : public BusKeypad
{
public:
    using BusKeypad::BusKeypad;
    void OnLine(const Octets&) override {}
};

// Answers, but only after a long while: 25 seconds unless told otherwise, so that a message may
// have been sent again before its answer comes.
class LateKeypad : public BusKeypad
{
public:
    static constexpr std::uint64_t DELAY_MS = 25000;
    LateKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address);
};

// Answers only every nth message that it hears, repeated ones counted.
class NthReplyKeypad : public BusKeypad
{
public:
    NthReplyKeypad(DeviceEnvironment& world, BusLine& line, std::uint32_t address, unsigned n);

protected:
    void Answer(std::uint16_t number) override;

private:
    unsigned m_n;
    unsigned m_heard = 0;
};

// Restarts every so often and has then forgotten everything.
class ForgetfulKeypad : public BusKeypad
{
public:
    static constexpr std::uint64_t RESTART_EVERY_MS = 3600000;
    using BusKeypad::BusKeypad;
    void OnPowerOn() override;
};

// Talks in between: noise, halves of frames, answers that nobody waits for, messages that do not
// exist or are too short. Always in its own name.
class BabblingKeypad : public BusKeypad
{
public:
    static constexpr std::uint64_t BABBLE_EVERY_MS = 5000;
    using BusKeypad::BusKeypad;
    void OnPowerOn() override;

private:
    void BabbleLater();
    void Babble();
    Octets Noise();
};
} // namespace simulated
