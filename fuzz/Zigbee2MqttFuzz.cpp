// Any messages from a Zigbee2MQTT for two lamps of a house: nothing that is said moves another lamp
// than the one it is about, and only what was asked for is answered.
//
// An input is messages between blank lines: the topic below the base, and from the next line on the
// payload. "%" in a payload stands for the transaction of the last request.

#include "fuzz/Fuzzing.h"
#include "lighting_host/broker/Zigbee2Mqtt.h"
#include "lighting_host/broker/Zigbee2MqttTexts.h"
#include "lighting_host/text/Json.h"

#include <algorithm>

namespace
{
using namespace fuzzing;
using namespace lighting_host;

constexpr std::size_t MOST_MESSAGES = 60;
constexpr std::int64_t STEP_NS = 100000000;
const std::string BASE = "z/";
const wire::ZclFrame GET_GROUPS{4, 1, {0x11, 5, 0x02, 0}};

// A broker whose messages are the input's; notes what was asked.
class Bridge : public Broker
{
public:
    void SetWill(const BrokerPublication&) override {}
    void Start(BrokerListener& heard) override
    {
        listener = &heard;
        listener->OnBrokerConnected();
    }
    bool Subscribe(const std::string& filter) override
    {
        // The name of a lamp must not become a filter.
        Require(filter.find_first_of("+#") == std::string::npos);
        return true;
    }
    bool Publish(const BrokerPublication& publication) override
    {
        Require(publication.topic.find_first_of("+#") == std::string::npos);
        const Json asked = ParseJson(publication.payload);
        if (asked.contains("transaction"))
            transaction = asked.at("transaction").get<std::string>();
        return true;
    }
    State GetState() const override { return State::Connected; }
    void Stop() override {}

    BrokerListener* listener = nullptr;
    std::string transaction;
};

struct Lamp : LampListener
{
    void OnLampOnline(bool) override {}
    void OnLampFrame(const wire::ZclFrame& frame) override
    {
        ++frames;
        Require(frame.bytes.size() >= 3);
        // Its own store comes back as what was sent.
        tables.OnSent(frame);
        tables.OnAnswer(frame);
        Require(!tables.GetScenes() || tables.GetScenes()->size() <= AnsweredTables::MOST_SCENES);
    }
    void OnLampState(const LampState& state) override
    {
        Require(state.level.value_or(0) >= 0 && state.level.value_or(0) <= 100);
        Require(state.watts.value_or(0) >= 0);
    }

    unsigned frames = 0;
    AnsweredTables tables;
};

std::string WithTransaction(std::string payload, const std::string& transaction)
{
    const std::size_t place = payload.find('%');
    if (place != std::string::npos)
        payload.replace(place, 1, transaction);
    return payload;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Quick quick;
    Bridge bridge;
    Lamp first;
    Lamp second;
    Zigbee2Mqtt lamps(bridge, "me", [](const std::string&) {});
    LampPlace place;
    place.base = "z";
    place.ieee = "0x00124b0000000001";
    const std::size_t number = lamps.Add(place, first);
    place.ieee = "0x00124b0000000002";
    place.endpoint = 2;
    lamps.Add(place, second);
    lamps.Start(0);
    std::string text = Text(data, size);
    for (std::size_t count = 0; count < MOST_MESSAGES && !text.empty(); ++count)
    {
        const std::string one = text.substr(0, text.find("\n\n"));
        text.erase(0, one.size() + 2);
        const std::size_t end = std::min(one.find('\n'), one.size());
        BrokerMessage message;
        message.topic = BASE + one.substr(0, end);
        if (end < one.size())
            message.payload = WithTransaction(one.substr(end + 1), bridge.transaction);
        const unsigned before = first.frames;
        bridge.listener->OnBrokerMessage(message);
        Require(first.frames - before <= 1);
        lamps.Send(number, GET_GROUPS);
        lamps.Work(static_cast<std::int64_t>(count + 1) * STEP_NS);
        // Nobody has asked it anything.
        Require(second.frames == 0);
    }
    lamps.Stop();
    return 0;
}
