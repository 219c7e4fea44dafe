// Any messages from a broker for a house on it: what goes on to the house is a line that its
// drivers understand, and every other message is refused in words.
//
// An input is messages between blank lines: the topic, after "!" when it is retained and after "?"
// when it asks for an answer, and from the next line on the payload.

#include "embedded_host/DriverHost.h"
#include "fuzz/Fuzzing.h"
#include "lighting_host/broker/HouseOnBroker.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/simulation/Listeners.h"
#include "lighting_host/text/Json.h"

#include <algorithm>

#include <log4cplus/loglevel.h>

namespace
{
using namespace fuzzing;
using namespace lighting_host;

constexpr std::size_t MOST_MESSAGES = 60;
const std::string PREFIX = "lighting/h/";

constexpr char HOUSE[] = R"(<house>
<driver name="p" type="puck" id="101"><config><NUM_BUTTONS>2</NUM_BUTTONS></config></driver>
<driver name="z" type="zigbee_light" id="103"><device simulated="true"/></driver>
<driver name="e" type="energy_switch" id="105"/>
<load_group id="2"><member>z</member></load_group>
<scene id="3" name="s"><load driver="z" level="50" time="1s"/></scene>
</house>)";

// Takes everything, and looks at it.
class Sieve : public Broker
{
public:
    void SetWill(const BrokerPublication&) override {}
    void Start(BrokerListener&) override {}
    bool Subscribe(const std::string&) override { return true; }
    bool Publish(const BrokerPublication& publication) override
    {
        Require(!publication.topic.empty());
        errors += publication.topic.size() > 6 &&
                          publication.topic.compare(publication.topic.size() - 6, 6, "/error") == 0
                      ? 1
                      : 0;
        answers += publication.topic == "answers" ? 1 : 0;
        return true;
    }
    State GetState() const override { return State::Connected; }
    void Stop() override {}

    unsigned errors = 0;
    unsigned answers = 0;
};

SessionOptions Options()
{
    SessionOptions options;
    options.logLevel = log4cplus::OFF_LOG_LEVEL;
    return options;
}

const HouseFile& House()
{
    static const HouseFile file = ParseHouseFile(HOUSE, ".");
    return file;
}

// Lines for the house are looked at and go no further.
class HouseOfLines : public BrokeredHouse
{
public:
    HouseOfLines() : m_session(House(), Options(), m_listeners) { m_session.Start(); }
    const HousePlan& Plan() const override { return House(); }
    Session& GetSession() override { return m_session; }
    RunStatistics::Counts CountsOf(const nx::DriverHost&) override { return {}; }
    bool IsNow() const override { return true; }
    std::string HandIn(const std::string& line, std::vector<std::string>&) override
    {
        Json json = ParseJson(line);
        Require(json.is_object());
        ++lines;
        if (!json.contains("driver") || !json.contains("button"))
            return std::string();
        nx::DriverHost* const driver = m_session.House().Find(json["driver"].get<std::string>());
        Require(driver != nullptr);
        Fields fields(json, "the line");
        fields.Text("driver");
        const auto action = m_session.AdapterOf(*driver)->PrepareInput("button", fields);
        fields.Finish();
        Require(action != nullptr);
        driver->CallDriver("the input", action);
        return std::string();
    }

    unsigned lines = 0;

private:
    Listeners m_listeners;
    Session m_session;
};

BrokerMessage Read(const std::string& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    BrokerMessage message;
    message.topic = text.substr(0, end);
    if (end < text.size())
        message.payload = text.substr(end + 1);
    if (!message.topic.empty() && message.topic[0] == '!')
        message.retained = true;
    if (!message.topic.empty() && message.topic[0] == '?')
        message.responseTopic = "answers";
    if (message.retained || !message.responseTopic.empty())
        message.topic.erase(0, 1);
    message.topic.insert(0, PREFIX);
    return message;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Quick quick;
    HouseOfLines house;
    Sieve broker;
    BrokerMemory memory;
    HouseOnBroker::Options options;
    options.topics.house = "h";
    HouseOnBroker onBroker(options, house, broker, memory, [](const std::string&) {});
    onBroker.Start();
    onBroker.OnBrokerConnected();
    std::string text = Text(data, size);
    for (std::size_t count = 0; count < MOST_MESSAGES && !text.empty(); ++count)
    {
        const std::size_t end = std::min(text.find("\n\n"), text.size());
        const BrokerMessage message = Read(text.substr(0, end));
        text.erase(0, end + 2);
        house.lines = broker.errors = broker.answers = 0;
        onBroker.OnBrokerMessage(message);
        Require(message.retained ? house.lines + broker.errors == 0
                                 : house.lines + broker.errors == 1);
        Require(message.responseTopic.empty() ? broker.answers == 0 : broker.answers == 1);
    }
    return 0;
}
