// What a running house asks of the heap: nothing on the way from a device's report to the driver's
// event, once every table and list has been as long as it gets.

#include "tests/allocations/Allocations.h"

#include "drivers/puck/PuckDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/House.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "embedded_host/Random.h"
#include "embedded_host/internal/Dispatchers.h"
#include "lighting_common/Names.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/ITimerManagerCallback.h"
#include "nxshared/NxMIBPacket.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace
{
using namespace std::chrono_literals;
using namespace embedded_host;

// Counts what leaves, by kind.
class Counts : public OutputSink
{
public:
    void Write(const Output& output) override
    {
        events += std::holds_alternative<EventFired>(output.effect);
        packets += std::holds_alternative<MibSent>(output.effect);
        calls += std::holds_alternative<BoundCallSent>(output.effect);
        answers += std::holds_alternative<ConditionResult>(output.effect);
    }

    std::size_t events = 0;
    std::size_t packets = 0;
    std::size_t calls = 0;
    std::size_t answers = 0;
};

NxMIBPacket Report(NxMIB::Type type, const char* mib, int value)
{
    NxMIBPacket packet(type, mib);
    packet.AddHexParam<int>(value);
    return packet;
}

// What is written down: measured, shown, and held to a limit.
void ExpectAtMost(std::size_t limit, std::size_t measured, const char* what)
{
    std::cout << what << ": " << measured << " allocations\n";
    EXPECT_LE(measured, limit) << what;
}

// A house with one puck module, whose contact 0 the tests push.
class AllocationsTest : public testing::Test
{
protected:
    AllocationsTest() : m_house(m_clock, m_random, m_counts)
    {
        ConnectLibraryLog(log4cplus::WARN_LOG_LEVEL);
        DriverConfig config;
        config.name = "hall";
        config.type = "puck";
        config.id = 101;
        config.capabilities = {{"load_present", "true"}};
        config.create = [](IInstanceManager& instances)
        {
            return new PuckDriver(instances);
        };
        m_hall = m_house.Add(config);
        m_house.StartAll();
    }

    // From now on a push starts a hold timer of 800 ms.
    void ReportHoldTime() { m_hall->Reply(Report(NxMIB::Reply, "nx.dmx.bmc", 500)); }

    void PushAndRelease()
    {
        m_hall->Trap(m_push);
        m_hall->Trap(m_release);
    }

    VirtualClock m_clock{0};
    Random m_random{1, Draw::Random};
    Counts m_counts;
    House m_house;
    nx::DriverHost* m_hall = nullptr;
    const NxMIBPacket m_push = Report(NxMIB::Trap, "nx.dmx.bp", 7);
    const NxMIBPacket m_hold = Report(NxMIB::Trap, "nx.dmx.hc", 7);
    const NxMIBPacket m_release = Report(NxMIB::Trap, "nx.dmx.he", 7);
};

// Starts a timer again whenever it fires.
class Again : public ITimerManagerCallback
{
public:
    explicit Again(ITimerManager& timers) : m_timers(timers) {}

    void Start(unsigned long delayMs) { m_timers.AddTimer(delayMs, 0, 1, this); }
    void OnTimerExpired(ID::Timer, time_t) override
    {
        ++fired;
        Start(10);
    }

    std::size_t fired = 0;

private:
    ITimerManager& m_timers;
};

class NoSink : public UnhandledSink
{
public:
    void OnUnhandled(const std::string&) override {}
};
} // namespace

TEST_F(AllocationsTest, CounterSeesEveryWayToTheHeap)
{
    // What comes back is kept in sight of the compiler, which would leave out the pair otherwise.
    void* volatile memory = nullptr;
    const std::size_t before = allocations::Count();
    memory = new int(1);
    delete static_cast<int*>(memory);
    memory = std::malloc(1);
    memory = std::realloc(memory, 1000);
    std::free(memory);
    memory = std::calloc(1, 1);
    std::free(memory);
    memory = std::aligned_alloc(64, 64);
    std::free(memory);
    EXPECT_EQ(allocations::Count() - before, 5u);
}

TEST_F(AllocationsTest, TrapToEvent_AllocatesNothing)
{
    EXPECT_EQ(allocations::Of([this] { PushAndRelease(); }), 0u);
    EXPECT_EQ(m_counts.events, 2u * 17u);
}

TEST_F(AllocationsTest, TrapThatStartsAndKillsTheHoldTimer_AllocatesNothing)
{
    ReportHoldTime();
    EXPECT_EQ(allocations::Of([this] { PushAndRelease(); }), 0u);
    EXPECT_EQ(m_counts.events, 2u * 17u);
}

TEST_F(AllocationsTest, HoldReportThatStartsTheTimerAnew_AllocatesNothing)
{
    ReportHoldTime();
    m_hall->Trap(m_push);
    EXPECT_EQ(allocations::Of([this] { m_hall->Trap(m_hold); }), 0u);
}

TEST_F(AllocationsTest, HoldTimerThatExpiresIntoAReleaseEvent_AllocatesNothing)
{
    ReportHoldTime();
    EXPECT_EQ(allocations::Of(
                  [this]
                  {
                      m_hall->Trap(m_push);
                      m_house.Advance(800ms);
                  }),
              0u);
    EXPECT_EQ(m_counts.events, 2u * 17u);
}

