#include "test_kit/Conformance.h"

#include "embedded_host/HostServices.h"
#include "embedded_host/TimerObserver.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <memory>

namespace test_kit
{
namespace
{
constexpr std::size_t INPUTS_TOLD = 12;

// One life of a driver, from which its effects are taken as they come.
class Life
{
public:
    Life(const DriverUnderTest& driver, std::uint64_t seed, const std::string& state = "")
        : m_driver(driver), m_seed(seed), m_inputs(seed, driver.words)
    {
        for (const auto& capability : driver.capabilities)
            house.Capability(capability.first, capability.second);
        house.Config(driver.config);
        house.State(state);
    }
    ~Life()
    {
        if (m_started)
            house.Stop();
        house.Take();
    }

    void Start(const OneDriverHouse::Create& create)
    {
        m_started = true;
        house.Start(create);
    }
    void Start() { Start(m_driver.create); }

    void Live(unsigned inputs)
    {
        for (; inputs > 0; --inputs)
            One();
    }
    void One()
    {
        const Input input = m_inputs.Next();
        m_told.push_back(input.Text());
        HandIn(input, house);
    }

    // The first fault since the last time; what else happened is forgotten.
    std::string TakeFault()
    {
        const Lines faults = house.TakeOnly("fault");
        return faults.empty() ? std::string() : faults.front();
    }

    // The same, with what led to it.
    std::string After(const std::string& what) const
    {
        std::string text = "seed " + std::to_string(m_seed) + ": " + what + "\nafter";
        const std::size_t begin = m_told.size() - std::min(m_told.size(), INPUTS_TOLD);
        text += begin > 0 ? " ..." : m_told.empty() ? " nothing" : "";
        for (std::size_t i = begin; i < m_told.size(); ++i)
            text += "\n    " + testing::PrintToString(m_told[i]);
        return text;
    }

    OneDriverHouse house;

private:
    const DriverUnderTest& m_driver;
    std::uint64_t m_seed;
    AnyInput m_inputs;
    Lines m_told;
    bool m_started = false;
};

// Runs `check` on one life after the other, until one has something wrong.
template <class Check>
std::string InEveryLife(const DriverUnderTest& driver, const Check& check)
{
    for (std::uint64_t seed = 1; seed <= driver.lives; ++seed)
    {
        const std::string wrong = check(seed);
        if (!wrong.empty())
            return wrong;
    }
    return std::string();
}

// Counts timers that the host stops on its own, because whoever started them has gone.
class LeftTimers : public embedded_host::TimerObserver
{
public:
    void OnTimerAdded(unsigned, std::int64_t, std::int64_t) override {}
    void OnTimerFires(unsigned, bool, std::int64_t) override {}
    void OnTimerKilled(unsigned, std::int64_t) override
    {
        // The driver's own calls, those of its destructor too, are made inside a scope of it.
        if (!embedded_host::HostScope::Current())
            ++count;
    }

