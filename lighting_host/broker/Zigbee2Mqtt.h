#pragma once

#include "lighting_host/broker/Broker.h"
#include "lighting_host/broker/RawZcl.h"
#include "lighting_host/broker/SparseComplaints.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace lighting_host
{
// What Zigbee2MQTT says of a lamp; what it does not say is absent.
struct LampState
{
    std::optional<bool> isOn;
    // Percent.
    std::optional<int> level;
    std::optional<int> watts;
};

// Hears of one lamp. All are called on the house's thread, between two calls into the house, and
// may send to the lamp.
class LampListener
{
public:
    virtual ~LampListener() = default;

    // The lamp can be reached from now on, or not any more; true comes again each time that it was
    // away for so short a time that nobody noticed, since it may have forgotten anything.
    virtual void OnLampOnline(bool online) = 0;

    // A frame of the lamp: the answer to one that was sent.
    virtual void OnLampFrame(const wire::ZclFrame& frame) = 0;

    virtual void OnLampState(const LampState& state) = 0;
};

// Lamps behind one or several Zigbee2MQTTs on a broker.
//
// Frames go to a lamp one at a time, each when the answer to the one before has come or is given
// up; a few are under way in all. Only an answer to what is under way is passed on, once: one that
// is late, doubled or of another program is not. What is sent to a lamp that cannot be reached is
// lost, as it is in the air.
//
// Lives on the house's thread; nothing waits.
class Zigbee2Mqtt : private BrokerListener
{
public:
    // Requests under way, of all lamps, and frames that wait for one lamp, at most.
    static constexpr std::size_t MOST_UNDER_WAY = 4;
    static constexpr std::size_t MOST_WAITING = 1000;

    struct Counts
    {
        unsigned long sent = 0;
        unsigned long answered = 0;
        // No answer in time; then an error in place of one.
        unsigned long lost = 0;
        unsigned long failed = 0;
        // Answers that nobody waited for.
        unsigned long strays = 0;
    };

    // `program` tells this program's transactions from all others': a text that no other has.
    // `broker` must outlive this, and is nobody else's.
    Zigbee2Mqtt(Broker& broker, std::string program, SparseComplaints::Sink complain);
    ~Zigbee2Mqtt() override;
    Zigbee2Mqtt(const Zigbee2Mqtt&) = delete;
    Zigbee2Mqtt& operator=(const Zigbee2Mqtt&) = delete;

    // One more lamp, before Start; returns its number. `listener` must outlive this.
    std::size_t Add(const LampPlace& place, LampListener& listener);

    void Start(std::int64_t nowNs);
    void Stop();

    // A frame for a lamp. May be called while the house is inside a call: no listener is called.
    void Send(std::size_t number, const wire::ZclFrame& frame);

    // Forgets what waits and what is under way, of all lamps.
    void Forget();

    // Called every 50 ms of real time or so; `nowNs`: the machine's monotonic clock.
    void Work(std::int64_t nowNs);

    bool IsOnline(std::size_t lamp) const { return m_lamps[lamp].isOnline; }
    const Counts& GetCounts() const { return m_counts; }

private:
    struct Lamp
    {
        LampPlace place;
        LampListener* listener;
        // Of the retained list of devices; nothing while the lamp is not in it.
        std::optional<std::uint16_t> address;
        std::string name;
        // What Zigbee2MQTT calls the endpoint; empty for one of a lamp that has no other.
        std::string endpointName;
        // What its availability says, when that is watched at all.
        bool isAvailable = true;
        bool isOnline = false;
        bool isBusy = false;
        std::deque<wire::ZclFrame> waiting;
        // When its state is to be asked for.
        std::optional<std::int64_t> askStateNs;
        // It has failed since it last answered, which was told.
        bool hasComplained = false;
    };
    struct Network
    {
        bool isOnline = false;
        // It has told its devices since it came online, and so hears requests; or it should have.
        bool isReady = false;
        std::int64_t readyAtNs = 0;
        // The numbers of its groups.
        std::vector<std::uint16_t> groups;
    };
    struct UnderWay
    {
        std::size_t lamp;
        wire::ZclFrame request;
        std::int64_t givenUpNs;
    };
    using Flights = std::unordered_map<std::string, UnderWay>;

    // BrokerListener.
    void OnBrokerConnected() override;
    void OnBrokerLost(const std::string& why) override;
    void OnBrokerMessage(const BrokerMessage& message) override;

    void OnBridgeMessage(const std::string& base, const std::string& topic,
                         const std::string& text);
    void OnState(Network& network, bool isOnline);
    void OnDevices(const std::string& base, const std::string& text);
    void OnGroups(Network& network, const std::string& text);
    void OnEvent(const std::string& base, const std::string& text);
    void OnAnswer(const std::string& text);
    void OnLampMessage(const std::string& base, const std::string& name, const std::string& text);
    void OnFrameBack(Lamp& lamp, const wire::ZclFrame& request, const wire::ZclFrame& frame);

    void Judge(std::size_t number);
    void JudgeAll();
    void SubscribeTo(const Lamp& lamp);
    void Drop(std::size_t number);
    void SendWaiting();
    bool SendNext(std::size_t number);
    bool AskState(Lamp& lamp);
    void Complain(Lamp& lamp, const std::string& what);

    Broker& m_broker;
    const std::string m_program;
    SparseComplaints m_complaints;
    std::vector<Lamp> m_lamps;
    std::map<std::string, Network> m_networks;
    Flights m_underWay;
    unsigned long m_transaction = 0;
    // Whose turn it is.
    std::size_t m_next = 0;
    std::int64_t m_nowNs = 0;
    bool m_isConnected = false;
    Counts m_counts;
};
} // namespace lighting_host
