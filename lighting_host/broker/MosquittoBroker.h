#pragma once

#include "lighting_host/broker/Broker.h"
#include "lighting_host/broker/BrokerAddress.h"

#include <chrono>
#include <functional>
#include <memory>

namespace lighting_host
{
// A real broker, by libmosquitto.
//
// The connection has a thread of its own, which makes it, keeps it up and, when it is lost, tries
// again: after a second, and then after up to twice as long each time, at most a minute, by chance
// between half and all of that. A broker that does not answer in ten seconds counts as gone. MQTT 5
// unless the broker cannot or the address says otherwise, then 3.1.1.
class MosquittoBroker : public Broker
{
public:
    // Runs a function on the house's thread, soon and in order. Called on the connection's thread
    // until Stop.
    using Post = std::function<void(std::function<void()>)>;

    struct Pace
    {
        std::chrono::milliseconds firstRetry{1000};
        std::chrono::milliseconds lastRetry{60000};
        std::chrono::milliseconds answer{10000};
    };

    MosquittoBroker(BrokerAddress address, Post post, Pace pace);
    MosquittoBroker(BrokerAddress address, Post post)
        : MosquittoBroker(std::move(address), std::move(post), Pace())
    {
    }
    ~MosquittoBroker() override;

    // Broker.
    void SetWill(const BrokerPublication& will) override;
    void Start(BrokerListener& listener) override;
    bool Subscribe(const std::string& filter) override;
    bool Publish(const BrokerPublication& publication) override;
    State GetState() const override;
    void Stop() override;

    // Messages from the broker that were dropped unseen: too large, or too many at once.
    unsigned long DroppedMessages() const;

private:
    class Connection;

    // Shared with the connection's thread, which may outlive this while it waits for the network.
    std::shared_ptr<Connection> m_connection;
};
} // namespace lighting_host
