#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace lighting_host
{
// Why a new driver was not written, in words for its author.
class NewDriverError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The bases that a new driver can be written on, the usual one first.
const std::vector<std::string>& DriverBases();

// The class of the driver `name`: "garden_gate" is GardenGate. Throws NewDriverError for a name
// that no driver can have: it is the name of a type, of a library and of a target of its build, and
// gives names to files and a class.
std::string ClassOfDriver(const std::string& name);

// Writes a driver into `folder`, which is made where it is missing: its build, class, entry point,
// house, transcript, test and README. Gives the files' names, in alphabetical order.
//
// Throws NewDriverError for a bad name or base and for a folder that holds anything; then nothing
// was written. Also when a file cannot be written; those before it stay. No file is ever
// overwritten.
std::vector<std::string> WriteNewDriver(const std::string& name, const std::string& base,
                                        const std::string& folder);
} // namespace lighting_host
