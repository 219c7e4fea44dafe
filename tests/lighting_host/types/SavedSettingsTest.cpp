// What inputs set at a button is asked to be saved.

#include "embedded_host/DriverHost.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/House.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverAdapter.h"

#include <string>

#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

using namespace lighting_host;

namespace
{
class NoSink : public embedded_host::OutputSink
{
public:
    void Write(const embedded_host::Output&) override {}
};

SessionOptions Silent()
{
    SessionOptions options;
    options.logLevel = log4cplus::OFF_LOG_LEVEL;
    return options;
}

class SavedSettingsTest : public testing::Test
{
protected:
    SavedSettingsTest()
    {
        m_session.Start();
        m_session.House().onPersistRequested = [this](nx::DriverHost&)
        {
            ++m_requests;
        };
    }
    ~SavedSettingsTest() override { m_session.Stop(); }

    // Does that with a button of one of the drivers, and says how often the state was asked to be
    // saved.
    int RequestsOf(const std::string& name, const std::string& button)
    {
        nx::DriverHost& driver = *m_session.House().Find(name);
        const Json input = Json::parse(R"({"button":{)" + button + "}}");
        Fields fields(input, "the input");
        const auto act = m_session.AdapterOf(driver)->PrepareInput("button", fields);
        m_requests = 0;
        const embedded_host::HostScope scope(driver);
        act();
        return m_requests;
    }

    // The same with the puck's snap-on button 0 and the keypad's button 1.
    int OfSnapOn(const std::string& action)
    {
        return RequestsOf("puck", R"("index":0,"action":)" + action);
    }
    int OfKeypad(const std::string& action)
    {
        return RequestsOf("keypad", R"("id":1,"action":)" + action);
    }

private:
    NoSink m_sink;
    Session m_session{
        ParseHouseFile("<house><driver name=\"puck\" type=\"puck\" id=\"1\">"
                       "<config><NUM_BUTTONS>1</NUM_BUTTONS></config></driver>"
                       "<driver name=\"keypad\" type=\"gen3_keypad\" id=\"2\"><state><ALL_BUTTONS>"
                       "<KEYPAD_BUTTON_INFO><BUTTON_ID>1</BUTTON_ID><SLOTS>1</SLOTS>"
                       "</KEYPAD_BUTTON_INFO></ALL_BUTTONS></state></driver></house>",
                       "."),
        Silent(), m_sink};
    int m_requests = 0;
};
} // namespace

TEST_F(SavedSettingsTest, SettingOfASnapOnButton_IsAskedToBeSaved)
{
    EXPECT_EQ(OfSnapOn(R"("behavior","value":3)"), 1);
    EXPECT_EQ(OfSnapOn(R"("on_color","color":"00ff00")"), 1);
    EXPECT_EQ(OfSnapOn(R"("off_color","color":"000010")"), 1);
    EXPECT_EQ(OfSnapOn(R"("local_led","value":false)"), 1);
    EXPECT_EQ(OfSnapOn(R"("follow_bound","value":true)"), 1);
}

TEST_F(SavedSettingsTest, WhatASnapOnButtonDoesNotKeep_IsNotAskedToBeSaved)
{
    EXPECT_EQ(OfSnapOn(R"("cur_state","value":1)"), 0);
    EXPECT_EQ(OfSnapOn(R"("cur_color","color":"ffffff")"), 0);
    EXPECT_EQ(OfSnapOn(R"("send_settings")"), 0);
}

TEST_F(SavedSettingsTest, SettingOfAKeypadsButton_IsAskedToBeSaved)
{
    EXPECT_EQ(OfKeypad(R"("behavior","value":2)"), 1);
    EXPECT_EQ(OfKeypad(R"("led_behavior","value":2)"), 1);
    EXPECT_EQ(OfKeypad(R"("on_color","color":"00ff00")"), 1);
    EXPECT_EQ(OfKeypad(R"("off_color","color":"000010")"), 1);
    EXPECT_EQ(OfKeypad(R"("reset")"), 1);
}

TEST_F(SavedSettingsTest, WhatAKeypadsButtonDoesNotKeep_IsNotAskedToBeSaved)
{
    EXPECT_EQ(OfKeypad(R"("push")"), 0);
    EXPECT_EQ(OfKeypad(R"("remote_click")"), 0);
    EXPECT_EQ(OfKeypad(R"("blink","value":2)"), 0);
    EXPECT_EQ(OfKeypad(R"("cur_color","color":"ffffff")"), 0);
    EXPECT_EQ(OfKeypad(R"("send_settings")"), 0);
}
