#include "simulated_devices/FaultList.h"

#include <algorithm>

namespace simulated
{
namespace
{
constexpr std::uint64_t ANY_EVERY = 1000000;
constexpr std::uint64_t ANY_TIME = INT64_MAX;
} // namespace

FaultAttribute Every(std::uint64_t byDefault)
{
    return {"every", FaultAttribute::Unit::Count, 1, ANY_EVERY, byDefault};
}

FaultAttribute By(std::chrono::milliseconds byDefault)
{
    return {"by", FaultAttribute::Unit::Milliseconds, 0, ANY_TIME,
            static_cast<std::uint64_t>(byDefault.count())};
}

std::chrono::milliseconds FaultTime(std::uint64_t milliseconds)
{
    constexpr std::chrono::milliseconds LONGEST = std::chrono::hours(1000 * 366 * 24);
    return std::chrono::milliseconds(
        std::min(milliseconds, static_cast<std::uint64_t>(LONGEST.count())));
}

const FaultKind* FaultList::FindKind(const std::string& name) const
{
    for (const FaultKind* const kind : Kinds())
        if (name == kind->name)
            return kind;
    return nullptr;
}

bool FaultList::Add(const std::string& kind, const FaultValues& given)
{
    const FaultKind* const found = FindKind(kind);
    if (!found)
        return false;
    FaultValues values;
    for (const FaultAttribute& attribute : found->attributes)
    {
        const auto value = given.find(attribute.name);
        const std::uint64_t wanted = value == given.end() ? attribute.byDefault : value->second;
        if (wanted < attribute.min || wanted > attribute.max)
            return false;
        values[attribute.name] = wanted;
    }
    for (const auto& value : given)
        if (values.count(value.first) == 0)
            return false;
    Make(*found, values);
    return true;
}
} // namespace simulated
