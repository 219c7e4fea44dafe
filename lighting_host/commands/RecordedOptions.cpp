#include "lighting_host/commands/RecordedOptions.h"

#include "embedded_host/LocalTime.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr const char* SEED = "seed";
constexpr const char* DRAW = "draw";
constexpr const char* START = "start";
constexpr const char* ZONE = "zone";
constexpr const char* STATES = "states";

std::string NameOf(embedded_host::Draw draw)
{
    for (const auto& name : DrawNames())
    {
        if (name.second == draw)
            return name.first;
    }
    return std::string();
}
} // namespace

const std::vector<std::pair<std::string, embedded_host::Draw>>& DrawNames()
{
    static const std::vector<std::pair<std::string, embedded_host::Draw>> names = {
        {"random", embedded_host::Draw::Random},
        {"low", embedded_host::Draw::Low},
        {"high", embedded_host::Draw::High},
    };
    return names;
}

void AppendRecordedOptions(std::string& object, const SessionOptions& options)
{
    object += fmt::format(",\"{}\":{},\"{}\":\"{}\",\"{}\":\"{}\"", SEED, options.seed, DRAW,
                          NameOf(options.draw), START,
                          embedded_host::FormatLocalTime(options.startLocalSeconds));
    if (!options.zone.empty())
    {
        object += fmt::format(",\"{}\":", ZONE);
        AppendJsonText(object, options.zone);
    }
    if (options.states.empty())
        return;
    object += fmt::format(",\"{}\":", STATES);
    char before = '{';
    for (const auto& [driver, state] : options.states)
    {
        object += std::exchange(before, ',');
        AppendJsonText(object, driver);
        object += ':';
        AppendJsonText(object, state);
    }
    object += '}';
}

void ReadRecordedOptions(Fields& head, SessionOptions& options)
{
    if (head.Has(SEED))
    {
        const Json& seed = head.Get(SEED);
        if (!seed.is_number_unsigned())
            throw InputError("\"seed\" is not a number from 0 on");
        if (!options.given.seed)
            options.seed = seed.get<std::uint64_t>();
    }
    if (head.Has(DRAW))
    {
        const std::string text = head.Text(DRAW);
        const auto draw = std::find_if(DrawNames().begin(), DrawNames().end(),
                                       [&text](const auto& name) { return name.first == text; });
        if (draw == DrawNames().end())
            throw InputError(fmt::format("there is no draw \"{}\"", text));
        if (!options.given.draw)
            options.draw = draw->second;
    }
    if (head.Has(START))
    {
        try
        {
            const std::int64_t start = embedded_host::ParseLocalTime(head.Text(START));
            if (!options.given.start)
                options.startLocalSeconds = start;
        }
        catch (const embedded_host::LocalTimeError& error)
        {
            throw InputError(error.what());
        }
    }
    if (head.Has(STATES))
    {
        const Json& states = head.Get(STATES);
        if (!states.is_object())
            throw InputError("\"states\" is no JSON object");
        for (const auto& [driver, state] : states.items())
            options.states[driver] = ToText(state, "a state");
    }
    const std::string zone = head.TextOr(ZONE, options.zone);
    if (!options.given.zone)
        options.zone = zone;
}
} // namespace lighting_host
