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
#include <random>
#include <set>
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
        m_counts.limit = 2 * Limit();
    }
    ~OverlappingHouse() override { embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL); }

    // A command for a group, to one dimmer alone, as it comes from the controller.
    void Send(const std::string& name, unsigned group, const std::string& level = "0",
              unsigned dimmer = 0)
    {
        m_counts.commands = 0;
        m_counts.forwards = 0;
        for (CountingDimmer* dimmer : m_dimmers)
            dimmer->acted = 0;
        Command(dimmer, name,
                {{"GROUP_ID", std::to_string(group)}, {"LEVEL", level}, {"RAMP_UP", "true"}});
    }
    void SetLevel(unsigned group, const std::string& level)
    {
        Send("GROUP_SET_LEVEL", group, level);
    }

    // The commands that dimmers got from groups: all but the first one.
    std::size_t Delivered() const { return m_counts.commands - 1; }
    std::size_t Forwards() const { return m_counts.forwards; }
    // The most that one command may cause: each group gets its name once.
    std::size_t Limit() const { return m_members; }

    // Which dimmers acted; how many did; and how many came to this level.
    std::set<unsigned> WhoActed() const
    {
        std::set<unsigned> acted;
        for (unsigned i = 0; i < m_dimmers.size(); ++i)
        {
            if (m_dimmers[i]->acted > 0)
                acted.insert(i);
        }
        return acted;
    }
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
        m_members += members.size();
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
    std::size_t m_members = 0;
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

TEST(LoadGroupHouses, ThreeDimmersInThreeGroups_ServeEachGroupOnce)
{
    OverlappingHouse house(3, AllInAll(3, 3));
    house.SetLevel(NO_GROUP, "40");
    EXPECT_EQ(house.Delivered(), 9u);
}

// A limit on the length of a chain, depth first, kept dimmer 6 from ever acting.
TEST(LoadGroupHouses, SevenDimmersInSixOverlappingGroups_AllAct)
{
    OverlappingHouse house(7, {{1, {0, 1, 2, 3, 4, 5}},
                               {2, {0, 1, 2, 3}},
                               {3, {0, 1, 2}},
                               {4, {0, 1, 4}},
                               {5, {2, 3, 5}},
                               {6, {0, 6}}});
    house.SetLevel(2, "40");
    EXPECT_EQ(house.ActedTo(40), 7u);
    EXPECT_LE(house.Delivered(), house.Limit());
}

// Deeper than a stack is.
TEST(LoadGroupHouses, ChainOfFiveThousandGroups_ReachesTheLastDimmer)
{
    ExpectEveryoneActsWithinTheLimit(5001, Chain(5000));
}

// --- Any houses ----------------------------------------------------------------------------------

Memberships RandomGroups(std::mt19937& random, unsigned groups, unsigned dimmers)
{
    Memberships made;
    for (unsigned group = 0; group < groups; ++group)
    {
        std::set<unsigned> members;
        for (unsigned count = 1 + random() % 4; count > 0; --count)
            members.insert(random() % dimmers);
        made[group].assign(members.begin(), members.end());
    }
    return made;
}

// Who must act on a command for `from` that one dimmer gets: those in its other groups, and in
// every group that one of those is in. The first dimmer passes nothing back to `from`.
std::set<unsigned> Reached(const Memberships& groups, unsigned dimmer, unsigned from)
{
    std::set<unsigned> acted{dimmer};
    std::set<unsigned> told;
    for (std::size_t before = acted.size() + 1; before != acted.size() + told.size();)
    {
        before = acted.size() + told.size();
        for (const auto& [group, members] : groups)
        {
            const bool isTold =
                std::any_of(members.begin(), members.end(),
                            [&, id = group](unsigned member)
                            { return acted.count(member) && (member != dimmer || id != from); });
            if (!isTold)
                continue;
            told.insert(group);
            acted.insert(members.begin(), members.end());
        }
    }
    return acted;
}

TEST(LoadGroupHouses, RandomHouses_EveryReachedDimmerActsAndCommandsStayLinear)
{
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round)
    {
        const unsigned dimmers = 2 + random() % 12;
        const Memberships groups = RandomGroups(random, 1 + random() % 10, dimmers);
        OverlappingHouse house(dimmers, groups);
        const unsigned dimmer = random() % dimmers;
        const unsigned group = random() % (groups.size() + 1);
        for (const char* name : {"GROUP_SET_LEVEL", "GROUP_START_RAMP", "GROUP_STOP_RAMP"})
        {
            house.Send(name, group, "40", dimmer);
            ASSERT_EQ(house.WhoActed(), Reached(groups, dimmer, group)) << "house " << round;
            ASSERT_LE(house.Delivered(), house.Limit()) << "house " << round;
        }
    }
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
