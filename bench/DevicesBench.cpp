// Drivers with simulated devices at the other end: how much of a full line is used, what a light's
// synchronisation costs on the air, a ramp of many loads, and the memory of a device.

#include "bench/Bench.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "embedded_host/LibraryLog.h"
#include "simulated_devices/KeypadOnBus.h"
#include "simulated_devices/MeteringPlug.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/WiredDimmer.h"
#include "tests/drivers/BusHouse.h"
#include "tests/drivers/ZigbeeLightRig.h"

#include <malloc.h>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace
{
using namespace embedded_host;
using namespace std::chrono_literals;

class Nobody : public OutputSink
{
public:
    void Write(const Output&) override {}
};

// --- one line with many keypads ------------------------------------------------------------------

constexpr unsigned KEYPADS = 32;
constexpr unsigned BITS_PER_OCTET = 10;

// Hears every transmission of a line.
class FrameCounter : public simulated::BusStation
{
public:
    explicit FrameCounter(simulated::SimulatedLine& line) : m_line(line) { m_line.Attach(*this); }
    ~FrameCounter() override { m_line.Detach(*this); }

    void OnLine(const simulated::Octets& heard) override
    {
        ++frames;
        octets += heard.size();
        busy += m_line.Duration(heard.size());
    }

    std::size_t frames = 0;
    std::size_t octets = 0;
    std::chrono::milliseconds busy{};

private:
    simulated::SimulatedLine& m_line;
};

// Each keypad is shown a new colour before the one before is answered, for a minute of the house.
void FullLine(benchmark::State& state)
{
    ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
    bus_test::BusHouse house;
    for (unsigned i = 0; i < KEYPADS; ++i)
        house.Add();
    house.Start();
    house.Advance(1min);
    const FrameCounter line(house.Line());
    const std::chrono::milliseconds begin = house.Now();
    bool red = false;
    for (auto _ : state)
    {
        const std::chrono::milliseconds end = house.Now() + 1min;
        for (; house.Now() < end; house.Advance(50ms), red = !red)
        {
            for (unsigned id = 1; id <= KEYPADS; ++id)
                house.Show(id, red ? "ff0000" : "0000ff");
        }
    }
    const double seconds = std::chrono::duration<double>(house.Now() - begin).count();
    const double mostOctets = seconds * simulated::SimulatedLine::DEFAULT_BAUD / BITS_PER_OCTET;
    state.counters["frames_a_second"] = static_cast<double>(line.frames) / seconds;
    state.counters["busy_percent"] =
        100 * std::chrono::duration<double>(line.busy).count() / seconds;
    state.counters["percent"] = 100 * static_cast<double>(line.octets) / mostOctets;
    if (!house.asserted.empty())
        state.SkipWithError(house.asserted.front().c_str());
}

BENCHMARK(FullLine)->Name("bus/full")->Unit(benchmark::kMillisecond);

// --- a light's synchronisation -------------------------------------------------------------------

constexpr std::uint16_t GROUPS = 4;
constexpr std::uint8_t SCENES = 4;
constexpr int WANTED_PERCENT = 50;
constexpr std::uint8_t WANTED_LEVEL = 127;
constexpr std::uint8_t WRONG_LEVEL = 200;
constexpr std::uint8_t UNWANTED = 9;

void Put(simulated::LightTables& tables, std::uint16_t group, std::uint8_t number,
         std::uint8_t level)
{
    simulated::LightScene scene;
    scene.group = group;
    scene.number = number;
    scene.level = level;
    scene.seconds = 1;
    tables.scenes.push_back(scene);
}

// Group 1 is right, the levels of group 2 are wrong, group 3 has no scene but one that nobody
// wants, and the light is not in group 4.
void FillTables(simulated::LightTables& tables)
{
    tables.groups = {1, 2, 3};
    for (std::uint8_t number = 1; number <= SCENES; ++number)
    {
        Put(tables, 1, number, WANTED_LEVEL);
        Put(tables, 2, number, WRONG_LEVEL);
    }
    Put(tables, 3, UNWANTED, WANTED_LEVEL);
}

// Counted by hand: stores for the groups 2, 3 and 4, one removal, one join. A walk that knows
// nothing besides asks for the groups, for the scenes of each of the three that the light is in,
// and for the content of the eight wanted scenes that it holds.
constexpr int FEWEST_REPAIRS = 3 * SCENES + 1 + 1;
constexpr int FEWEST_QUESTIONS = 1 + 3 + 2 * SCENES;

int Count(const zigbee_rig::LightRig& rig, const std::vector<std::string>& kinds)
{
    int frames = 0;
    for (const auto& [kind, count] : rig.Counts())
        if (kinds.empty() || std::find(kinds.begin(), kinds.end(), kind) != kinds.end())
            frames += count;
    return frames;
}

void Synchronize(benchmark::State& state)
{
    ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
    SceneDetailsLightMap wanted;
    for (std::uint16_t group = 1; group <= GROUPS; ++group)
    {
        for (std::uint8_t number = 1; number <= SCENES; ++number)
        {
            auto& details = wanted[zcl::SceneId(group, number)];
            details.level = WANTED_PERCENT;
            details.time = 1000;
        }
    }
    zigbee_rig::LightRig rig;
    simulated::ZigbeeLight& light = rig.Attach({1, 16, 32, 15ms});
    const simulated::LightTables empty = light.Tables();
    std::int64_t simulatedMs = 0;
    for (auto _ : state)
    {
        light.Tables() = empty;
        FillTables(light.Tables());
        rig.ForgetCounts();
        const int before = rig.Driver().done;
        simulatedMs = 0;
        rig.host->CallDriver("a bench", [&] { rig.Driver().Synchronize(wanted, 0); });
        for (; rig.Driver().done == before; ++simulatedMs)
            rig.house.Advance(1ms);
    }
    const int repairs = Count(rig, {"add_group", "remove_scene", "add_scene"});
    const int frames = Count(rig, {});
    state.counters["repairs_ratio"] = static_cast<double>(repairs) / FEWEST_REPAIRS;
    state.counters["frames_ratio"] =
        static_cast<double>(frames) / (FEWEST_REPAIRS + FEWEST_QUESTIONS);
    state.counters["simulated_ms"] = static_cast<double>(simulatedMs);
    if (light.Tables().scenes.size() != std::size_t{GROUPS} * SCENES)
        state.SkipWithError("the light was not made right");
}

BENCHMARK(Synchronize)->Name("zigbee/sync")->Unit(benchmark::kMicrosecond);

// --- a ramp of many loads ------------------------------------------------------------------------

constexpr unsigned LOADS = 60;
constexpr unsigned GROUP = 7;

struct DimmerHouse
{
    DimmerHouse() : house(clock, random, sink)
    {
        ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
        std::vector<std::string> names;
        for (unsigned i = 1; i <= LOADS; ++i)
        {
            DriverConfig config;
            config.name = fmt::format("dimmer{}", i);
            config.type = "wired_dimmer";
            config.id = i;
            config.create = [](IInstanceManager& instances) -> NxBaseDriver*
            {
                return new WiredDimmerDriver(instances);
            };
            names.push_back(config.name);
            house.Add(std::move(config));
        }
        house.AddGroup(GROUP, names);
        house.StartAll();
    }

    Nobody sink;
    VirtualClock clock{0};
    Random random{1, Draw::Random};
    House house;
};

CmdMessage Ramp(const char* name)
{
    CmdMessage ramp(name);
    ramp.AddParam("GROUP_ID", "INT", static_cast<long long>(GROUP));
    ramp.AddParam("LEVEL", "INT", 50LL);
    ramp.AddParam("TIME", "INT", 2000LL);
    return ramp;
}

void RampGroup(benchmark::State& state)
{
    DimmerHouse dimmers;
    const CmdMessage ramp = Ramp("RAMP_TO_LEVEL");
    const bench::CountAllocations count(state);
    for (auto _ : state)
        dimmers.house.ForwardToGroup(GROUP, ramp);
}

// The peer: the same ramp for each of them by itself.
void RampOneByOne(benchmark::State& state)
{
    DimmerHouse dimmers;
    const CmdMessage ramp = Ramp("GROUP_RAMP_TO_LEVEL");
    const bench::CountAllocations count(state);
    for (auto _ : state)
        for (const auto& driver : dimmers.house.Drivers())
            driver->Command(ramp, CmdDispatcher::CONTROLLER);
}

BENCHMARK(RampGroup)->Name("group_ramp/house");
BENCHMARK(RampOneByOne)->Name("group_ramp/one_by_one");

// --- the memory of a device ----------------------------------------------------------------------

constexpr std::size_t DEVICES = 10000;

// Devices that have got power, with nobody at the other end.
template <class Make>
void DeviceMemory(benchmark::State& state, Make make)
{
    Nobody sink;
    VirtualClock clock{0};
    Random random{1, Draw::Random};
    House house(clock, random, sink);
    device_wire::HouseEnvironment world(house);
    double bytesEach = 0;
    for (auto _ : state)
    {
        std::vector<std::unique_ptr<simulated::SimulatedDevice>> devices;
        devices.reserve(DEVICES);
        const std::size_t before = mallinfo2().uordblks;
        for (std::size_t i = 0; i < DEVICES; ++i)
            devices.push_back(make(world));
        for (const auto& device : devices)
            device->OnPowerOn();
        bytesEach = static_cast<double>(mallinfo2().uordblks - before) / DEVICES;
    }
    state.counters["bytes_each"] = bytesEach;
}

using Device = std::unique_ptr<simulated::SimulatedDevice>;

Device MakePuckModule(simulated::DeviceEnvironment& world)
{
    return std::make_unique<simulated::PuckModule>(world, 7);
}

Device MakeZigbeeLight(simulated::DeviceEnvironment& world)
{
    return std::make_unique<simulated::ZigbeeLight>(world);
}

Device MakeWiredDimmer(simulated::DeviceEnvironment& world)
{
    return std::make_unique<simulated::WiredDimmer>(world);
}

Device MakeKeypad(simulated::DeviceEnvironment& world)
{
    return std::make_unique<simulated::KeypadOnBus>(world, 1);
}

BENCHMARK_CAPTURE(DeviceMemory, puck, MakePuckModule)->Name("device/puck")->Iterations(1);
BENCHMARK_CAPTURE(DeviceMemory, light, MakeZigbeeLight)->Name("device/light")->Iterations(1);
BENCHMARK_CAPTURE(DeviceMemory, dimmer, MakeWiredDimmer)->Name("device/dimmer")->Iterations(1);
BENCHMARK_CAPTURE(DeviceMemory, keypad, MakeKeypad)->Name("device/keypad")->Iterations(1);
} // namespace
