// What every broker does, the real one and the one in this process alike.

#include "FakeBroker.h"
#include "LocalMosquitto.h"
#include "lighting_host/broker/MosquittoBroker.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using lighting_host::Broker;
using lighting_host::BrokerAddress;
using lighting_host::BrokerMessage;
using lighting_host::BrokerPublication;
using lighting_host::MosquittoBroker;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// What a client heard, as texts.
class Listener : public lighting_host::BrokerListener
{
public:
    void OnBrokerConnected() override { ++connections; }
    void OnBrokerLost(const std::string&) override { ++losses; }
    void OnBrokerMessage(const BrokerMessage& message) override
    {
        heard.push_back(message.topic + "=" + message.payload + (message.retained ? " kept" : ""));
    }

    int connections = 0;
    int losses = 0;
    std::vector<std::string> heard;
};

// A broker under test, and the thread of the house that its clients speak to.
class Rig
{
public:
    virtual ~Rig() = default;
    virtual std::unique_ptr<Broker> MakeClient(const std::string& id) = 0;
    virtual void GoDown() = 0;
    virtual void ComeUp() = 0;

    // Runs what the clients hand to the house until that is true; false when it never becomes so.
    virtual bool Until(const std::function<bool()>& isTrue) = 0;
};

class FakeRig : public Rig
{
public:
    std::unique_ptr<Broker> MakeClient(const std::string&) override
    {
        return std::make_unique<FakeBrokerServer::Client>(m_server);
    }
    void GoDown() override { m_server.GoDown(); }
    void ComeUp() override { m_server.ComeUp(); }
    bool Until(const std::function<bool()>& isTrue) override
    {
        while (!isTrue() && m_server.Pump())
        {
        }
        return isTrue();
    }

private:
    FakeBrokerServer m_server;
};

template <BrokerAddress::Version version>
class MosquittoRig : public Rig
{
public:
    std::unique_ptr<Broker> MakeClient(const std::string& id) override
    {
        BrokerAddress address;
        address.host = "127.0.0.1";
        address.port = m_mosquitto.Port();
        address.clientId = id;
        address.version = version;
        MosquittoBroker::Pace pace;
        pace.firstRetry = std::chrono::milliseconds(20);
        pace.lastRetry = std::chrono::milliseconds(100);
        return std::make_unique<MosquittoBroker>(
            address,
            [queue = m_queue](std::function<void()> work)
            {
                const std::lock_guard<std::mutex> lock(queue->mutex);
                queue->work.push_back(std::move(work));
                queue->wake.notify_all();
            },
            pace);
    }
    void GoDown() override { m_mosquitto.Kill(); }
    void ComeUp() override { m_mosquitto.Start(); }
    bool Until(const std::function<bool()>& isTrue) override
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!isTrue())
        {
            std::unique_lock<std::mutex> lock(m_queue->mutex);
            if (!m_queue->wake.wait_until(lock, end, [&] { return !m_queue->work.empty(); }))
                return false;
            const auto next = std::move(m_queue->work.front());
            m_queue->work.pop_front();
            lock.unlock();
            next();
        }
        return true;
    }

private:
    struct Queue
    {
        std::mutex mutex;
        std::condition_variable wake;
        std::deque<std::function<void()>> work;
    };
    LocalMosquitto m_mosquitto;
    std::shared_ptr<Queue> m_queue = std::make_shared<Queue>();
};

template <class RigType>
class BrokerContract : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!std::is_same_v<RigType, FakeRig> && !LocalMosquitto::IsInstalled())
            GTEST_SKIP() << "Mosquitto is not installed (package mosquitto)";
        m_rig = std::make_unique<RigType>();
        m_broker = m_rig->MakeClient("house");
        m_other = m_rig->MakeClient("other");
    }

    bool Until(const std::function<bool()>& isTrue) { return m_rig->Until(isTrue); }

    // Both clients are connected, and the other one hears everything.
    void Connect()
    {
        m_broker->Start(m_listener);
        m_other->Start(m_otherListener);
        ASSERT_TRUE(Until(
            [this] { return m_listener.connections == 1 && m_otherListener.connections == 1; }));
        ASSERT_TRUE(m_other->Subscribe("#"));
        m_other->Publish({"subscribed", "", false, true, ""});
        ASSERT_TRUE(Until([this] { return !m_otherListener.heard.empty(); }));
        m_otherListener.heard.clear();
    }

    // What the other one has heard when a mark has come to it, the mark left out.
    std::vector<std::string> HeardByOther() { return HeardByOther(*m_broker); }
    std::vector<std::string> HeardByOther(Broker& marks)
    {
        EXPECT_TRUE(marks.Publish({"mark", "", false, true, ""}));
        auto& heard = m_otherListener.heard;
        EXPECT_TRUE(Until([&] { return !heard.empty() && heard.back() == "mark="; }));
        std::vector<std::string> all;
        all.swap(heard);
        if (!all.empty())
            all.pop_back();
        return all;
    }

    std::unique_ptr<Rig> m_rig;
    Listener m_listener;
    Listener m_otherListener;
    std::unique_ptr<Broker> m_broker;
    std::unique_ptr<Broker> m_other;
};

