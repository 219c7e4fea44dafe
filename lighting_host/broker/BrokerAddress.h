#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lighting_host
{
// Where a broker is, and how we say who we are.
struct BrokerAddress
{
    std::string host;
    std::uint16_t port = 0;
    // mqtts.
    bool encrypted = false;

    // A file with the certificates that the broker's is checked against; empty for those of the
    // machine.
    std::string caFile;
    // Our own certificate and its key; empty for none.
    std::string certificateFile;
    std::string keyFile;

    // Empty for none.
    std::string user;
    std::string password;

    std::string clientId;
    int keepAliveSeconds = 30;
    // A larger message is dropped unseen, in octets.
    std::size_t mostPayload = 256 * 1024;

    enum class Version
    {
        // 5, else 3.1.1.
        Best,
        Five,
        Three,
    };
    Version version = Version::Best;
};

// Reads mqtt://HOST[:PORT] or mqtts://HOST[:PORT] into host, port (1883 and 8883 without one) and
// encrypted. A number with colons is written in brackets. What is wrong, in words; empty when
// nothing is. A user or password in it is refused: others could read it.
std::string ParseBrokerUrl(const std::string& url, BrokerAddress& address);

// Reads user and password from the first two lines of a file. What is wrong, in words; empty when
// nothing is. A file that others can read is refused.
std::string ReadBrokerUser(const std::string& path, BrokerAddress& address);
} // namespace lighting_host
