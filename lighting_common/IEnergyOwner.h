#pragma once

#include "lighting_common/Export.h"

#include <string>

// What an EnergyInfoCollector asks of the driver that owns it.
//
// Implemented by the driver of a load. Called on the driver's thread only, from the collector's
// timer and from the collector operations that the driver calls. Must outlive the collector, or be
// taken back with setOwner(nullptr). The order of the operations is part of the binary interface.
class LIGHTING_COMMON_API IEnergyOwner
{
public:
    virtual ~IEnergyOwner() = default;

    // Whether the load is on now. Called once for each minute that is counted.
    virtual bool IsLoadOn() = 0;

    // Whether the driver knows enough of its load for the minute to be counted; false leaves the
    // whole minute uncounted, the change of day included. Called when a minute is over.
    virtual bool IsEnergyReady() = 0;

    // A value for the user interface: `name` is the variable's name ("ENERGY_USED"), `value` is in
    // the unit of that variable. Called after the variable was set, also for values that are the
    // same as before. May call the collector; must not destroy it.
    virtual void EnergyValueToUI(const std::string& name, int value) = 0;
};
