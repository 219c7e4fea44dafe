#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace CLI
{
class App;
}

namespace lighting_host
{
// What a soak is to do.
struct SoakOptions
{
    // The shared object of the driver, and its type.
    std::string library;
    std::string type;
    // A house with such a driver; empty for one with nothing but the driver.
    std::string house;
    // The simulated device of the driver, where there is no house file; empty for none.
    std::string device;
    std::int64_t forMs = 24 * 3600 * 1000;
    std::uint64_t seed = 1;
    unsigned mostTimers = 200;
    std::int64_t longestMs = 5000;
    // Where the record of what went wrong goes; it must not be there yet.
    std::string to;
    // Whether standard error is a terminal, on which progress can be shown.
    bool terminal = false;
};

// The command soak: lets a driver live with random inputs, restarts and faults until something goes
// wrong, and shrinks that. Adds itself to the program's parser, which must outlive it.
class SoakCommand
{
public:
    explicit SoakCommand(CLI::App& program);
    SoakCommand(const SoakCommand&) = delete;
    SoakCommand& operator=(const SoakCommand&) = delete;

    // Whether it was asked for.
    explicit operator bool() const;

    // Returns the exit status: 0 when nothing went wrong, 1 when something did, 128 + n when signal
    // n ended it early. Throws RecordError for a house, library or file that cannot be used.
    int Run(std::ostream& out, std::ostream& err);

private:
    CLI::App* m_command;
    SoakOptions m_options;
};
} // namespace lighting_host
