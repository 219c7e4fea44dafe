#include "lighting_host/commands/LampBroker.h"

#include "lighting_host/commands/Options.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"

#include <ctime>
#include <stdexcept>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// Zigbee2MQTT tells all about all of its devices in one message, some thousands of octets for each.
constexpr std::size_t LARGEST_LIST = 16 * 1024 * 1024;
} // namespace

void AddLampBrokerOptions(CLI::App& command, LampBrokerOptions& options)
{
    BrokerAddress& address = options.address;
    command
        .add_option_function<std::string>(
            "--zigbee2mqtt",
            [&address](const std::string& text)
            {
                const std::string wrong = ParseBrokerUrl(text, address);
                if (!wrong.empty())
                    RefuseValue("--zigbee2mqtt", wrong);
            },
            "The broker of the Zigbee2MQTT that lamps of the house are behind, "
            "mqtt://HOST[:PORT] or mqtts://HOST[:PORT]")
        ->type_name("URL");
    AddText(command, "--zigbee2mqtt-user-file", options.userFile, "FILE",
            "A file that only you can read: the user of that broker in its first line, the "
            "password in its second");
}

BrokerAddress CompleteLampBroker(const LampBrokerOptions& options, const BrokerAddress& house)
{
    BrokerAddress address = options.address.host.empty() ? house : options.address;
    if (address.host.empty())
        throw std::runtime_error("lamps of this house are behind a Zigbee2MQTT: say where its "
                                 "broker is with --zigbee2mqtt mqtt://HOST");
    if (!options.userFile.empty())
    {
        const std::string wrong = ReadBrokerUser(options.userFile, address);
        if (!wrong.empty())
            throw std::runtime_error(wrong);
    }
    // Two programs of one name throw each other out.
    address.clientId = fmt::format("lh_lamps_{}_{}", getpid(), std::time(nullptr));
    address.mostPayload = LARGEST_LIST;
    return address;
}

std::string RealLampsNeedRealTime(const HouseFile& file, const std::string& instead)
{
    for (const HouseFileDriver& driver : file.drivers)
    {
        if (driver.device && IsRemoteLight(*driver.device))
            return fmt::format("{}:{}: driver \"{}\" has a lamp behind a Zigbee2MQTT, which lives "
                               "in real time: {}",
                               file.path, driver.line, driver.name, instead);
    }
    return std::string();
}
} // namespace lighting_host
