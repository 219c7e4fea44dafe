#include "embedded_host/LocalTime.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace embedded_host
{
namespace
{
constexpr std::int64_t SECONDS_PER_HOUR = 3600;
constexpr std::int64_t SECONDS_PER_MINUTE = 60;
constexpr int FIRST_YEAR = 1970;

// The changes of a zone's offset are looked for up to here; later the last one stays.
constexpr int LAST_YEAR_OF_RULES = 2199;

constexpr std::int64_t DAYS_PER_ERA = 146097;
constexpr std::int64_t YEARS_PER_ERA = 400;

std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor)
{
    const std::int64_t quotient = number / divisor;
    return number % divisor < 0 ? quotient - 1 : quotient;
}

bool IsLeapYear(std::int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(std::int64_t year, int month)
{
    constexpr std::array<int, 12> DAYS = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : DAYS[static_cast<std::size_t>(month - 1)];
}

// Days from 1970-01-01 to the first day of that year.
std::int64_t DaysBeforeYear(std::int64_t year)
{
    const auto days = [](std::int64_t y)
    {
        return 365 * y + y / 4 - y / 100 + y / 400;
    };
    return days(year - 1) - days(FIRST_YEAR - 1);
}

// The number that these digits write; -1 when one of them is no digit.
int Digits(const std::string& text, std::size_t begin, std::size_t count)
{
    int number = 0;
    for (std::size_t i = begin; i < begin + count; ++i)
    {
        if (text[i] < '0' || text[i] > '9')
            return -1;
        number = number * 10 + (text[i] - '0');
    }
    return number;
}
} // namespace

std::int64_t DayNumber(std::int64_t localSeconds)
{
    return FloorDivide(localSeconds, SECONDS_PER_DAY);
}

std::int64_t ParseLocalTime(const std::string& text)
{
    const auto refuse = [&text](const std::string& why)
    {
        throw LocalTimeError(fmt::format("\"{}\" is no local time: {}", text, why));
    };

    constexpr char FORM[] = "0000-00-00T00:00:00";
    const std::string form = FORM;
    bool fits = text.size() == form.size();
    for (std::size_t i = 0; fits && i < form.size(); ++i)
        fits = form[i] == '0' ? text[i] >= '0' && text[i] <= '9' : text[i] == form[i];
    if (!fits)
        refuse("it is not written as 2026-01-31T23:59:59");

    const int year = Digits(text, 0, 4);
    const int month = Digits(text, 5, 2);
    const int day = Digits(text, 8, 2);
    const int hour = Digits(text, 11, 2);
    const int minute = Digits(text, 14, 2);
    const int second = Digits(text, 17, 2);
    if (year < FIRST_YEAR)
        refuse("the year is before 1970");
    if (month < 1 || month > 12)
        refuse("there is no such month");
    if (day < 1 || day > DaysInMonth(year, month))
        refuse("the month has no such day");
    if (hour > 23 || minute > 59 || second > 59)
        refuse("the day has no such time");

    std::int64_t days = DaysBeforeYear(year) + day - 1;
    for (int before = 1; before < month; ++before)
        days += DaysInMonth(year, before);
    return days * SECONDS_PER_DAY + hour * SECONDS_PER_HOUR + minute * SECONDS_PER_MINUTE + second;
}

std::string FormatLocalTime(std::int64_t localSeconds)
{
    std::int64_t day = DayNumber(localSeconds);
    const std::int64_t second = localSeconds - day * SECONDS_PER_DAY;

    // Whole eras first, so that the years that are left to walk through are few.
    const std::int64_t eras = FloorDivide(day, DAYS_PER_ERA);
    day -= eras * DAYS_PER_ERA;
    std::int64_t year = FIRST_YEAR + day / 366;
    while (DaysBeforeYear(year + 1) <= day)
        ++year;
    day -= DaysBeforeYear(year);
    int month = 1;
    for (; day >= DaysInMonth(year, month); ++month)
        day -= DaysInMonth(year, month);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", year + eras * YEARS_PER_ERA, month,
                       day + 1, second / SECONDS_PER_HOUR,
                       second % SECONDS_PER_HOUR / SECONDS_PER_MINUTE, second % SECONDS_PER_MINUTE);
}

// How far the wall is ahead of UTC, and since when.
class TimeZone::Rules
{
public:
    struct Period
    {
        std::int64_t utcStart;
        std::int64_t offset;
    };

