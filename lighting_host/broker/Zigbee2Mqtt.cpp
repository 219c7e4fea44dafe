#include "lighting_host/broker/Zigbee2Mqtt.h"

#include "lighting_host/broker/Zigbee2MqttTexts.h"

#include <algorithm>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// By how much longer than Zigbee2MQTT we wait.
constexpr std::chrono::milliseconds EXTRA_PATIENCE{1000};
// How long after a move the lamp's state is asked for.
constexpr std::chrono::milliseconds STATE_PAUSE{300};
// From when Zigbee2MQTT is online until it certainly hears requests.
constexpr std::chrono::seconds LATEST_START{5};

const std::string BRIDGE = "/bridge/";

std::int64_t Ns(std::chrono::milliseconds time)
{
    return std::chrono::nanoseconds(time).count();
}

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}
} // namespace

Zigbee2Mqtt::Zigbee2Mqtt(Broker& broker, std::string program, SparseComplaints::Sink complain)
    : m_broker(broker), m_program(std::move(program)), m_complaints(std::move(complain))
{
}

Zigbee2Mqtt::~Zigbee2Mqtt()
{
    Stop();
}

std::size_t Zigbee2Mqtt::Add(const LampPlace& place, LampListener& listener)
{
    Lamp lamp{};
    lamp.place = place;
    lamp.listener = &listener;
    m_lamps.push_back(std::move(lamp));
    m_networks[place.base];
    return m_lamps.size() - 1;
}

void Zigbee2Mqtt::Start(std::int64_t nowNs)
{
    m_nowNs = nowNs;
    m_broker.Start(*this);
}

void Zigbee2Mqtt::Stop()
{
    m_broker.Stop();
    Forget();
    m_isConnected = false;
}

// --- what comes ----------------------------------------------------------------------------------

// The answers first: nothing may be asked before they can be heard. The devices are told last,
// since that makes a Zigbee2MQTT ready.
void Zigbee2Mqtt::OnBrokerConnected()
{
    m_isConnected = true;
    for (const auto& network : m_networks)
    {
        for (const char* const topic :
             {"response/action", "response/group/members/add", "response/group/members/remove",
              "event", "groups", "state", "devices"})
            m_broker.Subscribe(network.first + BRIDGE + topic);
    }
    for (const Lamp& lamp : m_lamps)
        SubscribeTo(lamp);
}

void Zigbee2Mqtt::OnBrokerLost(const std::string& why)
{
    if (m_isConnected)
        m_complaints.Tell(fmt::format("the broker is gone: {}", why), m_nowNs);
    m_isConnected = false;
    for (auto& network : m_networks)
        OnState(network.second, false);
}

// A base may be the beginning of another one, so the longest that fits is meant.
void Zigbee2Mqtt::OnBrokerMessage(const BrokerMessage& message)
{
    const std::string* base = nullptr;
    for (const auto& network : m_networks)
    {
        if (StartsWith(message.topic, network.first + "/") &&
            (!base || network.first.size() > base->size()))
            base = &network.first;
    }
    if (!base)
        return;
    if (StartsWith(message.topic, *base + BRIDGE))
        OnBridgeMessage(*base, message.topic.substr(base->size() + BRIDGE.size()), message.payload);
    else
        OnLampMessage(*base, message.topic.substr(base->size() + 1), message.payload);
    SendWaiting();
}

void Zigbee2Mqtt::OnBridgeMessage(const std::string& base, const std::string& topic,
                                  const std::string& text)
{
    if (StartsWith(topic, "response/"))
        return OnAnswer(text);
    if (topic == "event")
        return OnEvent(base, text);
    if (topic == "groups")
        return OnGroups(m_networks[base], text);
    if (topic == "devices")
        return OnDevices(base, text);
    if (topic == "state")
        OnState(m_networks[base], IsOnlineText(text));
}

// Zigbee2MQTT says that it is online before it hears anything, and then tells its devices. One that
// was only cut off from the broker for a while does not tell them again.
void Zigbee2Mqtt::OnState(Network& network, bool isOnline)
{
    if (isOnline && !network.isOnline)
        network.readyAtNs = m_nowNs + Ns(LATEST_START);
    network.isReady = network.isReady && isOnline;
    network.isOnline = isOnline;
    JudgeAll();
}

