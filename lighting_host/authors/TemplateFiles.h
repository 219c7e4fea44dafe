#pragma once

#include <string>
#include <vector>

namespace lighting_host
{
// A file that is part of the program.
struct EmbeddedFile
{
    // Its path in the folder that it was compiled in from.
    std::string path;
    std::string bytes;
};

// What a new driver is written from: the files of authors/templates/, by path. Those in common/ are
// of every base, the others of the base that their folder is named after. In paths and texts
// "@CLASS@" stands for the driver's class, "@NAME@" for its name; ".in" at a path's end is dropped.
const std::vector<EmbeddedFile>& TemplateFiles();
} // namespace lighting_host
