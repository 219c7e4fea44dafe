#pragma once

#include "lighting_host/broker/BrokerOptions.h"
#include "lighting_host/commands/LampBroker.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/ConsoleReport.h"
#include "lighting_host/simulation/HouseFaults.h"
#include "lighting_host/switchboard/Replay.h"
#include "lighting_host/web/WebServer.h"

#include <cstdint>
#include <iosfwd>
#include <string>

namespace lighting_host
{
// How `serve` serves.
struct ServeOptions
{
    SessionOptions session;
    FaultLevel faults = FaultLevel::None;
    Verbosity verbosity = Verbosity::Normal;
    WebServerOptions web;
    // Without a host, on no broker.
    BrokerOptions broker;
    // The broker of the house's own lamps.
    LampBrokerOptions lampBroker;
    // Empty for none.
    std::string tokenFile;
    // The flight record, which must not be there yet; empty for none.
    std::string record;
    // House time a real time.
    double speed = 1;
    bool paused = false;
    // Whether the house has no controller and meters of its own, as in stdio: whoever hands in
    // lines is the controller.
    bool bare = false;
    // In milliseconds of the house; 0 for no end.
    std::int64_t forMs = 0;
    // How what is told looks.
    Style style;
    // Whether the record keeps every output too, so that a replay can show both sides.
    bool recordOutputs = false;
    // A folder to serve the page from; empty for the page that is built in.
    std::string pageFolder;
};

// Lets a house live and be seen and touched on a web page until a signal ends it. What happens is
// told on `out`, the address and what goes wrong on `err`. Returns the exit status: 1 for a house
// that is not right, 2 for what cannot be done at all.
int RunServe(const std::string& housePath, ServeOptions options, std::ostream& out,
             std::ostream& err);

// A record whose house goes on from some moment.
struct Reliving
{
    const FlightRecord& record;
    // Up to this moment or the first of these breaks.
    std::int64_t toMs = 0;
    std::vector<BreakCondition> breaks;
};

// The same for the house of a record, paused at that moment; a visitor can go back from there, or
// let it go on by its own. Of `options` only what is about serving counts.
int RunServe(const Reliving& reliving, const ReplayOptions& replay, ServeOptions options,
             std::ostream& out, std::ostream& err);

// Reads "ADDRESS:PORT", "[ADDRESS]:PORT" or "PORT" into the options; false when it is neither.
bool ParseListen(const std::string& text, WebServerOptions& options);

// Reads a speed, or "pause", into the options; false when it is neither.
bool ParseSpeed(const std::string& text, ServeOptions& options);
} // namespace lighting_host
