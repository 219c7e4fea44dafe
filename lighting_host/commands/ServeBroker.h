#pragma once

#include "lighting_host/broker/BrokerOptions.h"

#include <string>

namespace CLI
{
class App;
}

namespace lighting_host
{
struct HousePlan;

// The options of `serve` that put the house on a broker; `options` must outlive the command.
void AddBrokerOptions(CLI::App& command, BrokerOptions& options);

// Fills in what the command line left open, and reads the file with the user. `name` is that of the
// house file. What is wrong, in words; empty when nothing is, or when there is to be no broker.
std::string CompleteBrokerOptions(BrokerOptions& options, const HousePlan& plan,
                                  const std::string& name);
} // namespace lighting_host
