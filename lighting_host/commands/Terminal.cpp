#include "lighting_host/commands/Terminal.h"

#include <cstdlib>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace lighting_host
{
namespace
{
// Below, nothing can be laid out; above, nobody reads across.
constexpr unsigned long FEWEST_COLUMNS = 20;
constexpr unsigned long MOST_COLUMNS = 10000;

std::string Environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : std::string();
}
} // namespace

bool HasColor(ColorChoice choice, int descriptor)
{
    if (choice != ColorChoice::Auto)
        return choice == ColorChoice::Always;
    return ::isatty(descriptor) != 0 && Environment("NO_COLOR").empty() &&
           Environment("TERM") != "dumb";
}

std::size_t ColumnsOf(int descriptor)
{
    const unsigned long told = std::strtoul(Environment("COLUMNS").c_str(), nullptr, 10);
    if (told >= FEWEST_COLUMNS && told <= MOST_COLUMNS)
        return told;
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col < FEWEST_COLUMNS)
        return 0;
    return size.ws_col;
}
} // namespace lighting_host
