#pragma once

#include "embedded_host/Messages.h"
#include "lighting_common/Bus485Helper.h"
#include "lighting_common/IBus485Owner.h"
#include "nxshared/IInstanceManager.h"
#include "nxshared/ITimerManager.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace bus_test
{
// Timers on a clock that tests move: at most a few at a time.
class TestTimers : public ITimerManager
{
public:
    struct Running
    {
        ID::Timer id;
        std::uint64_t ms;
        ITimerManagerCallback* callback;
    };

    ID::Timer AddTimer(std::uint64_t amount, unsigned unitFlags,
                       ITimerManagerCallback* callback) override
    {
        EXPECT_EQ(unitFlags, ITimerManager::UNIT_MILLISECONDS);
        m_running.push_back({++m_lastId, amount, callback});
        return m_lastId;
    }
    ID::Timer AddTimer(unsigned long, int, unsigned, ITimerManagerCallback*) override
    {
        ADD_FAILURE() << "a repeating timer was started";
        return 0;
    }
    void KillTimer(ID::Timer& timer) override
    {
        for (auto it = m_running.begin(); it != m_running.end(); ++it)
        {
            if (it->id == timer)
            {
                m_running.erase(it);
                break;
            }
        }
        timer = 0;
    }
    void RemoveAllTimers(ITimerManagerCallback* callback) override
    {
        std::vector<Running> others;
        for (const Running& timer : m_running)
            if (timer.callback != callback)
                others.push_back(timer);
        m_running.swap(others);
    }

    // Lets the one running timer run out. False when none runs.
    bool Expire()
    {
        if (m_running.empty())
            return false;
        const Running due = m_running.front();
        m_running.erase(m_running.begin());
        due.callback->OnTimerExpired(due.id, static_cast<time_t>(due.ms) * 1000000);
        return true;
    }

    const std::vector<Running>& All() const { return m_running; }

private:
    std::vector<Running> m_running;
    ID::Timer m_lastId = 0;
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
