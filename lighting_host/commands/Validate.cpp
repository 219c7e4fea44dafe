#include "lighting_host/commands/Commands.h"
#include "lighting_host/house/HouseDoubts.h"

#include <ostream>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
std::string Sentence(const std::string& path, const HouseFileError& error)
{
    if (error.line == 0)
        return fmt::format("{}: {}\n", path, error.what);
    return fmt::format("{}:{}: {}\n", path, error.line, error.what);
}
} // namespace

bool LoadHouse(const std::string& path, HouseFile& house, std::ostream& err)
{
    house = ReadHouseFile(path);
    for (const HouseFileError& error : house.errors)
        err << Sentence(path, error);
    return house.errors.empty();
}

bool TellDoubts(const std::string& path, std::ostream& out)
{
    const std::vector<HouseFileError> doubts = FindDoubtsInFile(path);
    for (const HouseFileError& doubt : doubts)
        out << Sentence(path, doubt);
    return !doubts.empty();
}

int RunValidate(const std::string& housePath, std::ostream& out, const Style& style)
{
    const HouseFile house = ReadHouseFile(housePath);
    for (const HouseFileError& error : house.errors)
        out << Sentence(housePath, error);
    if (!house.errors.empty())
        return 1;
    if (TellDoubts(housePath, out))
        return 1;
    const auto count = [](std::size_t number, const char* what)
    {
        return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
    };
    const std::string good = style.Good("a good house");
    const std::string drivers = count(house.drivers.size(), "driver");
    const std::string groups = count(house.groups.size(), "load group");
    if (house.scenes.empty())
        out << fmt::format("{}: {} of {} and {}\n", housePath, good, drivers, groups);
    else
        out << fmt::format("{}: {} of {}, {} and {}\n", housePath, good, drivers, groups,
                           count(house.scenes.size(), "scene"));
    return 0;
}
} // namespace lighting_host
