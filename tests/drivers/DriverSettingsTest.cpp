// The settings of each type of driver: what their tables say is what the READMEs say.

#include "drivers/DriverSettings.h"

#include "drivers/energy_switch/EnergySwitchDriver.h"
#include "drivers/energy_switch/EnergySwitchSettings.h"
#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "drivers/gen3_keypad/Gen3KeypadSettings.h"
#include "drivers/puck/PuckDriver.h"
#include "drivers/puck/PuckSettings.h"
#include "drivers/wired_dimmer/WiredDimmerDriver.h"
#include "drivers/wired_dimmer/WiredDimmerSettings.h"
#include "drivers/zigbee_light/ZigbeeLightDriver.h"
#include "drivers/zigbee_light/ZigbeeLightSettings.h"
#include "nxshared/XmlDocument.h"
#include "nxshared/XmlNode.h"
#include "test_kit/OneDriverHouse.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
using drivers::Setting;

struct Documented
{
    const char* folder;
    const drivers::Schema& (*schema)();
};

void PrintTo(const Documented& type, std::ostream* out)
{
    *out << type.folder;
}

class DriverSettingsTest : public testing::TestWithParam<Documented>
{
protected:
    static std::string Readme()
    {
        std::ifstream file(std::string(LIGHTING_SOURCE_DIR) + "/drivers/" + GetParam().folder +
                           "/README.md");
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
};

// What of an element of a state its type's table does not know or does not allow.
std::vector<std::string> Unknown(const nx::XmlNode& parent, const std::string& name,
                                 const std::vector<drivers::StateElement>& rows)
{
    std::vector<std::string> unknown;
    for (std::size_t i = 0; i < parent.GetChildCount(); ++i)
    {
        const auto child = parent.GetChildAt(i);
        const auto row =
            std::find_if(rows.begin(), rows.end(),
                         [&](const drivers::StateElement& element)
                         { return name == element.parent && child->GetName() == element.name; });
        if (row == rows.end())
            unknown.push_back(name + "/" + child->GetName());
        else if (row->kind == drivers::StateElement::Group)
        {
            const auto more = Unknown(*child, row->name, rows);
            unknown.insert(unknown.end(), more.begin(), more.end());
        }
        else if (row->kind == drivers::StateElement::Number)
        {
            const std::int64_t value = std::stoll(child->GetData());
            if (value < row->least || value > row->most)
                unknown.push_back(name + "/" + child->GetName() + " " + child->GetData());
        }
    }
    return unknown;
}

// Runs a driver of that class, with a scene and a button where it has such, and looks at its state.
template <class Driver>
void ExpectOwnStateToBeKnown(const drivers::Schema& schema)
{
    test_kit::OneDriverHouse house;
    house.Start<Driver>();
    house.Command("NEW_KEYPAD_BUTTON", {{"BUTTON_ID", "1"}, {"SLOTS", "1"}});
    house.Command("ADD_TO_SCENE", {{"SCENE_ID", "65537"}, {"LEVEL", "0"}, {"TIME", "0"}});
    const auto document = nx::CreateXmlDocument(house.Persist());
    EXPECT_THAT(Unknown(*document->GetRoot(), "", schema.state), testing::IsEmpty());
    EXPECT_GT(document->GetRoot()->GetChildCount(), 0u);
    house.Take();
}

std::int64_t Read(const Setting& setting, const std::string& xml)
{
    const auto document = nx::CreateXmlDocument(xml);
    return drivers::ReadSetting(document->GetRoot().get(), setting);
}
} // namespace

TEST_P(DriverSettingsTest, Readme_HasARowForEachSetting)
{
    const std::string readme = Readme();
    for (const Setting& row : GetParam().schema().settings)
        EXPECT_THAT(readme, testing::HasSubstr(fmt::format(
                                "| `{}` | whole number | {} | {} to {} | {} | {} |\n", row.name,
                                row.unit, row.least, row.most, row.usual, row.meaning)));
    const std::string head = "| Setting | Type | Unit | Range | Default | Meaning |\n";
    EXPECT_EQ(readme.find(head) != std::string::npos, !GetParam().schema().settings.empty());
}

TEST_P(DriverSettingsTest, ReadmesStateSection_NamesEachElement)
{
    const std::string readme = Readme();
    const std::size_t begin = readme.find("\n## State\n");
    ASSERT_NE(begin, std::string::npos);
    const std::string section = readme.substr(begin, readme.find("\n## ", begin + 1) - begin);
    for (const drivers::StateElement& row : GetParam().schema().state)
        EXPECT_THAT(section, testing::HasSubstr(fmt::format("`{}`", row.name)));
}