TEST_F(AllocationsTest, TimersThatStartAnewWhenTheyFire_AllocateNothing)
{
    void* const service = m_hall->GetInterface(ITimerManager::INTERFACE_ID);
    ITimerManager& timers = *static_cast<ITimerManager*>(service);
    Again again(timers);
    for (unsigned long i = 0; i < 1000; ++i)
        again.Start(i);
    EXPECT_EQ(allocations::Of([this] { m_house.Advance(100ms); }), 0u);
    // Each at its own millisecond of the first second and every 10 ms from then on, for 1700 ms:
    // the sum of 1701 - 10 k over k from 0 to 99.
    EXPECT_EQ(again.fired, 120600u);
    timers.RemoveAllTimers(&again);
}

TEST_F(AllocationsTest, CommandAmongTwoHundredNames_AllocatesNothing)
{
    NoSink nobody;
    CmdTable table(nobody);
    std::size_t handled = 0;
    std::vector<CmdMessage> messages;
    for (std::size_t i = 0; i < 200; ++i)
    {
        table.RegisterCmd(names::AllGeneral()[i],
                          [&handled](const ICmdMessage&, ICmdReturn*) { ++handled; });
        messages.emplace_back(names::AllGeneral()[i]);
    }
    EXPECT_EQ(allocations::Of(
                  [&]
                  {
                      for (const CmdMessage& message : messages)
                          table.Dispatch(message, nullptr, CmdDispatcher::CONTROLLER);
                  }),
              0u);
    EXPECT_EQ(handled, 200u * 17u);
}

TEST_F(AllocationsTest, TrapAmongTwoHundredNames_AllocatesNothing)
{
    MibTable table;
    std::size_t handled = 0;
    std::vector<NxMIBPacket> traps;
    for (std::size_t i = 0; i < 200; ++i)
    {
        table.RegisterTrap(names::AllGeneral()[i], [&handled](const NxMIBPacket&) { ++handled; });
        traps.emplace_back(NxMIB::Trap, names::AllGeneral()[i]);
    }
    EXPECT_EQ(allocations::Of(
                  [&]
                  {
                      for (const NxMIBPacket& trap : traps)
                          table.DispatchTrap(trap);
                  }),
              0u);
    EXPECT_EQ(handled, 200u * 17u);
}

TEST_F(AllocationsTest, Condition_AllocatesNothing)
{
    CondMessage on("ON");
    on.Append({"CONTACT_NUMBER", "INT", "0"});
    EXPECT_EQ(allocations::Of([&] { m_hall->Condition(on); }), 0u);
    EXPECT_EQ(m_counts.answers, 17u);
}

TEST_F(AllocationsTest, LogRecordBelowTheLevel_AllocatesNothing)
{
    // Trace and debug records are made all the way here, and are off.
    const NxMIBPacket unmapped = Report(NxMIB::Trap, "nx.dmx.bp", 9);
    EXPECT_EQ(allocations::Of([&] { m_hall->Trap(unmapped); }), 0u);
}

// What follows does allocate, by its nature: things are made that live on. The numbers are the
// packets', the messages' and Boost's, and are held to what they are.

TEST_F(AllocationsTest, PacketOfTheTests)
{
    ExpectAtMost(1, allocations::Of([] { Report(NxMIB::Trap, "nx.dmx.bp", 7); }),
                 "a packet with one number");
}

TEST_F(AllocationsTest, HandlersOfBoost)
{
    using Handler = MibDispatcher::TrapHandler;
    struct Taker
    {
        void Take(const NxMIBPacket&) {}
    } taker;
    ExpectAtMost(0,
                 allocations::Of(
                     [&taker]
                     {
                         const Handler handler =
                             boost::bind(&Taker::Take, &taker, boost::placeholders::_1);
                         const Handler copy = handler;
                         EXPECT_FALSE(copy.empty());
                     }),
                 "a bound member as a handler, and a copy of it");
    ExpectAtMost(1, allocations::Of([] { boost::make_shared<int>(1); }), "a shared pointer");
}

TEST_F(AllocationsTest, TrapThatAlsoCallsABoundDriver)
{
    m_hall->BindingMade(1, "BUTTON_LINK", true);
    ExpectAtMost(2, allocations::Of([this] { PushAndRelease(); }),
                 "a push and a release with their bound calls");
    EXPECT_EQ(m_counts.calls, 2u * 17u);
}

TEST_F(AllocationsTest, CommandThatSendsARequest)
{
    CmdMessage on("TURN_LED_ON");
    on.Append({"CONTACT_NUMBER", "INT", "0"});
    CmdMessage off("TURN_LED_OFF");
    off.Append({"CONTACT_NUMBER", "INT", "0"});
    ExpectAtMost(8,
                 allocations::Of(
                     [&]
                     {
                         m_hall->Command(on, CmdDispatcher::CONTROLLER);
                         m_hall->Command(off, CmdDispatcher::CONTROLLER);
                     }),
                 "two commands, each with a request of three parameters");
    EXPECT_EQ(m_counts.packets, 2u * 17u);
}
