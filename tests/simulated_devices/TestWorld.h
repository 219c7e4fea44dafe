#pragma once

#include "simulated_devices/SimulatedDevice.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

#include <gtest/gtest.h>

namespace simulated_test
{
// A world with a clock that tests move on, and a wire that keeps what devices send. What was sent
// or told and never looked at fails the test when the world ends.
class TestWorld : public simulated::DeviceEnvironment
{
public:
    ~TestWorld() override
    {
        EXPECT_TRUE(m_mibs.empty()) << "never looked at: " << ToText(m_mibs.front());
        EXPECT_TRUE(m_frames.empty()) << "a ZCL frame was never looked at";
        EXPECT_TRUE(m_bus.empty()) << "a bus frame was never looked at";
        EXPECT_TRUE(m_told.empty()) << "never looked at: " << m_told.front();
    }

    void Send(const wire::MibMessage& message) override { m_mibs.push_back(message); }
    void Send(const wire::ZclFrame& frame) override { m_frames.push_back(frame); }
    void Send(const wire::BusFrame& frame) override { m_bus.push_back(frame); }
    void Schedule(std::chrono::milliseconds delay, std::function<void()> callback) override
    {
        std::size_t place = 0;
        while (place < m_due.size() && m_due[place].at <= m_now + delay)
            ++place;
        m_due.insert(m_due.begin() + static_cast<std::ptrdiff_t>(place),
                     {m_now + delay, std::move(callback)});
    }
    std::chrono::milliseconds Now() const override { return m_now; }
    int Random(int min, int max) override
    {
        m_draws.push_back({min, max});
        return m_drawHigh ? max : min;
    }
    void ReportPerson(const std::string& what) override { m_told.push_back(what); }

    // Moves the clock on; everything that is due on the way happens at its own time.
    void Advance(std::chrono::milliseconds time)
    {
        const std::chrono::milliseconds until = m_now + time;
        while (!m_due.empty() && m_due.front().at <= until)
        {
            const Due due = m_due.front();
            m_due.pop_front();
            m_now = due.at;
            due.callback();
        }
        m_now = until;
    }

    // Random draws give the lower end, or the upper one.
    void DrawHigh(bool high) { m_drawHigh = high; }

    // The oldest message that was not looked at yet, as "type id parameters", or "nothing".
    std::string NextMib()
    {
        if (m_mibs.empty())
            return "nothing";
        const std::string text = ToText(m_mibs.front());
        m_mibs.pop_front();
        return text;
    }

    // The oldest frame not looked at yet; a test that asks for one too many fails.
    wire::ZclFrame NextZcl() { return Take(m_frames); }
    wire::BusFrame NextBus() { return Take(m_bus); }

    // What was told of a person, oldest first, or "nothing".
    std::string NextTold()
    {
        if (m_told.empty())
            return "nothing";
        const std::string text = m_told.front();
        m_told.pop_front();
        return text;
    }

    // How many frames wait to be looked at.
    std::size_t ZclWaiting() const { return m_frames.size(); }
    std::size_t BusWaiting() const { return m_bus.size(); }

    // The draws made so far, as their two ends.
    const std::deque<std::pair<int, int>>& Draws() const { return m_draws; }

private:
    struct Due
    {
        std::chrono::milliseconds at;
        std::function<void()> callback;
    };

    static std::string ToText(const wire::MibMessage& message)
    {
        std::string text = std::to_string(message.type) + " " + message.mib;
        for (const std::string& param : message.params)
            text += " " + param;
        return text;
    }

    template <class T>
    static T Take(std::deque<T>& from)
    {
        if (from.empty())
        {
            ADD_FAILURE() << "nothing was sent";
            return T();
        }
        const T first = from.front();
        from.pop_front();
        return first;
    }

    std::chrono::milliseconds m_now{};
    bool m_drawHigh = false;
    std::deque<Due> m_due;
    std::deque<wire::MibMessage> m_mibs;
    std::deque<wire::ZclFrame> m_frames;
    std::deque<wire::BusFrame> m_bus;
    std::deque<std::string> m_told;
    std::deque<std::pair<int, int>> m_draws;
};
} // namespace simulated_test
