#pragma once

#include <string>

namespace lighting_host
{

// The version of this program, as in "1.0.0".
std::string ProgramVersion();

// The first digits of the commit that it was built from; empty where that is not known.
std::string ProgramCommit();

// What --version says: the program's version, the protocol's and the commit.
std::string VersionLine();

} // namespace lighting_host
