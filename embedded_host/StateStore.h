#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace embedded_host
{
// What went wrong with a state store, in words that name the file and the fault.
class StateStoreError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The state of one driver: its name, its type, and the XML text that it gave.
struct DriverState
{
    std::string driver;
    std::string type;
    std::string xml;
};

// Where the drivers' persisted states are kept between two lives of a house.
//
// Two forms: NoStateStore, which keeps nothing, and FileStateStore, one file. Not a cache and not a
// history: the last text that was saved for a driver of a type is the one that is loaded. A driver
// whose type changes under its name has a state of its own, beside the other type's. Lives on one
// thread.
class StateStore
{
public:
    virtual ~StateStore() = default;

    // The text that was saved last for this driver of this type, nothing when there is none. A text
    // that was saved before types were kept holds for every type. Throws StateStoreError when it
    // cannot be read, or after Close.
    virtual std::optional<std::string> Load(const std::string& driver, const std::string& type) = 0;

    // The types for which a state is kept under this name, in order; one that was saved before
    // types were kept has the empty type. Throws StateStoreError.
    virtual std::vector<std::string> TypesOf(const std::string& driver) = 0;

    // Saves all of these states or, when it throws StateStoreError, none of them; what is not among
    // them stays as it is. An empty text removes the driver's state of that type. When this
    // returns, the states outlive a crash of the process and of the machine.
    virtual void Save(const std::vector<DriverState>& states) = 0;

    // Ends the store's work. May be called again. The destructor does it silently.
    virtual void Close() = 0;
};

// The store of a house that starts anew each time.
class NoStateStore : public StateStore
{
public:
    std::optional<std::string> Load(const std::string&, const std::string&) override
    {
        return std::nullopt;
    }
    std::vector<std::string> TypesOf(const std::string&) override { return {}; }
    void Save(const std::vector<DriverState>&) override {}
    void Close() override {}
};
} // namespace embedded_host
