#include "embedded_host/Output.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/TrafficWatch.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
// A driver of a library of its own, whose <device> has these attributes.
HouseFileDriver Doorbell(const std::string& attributes)
{
    HouseFileDriver driver;
    driver.name = "door";
    driver.type = "doorbell";
    driver.library = "/lib/libdoorbell.so";
    driver.device =
        nx::CreateXmlDocument("<device simulated=\"true\" " + attributes + "/>")->GetRoot();
    return driver;
}

TEST(DriverTypesTest, Names_StandOnceEach)
{
    std::set<std::string> types;
    std::set<std::string> kinds;
    for (const DriverType& type : DriverTypes())
    {
        EXPECT_TRUE(types.insert(type.name).second) << type.name;
        EXPECT_TRUE(kinds.insert(type.device.name).second) << type.device.name;
        EXPECT_EQ(FindDriverType(type.name), &type);
    }
    EXPECT_EQ(FindDriverType("toaster"), nullptr);
}

// Once such a house was called good, and its device was never made.
TEST(DriverTypesTest, DeviceOfALibrarysDriver_NeedsAKind)
{
    const std::string wrong = CheckDevice(Doorbell("hold_interval=\"nonsense\" foo=\"1\""));
    EXPECT_THAT(wrong, StartsWith("a <device> of a driver of type \"doorbell\" needs a kind"));
    EXPECT_THAT(wrong, HasSubstr("puck_module"));
}

TEST(DriverTypesTest, DeviceOfALibrarysDriver_IsOfTheKindThatItNames)
{
    EXPECT_EQ(CheckDevice(Doorbell("kind=\"puck_module\"")), "");
    EXPECT_STREQ(DeviceKindOf(Doorbell("kind=\"puck_module\""))->name, "puck_module");
    EXPECT_THAT(CheckDevice(Doorbell("kind=\"puck_module\" foo=\"1\"")), HasSubstr("foo"));
}

TEST(DriverTypesTest, UnknownKindOfDevice_IsToldWithTheKnownOnes)
{
    const std::string wrong = CheckDevice(Doorbell("kind=\"toaster\""));
    EXPECT_THAT(wrong, StartsWith("unknown kind \"toaster\" of <device>; there are "));
    for (const DriverType& type : DriverTypes())
        EXPECT_THAT(wrong, HasSubstr(type.device.name));
}

TEST(DriverTypesTest, KindGoesBeforeTheDriversType)
{
    HouseFileDriver driver = Doorbell("kind=\"metering_plug\"");
    driver.type = "puck";
    EXPECT_STREQ(DeviceKindOf(driver)->name, "metering_plug");
}

// What the watch of a dimmer's traffic makes of an element with that id, and of one without any.
TEST(DriverTypesTest, ElementSentAgainUnasked_IsARepair)
{
    const auto watch = FindDriverType("wired_dimmer")->device.watch();
    NxMIBPacket element(NxMIB::Set, "nx.als.sad");
    EXPECT_EQ(watch->OnSent(embedded_host::MibSent{element}, false),
              TrafficWatch::Meaning::Message);
    element.AddParam("0005");
    EXPECT_EQ(watch->OnSent(embedded_host::MibSent{element}, false),
              TrafficWatch::Meaning::Message);
    EXPECT_EQ(watch->OnSent(embedded_host::MibSent{element}, true), TrafficWatch::Meaning::Message);
    EXPECT_EQ(watch->OnSent(embedded_host::MibSent{element}, false), TrafficWatch::Meaning::Repair);
}
} // namespace
