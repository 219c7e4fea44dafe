#include "lighting_host/fleet/Lease.h"

#include <deque>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using lighting_host::BucketAnswer;
using lighting_host::Lease;
using Outcome = BucketAnswer::Outcome;

namespace
{
const BucketAnswer REFUSED{Outcome::Refused, 0, ""};
const BucketAnswer UNKNOWN{Outcome::Unknown, 0, "no answer"};

BucketAnswer Written(std::uint64_t revision)
{
    return {Outcome::Written, revision, ""};
}

// One that claimed at 1000 and got the token 5.
struct LeaseTest : testing::Test
{
    LeaseTest() { lease.OnAnswer(lease.Claim(1000, 0)->number, Written(5), 1010); }
    Lease lease;
};
} // namespace

TEST(LeaseClaimTest, ClaimIsWritten_OwnsWithItsRevisionAsToken)
{
    Lease lease;
    EXPECT_FALSE(lease.Owns(0));
    const auto request = lease.Claim(0, 3);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->expected, 3u);
    EXPECT_FALSE(lease.Owns(1));
    lease.OnAnswer(request->number, Written(9), 2);
    EXPECT_TRUE(lease.Owns(2));
    EXPECT_EQ(lease.Token(), 9u);
}

TEST(LeaseClaimTest, ClaimIsRefused_OwnsNothingAndMayClaimAgain)
{
    Lease lease;
    lease.OnAnswer(lease.Claim(0, 0)->number, REFUSED, 5);
    EXPECT_FALSE(lease.Owns(5));
    EXPECT_TRUE(lease.Claim(6, 0));
}

TEST(LeaseClaimTest, ClaimUnderWay_IsNotRepeatedUntilItCannotSucceed)
{
    Lease lease;
    const auto first = lease.Claim(0, 0);
    EXPECT_FALSE(lease.Claim(1999, 0));
    EXPECT_TRUE(lease.Claim(2000, 0));
    lease.OnAnswer(first->number, Written(5), 2001);
    EXPECT_FALSE(lease.Owns(2001));
}

TEST(LeaseClaimTest, AnswerToTheClaimIsLate_OwnsNothing)
{
    Lease lease;
    lease.OnAnswer(lease.Claim(0, 0)->number, Written(5), 2000);
    EXPECT_FALSE(lease.Owns(2000));
}

TEST_F(LeaseTest, NotRenewed_StopsTwoThirdsOfItsTimeAfterTheWriteWasSent)
{
    EXPECT_TRUE(lease.Owns(2999));
    EXPECT_FALSE(lease.Owns(3000));
    EXPECT_FALSE(lease.Owns(2999));
    EXPECT_EQ(lease.Token(), 0u);
}

TEST_F(LeaseTest, Renewed_KeepsTheTokenAndRenewsUnderTheLastRevision)
{
    EXPECT_FALSE(lease.Renew(1999));
    const auto first = lease.Renew(2000);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->expected, 5u);
    EXPECT_FALSE(lease.Renew(2500));
    lease.OnAnswer(first->number, Written(8), 2500);
    EXPECT_EQ(lease.Renew(3000)->expected, 8u);
    EXPECT_EQ(lease.Token(), 5u);
    EXPECT_TRUE(lease.Owns(3999));
    EXPECT_FALSE(lease.Owns(4000));
}

TEST_F(LeaseTest, RenewalIsRefused_StopsAtOnce)
{
    lease.OnAnswer(lease.Renew(2000)->number, REFUSED, 2001);
    EXPECT_FALSE(lease.Owns(2001));
}

TEST_F(LeaseTest, NobodyKnowsOfTheRenewal_StopsInTime)
{
    lease.OnAnswer(lease.Renew(2000)->number, UNKNOWN, 2001);
    EXPECT_TRUE(lease.Owns(2001));
    // Not before the next renewal is due.
    EXPECT_FALSE(lease.Renew(2999));
    EXPECT_FALSE(lease.Owns(3000));
}

TEST_F(LeaseTest, AnswerComesAfterItStopped_OwnsNothing)
{
    const auto renewal = lease.Renew(2000);
    lease.OnAnswer(renewal->number, Written(6), 3000);
    EXPECT_FALSE(lease.Owns(3000));
}

