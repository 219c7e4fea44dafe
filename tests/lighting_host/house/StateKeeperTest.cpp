#include "lighting_host/house/StateKeeper.h"

#include "NxLibDriverBases/NxBaseDriver.h"
#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/Random.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/XmlNode.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using embedded_host::DriverState;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// A driver that keeps a state and asks for it to be saved when it is told to.
class AskingDriver : public NxBaseDriver
{
public:
    explicit AskingDriver(IInstanceManager& instances) : NxBaseDriver(instances, NX_DRIVER_LIGHT)
    {
        GetCmdDispatcher().RegisterCmd0("ASK", [this] { RequestPersist(); });
    }
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long) override
    {
        const auto state = nx::CreateXmlNode();
        state->Initialize("State", GetDriverName());
        return state;
    }
};

// Remembers each save as the names that were in it; fails when it is told to.
class RecordingStore : public embedded_host::NoStateStore
{
public:
    struct Record
    {
        std::vector<std::string> saves;
        bool fails = false;
    };

    explicit RecordingStore(Record& record) : m_record(record) {}
    void Save(const std::vector<DriverState>& states) override
    {
        if (m_record.fails)
            throw embedded_host::StateStoreError("the disk is full");
        std::string names;
        for (const DriverState& state : states)
            names += state.driver + " " + state.type + ";";
        m_record.saves.push_back(names);
    }

private:
    Record& m_record;
};

class StateKeeperTest : public testing::Test, private embedded_host::OutputSink
{
protected:
    StateKeeperTest()
    {
        for (const char* name : {"hall", "sofa", "lamp"})
            AddDriver(name);
        m_house.StartAll();
        m_keeper.Start();
    }

    void Ask(const std::string& driver)
    {
        m_house.Find(driver)->Command(embedded_host::CmdMessage("ASK"), CmdDispatcher::CONTROLLER);
    }
    std::vector<std::string> TakeSaves() { return std::exchange(m_record.saves, {}); }

    static constexpr std::chrono::milliseconds INTERVAL{1000};
    embedded_host::VirtualClock m_clock{0};
    embedded_host::Random m_random{1, embedded_host::Draw::Low};
    embedded_host::House m_house{m_clock, m_random, *this};
    RecordingStore::Record m_record;
    std::vector<std::string> m_errors;
    lighting_host::StateKeeper m_keeper{std::make_unique<RecordingStore>(m_record), m_house,
                                        INTERVAL,
                                        [this](const std::string& what)
                                        {
                                            m_errors.push_back(what);
                                        }};

private:
    void Write(const embedded_host::Output&) override {}
    void AddDriver(const std::string& name)
    {
        embedded_host::DriverConfig config;
        config.name = name;
        config.type = "asking";
        config.id = static_cast<unsigned>(m_house.Drivers().size()) + 1;
        config.create = [](IInstanceManager& instances)
        {
            return new AskingDriver(instances);
        };
        m_house.Add(std::move(config));
    }
};
} // namespace

TEST_F(StateKeeperTest, DriverThatAsks_IsSavedAlone)
{
    Ask("sofa");
    EXPECT_THAT(TakeSaves(), IsEmpty()) << "not while the driver is in the middle of something";
    m_house.Advance(0ms);
    EXPECT_THAT(TakeSaves(), ElementsAre("sofa asking;"));
    m_house.Advance(INTERVAL - 1ms);
    EXPECT_THAT(TakeSaves(), IsEmpty());
}

TEST_F(StateKeeperTest, SeveralThatAskAtOnce_AreSavedTogetherOnceEach)
{
    for (const char* driver : {"lamp", "hall", "lamp"})
        Ask(driver);
    m_house.Advance(0ms);
    EXPECT_THAT(TakeSaves(), ElementsAre("lamp asking;hall asking;"));
}

TEST_F(StateKeeperTest, AskingAgain_IsSavedAgain)
{
    for (int i = 0; i < 2; ++i)
    {
        Ask("hall");
        m_house.Advance(0ms);
    }
    EXPECT_THAT(TakeSaves(), ElementsAre("hall asking;", "hall asking;"));
}

TEST_F(StateKeeperTest, Interval_SavesTheWholeHouse)
{
    Ask("sofa");
    m_house.Advance(INTERVAL);
    EXPECT_THAT(TakeSaves(), ElementsAre("sofa asking;", "hall asking;sofa asking;lamp asking;"));
}

TEST_F(StateKeeperTest, SaveThatFails_IsToldAndTheIntervalTriesAgain)
{
    m_record.fails = true;
    Ask("sofa");
    m_house.Advance(0ms);
    EXPECT_THAT(m_errors, ElementsAre("the disk is full"));
    m_record.fails = false;
    m_house.Advance(INTERVAL);
    EXPECT_THAT(TakeSaves(), ElementsAre("hall asking;sofa asking;lamp asking;"));
}
