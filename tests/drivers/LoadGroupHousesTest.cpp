// Houses whose groups keep sync and overlap: one command reaches every load and ends, however the
// groups lie over each other.

#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Messages.h"
#include "embedded_host/Random.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

namespace
{
using Memberships = std::map<unsigned, std::vector<unsigned>>;

// What all dimmers of a house did. Past the limit nothing is forwarded any more, so that a chain
// that would not end in a lifetime fails the test instead of hanging it.
struct Counts
{
    std::size_t limit = 0;
    std::size_t commands = 0;
    std::size_t forwards = 0;
};

class CountingDimmer : public WiredDimmerDriver
{
public:
    CountingDimmer(IInstanceManager& instances, Counts& counts)
        : WiredDimmerDriver(instances), m_counts(counts)
    {
    }
    void GroupSetLevel(unsigned group, int level, int time) override
    {
        ++m_counts.commands;
        ++acted;
        WiredDimmerDriver::GroupSetLevel(group, level, time);
    }
    void GroupStartRamp(unsigned, unsigned, bool up) override
    {
        ++m_counts.commands;
        acted += up;
    }
    void GroupStopRamp(unsigned) override
    {
        ++m_counts.commands;
        ++acted;
    }
    void ForwardCommandToGroup(unsigned group, const ICmdMessage& command) override
    {
        ++m_counts.forwards;
        if (m_counts.commands <= m_counts.limit)
            WiredDimmerDriver::ForwardCommandToGroup(group, command);
    }

    unsigned acted = 0;

private:
    Counts& m_counts;
};

// A house of so many dimmers; each joins, with keep sync, the groups that it is a member of.
class OverlappingHouse : private embedded_host::OutputSink
{
public:
    OverlappingHouse(unsigned dimmers, const Memberships& groups) : m_dimmers(dimmers, nullptr)
    {
        embedded_host::ConnectLibraryLog(log4cplus::OFF_LOG_LEVEL);
        for (unsigned i = 0; i < dimmers; ++i)
            AddDimmer(i);
        m_house.StartAll();
        for (const auto& group : groups)
            AddGroup(group.first, group.second);
        m_groups = groups.size();
        m_counts.limit = 2 * Limit();
    }
    ~OverlappingHouse() override { embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }

    // A command for a group, to the first dimmer alone, as it comes from the controller.
    void Send(const std::string& name, unsigned group, const std::string& level = "0")
    {
        m_counts.commands = 0;
        m_counts.forwards = 0;
        for (CountingDimmer* dimmer : m_dimmers)
            dimmer->acted = 0;
        Command(0, name,
                {{"GROUP_ID", std::to_string(group)}, {"LEVEL", level}, {"RAMP_UP", "true"}});
    }
    void SetLevel(unsigned group, const std::string& level)
    {
        Send("GROUP_SET_LEVEL", group, level);
    }

    // The commands that dimmers got from groups: all but the first one.
    std::size_t Delivered() const { return m_counts.commands - 1; }
    std::size_t Forwards() const { return m_counts.forwards; }
    // The most that one command may cause.
    std::size_t Limit() const
    {
        return std::max(embedded_host::House::SHORTEST_CUT, m_groups * m_dimmers.size());
    }

    // How many dimmers acted; and came to this level.
    unsigned Acted() const
    {
        unsigned count = 0;
        for (const CountingDimmer* dimmer : m_dimmers)
            count += dimmer->acted > 0;
        return count;
    }
    unsigned ActedTo(int level) const
    {
        unsigned count = 0;
        for (const CountingDimmer* dimmer : m_dimmers)
            count += dimmer->acted > 0 && dimmer->GetLevel() == level;
        return count;
    }

private:
    static std::string NameOf(unsigned dimmer) { return "dimmer" + std::to_string(dimmer); }

    void AddDimmer(unsigned index)
    {
        embedded_host::DriverConfig config;
        config.name = NameOf(index);
        config.type = "wired_dimmer";
        config.id = index + 1;
        config.create = [this, index](IInstanceManager& instances)
        {
            return m_dimmers[index] = new CountingDimmer(instances, m_counts);
        };
        m_house.Add(config);
    }
    void AddGroup(unsigned id, const std::vector<unsigned>& members)
    {
        std::vector<std::string> names;
        for (const unsigned member : members)
        {
            names.push_back(NameOf(member));
            Command(member, "JOIN_GROUP", {{"GROUP_ID", std::to_string(id)}, {"KEEP_SYNC", "1"}});
        }
        m_house.AddGroup(id, names);
    }
    void Command(unsigned dimmer, const std::string& name,
                 const std::vector<std::pair<std::string, std::string>>& params)
    {
        embedded_host::CmdMessage message(name);
        for (const auto& param : params)
            message.AddParam(param.first, "STRING", param.second);
        m_house.Find(NameOf(dimmer))->Command(message, CmdDispatcher::CONTROLLER);
    }
    void Write(const embedded_host::Output&) override {}

    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Low};
    Counts m_counts;
    std::vector<CountingDimmer*> m_dimmers;
    std::size_t m_groups = 0;
    embedded_host::House m_house{m_clock, m_random, *this};
};

