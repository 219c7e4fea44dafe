#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/house/Session.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace fuzzing
{
// The place of an effect's kind in embedded_host::Effect.
template <class Kind, std::size_t At = 0>
constexpr std::size_t EffectAt()
{
    if constexpr (std::is_same_v<std::variant_alternative_t<At, embedded_host::Effect>, Kind>)
        return At;
    else
        return EffectAt<Kind, At + 1>();
}

// One driver in a house of its own, with the program's adapter around it and nobody at the other
// end of its wire. What holds of every effect of every driver is required here: time does not go
// back, no handler throws, messages have names, and XML that leaves can be read again.
//
// The house starts three minutes before midnight, so that inputs reach the next day.
class DriverRun : private embedded_host::OutputSink
{
public:
    // Makes the driver; its record in a house file but for its name and id. Library log records are
    // made, and dropped, at the level TRACE if `logs`.
    DriverRun(lighting_host::HouseFileDriver driver, bool logs);
    ~DriverRun() override;

    nx::DriverHost& Host() const { return *m_host; }

    // Moves the clock; all calls together by a quarter of an hour at most.
    void Advance(std::uint64_t ms);

    // A fact, and an input of the driver's type, as the protocol's JSON has them; what is refused
    // changes nothing.
    void Fact(const std::string& name, const std::string& json);
    void Input(const std::string& json);

    // A message from the bus.
    void BusMessage(std::uint16_t opcode, const std::vector<std::uint8_t>& payload);

    // How many effects of that kind there were.
    template <class Kind>
    std::size_t Count() const
    {
        return m_counts[EffectAt<Kind>()];
    }

    // What must hold at the end of any run: the state that the driver gives can be given back to
    // it, and it then gives the same.
    void RequireStateKept();

private:
    void Write(const embedded_host::Output& output) override;

    std::array<std::size_t, std::variant_size_v<embedded_host::Effect>> m_counts{};
    std::int64_t m_nowMs = 0;
    std::uint64_t m_advancedMs = 0;
    std::unique_ptr<lighting_host::Session> m_session;
    nx::DriverHost* m_host = nullptr;
};
} // namespace fuzzing
