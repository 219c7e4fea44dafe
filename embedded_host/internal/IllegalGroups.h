#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace embedded_host
{
// The groups that no light may join and that a driver asks its light to join all the same. Each is
// told on standard error the first time, and once more with a count when the driver ends and it
// came again.
class IllegalGroups
{
public:
    // Ids of groups that a light may join.
    static constexpr std::uint16_t FIRST_LEGAL = 0x0001;
    static constexpr std::uint16_t LAST_LEGAL = 0xFFF7;

    // A driver of that name asks its light to join a group.
    void Asked(const std::string& driver, std::uint16_t group);

    // The driver ends.
    void TellCounts(const std::string& driver);

private:
    // How often each was asked for.
    std::map<std::uint16_t, unsigned long> m_counts;
};
} // namespace embedded_host
