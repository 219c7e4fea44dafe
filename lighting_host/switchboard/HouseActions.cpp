#include "lighting_host/switchboard/HouseActions.h"

#include "device_wire/AttachedDevice.h"
#include "embedded_host/DriverHost.h"
#include "embedded_host/ZclCodec.h"
#include "lighting_host/simulation/DeviceSwitches.h"
#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "simulated_devices/SimulatedDevice.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using simulated::SimulatedDevice;
using Action = std::function<void()>;

// On purpose not that of one kind of device: what may be asked of any lamp.
constexpr int FULL_LEVEL = 100;
constexpr long long LONGEST_RAMP_MS = 3600000;

nx::DriverHost& DriverOf(HouseRun& run, Fields& fields)
{
    const std::string name = fields.Text("driver");
    nx::DriverHost* const driver = run.GetSession().House().Find(name);
    if (!driver)
        throw InputError(fmt::format("there is no driver named \"{}\"", name));
    return *driver;
}

// The place of the driver's device in the session's list.
std::size_t DeviceOf(HouseRun& run, Fields& fields)
{
    const nx::DriverHost& driver = DriverOf(run, fields);
    const auto& devices = run.GetSession().Devices();
    const auto found =
        std::find_if(devices.begin(), devices.end(),
                     [&driver](const auto& device) { return &device->Driver() == &driver; });
    if (found == devices.end())
        throw InputError(fmt::format("\"{}\" has no simulated device", driver.Config().name));
    return static_cast<std::size_t>(found - devices.begin());
}

// The same of a device that is simulated.
std::size_t SimulatedDeviceOf(HouseRun& run, Fields& fields)
{
    const std::size_t device = DeviceOf(run, fields);
    const nx::DriverHost& driver = run.GetSession().Devices()[device]->Driver();
    if (IsRemoteLight(run.GetSession().KindOf(driver)))
        throw InputError(fmt::format("the device of \"{}\" is real", driver.Config().name));
    return device;
}

Simulation& SimulationOf(HouseRun& run)
{
    if (!run.GetSimulation())
        throw InputError("this house has no controller of its own");
    return *run.GetSimulation();
}

// {"house":"act","driver":"hall","do":"press","button":3}
Action PrepareAct(HouseRun& run, Fields& fields)
{
    static const std::vector<std::pair<std::string, SimulatedDevice::Touch>> TOUCHES = {
        {"press", SimulatedDevice::Touch::Press},
        {"release", SimulatedDevice::Touch::Release},
        {"click", SimulatedDevice::Touch::Click},
    };
    SimulatedDevice& device = *run.GetSession().Devices()[SimulatedDeviceOf(run, fields)]->Device();
    const std::string word = fields.Text("do");
    const auto touch = std::find_if(TOUCHES.begin(), TOUCHES.end(),
                                    [&word](const auto& row) { return row.first == word; });
    if (touch == TOUCHES.end())
        throw InputError(
            fmt::format("\"do\" can only be press, release or click, not \"{}\"", word));
    if (fields.Has("contact") == fields.Has("button"))
        throw InputError("say which \"button\" or which \"contact\"");
    const bool isContact = fields.Has("contact");
    const char* const name = isContact ? "contact" : "button";
    const auto number = static_cast<int>(fields.Integer(name, 0, INT32_MAX));
    fields.Finish();
    const auto place = isContact ? SimulatedDevice::Place::Contact : SimulatedDevice::Place::Button;
    if (!device.HasPlace(place, number))
        throw InputError(fmt::format("the device has no {} {}", name, number));
    return [&device, place, number, what = touch->second]
    {
        device.OnTouch(place, number, what);
    };
}