TEST_F(LeaseTest, GivenUp_NamesTheRevisionToRemove)
{
    EXPECT_EQ(lease.GiveUp(), 5u);
    EXPECT_FALSE(lease.Owns(1011));
    EXPECT_EQ(lease.GiveUp(), 0u);
}

TEST_F(LeaseTest, GivenUpWhileARenewalIsUnderWay_LeavesTheKeyToExpire)
{
    const auto renewal = lease.Renew(2000);
    EXPECT_EQ(lease.GiveUp(), 0u);
    lease.OnAnswer(renewal->number, Written(6), 2001);
    EXPECT_FALSE(lease.Owns(2001));
}

// --- Every way in which two machines can meet ---

namespace
{
struct InFlight
{
    std::uint64_t number = 0, expected = 0;
};
struct Answered
{
    std::uint64_t number = 0;
    BucketAnswer answer;
};

struct Machine
{
    Lease lease;
    std::deque<InFlight> requests;
    std::deque<Answered> answers;
    // It looks at its lease once a unit of time.
    std::int64_t lookedAt = -1;
    // What it decided to send while it owned the house, and has not sent yet; 0 for nothing. It can
    // sleep in between for as long as it likes.
    std::uint64_t decided = 0;
};

struct World
{
    std::int64_t now = 0;
    // The lease at the server: revision 0 for none.
    std::uint64_t revision = 0, lastRevision = 0;
    std::int64_t writtenAt = 0;
    Machine machines[2];
    // At the edge: the largest token, and who was heard last.
    std::uint64_t largest = 0;
    std::uint64_t accepted[2] = {0, 0};

    std::string Key() const
    {
        // Which machine is which does not matter.
        std::string keys[2] = {KeyOf(0), KeyOf(1)};
        if (keys[1] < keys[0])
            std::swap(keys[0], keys[1]);
        std::string key;
        const auto add = [&key](std::uint64_t value)
        {
            key += static_cast<char>(value);
        };
        for (const std::uint64_t value : {static_cast<std::uint64_t>(now), revision, lastRevision,
                                          static_cast<std::uint64_t>(writtenAt), largest})
            add(value);
        return key + keys[0] + keys[1];
    }
    std::string KeyOf(int i) const
    {
        std::string key;
        const auto add = [&key](std::uint64_t value)
        {
            key += static_cast<char>(value);
        };
        AddMachine(machines[i], now, add);
        add(accepted[i]);
        return key;
    }
    template <class Add>
    static void AddMachine(const Machine& machine, std::int64_t now, const Add& add)
    {
        const Lease::State state = machine.lease.GetState();
        // Only which request is the last one matters, not how many there were.
        const auto age = [&state](std::uint64_t number)
        {
            return state.lastNumber - number;
        };
        for (const std::uint64_t value :
             {state.token, state.revision, state.outstanding == 0 ? 99 : age(state.outstanding),
              static_cast<std::uint64_t>(machine.lookedAt == now),
              state.token || state.outstanding ? static_cast<std::uint64_t>(state.sentMs) : 0,
              state.token ? static_cast<std::uint64_t>(state.stopsAtMs) : 0, machine.decided,
              static_cast<std::uint64_t>(machine.requests.size()),
              static_cast<std::uint64_t>(machine.answers.size())})
            add(value);
        for (const InFlight& request : machine.requests)
            add(age(request.number)), add(request.expected);
        for (const Answered& answer : machine.answers)
            add(age(answer.number)), add(static_cast<std::uint64_t>(answer.answer.outcome)),
                add(answer.answer.revision);
    }
};

// Tries every order of: time passing, a machine looking at its lease, a write arriving, its answer
// arriving, a command being decided and being sent. A machine that
// does nothing for a while sleeps, and what never arrives is lost. One unit of time is a third of
// the lease's life.
class Explorer
{
public:
    Explorer(const Lease::Times& times, std::int64_t until, bool fence)
        : m_ttl(times.ttlMs), m_until(until), m_fence(fence)
    {
        World world;
        for (Machine& machine : world.machines)
            machine.lease = Lease(times);
        Reach(world);
        while (!m_open.empty() && !(twoHeard || twoOwners))
        {
            const World next = m_open.back();
            m_open.pop_back();
            Explore(next);
        }
    }

