#include "lighting_host/switchboard/HouseText.h"

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/FlightRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{
constexpr const char* HOUSE = R"(<!-- A remark. -->
<house>
  <driver name="wall" type="puck" id="1">
    <state> <A>1 &amp; 2</A></state>
    <device simulated="true">
      <act at="2s" do="click" contact="0"/>
      <act at="9s" do="click" contact="1"/>
    </device>
  </driver>
  <driver name="sofa" type="wired_dimmer" id="2"/>
  <driver name="lamp" type="wired_dimmer" id="3"/>
  <load_group id="1"><member>sofa</member><member>lamp</member></load_group>
  <scene id="2" name="Dinner">
    <load driver="sofa" level="60" time="4s"/>
    <load driver="lamp" level="60" time="4s"/>
    <on driver="wall" button="1" do="click"/>
  </scene>
</house>
)";
} // namespace

TEST(HouseTextTest, NothingTakenAway_TextIsTheSame)
{
    const HouseText house(HOUSE);
    EXPECT_EQ(house.Text(), HOUSE);
    EXPECT_THAT(house.Drivers(), ElementsAre("wall", "sofa", "lamp"));
    EXPECT_THAT(house.Parts(),
                ElementsAre("wall: act", "wall: act", ": load_group", "Dinner: scene"));
}

TEST(HouseTextTest, DriverTakenAway_NothingNamesItAndTheRestIsAHouse)
{
    HouseText house(HOUSE);
    house.RemoveDriver("sofa");
    EXPECT_THAT(house.Text(), Not(HasSubstr("sofa")));
    const HouseFile file = ParseHouseFile(house.Text(), ".");
    EXPECT_THAT(file.errors, IsEmpty());
    ASSERT_EQ(file.drivers.size(), 2u);
    EXPECT_THAT(file.groups[0].members, ElementsAre("lamp"));
    EXPECT_EQ(file.scenes[0].loads.size(), 1u);
}

TEST(HouseTextTest, UsesOfAButtonThatIsGone_AreGoneToo)
{
    HouseText house(HOUSE);
    house.RemoveDriver("wall");
    const HouseFile file = ParseHouseFile(house.Text(), ".");
    EXPECT_THAT(file.errors, IsEmpty());
    EXPECT_THAT(file.scenes[0].uses, IsEmpty());
}

TEST(HouseTextTest, PartsTakenAway_OthersKeepTheirPlaces)
{
    HouseText house(HOUSE);
    house.RemovePart(0);
    house.RemovePart(3);
    EXPECT_THAT(house.Text(), Not(HasSubstr("at=\"2s\"")));
    EXPECT_THAT(house.Text(), HasSubstr("at=\"9s\""));
    EXPECT_THAT(house.Text(), Not(HasSubstr("Dinner")));
    EXPECT_THAT(house.Text(), HasSubstr("<load_group"));
}

TEST(HouseTextTest, LibraryOfATypeOrName_IsSetAtEachOfThem)
{
    HouseText house(HOUSE);
    EXPECT_TRUE(house.SetLibrary("wired_dimmer", "/new.so"));
    EXPECT_TRUE(house.SetLibrary("lamp", "/newer.so"));
    EXPECT_FALSE(house.SetLibrary("nobody", "/new.so"));
    EXPECT_THAT(house.Text(),
                HasSubstr(R"(name="sofa" type="wired_dimmer" id="2" library="/new.so")"));
    EXPECT_THAT(house.Text(),
                HasSubstr(R"(name="lamp" type="wired_dimmer" id="3" library="/newer.so")"));
}

TEST(HouseTextTest, NoHouse_IsRefused)
{
    for (const char* text : {"", "<house", "<flat/>", "no xml"})
        EXPECT_THROW(HouseText{text}, RecordError) << text;
}
