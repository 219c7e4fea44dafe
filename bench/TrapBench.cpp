// One trap from the device to its fired event, through the whole host, at growing numbers of puck
// drivers; and what such a driver takes in memory.

#include "bench/Bench.h"
#include "drivers/puck/PuckDriver.h"
#include "embedded_host/House.h"
#include "embedded_host/LibraryLog.h"
#include "nxshared/NxMIBPacket.h"

#include <chrono>
#include <malloc.h>

#if BENCH_WITH_OLA
#include <ola/Callback.h>
#include <ola/rdm/DummyResponder.h>
#include <ola/rdm/RDMCommand.h>
#include <ola/rdm/RDMCommandSerializer.h>
#include <ola/rdm/RDMReply.h>
#include <ola/rdm/UID.h>
#endif
#include <memory>
#include <string>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>
#include <pugixml.hpp>

namespace
{
using namespace embedded_host;

class CountEvents : public OutputSink
{
public:
    void Write(const Output& output) override
    {
        if (std::holds_alternative<EventFired>(output.effect))
            ++events;
    }
    std::size_t events = 0;
};

// A house of puck drivers whose modules drive a load.
struct PuckHouse
{
    explicit PuckHouse(std::size_t count) : clock(0), random(1, Draw::Random)
    {
        ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
        house = std::make_unique<House>(clock, random, sink);
        const std::size_t before = mallinfo2().uordblks;
        const auto begin = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < count; ++i)
        {
            DriverConfig config;
            config.name = fmt::format("puck{}", i);
            config.type = "puck";
            config.id = static_cast<unsigned>(i + 1);
            config.capabilities = {{"load_present", "true"}};
            config.create = [](IInstanceManager& instances) -> NxBaseDriver*
            {
                return new PuckDriver(instances);
            };
            house->Add(std::move(config));
        }
        house->StartAll();
        startSeconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        bytesEach = static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(count);
    }

    CountEvents sink;
    VirtualClock clock;
    Random random;
    std::unique_ptr<House> house;
    double bytesEach = 0;
    double startSeconds = 0;
};

// Presses and releases a contact of every driver, one driver after the other with that step.
void TrapToEvent(benchmark::State& state, std::size_t step)
{
    PuckHouse pucks(static_cast<std::size_t>(state.range(0)));
    const auto& drivers = pucks.house->Drivers();
    NxMIBPacket press(NxMIB::Trap, "nx.dmx.bp");
    press.AddParam("00000007");
    NxMIBPacket release(NxMIB::Trap, "nx.dmx.he");
    release.AddParam("00000007");
    for (const auto& driver : drivers)
    {
        driver->Trap(press);
        driver->Trap(release);
    }
    std::size_t at = 0;
    bool pressed = false;
    pucks.sink.events = 0;
    {
        const bench::CountAllocations count(state);
        for (auto _ : state)
        {
            drivers[at]->Trap(pressed ? release : press);
            if (pressed)
                at = (at + step) % drivers.size();
            pressed = !pressed;
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(pucks.sink.events));
    state.counters["bytes_each"] = pucks.bytesEach;
    state.counters["start_seconds"] = pucks.startSeconds;
}

BENCHMARK_CAPTURE(TrapToEvent, in_turn, 1)
    ->Name("trap/ours")
    ->Arg(10)
    ->Arg(60)
    ->Arg(1000)
    ->Arg(100000);
// No two neighbours in a row: nothing that the machine fetches ahead helps.
BENCHMARK_CAPTURE(TrapToEvent, scattered, 7919)->Name("trap/ours_scattered")->Arg(100000);

// The peer of a large house that the program starts from its file: the text of such a file, parsed
// and nothing else, and then the same drivers, made and destroyed without it.
void StartInMemory(benchmark::State& state)
{
    constexpr std::size_t DRIVERS = 100000;
    std::string text = "<house>\n";
    for (std::size_t i = 0; i < DRIVERS; ++i)
        text += fmt::format("<driver name=\"puck{}\" type=\"puck\" id=\"{}\"><capability "
                            "name=\"load_present\">true</capability></driver>\n",
                            i, i + 1);
    text += "</house>\n";
    for (auto _ : state)
    {
        pugi::xml_document document;
        if (!document.load_buffer(text.data(), text.size()))
            state.SkipWithError("the house is no XML");
        const PuckHouse pucks(DRIVERS);
        benchmark::DoNotOptimize(pucks.house.get());
    }
}

BENCHMARK(StartInMemory)->Name("start/memory");

#if BENCH_WITH_OLA
// The peer: one RDM request to a responder of the Open Lighting Architecture, in process, to the
// octets of its reply.
using ola::rdm::RDMReply;
using ola::rdm::UID;

constexpr std::size_t RESPONDERS = 60;
constexpr std::uint16_t MANUFACTURER = 0x7a70;

std::size_t g_octets = 0;

void OnReply(RDMReply* reply)
{
    if (!reply->Response())
        return;
    std::uint8_t octets[256];
    unsigned size = sizeof octets;
    if (ola::rdm::RDMCommandSerializer::Pack(*reply->Response(), octets, &size))
        g_octets += size;
    benchmark::DoNotOptimize(octets);
}

void RequestToReply(benchmark::State& state)
{
    const UID controller(MANUFACTURER, 1);
    std::vector<std::unique_ptr<ola::rdm::DummyResponder>> responders;
    for (std::size_t i = 0; i < RESPONDERS; ++i)
        responders.push_back(std::make_unique<ola::rdm::DummyResponder>(
            UID(MANUFACTURER, static_cast<std::uint32_t>(i + 2))));
    std::size_t at = 0;
    std::int64_t replies = 0;
    {
        const bench::CountAllocations count(state);
        for (auto _ : state)
        {
            const UID target(MANUFACTURER, static_cast<std::uint32_t>(at + 2));
            responders[at]->SendRDMRequest(
                new ola::rdm::RDMGetRequest(controller, target, 0, 1, 0,
                                            ola::rdm::PID_DMX_START_ADDRESS, nullptr, 0),
                ola::NewSingleCallback(&OnReply));
            at = (at + 7919) % RESPONDERS;
            ++replies;
        }
    }
    if (g_octets == 0)
        state.SkipWithError("no reply came");
    state.SetItemsProcessed(replies);
}

BENCHMARK(RequestToReply)->Name("trap/ola");
#endif
} // namespace
