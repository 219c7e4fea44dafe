#include "lighting_host/web/WallShifts.h"

#include <gtest/gtest.h>

using namespace lighting_host;

namespace
{
constexpr std::int64_t DAY_MS = 86400000;
constexpr std::int64_t YEAR_MS = 365 * DAY_MS;

std::int64_t NewYear()
{
    return embedded_host::ParseLocalTime("2026-01-01T00:00:00");
}
} // namespace

TEST(WallShifts, ZoneWithDaylightSaving_HasBothChangesOfTheYear)
{
    const WallShifts berlin("Europe/Berlin", NewYear());
    // 2026-03-29T02:00 and 2026-10-25T03:00 of the wall, which is the 87th and the 297th day.
    const std::int64_t spring = 87 * DAY_MS + 2 * 3600000;
    const std::int64_t autumn = 297 * DAY_MS + 2 * 3600000;
    EXPECT_EQ(berlin.UpTo(YEAR_MS),
              "[[" + std::to_string(spring) + ",60],[" + std::to_string(autumn) + ",0]]");
    EXPECT_EQ(berlin.UpTo(spring), "[[" + std::to_string(spring) + ",60]]");
    EXPECT_EQ(berlin.UpTo(spring - 1000), "[]");
}

TEST(WallShifts, WithoutZone_ThereAreNone)
{
    EXPECT_EQ(WallShifts("", NewYear()).UpTo(YEAR_MS), "[]");
    EXPECT_EQ(WallShifts("UTC", NewYear()).UpTo(YEAR_MS), "[]");
}
