// What the READMEs of the drivers list is what the drivers have: commands, variables and bindings.

#include "drivers/energy_switch/EnergySwitchDriver.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/puck/PuckDriver.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_common/Names.h"
#include "test_kit/OneDriverHouse.h"

#include <fstream>
#include <iterator>
#include <ostream>
#include <regex>
#include <set>
#include <string>

#include <gmock/gmock.h>

namespace
{
using test_kit::OneDriverHouse;

struct Described
{
    const char* folder;
    void (*start)(OneDriverHouse& house);
};

void PrintTo(const Described& type, std::ostream* out)
{
    *out << type.folder;
}

template <class Driver>
void Start(OneDriverHouse& house)
{
    house.Start<Driver>();
}

class DriverReadmesTest : public testing::TestWithParam<Described>
{
protected:
    DriverReadmesTest() { GetParam().start(m_house); }
    ~DriverReadmesTest() override
    {
        m_house.Stop();
        m_house.Take();
    }

    // The text of a section of the README, up to the next one.
    static std::string Section(const std::string& heading)
    {
        std::ifstream file(std::string(LIGHTING_SOURCE_DIR "/drivers/") + GetParam().folder +
                           "/README.md");
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const std::size_t begin = text.find("\n## " + heading + "\n");
        EXPECT_NE(begin, std::string::npos) << heading;
        return text.substr(begin + 1, text.find("\n## ", begin + 1) - begin);
    }

    // Everything in the first cells of a section's rows that the expression finds.
    static std::set<std::string> InFirstCells(const std::string& heading, const char* expression)
    {
        const std::string text = Section(heading);
        const std::regex cell("\n\\|([^|]*)\\|");
        const std::regex word(expression);
        std::set<std::string> found;
        for (std::sregex_iterator row(text.begin(), text.end(), cell), end; row != end; ++row)
        {
            const std::string first = (*row)[1];
            for (std::sregex_iterator at(first.begin(), first.end(), word); at != end; ++at)
                found.insert((*at)[1]);
        }
        return found;
    }

    // Whole numbers that stand alone: "1014, 1015", but nothing of "300 + k".
    static std::set<std::string> Ids(const std::string& heading)
    {
        return InFirstCells(heading, "(?:^ |, )(\\d+)(?=, | $)");
    }

    bool Handles(const std::string& command)
    {
        m_house.Take();
        m_house.Command(command);
        return m_house.TakeOnly("unhandled").empty();
    }

    template <class Things>
    static std::set<std::string> IdsOf(const Things& things)
    {
        std::set<std::string> ids;
        for (const auto& thing : things)
            ids.insert(std::to_string(thing.id));
        return ids;
    }

    OneDriverHouse m_house;
};
} // namespace

TEST_P(DriverReadmesTest, ListedCommands_AreHandled)
{
    const std::set<std::string> listed = InFirstCells("Commands", "\"(\\w+)\"");
    EXPECT_FALSE(listed.empty());
    for (const std::string& command : listed)
        EXPECT_TRUE(Handles(command)) << command;
}

TEST_P(DriverReadmesTest, SharedNamesThatAreNotListed_AreNoCommands)
{
    const std::set<std::string> listed = InFirstCells("Commands", "\"(\\w+)\"");
    for (const auto* names : {&names::AllGeneral(), &names::AllPuck()})
    {
        for (const std::string& name : *names)
            EXPECT_EQ(Handles(name), listed.count(name) != 0) << name;
    }
}

TEST_P(DriverReadmesTest, VariablesOfAFreshDriver_AreThoseListed)
{
    EXPECT_EQ(IdsOf(m_house.Host().Variables()), Ids("Variables"));
}

TEST_P(DriverReadmesTest, BindingsOfAFreshDriver_AreThoseListed)
{
    EXPECT_EQ(IdsOf(m_house.Host().Bindings()), Ids("Bindings"));
}

INSTANTIATE_TEST_SUITE_P(Drivers, DriverReadmesTest,
                         testing::Values(Described{"puck", &Start<PuckDriver>},
                                         Described{"gen3_keypad", &Start<Gen3KeypadDriver>},
                                         Described{"zigbee_light", &Start<ZigbeeLightDriver>},
                                         Described{"wired_dimmer", &Start<WiredDimmerDriver>},
                                         Described{"energy_switch", &Start<EnergySwitchDriver>}));
