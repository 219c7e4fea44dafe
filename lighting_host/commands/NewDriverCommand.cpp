#include "lighting_host/commands/NewDriverCommand.h"

#include "lighting_host/authors/NewDriver.h"
#include "lighting_host/commands/Options.h"

#include <ostream>

namespace lighting_host
{
NewDriverCommand::NewDriverCommand(CLI::App& program)
    : m_command(program.add_subcommand("new-driver",
                                       "Write a driver to begin with: its build, class, house, "
                                       "transcript and test")),
      m_base(DriverBases().front())
{
    m_command->add_option("NAME", m_name, "The driver's type, as in garden_gate")->required();
    Choices<std::string> bases;
    for (const std::string& base : DriverBases())
        bases.emplace_back(base, base);
    AddChoice(*m_command, "--base", m_base, bases,
              "What the device is: a puck module, a device that speaks MIB, a ZigBee light, or one "
              "on the RS-485 bus");
    m_command->add_option("FOLDER", m_folder,
                          "Where it is written, a folder that is empty or not there; NAME without");
}

NewDriverCommand::operator bool() const
{
    return m_command->parsed();
}

int NewDriverCommand::Run(std::ostream& out) const
{
    const std::string folder = m_folder.empty() ? m_name : m_folder;
    const std::vector<std::string> files = WriteNewDriver(m_name, m_base, folder);
    out << "A driver on the base " << m_base << " was written to " << folder << ":\n\n";
    for (const std::string& file : files)
        out << "  " << file << '\n';
    out << "\nBuild it and run its tests:\n\n  cd " << folder
        << "\n  cmake -B build && cmake --build build && ctest --test-dir build\n\n"
           "README.md says where to go on.\n";
    return 0;
}
} // namespace lighting_host
