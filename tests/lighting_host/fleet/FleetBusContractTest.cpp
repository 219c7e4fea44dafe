// What every bus of a fleet does, the real one and the one in this process alike.

#include "FakeFleetBus.h"
#include "LocalNats.h"
#include "lighting_host/fleet/NatsFleetBus.h"

#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = BucketAnswer::Outcome;

namespace
{
constexpr std::int64_t TTL_MS = 1000;
constexpr std::int64_t MOST_MS = 10000;

class BusRig
{
public:
    virtual ~BusRig() = default;
    virtual std::unique_ptr<FleetBus> MakeBus() = 0;
    // Until `isTrue`, with time passing; false when it never becomes so.
    virtual bool Until(const std::function<bool()>& isTrue) = 0;
};

class FakeBusRig : public BusRig
{
public:
    struct Shown : FleetBus
    {
        explicit Shown(FakeFleetBus& of) : bus(of) {}
        std::unique_ptr<Bucket> OpenBucket(const std::string& name, std::int64_t ttlMs) override
        {
            return bus.OpenBucket(name, ttlMs);
        }
        bool Publish(const FleetMessage& message) override { return bus.Publish(message); }
        std::unique_ptr<Subscription> Subscribe(const std::string& subject,
                                                Handler handler) override
        {
            return bus.Subscribe(subject, std::move(handler));
        }
        bool IsConnected() const override { return bus.IsConnected(); }
        FakeFleetBus& bus;
    };
    std::unique_ptr<FleetBus> MakeBus() override { return std::make_unique<Shown>(m_bus); }
    bool Until(const std::function<bool()>& isTrue) override
    {
        for (int tries = 0; tries < 100 && !isTrue(); ++tries)
            m_bus.nowMs += TTL_MS / 10;
        return isTrue();
    }

private:
    FakeFleetBus m_bus;
};

class NatsBusRig : public BusRig
{
public:
    std::unique_ptr<FleetBus> MakeBus() override
    {
        NatsOptions options;
        std::unique_ptr<FleetBus> bus;
        Until(
            [&]
            {
                options.urls = {m_server.Url()};
                try
                {
                    bus =
                        options.urls[0].empty() ? nullptr : std::make_unique<NatsFleetBus>(options);
                }
                catch (const FleetError&)
                {
                    // The server is still starting.
                }
                return bus != nullptr;
            });
        return bus;
    }
    bool Until(const std::function<bool()>& isTrue) override
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(MOST_MS);
        std::mutex mutex;
        std::unique_lock<std::mutex> lock(mutex);
        while (!isTrue())
        {
            // What happens elsewhere wakes nobody here.
            if (std::chrono::steady_clock::now() > end)
                return false;
            m_change.wait_for(lock, std::chrono::milliseconds(5));
        }
        return true;
    }

private:
    LocalNats m_server;
    std::condition_variable m_change;
};

class FleetBusContractTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        const bool real = GetParam() == std::string("Nats");
        if (real && !LocalNats::IsInstalled())
            GTEST_SKIP() << "there is no nats-server";
        rig = real ? std::unique_ptr<BusRig>(new NatsBusRig) : std::make_unique<FakeBusRig>();
        bus = rig->MakeBus();
        ASSERT_TRUE(bus);
        bucket = bus->OpenBucket("things", 0);
    }
    BucketAnswer Write(const std::string& key, const std::string& value, std::uint64_t expected)
    {
        return WriteAndWait(*bucket, key, value, expected, MOST_MS);
    }
    BucketAnswer Remove(const std::string& key, std::uint64_t expected)
    {
        return RemoveAndWait(*bucket, key, expected, MOST_MS);
    }
    void Hear(const std::string& what)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        heard.push_back(what);
    }
    std::vector<std::string> Heard()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return heard;
    }
    bool HearsThatMany(std::size_t count)
    {
        return rig->Until([&] { return Heard().size() >= count; });
    }

    std::mutex mutex;
    std::vector<std::string> heard;
    std::unique_ptr<BusRig> rig;
    std::unique_ptr<FleetBus> bus;
    std::unique_ptr<Bucket> bucket;
};

INSTANTIATE_TEST_SUITE_P(EveryBus, FleetBusContractTest, testing::Values("Fake", "Nats"),
                         [](const auto& given) { return std::string(given.param); });

TEST_P(FleetBusContractTest, KeyIsNotThere_FirstWriterOnlyHasIt)
{
    const BucketAnswer first = Write("key", "mine", 0);
    EXPECT_EQ(first.outcome, Outcome::Written);
    EXPECT_EQ(Write("key", "yours", 0).outcome, Outcome::Refused);
    const BucketEntry entry = bucket->Get("key");
    EXPECT_EQ(entry.value, "mine");
    EXPECT_EQ(entry.revision, first.revision);
}

TEST_P(FleetBusContractTest, WriteUnderAnOldRevision_IsRefusedAndChangesNothing)
{
    const std::uint64_t first = Write("key", "1", 0).revision;
    const std::uint64_t second = Write("key", "2", first).revision;
    EXPECT_GT(second, first);
    EXPECT_EQ(Write("key", "3", first).outcome, Outcome::Refused);
    EXPECT_EQ(Remove("key", first).outcome, Outcome::Refused);
    EXPECT_EQ(bucket->Get("key").value, "2");
}

