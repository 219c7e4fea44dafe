// Tables for a person: as wide as they like, and within the columns of a narrow terminal.

#include "lighting_host/text/TextTable.h"

#include <sstream>

#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
using Align = TextTable::Align;

std::string Written(const TextTable& table, std::size_t room, bool colored = false)
{
    std::ostringstream out;
    table.Write(out, room, Style(colored));
    return out.str();
}

TextTable Loads()
{
    TextTable table(
        {{"load", Align::Left, 8}, {"on", Align::Right, 6}, {"used", Align::Right}, {"state"}});
    table.Add({"sofa", "00:10", "1.5 kWh", "level: 40 %; scenes: 2"});
    table.Add({"ceiling", "12:00", "22 kWh", "off"});
    return table;
}
} // namespace

TEST(TextTableTest, RoomEnough_IsOneTableOfItsLeastWidths)
{
    const std::string wide = "\n"
                             "load          on     used  state\n"
                             "sofa       00:10  1.5 kWh  level: 40 %; scenes: 2\n"
                             "ceiling    12:00   22 kWh  off\n";
    EXPECT_EQ(Written(Loads(), 0), wide);
    EXPECT_EQ(Written(Loads(), 49), wide);
}

TEST(TextTableTest, OneColumnTooFew_IsWrittenMoreClosely)
{
    EXPECT_EQ(Written(Loads(), 48), "\n"
                                    "load        on     used  state\n"
                                    "sofa     00:10  1.5 kWh  level: 40 %; scenes: 2\n"
                                    "ceiling  12:00   22 kWh  off\n");
}

TEST(TextTableTest, NarrowTerminal_HasTheRestBelowAndLongTextsWrapped)
{
    EXPECT_EQ(Written(Loads(), 24), "\n"
                                    "load        on     used\n"
                                    "sofa     00:10  1.5 kWh\n"
                                    "ceiling  12:00   22 kWh\n"
                                    "\n"
                                    "load     state\n"
                                    "sofa     level: 40 %;\n"
                                    "         scenes: 2\n"
                                    "ceiling  off\n");
}

TEST(TextTableTest, WordLongerThanItsRoom_IsBrokenBetweenCharacters)
{
    TextTable table({{"name"}, {"what"}});
    table.Add({"Flügeltür im Erdgeschoß", "ÄÖÜÄÖÜÄÖÜÄÖÜÄÖÜ"});
    EXPECT_EQ(Written(table, 20), "\n"
                                  "name      what\n"
                                  "Flügeltü  ÄÖÜÄÖÜÄÖÜÄ\n"
                                  "r im      ÖÜÄÖÜ\n"
                                  "Erdgesch\n"
                                  "oß\n");
}

TEST(TextTableTest, Colors_AreForTheHeadAlone)
{
    TextTable table({{"a"}});
    table.Add({"b"});
    EXPECT_EQ(Written(table, 0, true), "\n\x1b[1ma\x1b[0m\nb\n");
}
} // namespace lighting_host
