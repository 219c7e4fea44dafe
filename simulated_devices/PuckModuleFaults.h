#pragma once

#include "simulated_devices/Faults.h"
#include "simulated_devices/PuckModule.h"
#include "wire/MibMessage.h"

#include <cstdint>

namespace simulated
{
// One way in which a puck module misbehaves.
class PuckModuleFault : public KeepingFault<wire::MibMessage, PuckSettings>
{
};

// The kinds of them.
const FaultTable<PuckModuleFault>& PuckModuleFaultTable();

// The end of a push or hold is never reported, nor a click.
class LosesReleases : public PuckModuleFault
{
public:
    bool OnSend(const Message& message, std::chrono::milliseconds& delay,
                Departures& also) override;
};

// A contact that bounces: each push is followed by so many hold ends and pushes, a few milliseconds
// apart.
class Chatters : public PuckModuleFault
{
public:
    explicit Chatters(unsigned bounces) : m_bounces(bounces) {}
    bool OnSend(const Message& message, std::chrono::milliseconds& delay,
                Departures& also) override;

private:
    const unsigned m_bounces;
};
} // namespace simulated
