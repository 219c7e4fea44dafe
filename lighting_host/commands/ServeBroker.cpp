#include "lighting_host/commands/ServeBroker.h"

#include "lighting_host/commands/Options.h"

#include <CLI/CLI.hpp>

namespace lighting_host
{
namespace
{
constexpr int LEAST_KEEP_ALIVE_S = 5;
constexpr int MOST_KEEP_ALIVE_S = 65535;

const std::vector<std::pair<std::string, BrokerAddress::Version>> VERSIONS = {
    {"best", BrokerAddress::Version::Best},
    {"5", BrokerAddress::Version::Five},
    {"3.1.1", BrokerAddress::Version::Three},
};

// A topic of our own: levels that are ids.
bool IsTopic(const std::string& text)
{
    std::size_t begin = 0;
    while (begin <= text.size())
    {
        const std::size_t end = std::min(text.find('/', begin), text.size());
        if (!IsBrokerId(text.substr(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return true;
}

void AddTopic(CLI::App& command, const std::string& option, std::string& value,
              const std::string& about)
{
    command
        .add_option_function<std::string>(
            option,
            [option, &value](const std::string& text)
            {
                if (!IsTopic(text))
                    RefuseValue(option, "\"" + text +
                                            "\" is not made of small letters, digits, _ and -, "
                                            "with / between its levels");
                value = text;
            },
            about)
        ->type_name("TOPIC");
}

void AddIds(CLI::App& command, BrokerOptions& options)
{
    command
        .add_option_function<std::string>(
            "--house-id",
            [&options](const std::string& text)
            {
                if (!IsBrokerId(text))
                    RefuseValue("--house-id",
                                "\"" + text + "\" is not made of small letters, digits, _ and -");
                options.topics.house = text;
            },
            "What the house is called on the broker; the house file's name by default")
        ->type_name("ID");
    AddTopic(command, "--mqtt-base", options.topics.base, "Where houses are; lighting by default");
    AddTopic(command, "--mqtt-discovery-prefix", options.topics.discovery,
             "Where programs look for devices; homeassistant by default");
    command.add_flag_callback(
        "--mqtt-no-discovery", [&options] { options.discovery = false; },
        "Tell nobody what devices there are");
    command.add_flag("--mqtt-protocol", options.protocol,
                     "The host protocol itself on the broker too; whoever may write there may do "
                     "anything to the house");
}
} // namespace

void AddBrokerOptions(CLI::App& command, BrokerOptions& options)
{
    BrokerAddress& address = options.address;
    command
        .add_option_function<std::string>(
            "--mqtt",
            [&address](const std::string& text)
            {
                const std::string wrong = ParseBrokerUrl(text, address);
                if (!wrong.empty())
                    RefuseValue("--mqtt", wrong);
            },
            "Put the house on the broker at mqtt://HOST[:PORT] or mqtts://HOST[:PORT]")
        ->type_name("URL");
    AddIds(command, options);
    AddText(
        command, "--mqtt-user-file", options.userFile, "FILE",
        "A file that only you can read: the user in its first line, the password in its second");
    AddText(command, "--mqtt-ca", address.caFile, "FILE",
            "Certificates that the broker's is checked against; those of the machine by default");
    AddText(command, "--mqtt-cert", address.certificateFile, "FILE",
            "The certificate that we show to the broker");
    AddText(command, "--mqtt-key", address.keyFile, "FILE", "The key of that certificate");
    AddText(command, "--mqtt-client-id", address.clientId, "ID",
            "What the broker calls us; lh_ and the house's id by default");
    command
        .add_option("--mqtt-keep-alive", address.keepAliveSeconds,
                    "Seconds of silence after which the broker is asked whether it is there; 30 "
                    "by default")
        ->check(CLI::Range(LEAST_KEEP_ALIVE_S, MOST_KEEP_ALIVE_S))
        ->type_name("SECONDS");
    AddChoice(command, "--mqtt-version", address.version, VERSIONS,
              "The version of MQTT; by default the best that the broker knows");
}

std::string CompleteBrokerOptions(BrokerOptions& options, const HousePlan& plan,
                                  const std::string& name)
{
    BrokerAddress& address = options.address;
    if (address.host.empty())
        return std::string();
    if (address.certificateFile.empty() != address.keyFile.empty())
        return "--mqtt-cert and --mqtt-key belong together";
    if (!address.encrypted && !(address.caFile + address.certificateFile).empty())
        return "certificates need mqtts://";
    if (options.topics.house.empty())
        options.topics.house = BrokerId(name);
    if (address.clientId.empty())
        address.clientId = "lh_" + options.topics.house;
    const std::string collision = FindIdCollision(plan);
    if (!collision.empty())
        return collision;
    return options.userFile.empty() ? std::string() : ReadBrokerUser(options.userFile, address);
}
} // namespace lighting_host
