#include "lighting_host/authors/NewDriver.h"

#include "lighting_host/authors/TemplateFiles.h"
#include "lighting_host/types/DriverType.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t LONGEST_NAME = 40;
const std::string COMMON = "common";
const std::string TEMPLATE_ENDING = ".in";

// Names that CMake's own targets have.
const std::vector<std::string> TARGETS = {
    "all",     "clean",          "depend",     "edit_cache",    "help", "install",
    "package", "package_source", "preinstall", "rebuild_cache", "test"};

bool IsLower(char c)
{
    return c >= 'a' && c <= 'z';
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsWord(const std::string& name)
{
    return !name.empty() && IsLower(name.front()) && name.back() != '_' &&
           name.find("__") == std::string::npos &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return IsLower(c) || IsDigit(c) || c == '_'; });
}

void Replace(std::string& text, const std::string& word, const std::string& by)
{
    for (std::size_t at = text.find(word); at != std::string::npos;
         at = text.find(word, at + by.size()))
        text.replace(at, word.size(), by);
}

// The files of a new driver, by name.
std::map<std::string, std::string> FilesOf(const std::string& name, const std::string& className,
                                           const std::string& base)
{
    std::map<std::string, std::string> files;
    // As the driver would include its own.
    const std::string ownHeader = fmt::format("/{}.h\"", className);
    for (const EmbeddedFile& file : TemplateFiles())
    {
        const std::size_t slash = file.path.find('/');
        const std::string folder = file.path.substr(0, slash);
        if (folder != COMMON && folder != base)
            continue;
        std::string path = file.path.substr(slash + 1);
        path.resize(path.size() - TEMPLATE_ENDING.size());
        std::string text = file.bytes;
        // A header of the library that is named like the class would be taken for the driver's own.
        if (text.find(ownHeader) != std::string::npos)
            throw NewDriverError(
                fmt::format("\"{}\" would make a class {}, as there is one that the driver uses",
                            name, className));
        for (std::string* part : {&path, &text})
        {
            Replace(*part, "@CLASS@", className);
            Replace(*part, "@NAME@", name);
        }
        files[path] = std::move(text);
    }
    return files;
}

void MakeEmptyFolder(const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw NewDriverError(folder + ": the folder cannot be made: " + error.message());
    const bool empty = std::filesystem::is_empty(folder, error);
    if (error)
        throw NewDriverError(folder + ": " + error.message());
    if (!empty)
        throw NewDriverError(folder + " is not empty; nothing was written");
}

void WriteNew(const std::string& path, const std::string& text)
{
    // "x": what somebody else made meanwhile is not overwritten.
    FILE* const file = std::fopen(path.c_str(), "wbx");
    bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    int why = errno;
    if (file && std::fclose(file) != 0)
    {
        written = false;
        why = errno;
    }
    if (!written)
        throw NewDriverError(path + ": cannot be written: " + std::strerror(why));
}
} // namespace

const std::vector<std::string>& DriverBases()
{
    static const std::vector<std::string> bases = {"puck", "mib", "zcl", "bus"};
    return bases;
}

std::string ClassOfDriver(const std::string& name)
{
    const std::string told = "\"" + name + "\" cannot be the name of a driver: ";
    if (!IsWord(name))
        throw NewDriverError(told + "it is made of lower-case letters, digits and single \"_\" "
                                    "between them, and begins with a letter");
    if (name.size() > LONGEST_NAME)
        throw NewDriverError(told + "it has more than " + std::to_string(LONGEST_NAME) +
                             " characters");
    if (name.compare(0, 2, "nx") == 0)
        throw NewDriverError(told + "names with nx are the host's own");
    if (std::count(TARGETS.begin(), TARGETS.end(), name) > 0)
        throw NewDriverError(told + "CMake has a target of that name");
    if (FindDriverType(name))
        throw NewDriverError(told + "the program brings a driver of that type");
    std::string className;
    bool capital = true;
    for (const char c : name)
    {
        if (c != '_')
            className += capital && IsLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
        capital = c == '_';
    }
    return className;
}

std::vector<std::string> WriteNewDriver(const std::string& name, const std::string& base,
                                        const std::string& folder)
{
    const std::vector<std::string>& bases = DriverBases();
    if (std::count(bases.begin(), bases.end(), base) == 0)
        throw NewDriverError("there is no base \"" + base + "\"");
    const std::map<std::string, std::string> files = FilesOf(name, ClassOfDriver(name), base);
    MakeEmptyFolder(folder);
    std::vector<std::string> written;
    for (const auto& [path, text] : files)
    {
        WriteNew((std::filesystem::path(folder) / path).string(), text);
        written.push_back(path);
    }
    return written;
}
} // namespace lighting_host