    int count = 0;
};

// A state that is nearly `state`: cut, repeated or with other values.
std::string Spoil(const std::string& state, AnyInput& inputs, embedded_host::Random& random)
{
    std::string spoilt = state;
    for (int left = random.Between(1, 4); left > 0 && !spoilt.empty(); --left)
    {
        const auto from =
            static_cast<std::size_t>(random.Between(0, static_cast<int>(spoilt.size()) - 1));
        const std::size_t begin = spoilt.find_first_of("0123456789", from);
        const std::size_t end = spoilt.find('<', begin);
        if (begin != std::string::npos && end != std::string::npos)
            spoilt.replace(begin, end - begin, inputs.Limit());
    }
    return random.Between(0, 9) == 0 ? "<State>" + inputs.Elements() + "</State>" : spoilt;
}

// Where two states differ, with what stands around it.
std::string Difference(const std::string& before, const std::string& after)
{
    constexpr std::size_t AROUND = 60;
    const auto differ =
        std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
    const auto at = static_cast<std::size_t>(differ - before.begin());
    const std::size_t begin = at - std::min(at, AROUND);
    return "\n    ... " + before.substr(begin, 2 * AROUND) + "\nand then\n    ... " +
           after.substr(std::min(begin, after.size()), 2 * AROUND);
}

bool IsXml(const std::string& text)
{
    return text.empty() || nx::CreateXmlDocument(text);
}
} // namespace

std::string WhatConstructorCauses(const DriverUnderTest& driver)
{
    Life life(driver, 1);
    std::string caused;
    life.Start(
        [&](IInstanceManager& instances)
        {
            NxBaseDriver* const made = driver.create(instances);
            for (const std::string& line : life.house.Take())
                caused += line.rfind("log ", 0) == 0 ? "" : "\n    " + line;
            return made;
        });
    return caused.empty() ? caused : "the constructor caused" + caused;
}

std::string WhatInputsBreak(const DriverUnderTest& driver)
{
    return InEveryLife(driver,
                       [&](std::uint64_t seed) -> std::string
                       {
                           Life life(driver, seed);
                           life.Start();
                           std::string fault = life.TakeFault();
                           for (unsigned i = 0; i < driver.inputs && fault.empty(); ++i)
                           {
                               life.One();
                               fault = life.TakeFault();
                           }
                           return fault.empty() ? fault : life.After(fault);
                       });
}

std::string WhatStatesBreak(const DriverUnderTest& driver)
{
    return InEveryLife(driver,
                       [&](std::uint64_t seed) -> std::string
                       {
                           std::string state;
                           {
                               Life first(driver, seed);
                               first.Start();
                               first.Live(driver.inputs);
                               state = first.house.Persist();
                           }
                           AnyInput inputs(seed);
                           embedded_host::Random random(seed, embedded_host::Draw::Random);
                           const std::string spoilt = Spoil(state, inputs, random);
                           if (!IsXml(spoilt))
                               return std::string();
                           Life second(driver, seed, spoilt);
                           second.Start();
                           const std::string taken = second.house.Persist();
                           second.house.Restart();
                           const std::string again = second.house.Persist();
                           const std::string fault = second.TakeFault();
                           if (!fault.empty())
                               return second.After(fault + "\nfrom the state " + spoilt);
                           return taken == again
                                      ? std::string()
                                      : second.After("the state " + spoilt + " was taken as\n    " +
                                                     taken + "\nand that as\n    " + again);
                       });
}

std::string WhatRestartLoses(const DriverUnderTest& driver)
{
    return InEveryLife(driver,
                       [&](std::uint64_t seed) -> std::string
                       {
                           Life life(driver, seed);
                           life.Start();
                           for (unsigned left = driver.inputs; left > 0; --left)
                           {
                               life.One();
                               if (left % 50 != 0 && left != 1)
                                   continue;
                               for (const unsigned binding : driver.words.bindings)
                                   life.house.Binding(binding, Input::BINDING_CLASS, false);
                               const std::string before = life.house.Persist();
                               life.house.Restart();
                               const std::string after = life.house.Persist();
                               if (before != after)
                                   return life.After("a restart changed the state: it was" +
                                                     Difference(before, after));
                           }
                           return std::string();
                       });
}

std::string WhatTimersAreLeft(const DriverUnderTest& driver)
{
    return InEveryLife(driver,
                       [&](std::uint64_t seed) -> std::string
                       {
                           Life life(driver, seed);
                           LeftTimers left;
                           life.Start();
                           life.Live(driver.inputs);
                           life.house.House().ObserveTimers(&left);
                           life.house.Stop();
                           life.house.House().ObserveTimers(nullptr);
                           return left.count == 0
                                      ? std::string()
                                      : life.After(std::to_string(left.count) +
                                                   " timers ran when the driver had gone");
                       });
}

std::string WhatDiffersTheSecondTime(const DriverUnderTest& driver)
{
    return InEveryLife(driver,
                       [&](std::uint64_t seed) -> std::string
                       {
                           Lines seen[2];
                           for (Lines& lines : seen)
                           {
                               Life life(driver, seed);
                               life.Start();
                               life.Live(driver.inputs);
                               lines = life.house.Take();
                           }
                           const auto differ = std::mismatch(seen[0].begin(), seen[0].end(),
                                                             seen[1].begin(), seen[1].end());
                           if (seen[0] == seen[1])
                               return std::string();
                           return "seed " + std::to_string(seed) + ": effect " +
                                  std::to_string(differ.first - seen[0].begin()) +
                                  " differs the second time";
                       });
}

namespace
{
// Fails with the text as it is: a comparison would show its lines escaped, and then once more.
void ExpectNothing(const std::string& wrong)
{
    if (!wrong.empty())
        ADD_FAILURE() << wrong;
}
} // namespace

TEST_P(DriverContract, Constructor_CausesNothing)
{
    ExpectNothing(WhatConstructorCauses(GetParam()));
}

TEST_P(DriverContract, AnyInput_CausesNoFault)
{
    ExpectNothing(WhatInputsBreak(GetParam()));
}

TEST_P(DriverContract, AnyState_CausesNoFaultAndIsTakenOnce)
{
    ExpectNothing(WhatStatesBreak(GetParam()));
}

TEST_P(DriverContract, State_SurvivesARestart)
{
    ExpectNothing(WhatRestartLoses(GetParam()));
}

TEST_P(DriverContract, DestroyedDriver_LeavesNoTimer)
{
    ExpectNothing(WhatTimersAreLeft(GetParam()));
}

TEST_P(DriverContract, SameInputs_CauseTheSame)
{
    ExpectNothing(WhatDiffersTheSecondTime(GetParam()));
}

std::string ContractName(const testing::TestParamInfo<DriverUnderTest>&)
{
    return "driver";
}
} // namespace test_kit
