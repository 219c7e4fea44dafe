#include "lighting_host/fleet/FleetStateStore.h"

#include "lighting_host/fleet/FleetTexts.h"

#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// How often it is looked again when somebody else has written in between.
constexpr int TRIES = 3;
} // namespace

FleetStateStore::FleetStateStore(Bucket& bucket, std::string house, Owner owner)
    : m_bucket(bucket), m_house(std::move(house)), m_owner(std::move(owner))
{
    try
    {
        TakeOver();
    }
    catch (const FleetError& error)
    {
        throw embedded_host::StateStoreError(
            fmt::format("the states of {}: {}", m_house, error.what()));
    }
}

void FleetStateStore::TakeOver()
{
    for (int i = 0; i < TRIES; ++i)
    {
        Read();
        if (m_tokenThere > m_owner.token)
            throw FleetError("a later owner has them");
        if (Write(m_states))
            return;
    }
    throw FleetError(m_why);
}

void FleetStateStore::Read()
{
    const BucketEntry entry = m_bucket.Get(m_house);
    m_revision = entry.revision;
    m_tokenThere = 0;
    m_states.clear();
    if (entry.revision == 0 || entry.removed)
        return;
    FleetStates there = ReadFleetStates(entry.value);
    m_tokenThere = there.token;
    for (embedded_host::DriverState& state : there.states)
        m_states[{state.driver, state.type}] = std::move(state.xml);
}

bool FleetStateStore::Write(const States& states)
{
    FleetStates written;
    written.token = m_owner.token;
    for (const auto& state : states)
        written.states.push_back({state.first.first, state.first.second, state.second});
    const BucketAnswer answer =
        WriteAndWait(m_bucket, m_house, WriteFleetStates(written), m_revision, m_owner.waitMs);
    m_why = answer.why;
    if (answer.outcome != BucketAnswer::Outcome::Written)
        return false;
    m_revision = answer.revision;
    return true;
}

void FleetStateStore::RequireOpen() const
{
    if (m_closed)
        throw embedded_host::StateStoreError("the states are closed");
}

std::optional<std::string> FleetStateStore::Load(const std::string& driver, const std::string& type)
{
    RequireOpen();
    const auto found = m_states.find({driver, type});
    if (found == m_states.end())
        return std::nullopt;
    return found->second;
}

std::vector<std::string> FleetStateStore::TypesOf(const std::string& driver)
{
    RequireOpen();
    std::vector<std::string> types;
    for (auto at = m_states.lower_bound({driver, ""});
         at != m_states.end() && at->first.first == driver; ++at)
        types.push_back(at->first.second);
    return types;
}

void FleetStateStore::Save(const std::vector<embedded_host::DriverState>& states)
{
    RequireOpen();
    const std::string what = fmt::format("the states of {} were not saved: ", m_house);
    if (!m_owner.owns())
        throw embedded_host::StateStoreError(what + "the house is somebody else's");
    States next = m_states;
    for (const embedded_host::DriverState& state : states)
    {
        if (state.xml.empty())
            next.erase({state.driver, state.type});
        else
            next[{state.driver, state.type}] = state.xml;
    }
    try
    {
        bool done = Write(next);
        // An earlier write may have come there without an answer: then it has this token.
        if (!done)
        {
            const States before = m_states;
            Read();
            const bool isOurs = m_tokenThere == m_owner.token;
            m_states = before;
            if (!isOurs)
                throw FleetError("a later owner has them");
            done = Write(next);
        }
        if (!done)
            throw FleetError(m_why);
    }
    catch (const FleetError& error)
    {
        throw embedded_host::StateStoreError(what + error.what());
    }
    m_states = std::move(next);
}
} // namespace lighting_host
