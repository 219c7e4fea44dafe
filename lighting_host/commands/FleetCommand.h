#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace lighting_host
{
class FleetBus;

// What the command fleet was told.
struct FleetOptions
{
    std::string action;
    // The house file of "add".
    std::string house;
    std::string id;
    std::string name;
    std::vector<std::string> urls;
    std::string credentials;
    unsigned room = 100;
    // Of a soak.
    unsigned houses = 1000;
    unsigned days = 30;
    std::string library;
    std::string type;
    std::string device;
    std::uint64_t seed = 1;
    std::string to = ".";
};

// The command fleet: the houses that several machines share, which one has which, and a worker that
// runs some of them. Adds itself to the program's parser, which must outlive it.
class FleetCommand
{
public:
    explicit FleetCommand(CLI::App& program);
    FleetCommand(const FleetCommand&) = delete;
    FleetCommand& operator=(const FleetCommand&) = delete;

    // Whether it was asked for.
    explicit operator bool() const;

    // Returns the exit status: 0, also for a worker or an edge that a signal ended once its houses
    // were handed over; 1 for a house that is not right, is there already, or is not there, and for
    // a soak in which something went wrong; 128 + n for a soak that signal n ended early. Throws
    // std::runtime_error for what cannot be done.
    int Run(std::ostream& out, std::ostream& err);

private:
    int Add(FleetBus& bus, std::ostream& err) const;
    int Remove(FleetBus& bus, std::ostream& err) const;
    int List(FleetBus& bus, std::ostream& out) const;
    int Work(std::ostream& err) const;
    int Edge(std::ostream& out, std::ostream& err) const;
    int Soak(FleetBus& bus, std::ostream& out, std::ostream& err) const;
    void Check() const;

    CLI::App* m_command;
    FleetOptions m_options;
};
} // namespace lighting_host
