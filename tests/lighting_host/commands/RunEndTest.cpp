// How a run of a house begins and ends: in virtual and in real time, on a terminal, and not at all.

#include "tests/lighting_host/HouseFolder.h"

#include <sstream>

#include <gmock/gmock.h>

namespace lighting_host
{
namespace
{
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string HOUSE = R"(<house>
  <driver name="hall" type="puck" id="101"><device simulated="true">
    <act at="2s" do="press" contact="0"/>
  </device></driver>
  <driver name="stairs" type="gen3_keypad" id="102"><state><ALL_BUTTONS>
    <KEYPAD_BUTTON_INFO><BUTTON_ID>1</BUTTON_ID><SLOTS>1</SLOTS></KEYPAD_BUTTON_INFO>
  </ALL_BUTTONS></state><device simulated="true">
    <act at="5s" button="1"/>
  </device></driver>
  <driver name="sofa" type="zigbee_light" id="201"><device simulated="true"/></driver>
  <driver name="ceiling" type="wired_dimmer" id="202"><device simulated="true"/></driver>
  <driver name="kettle" type="energy_switch" id="303"><device simulated="true">
    <step at="0s" watts="600"/>
  </device></driver>
</house>
)";

class RunEndTest : public testing::Test
{
protected:
    int Run(const std::string& house)
    {
        std::ostringstream out;
        std::ostringstream err;
        const int status = RunHouse(folder.Write("house.xml", house), options, out, err);
        told = Lines(out.str());
        complained = err.str();
        return status;
    }

    HouseFolder folder;
    RunOptions options;
    std::vector<std::string> told;
    std::string complained;
};
} // namespace

TEST_F(RunEndTest, VirtualTime_TellsWhatPeopleDidAndWhatEveryLoadUsed)
{
    options.forMs = 3600 * 1000;
    EXPECT_EQ(Run(HOUSE), 0);
    EXPECT_EQ(complained, "");
    EXPECT_THAT(told, Contains(AllOf(HasSubstr("hall "), HasSubstr("somebody pushes contact 0"))));
    EXPECT_THAT(told, Contains(AllOf(HasSubstr("stairs "), HasSubstr("clicks button 1"))));
    EXPECT_THAT(told, Contains(AllOf(HasSubstr("kettle "), HasSubstr("600 W"), HasSubstr("kWh"))));
}

TEST_F(RunEndTest, Terminal_IsShownHowFarItIs)
{
    options.forMs = 120 * 1000;
    options.terminal = true;
    EXPECT_EQ(Run(HOUSE), 0);
    EXPECT_THAT(complained, HasSubstr(" 50%  "));
    EXPECT_THAT(complained, testing::EndsWith("\r\x1b[K"));
}

TEST_F(RunEndTest, RealTime_EndsWhenTheTimeIsUp)
{
    options.forMs = 30;
    options.session.realTime = true;
    EXPECT_EQ(Run(HOUSE), 0);
    EXPECT_THAT(told, Contains(HasSubstr("kettle ")));
}

TEST_F(RunEndTest, HouseThatIsNotRight_IsNotRun)
{
    EXPECT_EQ(Run("<house><driver name=\"a\" type=\"puck\" id=\"1\"><device simulated=\"true\">"
                  "<attic/></device></driver></house>"),
              1);
    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(complained, HasSubstr("<attic>"));
}
} // namespace lighting_host
