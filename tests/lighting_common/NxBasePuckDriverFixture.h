#pragma once

#include "lighting_common/ContactButton.h"
#include "lighting_common/NxBasePuckDriver.h"
#include "test_kit/OneDriverHouse.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace base_puck_test
{
using test_kit::Lines;
using test_kit::OneDriverHouse;

inline const Lines NOTHING;
inline const char STATE[] = "<State><ALL_CONTACTS>"
                            "<CONTACT_STATUS><CONTACT_NUMBER>0</CONTACT_NUMBER>"
                            "<AUX_BEHAVIOR>1</AUX_BEHAVIOR><AUX_LEDS>0</AUX_LEDS></CONTACT_STATUS>"
                            "<CONTACT_STATUS><CONTACT_NUMBER>1</CONTACT_NUMBER>"
                            "<AUX_BEHAVIOR>5</AUX_BEHAVIOR><AUX_LEDS>4</AUX_LEDS></CONTACT_STATUS>"
                            "</ALL_CONTACTS></State>";
inline const char LOST_BUTTON[] =
    "log WARN lighting_common/NxBasePuckDriver: Got in a button trap that "
    "doesn't map to a button ";

// The base class as it is, opened for looking.
class BareDriver : public NxBasePuckDriver
{
public:
    explicit BareDriver(IInstanceManager& instances) : NxBasePuckDriver(instances, NX_DRIVER_LIGHT)
    {
    }
    ContactButton& Contact(unsigned index) { return *buttons.at(index); }
    std::size_t Contacts() const { return buttons.size(); }
    bool HoldFeedback() const { return holdFeedback; }
    unsigned HoldTime() const { return holdTimeMs; }
};

class NxBasePuckDriverTest : public testing::Test
{
protected:
    OneDriverHouse house;
    BareDriver* driver = nullptr;

    // A module with a load and two fresh contacts.
    void Start()
    {
        house.Capability("load_present", "true");
        StartAsItIs();
        house.Take();
    }
    void StartAsItIs() { driver = &house.Start<BareDriver>(); }
    void StartFrom(const std::string& state)
    {
        house.State(state);
        StartAsItIs();
    }
    void Set(unsigned contact, int behavior, int ledBehavior)
    {
        house.CallDriver(
            [&]
            {
                driver->Contact(contact).SetBehavior(behavior, false);
                driver->Contact(contact).SetLEDBehavior(ledBehavior, false);
            });
        house.Take();
    }
    void HoldTimeIs(const std::string& hex)
    {
        house.Reply("nx.dmx.bmc", {hex});
        EXPECT_EQ(house.Take(), NOTHING);
    }
    void TearDown() override
    {
        if (!driver)
            return;
        house.Stop();
        const Lines last = house.Take();
        EXPECT_EQ(last.size(), 2 * m_contactsAtEnd);
    }
    std::size_t m_contactsAtEnd = 2;
};

inline Lines SettingsOf(const std::string& id, const std::string& device,
                        const std::string& behavior, const Lines& led)
{
    Lines lines = {"mib 4 nx.dmx.btn " + device + " 01 " + behavior};
    for (const std::string& rest : led)
        lines.push_back("mib 4 nx.dmx.led " + id + " " + rest);
    return lines;
}
inline const Lines LED_OF_CONTACT_0 = {"01 02", "00 07", "02 00", "03 ffffff", "04 000000"};
inline const Lines LED_OF_CONTACT_1 = {"01 02", "00 08", "02 00", "03 ffffff", "04 000000"};
inline const Lines LED_OF_LOAD = {"01 01", "00 00", "02 01", "03 ffffff", "04 000000"};

inline Lines Joined(const std::vector<Lines>& parts)
{
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}
inline const Lines MADE = {"variable add 1014 'Aux 1' '0'", "variable add 1015 'Aux 2' '0'",
                           "binding add 1 'Aux 1' BUTTON_LINK",
                           "binding add 2 'Aux 2' BUTTON_LINK"};
} // namespace base_puck_test