// A group that no dimmer is in, so that a command for it is passed on to every group.
constexpr unsigned NO_GROUP = 1000;

// Group i joins dimmers i and i + 1.
Memberships Chain(unsigned groups)
{
    Memberships made;
    for (unsigned i = 0; i < groups; ++i)
        made[i] = {i, i + 1};
    return made;
}

// The same, and the last group joins the last dimmer and the first.
Memberships Ring(unsigned groups)
{
    Memberships made = Chain(groups);
    made[groups - 1][1] = 0;
    return made;
}

Memberships AllInAll(unsigned groups, unsigned dimmers)
{
    Memberships made;
    for (unsigned group = 0; group < groups; ++group)
        for (unsigned dimmer = 0; dimmer < dimmers; ++dimmer)
            made[group].push_back(dimmer);
    return made;
}

void ExpectEveryoneActsWithinTheLimit(unsigned dimmers, const Memberships& groups)
{
    OverlappingHouse house(dimmers, groups);
    // Again and again: what an earlier command left must not stand in the way of the next.
    for (const int level : {40, 40, 7})
    {
        house.SetLevel(NO_GROUP, std::to_string(level));
        EXPECT_EQ(house.ActedTo(level), dimmers) << groups.size() << " groups";
        EXPECT_LE(house.Delivered(), house.Limit()) << groups.size() << " groups";
    }
}

TEST(LoadGroupHouses, Chains_ReachTheLastDimmer)
{
    for (const unsigned groups : {1u, 2u, 3u, 8u, 63u, 64u})
        ExpectEveryoneActsWithinTheLimit(groups + 1, Chain(groups));
}

TEST(LoadGroupHouses, Rings_EndWhereTheyBegan)
{
    for (const unsigned groups : {2u, 3u, 8u, 64u})
        ExpectEveryoneActsWithinTheLimit(groups, Ring(groups));
}

TEST(LoadGroupHouses, AllInAll_DoesNotMultiply)
{
    for (const unsigned groups : {1u, 2u, 3u, 8u, 64u})
        for (const unsigned dimmers : {1u, 2u, 3u, 64u})
            ExpectEveryoneActsWithinTheLimit(dimmers, AllInAll(groups, dimmers));
}

TEST(LoadGroupHouses, CommandForAHeldGroup_IsStillPassedOnToTheOthers)
{
    OverlappingHouse house(3, AllInAll(3, 3));
    house.SetLevel(0, "40");
    EXPECT_EQ(house.ActedTo(40), 3u);
    EXPECT_LE(house.Delivered(), house.Limit());
}

// Fails without the flag in LoadGroupManager: each of the two would pass on what comes back to it,
// which the house then does not deliver.
TEST(LoadGroupHouses, TwoDimmersInTwoGroups_PassOnOnceEach)
{
    OverlappingHouse house(2, AllInAll(2, 2));
    house.SetLevel(0, "40");
    EXPECT_EQ(house.Forwards(), 2u);
}

// Fails without the house's guard: a group would be served again while it is being served.
TEST(LoadGroupHouses, ThreeDimmersInThreeGroups_ServeNoGroupInsideItself)
{
    OverlappingHouse house(3, AllInAll(3, 3));
    house.SetLevel(0, "40");
    EXPECT_EQ(house.Delivered(), 54u);
}

// Fails without the limit: millions of commands before the last chain ends.
TEST(LoadGroupHouses, SixDimmersInSixGroups_AreCutAtTheLimit)
{
    OverlappingHouse house(6, AllInAll(6, 6));
    house.SetLevel(NO_GROUP, "40");
    EXPECT_EQ(house.ActedTo(40), 6u);
    EXPECT_EQ(house.Delivered(), 64u);
}

TEST(LoadGroupHouses, StartAndStopOfARamp_BothReachEveryone)
{
    OverlappingHouse house(3, Ring(3));
    house.Send("GROUP_START_RAMP", NO_GROUP);
    EXPECT_EQ(house.Acted(), 3u);
    EXPECT_LE(house.Delivered(), house.Limit());
    house.Send("GROUP_STOP_RAMP", NO_GROUP);
    EXPECT_EQ(house.Acted(), 3u);
    EXPECT_LE(house.Delivered(), house.Limit());
}
} // namespace
