#pragma once

#include <string>

namespace lighting_host
{
// The files of the page as they were when the program was built; the source is made by the build
// (see cmake/PageBytes.cmake). False when there is none of that name.
bool FindPageBytes(const std::string& name, std::string& bytes);
} // namespace lighting_host
