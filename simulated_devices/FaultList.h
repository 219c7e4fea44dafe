#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace simulated
{
// A number that a kind of fault can be given.
struct FaultAttribute
{
    enum class Unit
    {
        Count,
        Milliseconds,
    };

    const char* name;
    Unit unit;
    std::uint64_t min;
    std::uint64_t max;
    // What it is when nobody says.
    std::uint64_t byDefault;
};

// "every": one message, or other thing, in that many.
FaultAttribute Every(std::uint64_t byDefault = 10);
// "by": a time.
FaultAttribute By(std::chrono::milliseconds byDefault = std::chrono::milliseconds(200));

// One kind of fault that a device can have.
struct FaultKind
{
    // As a house file writes it.
    const char* name;
    std::vector<FaultAttribute> attributes;
    // What the device does, in the words of the documentation: "loses every nth message".
    const char* description;
};

// The values of a fault's attributes, by name.
using FaultValues = std::map<std::string, std::uint64_t>;

// The value of an attribute in milliseconds as a time. At most a thousand years, so that sums of
// such times still fit.
std::chrono::milliseconds FaultTime(std::uint64_t milliseconds);

// The faults that a device has, and the kinds that it can have: what is the same for every device.
// See Faults.h for the rest.
class FaultList
{
public:
    FaultList() = default;
    FaultList(const FaultList&) = delete;
    FaultList& operator=(const FaultList&) = delete;
    virtual ~FaultList() = default;

    // The kinds, in the order of the documentation. They live as long as the program.
    virtual std::vector<const FaultKind*> Kinds() const = 0;
    // The kind of that name, null for none.
    const FaultKind* FindKind(const std::string& name) const;

    // Adds a fault of that kind; attributes that are not given have their defaults. False, and
    // nothing is added, when there is no such kind or attribute or a value is out of its range.
    bool Add(const std::string& kind, const FaultValues& given);

    // Ends every fault.
    virtual void Clear() = 0;

    // Ends the one of that kind that Add has added last; false when there is none.
    virtual bool RemoveLast(const std::string& kind) = 0;

private:
    // Adds one of Kinds(), each of whose attributes has a value within its range.
    virtual void Make(const FaultKind& kind, const FaultValues& values) = 0;
};
} // namespace simulated
