// What a large house takes while it lives: no driver costs more for having been restored.

#include "lighting_host/house/HouseFile.h"
#include "lighting_host/switchboard/Protocol.h"

#include <iostream>
#include <malloc.h>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace lighting_host
{
namespace
{
constexpr unsigned PUCKS = 1000;

std::string Contact(unsigned number)
{
    return fmt::format("<CONTACT_STATUS><CONTACT_NUMBER>{}</CONTACT_NUMBER><BEHAVIOR>2</BEHAVIOR>"
                       "<CURRENT_STATE>1</CURRENT_STATE><AUX_LEDS>2</AUX_LEDS>"
                       "<VIRTUAL_COLOR>00ff00</VIRTUAL_COLOR><TOP_ON_COLOR>ffffff</TOP_ON_COLOR>"
                       "<TOP_OFF_COLOR>000000</TOP_OFF_COLOR><BOTTOM_ON_COLOR>ffffff"
                       "</BOTTOM_ON_COLOR><BOTTOM_OFF_COLOR>000000</BOTTOM_OFF_COLOR>"
                       "</CONTACT_STATUS>",
                       number);
}

std::string HouseOfPucks(const std::string& content)
{
    std::string house = "<house>";
    for (unsigned i = 0; i < PUCKS; ++i)
        house +=
            fmt::format("<driver name=\"p{0}\" type=\"puck\" id=\"{0}\">{1}</driver>", i, content);
    return house + "</house>";
}

// Bytes that a puck takes of the heap while its house lives.
std::size_t BytesAPuck(const std::string& content)
{
    const std::string text = HouseOfPucks(content);
    const std::size_t before = mallinfo2().uordblks;
    HouseFile file = ParseHouseFile(text, "");
    EXPECT_TRUE(file.errors.empty());
    Protocol protocol(file, SessionOptions(), [](const char*, const std::string&) {});
    ForgetStart(file);
    protocol.Start();
    return (mallinfo2().uordblks - before) / PUCKS;
}

TEST(HouseMemory, RestoredPuck_TakesLittleMoreThanAFreshOne)
{
    const std::size_t fresh = BytesAPuck("");
    const std::size_t restored =
        BytesAPuck("<state><ALL_CONTACTS>" + Contact(1) + Contact(2) + "</ALL_CONTACTS></state>");
    std::cout << fresh << " bytes fresh, " << restored << " restored\n";
    // What tells a damaged count from a good one: a puck is more than its name.
    EXPECT_GT(fresh, 500u);
    EXPECT_LE(restored, fresh + 1200);
}
} // namespace
} // namespace lighting_host