// {"house":"level","driver":"sofa","level":40,"time_ms":400}
Action PrepareLevel(HouseRun& run, Fields& fields)
{
    Simulation& simulation = SimulationOf(run);
    const std::size_t index = DeviceOf(run, fields);
    nx::DriverHost& driver = run.GetSession().Devices()[index]->Driver();
    const DeviceKind* const kind = run.GetSession().KindOf(driver);
    if (!kind || !kind->hasLamp)
        throw InputError(fmt::format("\"{}\" has no lamp", driver.Config().name));
    const auto level = static_cast<int>(fields.Integer("level", 0, FULL_LEVEL));
    const std::chrono::milliseconds time(fields.IntegerOr("time_ms", 0, LONGEST_RAMP_MS, 0));
    fields.Finish();
    return [&simulation, &driver, level, time]
    {
        simulation.GetController().SetLevel(driver.Config().name, level, time);
    };
}

// {"house":"scene","id":2}, or with "driver" an advanced scene of that driver alone.
Action PrepareScene(HouseRun& run, Fields& fields)
{
    Simulation& simulation = SimulationOf(run);
    const auto id = static_cast<unsigned>(fields.Integer("id", 0, UINT32_MAX));
    if (fields.Has("driver"))
    {
        nx::DriverHost& driver = DriverOf(run, fields);
        fields.Finish();
        const DriverAdapter* const adapter = run.GetSession().AdapterOf(driver);
        const auto scenes = adapter ? adapter->PlayedScenes() : std::vector<unsigned>();
        if (std::find(scenes.begin(), scenes.end(), id) == scenes.end())
            throw InputError(
                fmt::format("\"{}\" has no advanced scene {}", driver.Config().name, id));
        return [&simulation, &driver, id]
        {
            simulation.GetController().RecallScene(driver, id);
        };
    }
    fields.Finish();
    const auto& scenes = run.File().scenes;
    if (std::none_of(scenes.begin(), scenes.end(),
                     [id](const HouseFileScene& scene) { return scene.id == id; }))
        throw InputError(fmt::format("there is no scene {}", id));
    return [&simulation, id]
    {
        simulation.GetController().RecallScene(id);
    };
}

// {"house":"group","id":1,"do":"level","level":40,"time_ms":400}
Action PrepareGroup(HouseRun& run, Fields& fields)
{
    Simulation& simulation = SimulationOf(run);
    const auto id = static_cast<unsigned>(fields.Integer("id", 0, UINT32_MAX));
    const std::string word = fields.Text("do");
    HouseFileGroupAct act;
    if (word == "up")
        act.what = HouseFileGroupAct::RampUp;
    else if (word == "down")
        act.what = HouseFileGroupAct::RampDown;
    else if (word == "stop")
        act.what = HouseFileGroupAct::StopRamp;
    else if (word == "level")
    {
        act.level = static_cast<unsigned>(fields.Integer("level", 0, FULL_LEVEL));
        act.timeMs = fields.IntegerOr("time_ms", 0, LONGEST_RAMP_MS, 0);
    }
    else
        throw InputError(
            fmt::format("\"do\" can only be up, down, stop or level, not \"{}\"", word));
    fields.Finish();
    const auto& groups = run.File().groups;
    if (std::none_of(groups.begin(), groups.end(),
                     [id](const HouseFileGroup& group) { return group.id == id; }))
        throw InputError(fmt::format("there is no load group {}", id));
    return [&simulation, id, act]
    {
        simulation.GetController().ActOnGroup(id, act);
    };
}

// {"house":"power","driver":"sofa","on":false}
Action PreparePower(HouseRun& run, Fields& fields)
{
    DeviceSwitches& switches = SimulationOf(run).Switches();
    const bool all = !fields.Has("driver");
    const std::size_t device = all ? 0 : SimulatedDeviceOf(run, fields);
    const bool on = fields.Boolean("on");
    fields.Finish();
    return [&switches, all, device, on]
    {
        if (all)
            switches.SetPower(on);
        else
            switches.SetPower(device, on);
    };
}