    const Period& At(std::int64_t utcSeconds) const
    {
        const auto later = std::upper_bound(periods.begin(), periods.end(), utcSeconds,
                                            [](std::int64_t moment, const Period& period)
                                            { return moment < period.utcStart; });
        return *std::prev(later);
    }

    // In order; the first begins before every moment.
    std::vector<Period> periods;
};

namespace
{
// Puts the process into another zone, so that the C library answers for it, and back again.
class ZoneOfTheProcess
{
public:
    explicit ZoneOfTheProcess(const std::string& zone)
    {
        const char* before = std::getenv("TZ");
        m_hadZone = before != nullptr;
        m_before = m_hadZone ? before : "";
        ::setenv("TZ", zone.c_str(), 1);
        ::tzset();
    }
    ~ZoneOfTheProcess()
    {
        if (m_hadZone)
            ::setenv("TZ", m_before.c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }
    ZoneOfTheProcess(const ZoneOfTheProcess&) = delete;
    ZoneOfTheProcess& operator=(const ZoneOfTheProcess&) = delete;

private:
    bool m_hadZone = false;
    std::string m_before;
};

std::int64_t OffsetNow(std::int64_t utcSeconds)
{
    const std::time_t moment = utcSeconds;
    std::tm local{};
    ::localtime_r(&moment, &local);
    return local.tm_gmtoff;
}

// Throws unless the zone database has a zone of that name; the C library would take any other for
// UTC.
void CheckZone(const std::string& name)
{
    const auto refuse = [&name](const std::string& why)
    {
        throw LocalTimeError(fmt::format("there is no time zone \"{}\": {}", name, why));
    };
    if (name.empty() || name.front() == '/' || name.find("..") != std::string::npos ||
        name.find('\0') != std::string::npos)
        refuse("that is no zone's name");
    const char* folder = std::getenv("TZDIR");
    const std::string path = fmt::format("{}/{}", folder ? folder : "/usr/share/zoneinfo", name);
    std::ifstream file(path, std::ios::binary);
    char magic[4] = {};
    if (!file.read(magic, sizeof magic) || std::memcmp(magic, "TZif", sizeof magic) != 0)
        refuse("the zone database does not have it");
}
} // namespace

TimeZone::TimeZone(const std::string& name) : m_name(name), m_rules(std::make_unique<Rules>())
{
    constexpr std::int64_t BEFORE_EVERYTHING = std::numeric_limits<std::int64_t>::min();
    if (name == "UTC")
    {
        m_rules->periods.push_back({BEFORE_EVERYTHING, 0});
        return;
    }
    CheckZone(name);

    static std::mutex onlyOne;
    const std::lock_guard<std::mutex> lock(onlyOne);
    const ZoneOfTheProcess zone(":" + name);
    const std::int64_t end = DaysBeforeYear(LAST_YEAR_OF_RULES + 1) * SECONDS_PER_DAY;
    std::int64_t offset = OffsetNow(0);
    m_rules->periods.push_back({BEFORE_EVERYTHING, offset});
    for (std::int64_t day = 0; day < end; day += SECONDS_PER_DAY)
    {
        const std::int64_t next = OffsetNow(day + SECONDS_PER_DAY);
        if (next == offset)
            continue;
        // It changed within this day: halve the day until the second is found.
        std::int64_t before = day;
        std::int64_t after = day + SECONDS_PER_DAY;
        while (after - before > 1)
        {
            const std::int64_t middle = before + (after - before) / 2;
            (OffsetNow(middle) == offset ? before : after) = middle;
        }
        m_rules->periods.push_back({after, next});
        offset = next;
    }
}

TimeZone::~TimeZone() = default;
TimeZone::TimeZone(TimeZone&&) noexcept = default;
TimeZone& TimeZone::operator=(TimeZone&&) noexcept = default;

std::int64_t TimeZone::ToLocal(std::int64_t utcSeconds) const
{
    return utcSeconds + m_rules->At(utcSeconds).offset;
}

std::int64_t TimeZone::ToUtc(std::int64_t localSeconds) const
{
    const std::vector<Rules::Period>& periods = m_rules->periods;
    for (std::size_t i = 0; i + 1 < periods.size(); ++i)
    {
        const std::int64_t moment = localSeconds - periods[i].offset;
        if (moment < periods[i + 1].utcStart)
            return std::max(moment, periods[i].utcStart);
    }
    return std::max(localSeconds - periods.back().offset, periods.back().utcStart);
}
} // namespace embedded_host
