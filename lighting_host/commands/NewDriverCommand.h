#pragma once

#include <iosfwd>
#include <string>

namespace CLI
{
class App;
}

namespace lighting_host
{
// The command new-driver: writes a driver to begin with. Adds itself to the program's parser, which
// must not outlive it.
class NewDriverCommand
{
public:
    explicit NewDriverCommand(CLI::App& program);
    NewDriverCommand(const NewDriverCommand&) = delete;
    NewDriverCommand& operator=(const NewDriverCommand&) = delete;

    // Whether it was asked for.
    explicit operator bool() const;

    // Writes the driver and tells what was written and what comes next. Throws NewDriverError.
    // Returns the exit status.
    int Run(std::ostream& out) const;

private:
    CLI::App* m_command;
    std::string m_name;
    std::string m_base;
    std::string m_folder;
};
} // namespace lighting_host