TEST_P(DriverSettingsTest, EachElementOfTheState_StandsInAGroupNamedBefore)
{
    std::set<std::string> groups{""};
    for (const drivers::StateElement& row : GetParam().schema().state)
    {
        EXPECT_EQ(groups.count(row.parent), 1u) << row.name;
        if (row.kind == drivers::StateElement::Group)
            groups.insert(row.name);
    }
}

TEST_P(DriverSettingsTest, UsualValue_IsWithinTheRange)
{
    for (const Setting& row : GetParam().schema().settings)
    {
        EXPECT_LE(row.least, row.usual) << row.name;
        EXPECT_GE(row.most, row.usual) << row.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DriverSettingsTest,
                         testing::Values(Documented{"puck", &puck::Settings},
                                         Documented{"gen3_keypad", &gen3_keypad::Settings},
                                         Documented{"zigbee_light", &zigbee_light::Settings},
                                         Documented{"wired_dimmer", &wired_dimmer::Settings},
                                         Documented{"energy_switch", &energy_switch::Settings}));

TEST(OwnStateTest, NumbersThatAreBounded_HaveTheirBounds)
{
    using Range = std::pair<std::int64_t, std::int64_t>;
    std::map<std::string, Range> ranges;
    for (const drivers::Schema* schema :
         {&puck::Settings(), &gen3_keypad::Settings(), &zigbee_light::Settings()})
    {
        for (const drivers::StateElement& row : schema->state)
        {
            if (row.least != INT32_MIN && std::string(row.parent) != "ENERGY_DATA")
                ranges[row.name] = {row.least, row.most};
        }
    }
    EXPECT_EQ(ranges, (std::map<std::string, Range>{{"CONTACT_NUMBER", {0, 1}},
                                                    {"BUTTON_NUMBER", {0, 5}},
                                                    {"BUTTON_ID", {-128, 127}},
                                                    {"SceneID", {0, 4294967295}},
                                                    {"Level", {0, 100}},
                                                    {"Time", {0, INT32_MAX}}}));
}

TEST(OwnStateTest, EachTypesState_IsWhatItsTableSays)
{
    ExpectOwnStateToBeKnown<PuckDriver>(puck::Settings());
    ExpectOwnStateToBeKnown<Gen3KeypadDriver>(gen3_keypad::Settings());
    ExpectOwnStateToBeKnown<ZigbeeLightDriver>(zigbee_light::Settings());
    ExpectOwnStateToBeKnown<WiredDimmerDriver>(wired_dimmer::Settings());
    ExpectOwnStateToBeKnown<EnergySwitchDriver>(energy_switch::Settings());
}

TEST(EnergyStateTest, Ranges_AreThoseOfWhatIsCounted)
{
    using Range = std::pair<std::int64_t, std::int64_t>;
    const Range counted{0, INT32_MAX};
    const Range total{INT32_MIN, INT32_MAX};
    const Range hundredths{0, 99};
    std::map<std::string, Range> ranges;
    for (const drivers::StateElement& row : energy_switch::Settings().state)
    {
        if (std::string(row.parent) == "ENERGY_DATA")
            ranges[row.name] = {row.least, row.most};
    }
    EXPECT_EQ(ranges, (std::map<std::string, Range>{{"MINUTES_ON", counted},
                                                    {"MINUTES_ON_TODAY", counted},
                                                    {"MINUTES_OFF", counted},
                                                    {"ENERGY_USED", total},
                                                    {"ENERGY_USED_TODAY", total},
                                                    {"ENERGY_FRAC", hundredths},
                                                    {"TODAY_FRAC", hundredths}}));
}

TEST(ReadSettingTest, NumberIsRead_AndWithoutOneTheUsualValueHolds)
{
    const Setting setting{"pause", "seconds", 0, 100, 5, "a pause"};
    EXPECT_EQ(drivers::ReadSetting(nullptr, setting), 5);
    EXPECT_EQ(Read(setting, "<config/>"), 5);
    EXPECT_EQ(Read(setting, "<config><pause>7</pause></config>"), 7);
    EXPECT_EQ(Read(setting, "<config><pause>-1</pause></config>"), -1);
    EXPECT_EQ(Read(setting, "<config><pause>12 monkeys</pause></config>"), 12);
    EXPECT_EQ(Read(setting, "<config><pause>4294967297</pause></config>"), 4294967297);
}
