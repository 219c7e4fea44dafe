// The tables of faults: what can be added by name, and that the documents tell of each.
#include "simulated_devices/Faults.h"

#include "simulated_devices/KeypadOnBus.h"
#include "simulated_devices/MeteringPlug.h"
#include "simulated_devices/PuckModule.h"
#include "simulated_devices/WiredDimmer.h"
#include "simulated_devices/ZigbeeLight.h"
#include "tests/simulated_devices/TestWorld.h"

#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace simulated;
using testing::IsEmpty;

namespace
{
struct DeviceRow
{
    // The folder of its driver.
    const char* name;
    std::function<std::unique_ptr<SimulatedDevice>(DeviceEnvironment&)> make;
};

void PrintTo(const DeviceRow& row, std::ostream* os)
{
    *os << row.name;
}

const DeviceRow DEVICES[] = {
    {"puck",
     [](DeviceEnvironment& world)
     {
         return std::make_unique<PuckModule>(world, 6u);
     }},
    {"gen3_keypad",
     [](DeviceEnvironment& world)
     {
         return std::make_unique<KeypadOnBus>(world, 7u);
     }},
    {"wired_dimmer",
     [](DeviceEnvironment& world)
     {
         return std::make_unique<WiredDimmer>(world);
     }},
    {"zigbee_light",
     [](DeviceEnvironment& world)
     {
         return std::make_unique<ZigbeeLight>(world);
     }},
};

class FaultTables : public testing::TestWithParam<DeviceRow>
{
protected:
    simulated_test::TestWorld world;
    std::unique_ptr<SimulatedDevice> device = GetParam().make(world);
};

// Every attribute at that end of its range.
FaultValues AllAt(const FaultKind& kind, std::uint64_t FaultAttribute::*end)
{
    FaultValues values;
    for (const FaultAttribute& attribute : kind.attributes)
        values[attribute.name] = attribute.*end;
    return values;
}

// An attribute as the documents write it: "`every` 1 to 1000000 (10)", "`by` a time (200ms)".
std::string InWords(const FaultAttribute& attribute)
{
    const bool isTime = attribute.unit == FaultAttribute::Unit::Milliseconds;
    const std::string range =
        isTime ? "a time" : std::to_string(attribute.min) + " to " + std::to_string(attribute.max);
    return "`" + std::string(attribute.name) + "` " + range + " (" +
           std::to_string(attribute.byDefault) + (isTime ? "ms)" : ")");
}

std::string RowOf(const FaultKind& kind)
{
    std::string row = "| `" + std::string(kind.name) + "` | ";
    for (std::size_t i = 0; i < kind.attributes.size(); ++i)
        row += (i == 0 ? "" : ", ") + InWords(kind.attributes[i]);
    return row + (kind.attributes.empty() ? "| " : " | ") + kind.description + " |";
}

// The rows of the table of faults in the README of that driver.
std::vector<std::string> DocumentedRows(const std::string& driver)
{
    std::ifstream file(LIGHTING_SOURCE_DIR "/drivers/" + driver + "/README.md");
    std::vector<std::string> rows;
    bool inTable = false;
    for (std::string line; std::getline(file, line);)
    {
        const bool isRow = line.rfind("| `", 0) == 0;
        if (inTable && isRow)
            rows.push_back(line);
        if (line.rfind("| Fault, `kind` |", 0) == 0)
            inTable = true;
        else if (!isRow && line.rfind("|---", 0) != 0)
            inTable = false;
    }
    return rows;
}
} // namespace

TEST_P(FaultTables, EachKind_CanBeAddedWithItsDefaultsAndAtBothEndsOfItsRanges)
{
    ASSERT_NE(device->GetFaults(), nullptr);
    for (const FaultKind* const kind : device->GetFaults()->Kinds())
    {
        EXPECT_TRUE(device->AddFault(kind->name)) << kind->name;
        EXPECT_TRUE(device->AddFault(kind->name, AllAt(*kind, &FaultAttribute::min)));
        EXPECT_TRUE(device->AddFault(kind->name, AllAt(*kind, &FaultAttribute::max)));
        EXPECT_TRUE(device->AddFault(kind->name, AllAt(*kind, &FaultAttribute::byDefault)));
    }
    device->ClearFaults();
}

TEST_P(FaultTables, ValueOutsideItsRange_IsRefused)
{
    for (const FaultKind* const kind : device->GetFaults()->Kinds())
    {
        for (const FaultAttribute& attribute : kind->attributes)
        {
            EXPECT_FALSE(device->AddFault(kind->name, {{attribute.name, attribute.max + 1}}));
            // Before 0 comes the largest number there is, which is out of range too.
            EXPECT_FALSE(device->AddFault(kind->name, {{attribute.name, attribute.min - 1}}));
        }
    }
}

TEST_P(FaultTables, UnknownKindOrAttribute_IsRefused)
{
    EXPECT_FALSE(device->AddFault("sulks"));
    EXPECT_FALSE(device->AddFault(""));
    for (const FaultKind* const kind : device->GetFaults()->Kinds())
        EXPECT_FALSE(device->AddFault(kind->name, {{"depth", 1}})) << kind->name;
}

TEST_P(FaultTables, EachKind_IsARowOfTheDriversDocument)
{
    std::vector<std::string> rows;
    for (const FaultKind* const kind : device->GetFaults()->Kinds())
        rows.push_back(RowOf(*kind));
    EXPECT_THAT(rows, testing::Not(IsEmpty()));
    EXPECT_EQ(DocumentedRows(GetParam().name), rows);
}

INSTANTIATE_TEST_SUITE_P(Devices, FaultTables, testing::ValuesIn(DEVICES),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Faults, OfADeviceThatCanHaveNone_AreRefused)
{
    simulated_test::TestWorld world;
    MeteringPlug plug(world, LoadCurve({}));
    EXPECT_EQ(plug.GetFaults(), nullptr);
    EXPECT_FALSE(plug.AddFault("loses"));
    plug.ClearFaults();
}