using Rigs = testing::Types<FakeRig, MosquittoRig<BrokerAddress::Version::Five>,
                            MosquittoRig<BrokerAddress::Version::Three>>;
TYPED_TEST_SUITE(BrokerContract, Rigs);
} // namespace

TYPED_TEST(BrokerContract, NotStarted_IsOffAndTakesNothing)
{
    EXPECT_EQ(this->m_broker->GetState(), Broker::State::Off);
    EXPECT_FALSE(this->m_broker->Publish({"a", "1", false, false, ""}));
    EXPECT_FALSE(this->m_broker->Subscribe("a"));
}

TYPED_TEST(BrokerContract, Published_ReachesSubscriberInOrderUnchanged)
{
    this->Connect();
    const std::string binary("\0\xff\n", 3);
    EXPECT_TRUE(this->m_broker->Publish({"a/b", "1", false, false, ""}));
    EXPECT_TRUE(this->m_broker->Publish({"a/b", binary, false, true, ""}));
    EXPECT_THAT(this->HeardByOther(), ElementsAre("a/b=1", "a/b=" + binary));
}

TYPED_TEST(BrokerContract, LateSubscriber_HearsRetainedAloneAndMarked)
{
    this->m_broker->Start(this->m_listener);
    ASSERT_TRUE(this->Until([this] { return this->m_listener.connections == 1; }));
    this->m_broker->Publish({"kept", "old", true, true, ""});
    this->m_broker->Publish({"kept", "new", true, true, ""});
    this->m_broker->Publish({"passing", "1", false, true, ""});
    // Its own subscription shows that the broker has all three.
    this->m_broker->Subscribe("sync");
    this->m_broker->Publish({"sync", "", false, true, ""});
    ASSERT_TRUE(this->Until([this] { return !this->m_listener.heard.empty(); }));
    this->m_other->Start(this->m_otherListener);
    ASSERT_TRUE(this->Until([this] { return this->m_otherListener.connections == 1; }));
    // The mark must not come before what was asked for: the same connection keeps the order.
    this->m_other->Subscribe("#");
    EXPECT_THAT(this->HeardByOther(*this->m_other), ElementsAre("kept=new kept"));
}

TYPED_TEST(BrokerContract, RetainedThenCleared_LateSubscriberHearsNothing)
{
    this->Connect();
    this->m_broker->Publish({"kept", "1", true, true, ""});
    this->m_broker->Publish({"kept", "", true, true, ""});
    EXPECT_THAT(this->HeardByOther(), ElementsAre("kept=1", "kept="));
    this->m_broker->Subscribe("kept");
    this->m_broker->Subscribe("mark");
    this->HeardByOther();
    EXPECT_TRUE(this->Until([this] { return !this->m_listener.heard.empty(); }));
    EXPECT_THAT(this->m_listener.heard, ElementsAre("mark="));
}

TYPED_TEST(BrokerContract, TopicWithWildcard_Refused)
{
    this->Connect();
    EXPECT_FALSE(this->m_broker->Publish({"a/+", "1", false, true, ""}));
    EXPECT_FALSE(this->m_broker->Publish({"", "1", false, true, ""}));
    EXPECT_THAT(this->HeardByOther(), IsEmpty());
}

TYPED_TEST(BrokerContract, BrokerKilledAndBack_LostThenConnectedAgain)
{
    this->Connect();
    const int before = this->m_listener.losses;
    this->m_rig->GoDown();
    ASSERT_TRUE(this->Until([this, before] { return this->m_listener.losses > before; }));
    EXPECT_FALSE(this->m_broker->Publish({"a", "1", false, true, ""}));
    this->m_rig->ComeUp();
    EXPECT_TRUE(this->Until([this] { return this->m_listener.connections == 2; }));
    EXPECT_TRUE(this->m_broker->Publish({"a", "1", false, true, ""}));
}

TYPED_TEST(BrokerContract, OrderlyStop_WillIsNotPublished)
{
    this->m_broker->SetWill({"status", "offline", true, true, ""});
    this->Connect();
    this->m_broker->Publish({"status", "last", true, true, ""});
    this->m_broker->Stop();
    EXPECT_EQ(this->m_broker->GetState(), Broker::State::Off);
    auto& heard = this->m_otherListener.heard;
    EXPECT_TRUE(this->Until([&] { return !heard.empty(); }));
    this->m_other->Publish({"mark", "", false, true, ""});
    EXPECT_TRUE(this->Until([&] { return heard.back() == "mark="; }));
    EXPECT_THAT(heard, ElementsAre("status=last", "mark="));
}

TYPED_TEST(BrokerContract, AfterStop_ListenerHearsNothing)
{
    this->Connect();
    this->m_broker->Subscribe("a");
    this->m_other->Publish({"a", "1", false, true, ""});
    this->m_broker->Stop();
    this->m_other->Publish({"mark", "", false, true, ""});
    auto& heard = this->m_otherListener.heard;
    EXPECT_TRUE(this->Until([&] { return !heard.empty() && heard.back() == "mark="; }));
    EXPECT_THAT(this->m_listener.heard, IsEmpty());
}
