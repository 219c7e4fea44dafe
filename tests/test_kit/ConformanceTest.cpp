// That the list finds a driver which breaks its contract: one driver for each way.

#include "test_kit/Conformance.h"

#include "NxLibDriverBases/NxBaseMibDriver.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/ITimerManager.h"
#include "nxshared/MibDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <stdexcept>

#include <gmock/gmock.h>

using namespace test_kit;
using testing::HasSubstr;

namespace
{
// Counts the traps "nx.dmx.bp", and keeps the count as its state.
class Counter : public NxBaseMibDriver
{
public:
    explicit Counter(IInstanceManager& instances) : NxBaseMibDriver(instances, NX_DRIVER_LIGHT, 1)
    {
        GetMibDispatcher().RegisterTrap("nx.dmx.bp",
                                        [this](const NxMIBPacket& trap) { OnTrap(trap); });
    }

    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        if (state)
            count = state->GetChildDataNumber("COUNT");
        return NxBaseMibDriver::Initialize(id, config, state);
    }

    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long) override
    {
        const auto state = nx::CreateXmlNode();
        state->Initialize("State", "");
        state->AddChild("COUNT", count);
        return state;
    }

    virtual void OnTrap(const NxMIBPacket&) { FireEvent(static_cast<unsigned>(++count)); }

    int count = 0;
};

class HastyDriver : public Counter
{
public:
    explicit HastyDriver(IInstanceManager& instances) : Counter(instances) { FireEvent(1); }
};

class ThrowingDriver : public Counter
{
public:
    using Counter::Counter;
    void OnTrap(const NxMIBPacket& trap) override
    {
        if (trap.GetParams().empty())
            throw std::out_of_range("no parameter");
        Counter::OnTrap(trap);
    }
};

class StrictDriver : public Counter
{
public:
    using Counter::Counter;
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        if (state && state->GetChildDataNumber("COUNT") < 0)
            throw std::invalid_argument("COUNT is below 0");
        return Counter::Initialize(id, config, state);
    }
};

class ForgetfulDriver : public Counter
{
public:
    using Counter::Counter;
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode>) override
    {
        return Counter::Initialize(id, config, nullptr);
    }
};

// Starts a timer of an object of its own, which does not stop it.
class UntidyDriver : public Counter
{
public:
    using Counter::Counter;
    void OnTrap(const NxMIBPacket& trap) override
    {
        Counter::OnTrap(trap);
        GetTimerManager().AddTimer(1000000, 0, 1, &m_other);
    }

private:
    struct Other : ITimerManagerCallback
    {
        void OnTimerExpired(ID::Timer, time_t) override {}
    };
    Other m_other;
};

// What it does depends on how many of its kind there have been.
class MoodyDriver : public Counter
{
public:
    using Counter::Counter;
    void OnTrap(const NxMIBPacket& trap) override
    {
        if (++s_traps % 2 == 0)
            Counter::OnTrap(trap);
    }

private:
    static unsigned s_traps;
};
unsigned MoodyDriver::s_traps = 1;

// Inputs that are mostly the trap that the drivers here listen to.
template <class Driver>
DriverUnderTest Under()
{
    DriverUnderTest driver = ForDriver<Driver>();
    driver.words.mibs = {"nx.dmx.bp"};
    return driver;
}
} // namespace

TEST(ConformanceTest, EventInAConstructor_IsFound)
{
    EXPECT_THAT(WhatConstructorCauses(Under<HastyDriver>()), HasSubstr("event 1"));
    EXPECT_EQ("", WhatConstructorCauses(Under<Counter>()));
}

TEST(ConformanceTest, HandlerThatThrows_IsFoundWithTheInputThatDidIt)
{
    const std::string wrong = WhatInputsBreak(Under<ThrowingDriver>());
    EXPECT_THAT(wrong, HasSubstr("no parameter"));
    EXPECT_THAT(wrong, HasSubstr("seed "));
    EXPECT_THAT(wrong, testing::EndsWith("\"trap nx.dmx.bp\""));
    EXPECT_EQ("", WhatInputsBreak(Under<Counter>()));
}

TEST(ConformanceTest, StateThatBreaksInitialize_IsFound)
{
    DriverUnderTest strict = Under<StrictDriver>();
    strict.lives = 100;
    EXPECT_THAT(WhatStatesBreak(strict), HasSubstr("COUNT is below 0"));
    EXPECT_EQ("", WhatStatesBreak(Under<Counter>()));
}

TEST(ConformanceTest, StateThatIsForgotten_IsFound)
{
    EXPECT_THAT(WhatRestartLoses(Under<ForgetfulDriver>()),
                HasSubstr("a restart changed the state"));
    EXPECT_EQ("", WhatRestartLoses(Under<Counter>()));
}

TEST(ConformanceTest, TimerThatOutlivesItsOwner_IsFound)
{
    EXPECT_THAT(WhatTimersAreLeft(Under<UntidyDriver>()), HasSubstr("timers ran"));
    EXPECT_EQ("", WhatTimersAreLeft(Under<Counter>()));
}

TEST(ConformanceTest, DriverThatDependsOnItsPast_IsFound)
{
    EXPECT_THAT(WhatDiffersTheSecondTime(Under<MoodyDriver>()), HasSubstr("differs"));
    EXPECT_EQ("", WhatDiffersTheSecondTime(Under<Counter>()));
}

TEST(AnyInputTest, SameSeed_GivesTheSameInputsAndAnotherGivesOthers)
{
    AnyInput one(7);
    AnyInput same(7);
    AnyInput other(8);
    int different = 0;
    for (int i = 0; i < 200; ++i)
    {
        const std::string text = one.Next().Text();
        EXPECT_EQ(text, same.Next().Text());
        different += text != other.Next().Text() ? 1 : 0;
    }
    EXPECT_GT(different, 150);
}

HOLD_DRIVER_TO_ITS_CONTRACT(Counter, ForDriver<Counter>());
