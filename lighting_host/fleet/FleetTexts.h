#pragma once

#include "embedded_host/StateStore.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lighting_host
{
// What the values of the fleet's buckets say, as JSON. Readers throw FleetError for a text that is
// none of ours.

// Whether it can name a house or a worker: 1 to 64 of [a-z0-9_-].
bool IsFleetId(const std::string& text);

// A house of the fleet: its file's text, and the folder that its library paths are relative to, the
// same one on every machine.
struct FleetHouseEntry
{
    std::string house;
    std::string folder;
};
std::string WriteFleetHouse(const FleetHouseEntry& entry);
FleetHouseEntry ReadFleetHouse(const std::string& text);

// Who has a house, since when by its own wall clock, in seconds since 1970 UTC, and by what token;
// 0 in the lease itself until it is renewed.
struct FleetLeaseEntry
{
    std::string owner;
    std::int64_t since = 0;
    std::uint64_t token = 0;
};
std::string WriteFleetLease(const FleetLeaseEntry& entry);
FleetLeaseEntry ReadFleetLease(const std::string& text);

// A worker that is there. `run` tells two programs of one name apart.
struct FleetWorkerEntry
{
    std::string run;
    unsigned room = 0;
};
std::string WriteFleetWorker(const FleetWorkerEntry& entry);
FleetWorkerEntry ReadFleetWorker(const std::string& text);

// The states of a house, and the token that they were saved under.
struct FleetStates
{
    std::uint64_t token = 0;
    std::vector<embedded_host::DriverState> states;
};
std::string WriteFleetStates(const FleetStates& states);
FleetStates ReadFleetStates(const std::string& text);

// A soak that workers take houses of. `run` tells soaks apart; paths are the same on every machine.
struct FleetSoakEntry
{
    std::string run;
    std::string library;
    std::string type;
    // A house file; empty for a house with nothing but the driver.
    std::string house;
    // The simulated device at that driver's wire; empty for none.
    std::string device;
    unsigned houses = 0;
    // How long each house lives.
    std::int64_t forMs = 0;
    // Of the first house; those of the others are `seedStep` apart.
    std::uint64_t seed = 0;
    std::uint64_t seedStep = 1;
};
std::string WriteFleetSoak(const FleetSoakEntry& entry);
FleetSoakEntry ReadFleetSoak(const std::string& text);

// What became of one house of a soak. The status is that of the command soak: 0 when nothing went
// wrong, 1 when something did, 2 when the house could not live at all.
struct FleetTrialEntry
{
    std::string worker;
    int status = 2;
    // What was told, of several lines.
    std::string told;
    // The flight record of what went wrong; empty for none.
    std::string record;
};
std::string WriteFleetTrial(const FleetTrialEntry& entry);
FleetTrialEntry ReadFleetTrial(const std::string& text);

// The key under which the house of a soak is claimed and its end is told, as in "1f3a_17".
std::string FleetTrialKey(const std::string& run, unsigned house);
// Takes such a key apart; false for one that is none.
bool ParseFleetTrialKey(const std::string& key, std::string& run, unsigned& house);

// A line of `fleet list`, without a line end: nobody has a house without an owner.
std::string FleetListLine(const std::string& id, const FleetLeaseEntry& lease, std::uint64_t token);

// A line that the edge lets through.
std::string FleetEdgeLine(std::uint64_t token, const std::string& line);
} // namespace lighting_host
