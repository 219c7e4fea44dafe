#include "lighting_host/Commands.h"

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

int RunValidate(const std::string& housePath, std::ostream& out)
{
    const HouseFile house = ReadHouseFile(housePath);
    for (const HouseFileError& error : house.errors)
        out << Sentence(housePath, error);
    if (!house.errors.empty())
        return 1;
    out << fmt::format("{}: a good house of {} driver{} and {} load group{}\n", housePath,
                       house.drivers.size(), house.drivers.size() == 1 ? "" : "s",
                       house.groups.size(), house.groups.size() == 1 ? "" : "s");
    return 0;
}
} // namespace lighting_host