    std::size_t States() const { return m_seen.size(); }
    // An owner was heard after a later one.
    bool twoHeard = false;
    // Two machines held the house at one moment.
    bool twoOwners = false;
    // Both came to be heard at all, one after the other.
    bool bothHeard = false;

private:
    void Reach(World world)
    {
        for (Machine& machine : world.machines)
            machine.lease.Owns(world.now);
        twoOwners |= world.machines[0].lease.Token() != 0 && world.machines[1].lease.Token() != 0;
        bothHeard |= world.accepted[0] != 0 && world.accepted[1] != 0;
        if (m_seen.insert(world.Key()).second)
            m_open.push_back(world);
    }

    void Explore(const World& world)
    {
        if (world.now < m_until)
        {
            World later = world;
            ++later.now;
            if (later.revision != 0 && later.now - later.writtenAt >= m_ttl)
                later.revision = 0;
            Reach(later);
        }
        for (int i = 0; i < 2; ++i)
        {
            Look(world, i);
            Arrive(world, i);
            Hear(world, i);
            Command(world, i);
        }
    }

    void Look(World world, int i)
    {
        Machine& machine = world.machines[i];
        if (machine.lookedAt == world.now)
            return;
        machine.lookedAt = world.now;
        const bool owns = machine.lease.Owns(world.now);
        const auto request =
            owns ? machine.lease.Renew(world.now) : machine.lease.Claim(world.now, 0);
        if (!request)
            return;
        machine.requests.push_back({request->number, request->expected});
        Reach(world);
    }

    void Arrive(const World& world, int i)
    {
        for (std::size_t at = 0; at < world.machines[i].requests.size(); ++at)
        {
            World next = world;
            Machine& machine = next.machines[i];
            const InFlight request = machine.requests[at];
            machine.requests.erase(machine.requests.begin() + static_cast<std::ptrdiff_t>(at));
            BucketAnswer answer = REFUSED;
            if (request.expected == next.revision)
            {
                answer = Written(++next.lastRevision);
                next.revision = next.lastRevision;
                next.writtenAt = next.now;
            }
            machine.answers.push_back({request.number, answer});
            Reach(next);
        }
    }

    void Hear(const World& world, int i)
    {
        if (world.machines[i].answers.empty())
            return;
        World next = world;
        Machine& machine = next.machines[i];
        const Answered answer = machine.answers.front();
        machine.answers.pop_front();
        machine.lease.OnAnswer(answer.number, answer.answer, next.now);
        Reach(next);
    }

    void Command(World world, int i)
    {
        Machine& machine = world.machines[i];
        if (machine.decided == 0)
        {
            // Another one with the token that was just heard would meet the same edge.
            if (!machine.lease.Owns(world.now) || world.accepted[i] == machine.lease.Token())
                return;
            machine.decided = machine.lease.Token();
            return Reach(world);
        }
        const std::uint64_t token = machine.decided;
        machine.decided = 0;
        if (!m_fence || token >= world.largest)
        {
            twoHeard |= token < world.accepted[1 - i];
            world.accepted[i] = token;
            world.largest = std::max(world.largest, token);
        }
        Reach(world);
    }

    const std::int64_t m_ttl;
    const std::int64_t m_until;
    const bool m_fence;
    std::unordered_set<std::string> m_seen;
    std::vector<World> m_open;
};

const Lease::Times THIRDS{3, 1, 2};
constexpr std::int64_t LONG_ENOUGH = 4;
} // namespace

TEST(LeaseModelTest, EdgeDropsSmallerTokens_NoOwnerIsHeardAfterALaterOne)
{
    const Explorer explored(THIRDS, LONG_ENOUGH, true);
    RecordProperty("states", std::to_string(explored.States()));
    EXPECT_TRUE(explored.bothHeard);
    EXPECT_FALSE(explored.twoHeard);
    EXPECT_FALSE(explored.twoOwners);
}

TEST(LeaseModelTest, EdgeDropsNothing_OwnerThatSleptIsHeardAfterALaterOne)
{
    const Explorer explored(THIRDS, LONG_ENOUGH, false);
    EXPECT_TRUE(explored.twoHeard);
    EXPECT_FALSE(explored.twoOwners);
}

TEST(LeaseModelTest, StopsOnlyAfterItsLeaseEnds_TwoOwnTheHouseAtOneMoment)
{
    const Explorer explored({3, 1, 4}, LONG_ENOUGH, true);
    EXPECT_TRUE(explored.twoOwners);
}
