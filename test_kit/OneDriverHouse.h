#pragma once

#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/Random.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test_kit
{
using Lines = std::vector<std::string>;

// What a driver caused and nobody has looked at yet: what matchers look at, and take from. Refers
// to its house, which must outlive it.
class Caused
{
public:
    explicit Caused(Lines& lines) : m_lines(lines) {}

    Lines& List() const { return m_lines; }

    // For what a failed test says: one a line.
    friend void PrintTo(const Caused& caused, std::ostream* out);

private:
    Lines& m_lines;
};

// A house with one driver on a virtual clock, and nobody at the other end of its wire: the test
// plays controller and device. Every effect of the driver is kept as one line of text (see
// EffectText.h), until it is taken or a matcher of Matchers.h has met it.
//
// What was kept and never looked at when the house goes fails the test. The device's number is 101,
// random draws are those of seed 1, and time moves only by Advance. Lives on one thread.
//
// To put a simulated device at the other end, make a device_wire::AttachedDevice of Host() after
// Start, and destroy it before the house.
class OneDriverHouse : private embedded_host::OutputSink
{
public:
    using Params = std::vector<std::pair<std::string, std::string>>;
    using Create = std::function<NxBaseDriver*(IInstanceManager&)>;

    static constexpr unsigned DEVICE_ID = 101;

    OneDriverHouse();
    ~OneDriverHouse() override;

    // Before Start: what the driver finds. `config` and `state` are XML, empty for none; a text
    // that is no XML fails the test and is as none.
    void Capability(const std::string& name, const std::string& value);
    void Config(const std::string& xml);
    void State(const std::string& xml);

    // Makes and initialises a driver of this class. Called once.
    template <class Driver>
    Driver& Start()
    {
        return static_cast<Driver&>(
            *Start([](IInstanceManager& instances) { return new Driver(instances); }));
    }
    // The same with what makes the driver. Null when it could not be made; why is an effect.
    NxBaseDriver* Start(const Create& create);

    // Destroys the driver.
    void Stop();

    // Takes the driver's state, destroys it, and makes it anew with that state.
    void Restart();

    // --- What it did -----------------------------------------------------------------------------

    // What was caused and not yet looked at, for matchers: EXPECT_THAT(house.Effects(), ...).
    Caused Effects() { return Caused(m_lines); }

    // The same as text, and forgets it.
    Lines Take();

    // The whole effects of the kind that begins with this word; all others are forgotten.
    Lines TakeOnly(const std::string& kind);

    // How often the driver has asked for its state to be persisted since the last time.
    int TakePersistRequests() { return std::exchange(m_persistRequests, 0); }

    // --- The controller --------------------------------------------------------------------------

    // Gives why the driver refused it, empty when it did not.
    std::string Command(const std::string& name, const Params& params = {});
    void Condition(const std::string& name, const Params& params = {});
    void BoundCall(unsigned binding, const std::string& kind, const std::string& xml);
    void Binding(unsigned id, const std::string& cls, bool bound);
    // The driver's state as XML, empty when it keeps none.
    std::string Persist();

    // --- The device ------------------------------------------------------------------------------

    // Parameters are hexadecimal texts, two digits for each byte.
    void Trap(const std::string& mib, const Lines& params = {});
    void Reply(const std::string& mib, const Lines& params = {});
    void Online(bool online);
    // A message that the RS-485 gateway hands on.
    void Bus(int opcode, const std::vector<std::uint8_t>& payload = {});

    // --- Time ------------------------------------------------------------------------------------

    // Lets that time pass; every timer that is due fires at its own time.
    void Advance(std::chrono::milliseconds time);

    // A time since the start before which no timer is due; nothing when none runs.
    std::optional<std::chrono::milliseconds> NextWake() const;

    // Runs `work` as if the host had called the driver.
    template <class Work>
    void CallDriver(const Work& work)
    {
        m_host->CallDriver("the test", work);
    }

    // The host's side of the driver; valid from Start on.
    nx::DriverHost& Host() { return *m_host; }
    embedded_host::House& House() { return *m_house; }

private:
    void Write(const embedded_host::Output& output) override;

    Lines m_lines;
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Random};
    embedded_host::DriverConfig m_config;
    std::unique_ptr<embedded_host::House> m_house;
    int m_persistRequests = 0;
    nx::DriverHost* m_host = nullptr;
};
} // namespace test_kit
