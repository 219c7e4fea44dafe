#pragma once

#include "lighting_host/DriverAdapter.h"
#include "lighting_host/Json.h"

class EnergyInfoCollector;

namespace lighting_host
{
// What "set" says of the power, energy and fault of a load whose driver keeps an
// EnergyInfoCollector. An empty action for any other fact. Whether the load is on and the energy
// ready is the driver's own to keep.
DriverAdapter::Action PrepareEnergyFact(EnergyInfoCollector& energy, const std::string& name,
                                        const Json& value);

// The answer to the query "energy".
Json EnergyAnswer(const EnergyInfoCollector& energy);
} // namespace lighting_host
