#include "lighting_host/broker/BrokerCommands.h"

#include "lighting_host/broker/EntityValues.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverAdapter.h"

#include <algorithm>
#include <array>
#include <chrono>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr double MOST_TRANSITION_S = 3600;

struct Request
{
    const DeviceModel& device;
    const Entity& entity;
    const DriverAdapter* adapter;
    const LightMemory& memory;
    const std::string& payload;
};

// Whether "state" says on. A command without it means on.
bool ReadOn(Fields& fields)
{
    const std::string state = fields.TextOr("state", WORD_ON);
    if (state != WORD_ON && state != WORD_OFF)
        throw InputError("\"state\" is not ON or OFF");
    return state == WORD_ON;
}

std::int64_t ReadTransition(Fields& fields)
{
    if (!fields.Has("transition"))
        return 0;
    const Json& value = fields.Get("transition");
    const double seconds = value.is_number() ? value.get<double>() : -1;
    if (!(seconds >= 0 && seconds <= MOST_TRANSITION_S))
        throw InputError("\"transition\" is not a number of seconds from 0 to 3600");
    return std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds))
        .count();
}

BrokerCommand ReadFade(const Request& request)
{
    const Json json = ParseJson(request.payload);
    Fields fields(json, "the command");
    const bool on = ReadOn(fields);
    // On without a level means as before.
    const int before = request.memory.level > 0 ? request.memory.level : request.memory.lastLit;
    BrokerCommand command;
    command.fades = true;
    command.level =
        static_cast<int>(fields.IntegerOr("brightness", 0, BRIGHTEST_PERCENT, on ? before : 0));
    if (!on)
        command.level = 0;
    command.timeMs = ReadTransition(fields);
    fields.Finish();
    return command;
}

BrokerCommand ReadLight(const Request& request)
{
    BrokerCommand command = ReadFade(request);
    AppendJson(command.line, {{"house", "level"},
                              {"driver", request.device.driver},
                              {"level", command.level},
                              {"time_ms", command.timeMs}});
    return command;
}

BrokerCommand ReadGroup(const Request& request)
{
    BrokerCommand command = ReadFade(request);
    AppendJson(command.line, {{"house", "group"},
                              {"id", request.entity.number},
                              {"do", "level"},
                              {"level", command.level},
                              {"time_ms", command.timeMs}});
    return command;
}

BrokerCommand ReadScene(const Request& request)
{
    if (request.payload != WORD_ON)
        throw InputError("a scene only takes ON");
    BrokerCommand command;
    Json line = {{"house", "scene"}, {"id", request.entity.number}};
    if (request.entity.kind == EntityKind::AdvScene)
        line["driver"] = request.device.driver;
    AppendJson(command.line, line);
    return command;
}

BrokerCommand ReadLed(const Request& request)
{
    const Json json = ParseJson(request.payload);
    Fields fields(json, "the command");
    const bool on = ReadOn(fields);
    std::array<int, 3> channels = ReadColor(request.entity.button.ledColor);
    if (fields.Has("color"))
    {
        Fields color(fields.Get("color"), "\"color\"");
        const auto channel = [&color](const char* name)
        {
            return static_cast<int>(color.Integer(name, 0, FULL_COLOR));
        };
        channels = {channel("r"), channel("g"), channel("b")};
        color.Finish();
    }
    const int brightest = *std::max_element(channels.begin(), channels.end());
    const int wanted = static_cast<int>(
        fields.IntegerOr("brightness", 0, FULL_COLOR, brightest == 0 ? FULL_COLOR : brightest));
    fields.Finish();
    std::string color;
    for (const int channel : channels)
        color += fmt::format("{:02x}", on ? ScaleChannel(channel, brightest, wanted) : 0);
    BrokerCommand command;
    Json input = {{"driver", request.device.driver}};
    input.update(request.adapter->LedInput(request.entity.button, color));
    AppendJson(command.line, input);
    return command;
}

BrokerCommand ReadSetting(const Request& request)
{
    const SettingOffer& setting = request.entity.setting;
    if (!setting.options.empty())
    {
        if (std::find(setting.options.begin(), setting.options.end(), request.payload) ==
            setting.options.end())
            throw InputError("that is none of the options");
    }
    else
        ToInteger(ParseJson(request.payload), "the value", setting.least, setting.most);
    BrokerCommand command;
    Json input = {{"driver", request.device.driver}};
    input.update(request.adapter->SettingInput(setting, request.payload));
    AppendJson(command.line, input);
    return command;
}

// What each kind of entity can be told.
struct Row
{
    EntityKind kind;
    bool needsDriver;
    BrokerCommand (*read)(const Request& request);
};

constexpr Row ROWS[] = {
    {EntityKind::Light, false, &ReadLight}, {EntityKind::Group, false, &ReadGroup},
    {EntityKind::Scene, false, &ReadScene}, {EntityKind::AdvScene, true, &ReadScene},
    {EntityKind::Led, true, &ReadLed},      {EntityKind::Setting, true, &ReadSetting},
};
} // namespace

BrokerCommand ReadBrokerCommand(const DeviceModel& device, const Entity& entity,
                                const DriverAdapter* adapter, const LightMemory& memory,
                                const std::string& payload)
{
    for (const Row& row : ROWS)
    {
        if (row.kind != entity.kind)
            continue;
        if (row.needsDriver && !adapter)
            throw InputError(fmt::format("{} is not running", device.driver));
        return row.read({device, entity, adapter, memory, payload});
    }
    throw InputError("this takes no commands");
}

} // namespace lighting_host