TEST_P(FleetBusContractTest, RemovedKey_IsWrittenUnderTheRevisionOfItsRemoval)
{
    const BucketAnswer removal = Remove("key", Write("key", "1", 0).revision);
    EXPECT_EQ(removal.outcome, Outcome::Written);
    EXPECT_TRUE(bucket->Get("key").removed);
    EXPECT_THAT(bucket->All(), IsEmpty());
    EXPECT_EQ(Write("key", "2", 0).outcome, Outcome::Refused);
    EXPECT_GT(Write("key", "2", bucket->Get("key").revision).revision, removal.revision);
    EXPECT_FALSE(bucket->Get("key").removed);
}

TEST_P(FleetBusContractTest, KeyThatWasNeverThere_HasRevisionZero)
{
    EXPECT_EQ(bucket->Get("key").revision, 0u);
    EXPECT_EQ(Write("key", "1", 7).outcome, Outcome::Refused);
    EXPECT_THAT(bucket->All(), IsEmpty());
}

TEST_P(FleetBusContractTest, WrittenOnce_GoesAfterItsTimeAndCanBeWrittenAnew)
{
    bucket = bus->OpenBucket("leases", TTL_MS);
    const std::uint64_t first = Write("key", "1", 0).revision;
    EXPECT_TRUE(rig->Until([&] { return bucket->Get("key").revision == 0; }));
    EXPECT_EQ(Write("key", "2", first).outcome, Outcome::Refused);
    EXPECT_GT(Write("key", "2", 0).revision, first);
}

TEST_P(FleetBusContractTest, Watch_TellsWhatIsThereAndThenEveryChange)
{
    const std::uint64_t first = Write("one", "1", 0).revision;
    bucket->Watch([this](const BucketEntry& entry)
                  { Hear(entry.key + (entry.removed ? " gone" : "=" + entry.value)); });
    EXPECT_TRUE(HearsThatMany(1));
    const auto other = rig->MakeBus();
    const auto same = other->OpenBucket("things", 0);
    WriteAndWait(*same, "two", "2", 0, MOST_MS);
    RemoveAndWait(*same, "one", first, MOST_MS);
    EXPECT_TRUE(HearsThatMany(3));
    EXPECT_THAT(Heard(), ElementsAre("one=1", "two=2", "one gone"));
}

TEST_P(FleetBusContractTest, EveryKey_IsListedInOrder)
{
    Write("b", "2", 0);
    Write("a", std::string("1\0x", 3), 0);
    const std::vector<BucketEntry> all = bucket->All();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].key + all[1].key, "ab");
    EXPECT_EQ(all[0].value, std::string("1\0x", 3));
}

TEST_P(FleetBusContractTest, Message_ComesToWhoAskedForItsSubjectWithItsToken)
{
    const auto other = rig->MakeBus();
    const auto subscription = other->Subscribe(
        "houses.*.out", [this](const FleetMessage& message)
        { Hear(message.subject + " " + message.payload + " " + std::to_string(message.token)); });
    EXPECT_TRUE(bus->Publish({"houses.a.in", "no", 1}));
    EXPECT_TRUE(bus->Publish({"houses.a.out", "yes", 7}));
    EXPECT_TRUE(bus->Publish({"houses.b.out", "", 0}));
    EXPECT_TRUE(HearsThatMany(2));
    EXPECT_THAT(Heard(), ElementsAre("houses.a.out yes 7", "houses.b.out  0"));
}

TEST_P(FleetBusContractTest, SubscriptionIsGone_HearsNothingAnyMore)
{
    auto subscription =
        bus->Subscribe("one", [this](const FleetMessage&) { Hear("after the end"); });
    const auto last = bus->Subscribe("last", [this](const FleetMessage&) { Hear("last"); });
    subscription.reset();
    bus->Publish({"one", "", 0});
    bus->Publish({"last", "", 0});
    EXPECT_TRUE(HearsThatMany(1));
    EXPECT_THAT(Heard(), ElementsAre("last"));
}
} // namespace

TEST(NatsUrlsTest, OneOrSeveral_AreReadAndAnythingElseIsNamed)
{
    std::vector<std::string> urls;
    EXPECT_EQ(ParseNatsUrls("nats://a:1,nats://b", urls), "");
    EXPECT_THAT(urls, ElementsAre("nats://a:1", "nats://b"));
    EXPECT_EQ(ParseNatsUrls("nats://a,", urls), "\"\" is no nats://HOST[:PORT]");
    EXPECT_EQ(ParseNatsUrls("http://a", urls), "\"http://a\" is no nats://HOST[:PORT]");
    // A password has no place in a command line.
    EXPECT_NE(ParseNatsUrls("nats://me:secret@a", urls), "");
}

TEST(NatsFleetBusTest, NobodyThere_IsSaidAndNotWaitedForForever)
{
    NatsOptions options;
    options.urls = {"nats://127.0.0.1:1"};
    EXPECT_THROW(NatsFleetBus bus(options), FleetError);
}
