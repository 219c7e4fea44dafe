// What a puck's inputs do beside what the driver itself does.

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

class PuckAdapterTest : public testing::Test
{
protected:
    PuckAdapterTest()
    {
        m_session.Start();
        m_session.House().onPersistRequested = [this](nx::DriverHost&)
        {
            ++m_requests;
        };
    }
    ~PuckAdapterTest() override { m_session.Stop(); }

    // Does that with snap-on button 0, and says how often the state was asked to be saved.
    int RequestsOf(const std::string& action)
    {
        nx::DriverHost& driver = *m_session.House().Find("p");
        const Json input = Json::parse(R"({"button":{"index":0,"action":)" + action + "}}");
        Fields fields(input, "the input");
        const auto act = m_session.AdapterOf(driver)->PrepareInput("button", fields);
        m_requests = 0;
        const embedded_host::HostScope scope(driver);
        act();
        return m_requests;
    }

private:
    NoSink m_sink;
    Session m_session{ParseHouseFile("<house><driver name=\"p\" type=\"puck\" id=\"1\">"
                                     "<config><NUM_BUTTONS>1</NUM_BUTTONS></config>"
                                     "</driver></house>",
                                     "."),
                      Silent(), m_sink};
    int m_requests = 0;
};
} // namespace

TEST_F(PuckAdapterTest, SettingOfASnapOnButton_IsAskedToBeSaved)
{
    EXPECT_EQ(RequestsOf(R"("behavior","value":3)"), 1);
    EXPECT_EQ(RequestsOf(R"("on_color","color":"00ff00")"), 1);
    EXPECT_EQ(RequestsOf(R"("off_color","color":"000010")"), 1);
    EXPECT_EQ(RequestsOf(R"("local_led","value":false)"), 1);
    EXPECT_EQ(RequestsOf(R"("follow_bound","value":true)"), 1);
}

TEST_F(PuckAdapterTest, WhatIsNoPartOfTheState_IsNotAskedToBeSaved)
{
    EXPECT_EQ(RequestsOf(R"("cur_state","value":1)"), 0);
    EXPECT_EQ(RequestsOf(R"("cur_color","color":"ffffff")"), 0);
    EXPECT_EQ(RequestsOf(R"("send_settings")"), 0);
}
