#pragma once

#include "lighting_host/broker/BrokerNames.h"
#include "lighting_host/broker/HouseModel.h"

#include <string>
#include <utility>
#include <vector>

namespace lighting_host
{
// One device as programs that look for devices are told of it.
struct DiscoveryMessage
{
    std::string topic;
    // JSON; the same device gives the same text.
    std::string payload;
    // Its components and their platforms ("button_1", "event"), in order.
    std::vector<std::pair<std::string, std::string>> components;
};

// What every message says beside its device.
struct DiscoveryFacts
{
    // Version of this program.
    std::string version;
    // Where the house is seen on a page; empty for nowhere.
    std::string pageUrl;
};

// `removed` are components, with their platforms, that an earlier message of this device had: they
// stand there with nothing but that, which takes them away.
DiscoveryMessage MakeDiscovery(const DeviceModel& device, const BrokerTopics& topics,
                               const DiscoveryFacts& facts,
                               const std::vector<std::pair<std::string, std::string>>& removed);
} // namespace lighting_host
