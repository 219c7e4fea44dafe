#pragma once

#include "nxshared/HostApi.h"

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class NxBaseDriver;

// The version of this interface; apart from that of the drivers, because a library may do without
// it. It counts up whenever an object that was built with the header before could not run.
#define NX_DRIVER_FACTS_VERSION 1

// A fact's value, a parameter of a query, or a part of an answer.
using NxDriverValue = std::variant<bool, std::int64_t, double, std::string>;
using NxDriverValues = std::vector<std::pair<std::string, NxDriverValue>>;

// What a driver in a shared object of its own can be told and asked by whoever tests or runs it,
// beyond commands: facts about its device or load, which hardware or a meter would give it, and
// queries for what it knows. Both by name.
//
// Called on the driver's thread, on the driver's behalf, never inside another call of the driver.
// What an operation throws is told as a failure of the driver. Lives as long as its driver.
class IDriverFacts
{
public:
    // Called before SetFact. Says in words why the fact cannot have that value, also when there is
    // no such fact; empty when it can. Changes nothing: of several facts that are given together,
    // either all are set or none.
    virtual std::string WhyNot(const std::string& fact, const NxDriverValue& value) const = 0;

    // The fact is so from now on. Called only when WhyNot had nothing against it.
    virtual void SetFact(const std::string& fact, const NxDriverValue& value) = 0;

    // Answers a query; `params` came with it. False when there is no such query or a parameter is
    // wrong. An answer of one value without a name is that value itself; any other is an
    // object of its named values, in that order. Changes nothing in the driver.
    virtual bool Answer(const std::string& query, const NxDriverValues& params,
                        NxDriverValues& answer) const = 0;

protected:
    ~IDriverFacts() = default;
};

// Exported by every source that includes this header.
extern "C" inline __attribute__((used)) NX_HOST_API const unsigned NxDriverFactsVersion =
    NX_DRIVER_FACTS_VERSION;

// What a shared object exports whose drivers have facts or queries: those of a driver that it made;
// null for none. Called each time that they are needed; the host deletes nothing.
extern "C" NX_HOST_API IDriverFacts* GetDriverFacts(NxBaseDriver& driver);
