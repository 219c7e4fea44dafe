#pragma once

#include <cstddef>
#include <string>

namespace lighting_host
{
// A message that came from a broker.
struct BrokerMessage
{
    std::string topic;
    std::string payload;
    // It was waiting at the broker before we asked for its topic.
    bool retained = false;
    // Where an answer is wanted, and what it must carry; empty when none is, and always before
    // MQTT 5.
    std::string responseTopic;
    std::string correlation;
};

// A message for a broker.
struct BrokerPublication
{
    std::string topic;
    std::string payload;
    // The broker keeps it for who comes later.
    bool retained = false;
    // Sent until the broker has it (QoS 1), as long as this connection lasts; else once (QoS 0).
    bool confirmed = false;
    // Of the message that this answers; empty for none. Not sent before MQTT 5.
    std::string correlation;
};

// Hears a broker. All are called on the house's thread, between two calls into the house.
class BrokerListener
{
public:
    virtual ~BrokerListener() = default;

    // There is a connection, on which nothing is subscribed to and nothing published yet. May call
    // the broker.
    virtual void OnBrokerConnected() = 0;

    // The connection is gone, or could not be made: why, in words. Another try follows by itself.
    virtual void OnBrokerLost(const std::string& why) = 0;

    // A message of a subscription came. May call the broker.
    virtual void OnBrokerMessage(const BrokerMessage& message) = 0;
};

// A connection to a broker that is kept up: publish, subscribe, a will, and how it stands.
//
// Called on the house's thread; nothing waits but Stop. What is published without a connection is
// lost, and so is what the broker had not confirmed when a connection broke: after every
// OnBrokerConnected the listener says again what must be known.
class Broker
{
public:
    enum class State
    {
        Off,
        Connecting,
        Connected,
    };

    // Messages and octets that wait to leave, at most.
    static constexpr std::size_t MOST_WAITING = 20000;
    static constexpr std::size_t MOST_WAITING_BYTES = 32 * 1024 * 1024;

    virtual ~Broker() = default;

    // What the broker publishes when the connection ends without Stop. Before Start.
    virtual void SetWill(const BrokerPublication& will) = 0;

    // Connects, again and again until Stop. `listener` must outlive this or the call of Stop.
    virtual void Start(BrokerListener& listener) = 0;

    // Asks for the messages of a topic filter. False without a connection.
    virtual bool Subscribe(const std::string& filter) = 0;

    // False, and nothing is sent, without a connection, for a topic that is none, and while too
    // much waits to leave.
    virtual bool Publish(const BrokerPublication& publication) = 0;

    virtual State GetState() const = 0;

    // Ends the connection in order, so that the will is not published; what waits to leave has a
    // second to do so. The listener hears nothing any more. May be called again.
    virtual void Stop() = 0;
};
} // namespace lighting_host