// {"house":"fault","driver":"sofa","deaf":true}: what is not named stays.
Action PrepareFault(HouseRun& run, Fields& fields)
{
    DeviceSwitches& switches = SimulationOf(run).Switches();
    const bool all = !fields.Has("driver");
    const std::size_t device = all ? 0 : SimulatedDeviceOf(run, fields);
    DeviceFaults faults = all ? switches.OfHouse().faults : switches.Of(device).faults;
    if (!all && fields.Has("forgets") && !switches.CanForget(device))
        throw InputError("the device has nothing that it could forget so");
    faults.deaf = fields.BooleanOr("deaf", faults.deaf);
    faults.forgets = fields.BooleanOr("forgets", faults.forgets);
    faults.repeats = fields.BooleanOr("repeats", faults.repeats);
    faults.lossPercent = static_cast<unsigned>(
        fields.IntegerOr("loss_percent", 0, DeviceSwitches::MOST_LOSS_PERCENT, faults.lossPercent));
    faults.delayMs = static_cast<unsigned>(
        fields.IntegerOr("delay_ms", 0, DeviceSwitches::MOST_DELAY_MS, faults.delayMs));
    fields.Finish();
    return [&switches, all, device, faults]
    {
        if (all)
            switches.SetFaults(faults);
        else
            switches.SetFaults(device, faults);
    };
}

// "zcl_frame":{"cluster":4,"hex":"..."}: refused as the host refuses it.
Action PrepareLampFrame(RemoteLight& light, Fields& fields)
{
    Fields given(fields.Get("zcl_frame"), "\"zcl_frame\"");
    wire::ZclFrame frame;
    frame.cluster = static_cast<std::uint16_t>(given.Integer("cluster", 0, UINT16_MAX));
    const std::string bytes = HexToBytes(given.Text("hex"), "hex");
    given.Finish();
    fields.Finish();
    frame.bytes.assign(bytes.begin(), bytes.end());
    frame.endpoint = light.Place().endpoint;
    embedded_host::zcl::Reply reply;
    if (const char* const error = embedded_host::zcl::DecodeReply(frame.cluster, frame.bytes.data(),
                                                                  frame.bytes.size(), reply))
        throw InputError(error);
    return [&light, frame = std::move(frame)]
    {
        light.OnLampFrame(frame);
    };
}

// {"house":"lamp","driver":"sofa","level":40}: what a lamp that is not simulated says of itself.
Action PrepareLamp(HouseRun& run, Fields& fields)
{
    const Session& session = run.GetSession();
    const device_wire::AttachedDevice& device = *session.Devices()[DeviceOf(run, fields)];
    RemoteLight* const light = AsRemoteLight(session.KindOf(device.Driver()), device.Device());
    if (!light)
        throw InputError("the device is simulated");
    if (fields.Has("zcl_frame"))
        return PrepareLampFrame(*light, fields);
    const auto level = static_cast<unsigned>(fields.Integer("level", 0, FULL_LEVEL));
    fields.Finish();
    return [light, level]
    {
        light->SetPresentLevel(level);
    };
}

struct ActionRow
{
    const char* word;
    Action (*prepare)(HouseRun&, Fields&);
};
constexpr ActionRow ACTIONS[] = {
    {"act", &PrepareAct},     {"level", &PrepareLevel}, {"scene", &PrepareScene},
    {"group", &PrepareGroup}, {"power", &PreparePower}, {"fault", &PrepareFault},
    {"lamp", &PrepareLamp},
};

const ActionRow* FindAction(const std::string& word)
{
    for (const ActionRow& row : ACTIONS)
    {
        if (word == row.word)
            return &row;
    }
    return nullptr;
}
} // namespace

bool IsHouseAction(const std::string& line)
{
    // Most lines are for a driver: they are not read twice.
    if (line.find("\"house\"") == std::string::npos || !IsJson(line))
        return false;
    const Json input = ParseJson(line);
    return input.is_object() && input.contains("house") && input["house"].is_string() &&
           FindAction(input["house"].get<std::string>());
}

std::function<void()> PrepareHouseAction(HouseRun& run, const std::string& line)
{
    const Json input = ParseJson(line);
    Fields fields(input, "the input");
    const std::string word = fields.Text("house");
    const ActionRow* const row = FindAction(word);
    if (!row)
        throw InputError(fmt::format("\"{}\" is nothing that can be done to the house", word));
    return row->prepare(run, fields);
}
} // namespace lighting_host
