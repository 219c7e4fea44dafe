#include "embedded_host/internal/IllegalGroups.h"

#include <iostream>

namespace embedded_host
{
void IllegalGroups::Asked(const std::string& driver, std::uint16_t group)
{
    if (group >= FIRST_LEGAL && group <= LAST_LEGAL)
        return;
    if (++m_counts[group] == 1)
        std::cerr << "driver \"" << driver << "\": its light is asked to join group " << group
                  << ", which no light may join\n";
}

void IllegalGroups::TellCounts(const std::string& driver)
{
    for (const auto& [group, count] : m_counts)
    {
        if (count > 1)
            std::cerr << "driver \"" << driver << "\": its light was asked to join group " << group
                      << " " << count << " times\n";
    }
    m_counts.clear();
}
} // namespace embedded_host