void Zigbee2Mqtt::OnDevices(const std::string& base, const std::string& text)
{
    auto devices = ReadLampDevices(text);
    if (!devices)
        return m_complaints.Tell(base + "/bridge/devices cannot be understood", m_nowNs);
    m_networks[base].isReady = m_networks[base].isOnline;
    for (std::size_t i = 0; i < m_lamps.size(); ++i)
    {
        Lamp& lamp = m_lamps[i];
        if (lamp.place.base != base)
            continue;
        const auto found = devices->find(lamp.place.ieee);
        const bool isThere = found != devices->end() && found->second.isReady;
        lamp.address = isThere ? std::optional(found->second.address) : std::nullopt;
        if (isThere)
            lamp.endpointName = found->second.endpoints[lamp.place.endpoint];
        if (isThere && lamp.name != found->second.name)
        {
            lamp.name = found->second.name;
            // Of a lamp by another name.
            lamp.isAvailable = true;
            SubscribeTo(lamp);
        }
        Judge(i);
    }
}

void Zigbee2Mqtt::OnGroups(Network& network, const std::string& text)
{
    network.groups = ReadGroupNumbers(text);
}

// A lamp that announces itself was without power, or away, and may have forgotten anything.
void Zigbee2Mqtt::OnEvent(const std::string& base, const std::string& text)
{
    const std::string ieee = AnnouncedLamp(text);
    for (std::size_t i = 0; i < m_lamps.size(); ++i)
    {
        Lamp& lamp = m_lamps[i];
        if (lamp.place.base != base || lamp.place.ieee != ieee || !lamp.isOnline)
            continue;
        Drop(i);
        lamp.askStateNs = m_nowNs;
        lamp.listener->OnLampOnline(true);
    }
}

void Zigbee2Mqtt::OnAnswer(const std::string& text)
{
    const auto answer = ReadRequestAnswer(text);
    if (!answer || !StartsWith(answer->transaction, m_program))
        return;
    const auto found = m_underWay.find(answer->transaction);
    if (found == m_underWay.end())
    {
        ++m_counts.strays;
        return;
    }
    const UnderWay flight = std::move(found->second);
    m_underWay.erase(found);
    Lamp& lamp = m_lamps[flight.lamp];
    lamp.isBusy = false;
    if (!answer->error.empty())
    {
        ++m_counts.failed;
        return Complain(lamp, answer->error);
    }
    ++m_counts.answered;
    lamp.hasComplained = false;
    if (answer->frame)
        OnFrameBack(lamp, flight.request, *answer->frame);
}

void Zigbee2Mqtt::OnFrameBack(Lamp& lamp, const wire::ZclFrame& request,
                              const wire::ZclFrame& frame)
{
    if (const auto time = MoveTime(request))
    {
        lamp.askStateNs = m_nowNs + Ns(*time + STATE_PAUSE);
        return;
    }
    // Who does not obey says no more than that; a driver hears it as it hears other refusals.
    if (const auto status = DefaultResponseStatus(frame))
    {
        if (const auto refusal = SceneRefusal(request, *status))
            return lamp.listener->OnLampFrame(*refusal);
        if (*status != 0)
            Complain(lamp, fmt::format("it refuses a command, with status 0x{:02x}", *status));
    }
    lamp.listener->OnLampFrame(frame);
}

void Zigbee2Mqtt::OnLampMessage(const std::string& base, const std::string& name,
                                const std::string& text)
{
    for (std::size_t i = 0; i < m_lamps.size(); ++i)
    {
        Lamp& lamp = m_lamps[i];
        if (lamp.place.base != base || lamp.name.empty())
            continue;
        if (name == lamp.name + "/availability")
        {
            lamp.isAvailable = IsOnlineText(text);
            Judge(i);
        }
        else if (name == lamp.name)
        {
            if (const auto state = ReadLampState(text, lamp.endpointName))
                lamp.listener->OnLampState(*state);
        }
    }
}

// Whether the lamp can be reached, by all that is known; tells it when that has changed.
void Zigbee2Mqtt::Judge(std::size_t number)
{
    Lamp& lamp = m_lamps[number];
    const bool isOnline =
        m_networks[lamp.place.base].isReady && lamp.address.has_value() && lamp.isAvailable;
    if (isOnline == lamp.isOnline)
        return;
    lamp.isOnline = isOnline;
    lamp.hasComplained = false;
    Drop(number);
    if (isOnline)
        lamp.askStateNs = m_nowNs;
    lamp.listener->OnLampOnline(isOnline);
}

void Zigbee2Mqtt::JudgeAll()
{
    for (std::size_t lamp = 0; lamp < m_lamps.size(); ++lamp)
        Judge(lamp);
}

void Zigbee2Mqtt::SubscribeTo(const Lamp& lamp)
{
    if (lamp.name.empty() || !m_isConnected)
        return;
    m_broker.Subscribe(lamp.place.base + "/" + lamp.name);
    m_broker.Subscribe(lamp.place.base + "/" + lamp.name + "/availability");
}

