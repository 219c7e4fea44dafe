#include "lighting_host/broker/BrokerAddress.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::uint16_t PLAIN_PORT = 1883;
constexpr std::uint16_t ENCRYPTED_PORT = 8883;
constexpr std::size_t MOST_PORT_DIGITS = 5;

bool ParsePort(const std::string& text, std::uint16_t& port)
{
    if (text.empty() || text.size() > MOST_PORT_DIGITS ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long number = std::stoul(text);
    port = static_cast<std::uint16_t>(number);
    return number > 0 && number <= UINT16_MAX;
}

// Cuts the port off; an address in brackets loses them.
bool SplitPort(std::string& host, std::string& port)
{
    const bool inBrackets = !host.empty() && host.front() == '[';
    const std::size_t end = inBrackets ? host.find(']') : std::string::npos;
    if (inBrackets && end == std::string::npos)
        return false;
    const std::size_t colon = host.find(':', inBrackets ? end : 0);
    if (inBrackets && end + 1 != host.size() && colon != end + 1)
        return false;
    if (colon != std::string::npos)
    {
        port = host.substr(colon + 1);
        if (port.empty())
            return false;
        host.resize(colon);
    }
    if (inBrackets)
        host = host.substr(1, end - 1);
    return !host.empty();
}

void TrimLineEnd(std::string& line)
{
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
}
} // namespace

std::string ParseBrokerUrl(const std::string& url, BrokerAddress& address)
{
    const std::string plain = "mqtt://";
    const std::string encrypted = "mqtts://";
    BrokerAddress read = address;
    read.encrypted = url.compare(0, encrypted.size(), encrypted) == 0;
    if (!read.encrypted && url.compare(0, plain.size(), plain) != 0)
        return fmt::format("{}: no mqtt:// or mqtts:// at its beginning", url);
    read.host = url.substr(read.encrypted ? encrypted.size() : plain.size());
    if (read.host.find('@') != std::string::npos)
        return "a user or password in the address can be read by others: use --mqtt-user-file";
    if (!read.host.empty() && read.host.back() == '/')
        read.host.pop_back();
    if (read.host.find_first_of("/?# \t") != std::string::npos)
        return fmt::format("{}: only a host and a port can stand there", url);
    std::string port;
    if (!SplitPort(read.host, port))
        return fmt::format("{}: that is no host and port", url);
    read.port = read.encrypted ? ENCRYPTED_PORT : PLAIN_PORT;
    if (!port.empty() && !ParsePort(port, read.port))
        return fmt::format("{}: \"{}\" is no port", url, port);
    address = read;
    return std::string();
}

std::string ReadBrokerUser(const std::string& path, BrokerAddress& address)
{
    struct stat about = {};
    if (stat(path.c_str(), &about) != 0)
        return fmt::format("{}: {}", path, std::strerror(errno));
    if ((about.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return fmt::format("{}: others can read the password; chmod 600 it", path);
    std::ifstream file(path);
    std::string user;
    std::string password;
    std::getline(file, user);
    std::getline(file, password);
    TrimLineEnd(user);
    TrimLineEnd(password);
    if (user.empty())
        return fmt::format("{}: the first line is no user", path);
    address.user = user;
    address.password = password;
    return std::string();
}
} // namespace lighting_host
