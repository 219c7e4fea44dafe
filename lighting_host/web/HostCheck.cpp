#include "lighting_host/web/HostCheck.h"

#include "lighting_host/text/HexDigit.h"
#include "lighting_host/web/WebServer.h"

#include <algorithm>
#include <arpa/inet.h>

#include <sodium.h>

namespace lighting_host
{
namespace
{
std::string WithoutPort(const std::string& host)
{
    if (!host.empty() && host.front() == '[')
        return host.substr(0, host.find(']') + 1);
    return host.substr(0, host.find(':'));
}

bool IsAddress(const std::string& host)
{
    unsigned char address[sizeof(in6_addr)];
    if (inet_pton(AF_INET, host.c_str(), address) == 1)
        return true;
    if (host.size() < 2 || host.front() != '[' || host.back() != ']')
        return false;
    return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), address) == 1;
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return c < 128 ? std::tolower(c) : c; });
    return text;
}
} // namespace

bool IsHostAllowed(const std::string& host, const std::vector<std::string>& names)
{
    const std::string name = Lower(WithoutPort(host));
    if (name == "localhost" || IsAddress(name))
        return true;
    return std::any_of(names.begin(), names.end(),
                       [&name](const std::string& allowed) { return Lower(allowed) == name; });
}

bool IsOriginAllowed(const std::string& origin, const std::string& host)
{
    if (origin.empty())
        return true;
    const std::string lower = Lower(origin);
    return lower == "http://" + Lower(host) || lower == "https://" + Lower(host);
}

bool IsSameSecret(const std::string& given, const std::string& wanted)
{
    // Digests have one length, so that not even the length shows.
    unsigned char a[crypto_generichash_BYTES];
    unsigned char b[crypto_generichash_BYTES];
    crypto_generichash(a, sizeof a, reinterpret_cast<const unsigned char*>(given.data()),
                       given.size(), nullptr, 0);
    crypto_generichash(b, sizeof b, reinterpret_cast<const unsigned char*>(wanted.data()),
                       wanted.size(), nullptr, 0);
    return sodium_memcmp(a, b, sizeof a) == 0;
}

std::string DecodePercent(const std::string& text, bool plusIsBlank)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const bool escape = text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 &&
                            HexDigit(text[i + 2]) >= 0;
        if (escape)
        {
            out += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
            i += 2;
        }
        else
            out += plusIsBlank && text[i] == '+' ? ' ' : text[i];
    }
    return out;
}

std::map<std::string, std::string> ParseQuery(const std::string& query)
{
    std::map<std::string, std::string> fields;
    std::size_t begin = 0;
    while (begin < query.size())
    {
        const std::size_t end = std::min(query.find('&', begin), query.size());
        const std::string field = query.substr(begin, end - begin);
        const std::size_t equals = std::min(field.find('='), field.size());
        if (equals > 0)
            fields[DecodePercent(field.substr(0, equals), true)] =
                equals < field.size() ? DecodePercent(field.substr(equals + 1), true)
                                      : std::string();
        begin = end + 1;
    }
    return fields;
}

std::string CookieOf(const std::string& cookies, const std::string& name)
{
    std::size_t begin = 0;
    while (begin < cookies.size())
    {
        const std::size_t end = std::min(cookies.find(';', begin), cookies.size());
        const std::size_t first = cookies.find_first_not_of(' ', begin);
        if (first < end && cookies.compare(first, name.size() + 1, name + "=") == 0)
            return cookies.substr(first + name.size() + 1, end - first - name.size() - 1);
        begin = end + 1;
    }
    return std::string();
}

bool ShowsToken(const std::string& authorization, const std::string& cookies,
                const std::string& wanted)
{
    if (wanted.empty())
        return true;
    const std::string bearer = "Bearer ";
    if (authorization.compare(0, bearer.size(), bearer) == 0 &&
        IsSameSecret(authorization.substr(bearer.size()), wanted))
        return true;
    return IsSameSecret(CookieOf(cookies, TOKEN_COOKIE), wanted);
}
} // namespace lighting_host