// --- what goes -----------------------------------------------------------------------------------

void Zigbee2Mqtt::Send(std::size_t number, const wire::ZclFrame& frame)
{
    Lamp& lamp = m_lamps[number];
    if (!lamp.isOnline)
        return;
    if (lamp.waiting.size() >= MOST_WAITING)
        return Complain(lamp, "too much is sent to it");
    lamp.waiting.push_back(frame);
    SendWaiting();
}

void Zigbee2Mqtt::Forget()
{
    for (std::size_t lamp = 0; lamp < m_lamps.size(); ++lamp)
        Drop(lamp);
}

void Zigbee2Mqtt::Drop(std::size_t number)
{
    for (auto flight = m_underWay.begin(); flight != m_underWay.end();)
        flight = flight->second.lamp == number ? m_underWay.erase(flight) : std::next(flight);
    m_lamps[number].waiting.clear();
    m_lamps[number].askStateNs.reset();
    m_lamps[number].isBusy = false;
}

void Zigbee2Mqtt::Work(std::int64_t nowNs)
{
    m_nowNs = nowNs;
    for (auto& network : m_networks)
    {
        Network& it = network.second;
        if (it.isOnline && !std::exchange(it.isReady, it.isReady || it.readyAtNs <= nowNs))
            JudgeAll();
    }
    for (auto flight = m_underWay.begin(); flight != m_underWay.end();)
    {
        if (flight->second.givenUpNs > nowNs)
        {
            ++flight;
            continue;
        }
        Lamp& lamp = m_lamps[flight->second.lamp];
        flight = m_underWay.erase(flight);
        lamp.isBusy = false;
        ++m_counts.lost;
        Complain(lamp, "Zigbee2MQTT does not answer; 2.7.0 is the first that can do what is asked");
    }
    SendWaiting();
}

// The only place that decides about sending. Lamps take turns.
void Zigbee2Mqtt::SendWaiting()
{
    if (!m_isConnected)
        return;
    for (std::size_t tried = 0; tried < m_lamps.size() && m_underWay.size() < MOST_UNDER_WAY;)
    {
        const std::size_t lamp = m_next % m_lamps.size();
        m_next = lamp + 1;
        tried = SendNext(lamp) ? 0 : tried + 1;
    }
}

bool Zigbee2Mqtt::SendNext(std::size_t number)
{
    Lamp& lamp = m_lamps[number];
    if (!lamp.isOnline || lamp.isBusy)
        return false;
    if (lamp.waiting.empty())
        return AskState(lamp);
    const wire::ZclFrame frame = std::move(lamp.waiting.front());
    lamp.waiting.pop_front();
    const std::string transaction = fmt::format("{}-{}", m_program, ++m_transaction);
    const auto change = lamp.place.keepsBook ? GroupChangeOf(frame) : std::nullopt;
    const auto& known = m_networks[lamp.place.base].groups;
    BrokerPublication request;
    request.confirmed = true;
    if (change && std::count(known.begin(), known.end(), change->group) > 0)
    {
        request.topic = lamp.place.base + BRIDGE + "request/group/members/" +
                        (change->joins ? "add" : "remove");
        request.payload = MemberRequest(lamp.place, change->group, transaction);
    }
    else
    {
        request.topic = lamp.place.base + BRIDGE + "request/action";
        request.payload = RawRequest(lamp.place, *lamp.address, frame, transaction);
    }
    if (request.payload.empty())
        Complain(lamp, "a frame for it cannot be sent through Zigbee2MQTT");
    else if (m_broker.Publish(request))
    {
        ++m_counts.sent;
        lamp.isBusy = true;
        m_underWay[transaction] = {number, frame,
                                   m_nowNs + Ns(lamp.place.patience + EXTRA_PATIENCE)};
    }
    return true;
}

// What the lamp does now, in the words of Zigbee2MQTT, which asks the lamp.
bool Zigbee2Mqtt::AskState(Lamp& lamp)
{
    if (!lamp.askStateNs || *lamp.askStateNs > m_nowNs)
        return false;
    lamp.askStateNs.reset();
    BrokerPublication request;
    request.topic = lamp.place.base + "/" + lamp.name + "/get";
    request.payload = StateRequest(lamp.endpointName);
    m_broker.Publish(request);
    return true;
}

void Zigbee2Mqtt::Complain(Lamp& lamp, const std::string& what)
{
    if (!std::exchange(lamp.hasComplained, true))
        m_complaints.Tell(fmt::format("lamp {}: {}", lamp.place.ieee, what), m_nowNs);
}
} // namespace lighting_host
