#pragma once

#include "embedded_host/Messages.h"
#include "lighting_common/Bus485Helper.h"
#include "lighting_common/IBus485Owner.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"
#include "tests/support/HandTimers.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace bus_test
{
// The queue's timers: it starts none that repeats, and counts in milliseconds.
class TestTimers : public test_support::HandTimers
{
public:
    using HandTimers::Expire;

    // Lets the one running timer run out. False when none runs.
    bool Expire()
    {
        if (Running().empty())
            return false;
        Expire(Running().front().id);
        return true;
    }

private:
    void OnStarted(const Timer& timer) override
    {
        EXPECT_EQ(timer.unit, ITimerManager::UNIT_MILLISECONDS);
        EXPECT_FALSE(timer.byInterval);
    }
};

// A host that gives out these timers and nothing else; or nothing at all.
class TestInstances : public IInstanceManager
{
public:
    explicit TestInstances(ITimerManager* timers) : m_timers(timers) {}
    void* GetInterface(const std::string& interfaceId) override
    {
        return interfaceId == "{6AF43241-ECD9-4DFF-9F14-3E7194FFE2D4}" ? m_timers : nullptr;
    }

private:
    ITimerManager* m_timers;
};

// The driver of device 7, named "hall". Notes what is sent, as "name:type=value" pieces.
class RecordingBusOwner : public IBus485Owner
{
public:
    boost::shared_ptr<ICmdMessage> CreateMessage() override
    {
        return boost::make_shared<embedded_host::CmdMessage>("485_BUS_MESSAGE");
    }
    void SendMessage(const boost::shared_ptr<ICmdMessage>& message) override
    {
        std::string text = message->GetName();
        for (const embedded_host::MessageParam& param : embedded_host::ParamsOf(*message))
            text += " " + param.name + ":" + param.type + "=" + param.value;
        m_sent.push_back(text);
        if (onSend)
            onSend();
    }
    unsigned long GetDeviceId() const override { return 7; }
    const std::string& GetDriverName() const override { return m_name; }
    void OnDeviceOffline() override
    {
        ++m_timesOffline;
        if (onOffline)
            onOffline();
    }

    // What to do inside the calls, if anything.
    std::function<void()> onSend;
    std::function<void()> onOffline;

    // What was sent since the last look, and how often the device was given up.
    std::vector<std::string> TakeSent()
    {
        std::vector<std::string> sent;
        sent.swap(m_sent);
        return sent;
    }
    int TakeTimesOffline() { return std::exchange(m_timesOffline, 0); }

private:
    std::string m_name = "hall";
    std::vector<std::string> m_sent;
    int m_timesOffline = 0;
};

// The text of a sent message; without a payload part when `base64` is empty.
inline std::string Message(int opcode, const std::string& base64 = "")
{
    std::string text = "485_BUS_MESSAGE DEVICE_ID:INT=7 OPCODE:INT=" + std::to_string(opcode);
    if (!base64.empty())
        text += " PAYLOAD:STRING=" + base64;
    return text;
}
} // namespace bus_test
