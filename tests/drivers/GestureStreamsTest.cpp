// What people do at a contact, in random streams, over a link that repeats and loses reports: one
// gesture, one press and one release. GESTURE_STREAMS says how many streams, for the long form.

#include "drivers/puck/PuckDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Output.h"
#include "embedded_host/Random.h"
#include "nxshared/NxMIBPacket.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace
{
using namespace embedded_host;

constexpr unsigned long SHORT_FORM = 3000;
constexpr int FIRST_CONTACT = 7;
constexpr unsigned FIRST_EVENT = 6000;
constexpr unsigned EVENTS_A_CONTACT = 10;
// How often the module reports a held contact, and how long after the last report the driver takes
// it for released: by 300 ms more than the module says that it reports at the latest.
constexpr std::chrono::milliseconds REPORT_INTERVAL{300};
constexpr const char* REPORTS_AT_THE_LATEST = "000001f4";
constexpr std::chrono::milliseconds RELEASED_AFTER{500 + 300};

// Counts presses and releases, by contact.
class EventCounts : public OutputSink
{
public:
    void Write(const Output& output) override
    {
        const auto* const fired = std::get_if<EventFired>(&output.effect);
        if (!fired)
            return;
        const unsigned number = fired->event - FIRST_EVENT;
        const unsigned kind = number % EVENTS_A_CONTACT;
        if (number / EVENTS_A_CONTACT > 1 || kind > 1)
            ++others;
        else
            ++(kind == 1 ? presses : releases)[number / EVENTS_A_CONTACT];
    }

    unsigned long presses[2] = {};
    unsigned long releases[2] = {};
    unsigned long others = 0;
};

class GestureStreams : public testing::Test
{
protected:
    GestureStreams()
    {
        ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
        DriverConfig config;
        config.name = "hall";
        config.id = 1;
        config.create = [](IInstanceManager& instances)
        {
            return new PuckDriver(instances);
        };
        m_host = m_house.Add(std::move(config));
        m_house.StartAll();
        NxMIBPacket reply(NxMIB::Reply, "nx.dmx.bmc");
        reply.AddParam(REPORTS_AT_THE_LATEST);
        m_host->ReplyTo(reply, nullptr);
    }

    // One of `n`.
    unsigned Draw(unsigned n) { return static_cast<unsigned>(m_chance() % n); }

    // A report that the link may bring twice.
    void Report(const char* mib, unsigned contact)
    {
        NxMIBPacket trap(NxMIB::Trap, mib);
        trap.AddHexParam<int>(FIRST_CONTACT + static_cast<int>(contact));
        m_host->Trap(trap);
    }
    void ReportOnceOrTwice(const char* mib, unsigned contact)
    {
        Report(mib, contact);
        if (Draw(4) == 0)
            Report(mib, contact);
    }

    // Holds the contact for so many reports, of which the link loses none, or one between two that
    // come.
    void Hold(unsigned contact, unsigned reports)
    {
        bool lost = true;
        for (unsigned i = 0; i < reports; ++i)
        {
            m_house.Advance(REPORT_INTERVAL);
            lost = !lost && Draw(3) == 0;
            if (!lost)
                ReportOnceOrTwice(i == 0 ? "nx.dmx.hb" : "nx.dmx.hc", contact);
        }
    }

    // A click or a hold, whose end the link may lose: then time ends it.
    void Gesture(unsigned contact)
    {
        ReportOnceOrTwice("nx.dmx.bp", contact);
        const bool click = Draw(2) == 0;
        if (click)
            m_house.Advance(std::chrono::milliseconds(Draw(200)));
        else
            Hold(contact, 1 + Draw(5));
        if (Draw(5) == 0)
            m_house.Advance(RELEASED_AFTER);
        else
            Report(click ? "nx.dmx.sc" : "nx.dmx.he", contact);
        ++m_gestures[contact];
        m_house.Advance(std::chrono::milliseconds(Draw(2000)));
    }

    VirtualClock m_clock{0};
    Random m_random{1, embedded_host::Draw::Random};
    EventCounts m_events;
    House m_house{m_clock, m_random, m_events};
    nx::DriverHost* m_host = nullptr;
    std::mt19937 m_chance{1};
    unsigned long m_gestures[2] = {};
};

TEST_F(GestureStreams, AnyStream_HasOneOutcomeForEachGesture)
{
    const char* const wanted = std::getenv("GESTURE_STREAMS");
    const unsigned long streams = wanted ? std::strtoul(wanted, nullptr, 10) : SHORT_FORM;
    for (unsigned long stream = 0; stream < streams; ++stream)
    {
        m_chance.seed(static_cast<std::mt19937::result_type>(stream));
        for (unsigned gestures = 1 + Draw(4); gestures > 0; --gestures)
            Gesture(Draw(2));
        for (int contact = 0; contact < 2; ++contact)
        {
            ASSERT_EQ(m_events.presses[contact], m_gestures[contact]) << "stream " << stream;
            ASSERT_EQ(m_events.releases[contact], m_gestures[contact]) << "stream " << stream;
        }
        ASSERT_FALSE(m_house.NextWake()) << "a timer is left after stream " << stream;
    }
    EXPECT_EQ(m_events.others, 0u);
    EXPECT_GE(m_gestures[0] + m_gestures[1], streams);
    std::cout << streams << " streams, " << m_gestures[0] + m_gestures[1] << " gestures\n";
}
} // namespace
