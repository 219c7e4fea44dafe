// One trap from the device to its fired event, through the whole host, at growing numbers of puck
// drivers; and what such a driver takes in memory.

#include "bench/Bench.h"
#include "drivers/puck/PuckDriver.h"
#include "embedded_host/House.h"
#include "embedded_host/LibraryLog.h"
#include "nxshared/NxMIBPacket.h"

#include <malloc.h>
#include <memory>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

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
        bytesEach = static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(count);
    }

    CountEvents sink;
    VirtualClock clock;
    Random random;
    std::unique_ptr<House> house;
    double bytesEach = 0;
};

void TrapToEvent(benchmark::State& state)
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
    // A stride that visits every driver and no two neighbours in a row.
    std::size_t at = 0;
    bool pressed = false;
    pucks.sink.events = 0;
    {
        const bench::CountAllocations count(state);
        for (auto _ : state)
        {
            drivers[at]->Trap(pressed ? release : press);
            if (pressed)
                at = (at + 7919) % drivers.size();
            pressed = !pressed;
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(pucks.sink.events));
    state.counters["bytes_each"] = pucks.bytesEach;
}

BENCHMARK(TrapToEvent)->Name("trap/ours")->Arg(10)->Arg(60)->Arg(1000)->Arg(100000);
} // namespace

BENCHMARK_MAIN();
