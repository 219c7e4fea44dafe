#pragma once

#include "lighting_host/broker/BrokerAddress.h"
#include "lighting_host/broker/BrokerNames.h"

#include <string>

namespace lighting_host
{
// How a house is put on a broker, as the command line says.
struct BrokerOptions
{
    // Without a host, on none.
    BrokerAddress address;
    BrokerTopics topics;
    // Whether devices are told of.
    bool discovery = true;
    // Whether the host protocol itself is there.
    bool protocol = false;
    // A file with the user and the password; empty for none.
    std::string userFile;
};
} // namespace lighting_host
