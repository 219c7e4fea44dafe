#pragma once

#include "lighting_host/broker/BrokerAddress.h"

#include <string>

namespace CLI
{
class App;
}

namespace lighting_host
{
struct HouseFile;

// The broker of the Zigbee2MQTTs that lamps of a house stand behind, as the command line says.
struct LampBrokerOptions
{
    // Without a host, that of --mqtt.
    BrokerAddress address;
    // A file with the user and the password; empty for none.
    std::string userFile;
};

// The options of `run` and `serve`; `options` must outlive the command.
void AddLampBrokerOptions(CLI::App& command, LampBrokerOptions& options);

// Where the broker is: `house` is that of --mqtt, without a host for none. Throws
// std::runtime_error, in words, when nothing says where, or for a file that cannot be used.
BrokerAddress CompleteLampBroker(const LampBrokerOptions& options, const BrokerAddress& house);

// Why a house cannot be run where time does not pass as it does; empty when it can. `instead` is
// what the command would need.
std::string RealLampsNeedRealTime(const HouseFile& file, const std::string& instead);
} // namespace lighting_host
