#include "lighting_host/fleet/FleetTexts.h"

#include "lighting_host/fleet/FleetBus.h"
#include "lighting_host/text/Json.h"

#include <charconv>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t LONGEST_ID = 64;

// Reads a value that `read` takes apart.
template <class Read>
auto ReadEntry(const std::string& text, const char* what, const Read& read)
{
    try
    {
        return read(ParseJson(text));
    }
    catch (const InputError& error)
    {
        throw FleetError(fmt::format("{} cannot be read: {}", what, error.Message()));
    }
    catch (const std::exception& error)
    {
        throw FleetError(fmt::format("{} cannot be read: {}", what, error.what()));
    }
}

std::string TextOf(const Json& value)
{
    std::string text;
    AppendJson(text, value);
    return text;
}
} // namespace

bool IsFleetId(const std::string& text)
{
    return !text.empty() && text.size() <= LONGEST_ID &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_-") == std::string::npos;
}

std::string WriteFleetHouse(const FleetHouseEntry& entry)
{
    return TextOf({{"house", entry.house}, {"folder", entry.folder}});
}

FleetHouseEntry ReadFleetHouse(const std::string& text)
{
    return ReadEntry(text, "a house of the fleet",
                     [](const Json& json)
                     {
                         return FleetHouseEntry{json.at("house").get<std::string>(),
                                                json.at("folder").get<std::string>()};
                     });
}

std::string WriteFleetLease(const FleetLeaseEntry& entry)
{
    return TextOf({{"owner", entry.owner}, {"since", entry.since}, {"token", entry.token}});
}

FleetLeaseEntry ReadFleetLease(const std::string& text)
{
    return ReadEntry(text, "a lease",
                     [](const Json& json)
                     {
                         return FleetLeaseEntry{json.at("owner").get<std::string>(),
                                                json.at("since").get<std::int64_t>(),
                                                json.at("token").get<std::uint64_t>()};
                     });
}

std::string WriteFleetWorker(const FleetWorkerEntry& entry)
{
    return TextOf({{"run", entry.run}, {"room", entry.room}});
}

FleetWorkerEntry ReadFleetWorker(const std::string& text)
{
    return ReadEntry(text, "a worker",
                     [](const Json& json) {
                         return FleetWorkerEntry{json.at("run").get<std::string>(),
                                                 json.at("room").get<unsigned>()};
                     });
}

std::string WriteFleetStates(const FleetStates& states)
{
    Json list = Json::array();
    for (const auto& state : states.states)
        list.push_back({{"driver", state.driver}, {"type", state.type}, {"xml", state.xml}});
    return TextOf({{"token", states.token}, {"states", std::move(list)}});
}

FleetStates ReadFleetStates(const std::string& text)
{
    return ReadEntry(text, "the states",
                     [](const Json& json)
                     {
                         FleetStates states;
                         states.token = json.at("token").get<std::uint64_t>();
                         for (const Json& state : json.at("states"))
                             states.states.push_back({state.at("driver").get<std::string>(),
                                                      state.at("type").get<std::string>(),
                                                      state.at("xml").get<std::string>()});
                         return states;
                     });
}

std::string WriteFleetSoak(const FleetSoakEntry& entry)
{
    return TextOf({{"run", entry.run},
                   {"library", entry.library},
                   {"type", entry.type},
                   {"house", entry.house},
                   {"device", entry.device},
                   {"houses", entry.houses},
                   {"for_ms", entry.forMs},
                   {"seed", entry.seed},
                   {"seed_step", entry.seedStep}});
}

FleetSoakEntry ReadFleetSoak(const std::string& text)
{
    return ReadEntry(text, "a soak",
                     [](const Json& json)
                     {
                         FleetSoakEntry entry;
                         entry.run = json.at("run").get<std::string>();
                         entry.library = json.at("library").get<std::string>();
                         entry.type = json.at("type").get<std::string>();
                         entry.house = json.at("house").get<std::string>();
                         entry.device = json.at("device").get<std::string>();
                         entry.houses = json.at("houses").get<unsigned>();
                         entry.forMs = json.at("for_ms").get<std::int64_t>();
                         entry.seed = json.at("seed").get<std::uint64_t>();
                         entry.seedStep = json.at("seed_step").get<std::uint64_t>();
                         return entry;
                     });
}

std::string WriteFleetTrial(const FleetTrialEntry& entry)
{
    return TextOf({{"worker", entry.worker},
                   {"status", entry.status},
                   {"told", entry.told},
                   {"record", entry.record}});
}

FleetTrialEntry ReadFleetTrial(const std::string& text)
{
    return ReadEntry(text, "the end of a house",
                     [](const Json& json)
                     {
                         return FleetTrialEntry{json.at("worker").get<std::string>(),
                                                json.at("status").get<int>(),
                                                json.at("told").get<std::string>(),
                                                json.at("record").get<std::string>()};
                     });
}

std::string FleetTrialKey(const std::string& run, unsigned house)
{
    return fmt::format("{}_{}", run, house);
}

bool ParseFleetTrialKey(const std::string& key, std::string& run, unsigned& house)
{
    const std::size_t at = key.rfind('_');
    if (at == std::string::npos)
        return false;
    const char* const end = key.data() + key.size();
    const auto read = std::from_chars(key.data() + at + 1, end, house);
    run = key.substr(0, at);
    return read.ec == std::errc() && read.ptr == end;
}

std::string FleetListLine(const std::string& id, const FleetLeaseEntry& lease, std::uint64_t token)
{
    Json line = {{"id", id}};
    if (lease.owner.empty())
    {
        line["owner"] = nullptr;
        return TextOf(line);
    }
    line["owner"] = lease.owner;
    line["token"] = token;
    line["since"] =
        fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(lease.since)));
    return TextOf(line);
}

std::string FleetEdgeLine(std::uint64_t token, const std::string& line)
{
    return fmt::format("{{\"token\":{},\"line\":{}}}", token, line);
}
} // namespace lighting_host
