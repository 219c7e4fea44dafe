#pragma once

#include "lighting_host/broker/Broker.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

// A broker in this process: what clients publish is passed on to the others by Pump, in order.
class FakeBrokerServer
{
public:
    class Client;

    // Refuses connections, and breaks those that there are, until it is up again.
    inline void GoDown();
    inline void ComeUp();
    bool IsUp() const { return m_isUp; }

    // Hands on what waits; true when something did.
    inline bool Pump();

    const std::map<std::string, std::string>& Retained() const { return m_retained; }

    // Takes no more while so many messages wait.
    std::size_t mostWaiting = 1000000;

private:
    friend class Client;

    static bool Matches(const std::string& filter, const std::string& topic)
    {
        std::size_t f = 0;
        std::size_t t = 0;
        while (f < filter.size())
        {
            if (filter[f] == '#')
                return true;
            if (filter[f] == '+')
            {
                ++f;
                t = std::min(topic.find('/', t), topic.size());
                continue;
            }
            if (t >= topic.size() || filter[f] != topic[t])
                return false;
            ++f;
            ++t;
        }
        return t == topic.size();
    }

    inline void PassOn(const lighting_host::BrokerPublication& publication);

    bool m_isUp = true;
    std::set<Client*> m_clients;
    std::map<std::string, std::string> m_retained;
    std::deque<std::function<void()>> m_waiting;
};

// One connection to it.
class FakeBrokerServer::Client : public lighting_host::Broker
{
public:
    explicit Client(FakeBrokerServer& server) : m_server(server) {}
    ~Client() override { Stop(); }

    void SetWill(const lighting_host::BrokerPublication& will) override { m_will = will; }

    void Start(lighting_host::BrokerListener& listener) override
    {
        m_listener = &listener;
        m_server.m_clients.insert(this);
        if (m_server.IsUp())
            Connect();
    }

    bool Subscribe(const std::string& filter) override
    {
        if (m_state != State::Connected)
            return false;
        m_filters.push_back(filter);
        for (const auto& [topic, payload] : m_server.m_retained)
        {
            if (Matches(filter, topic))
                Deliver({topic, payload, true, std::string(), std::string()});
        }
        return true;
    }

    bool Publish(const lighting_host::BrokerPublication& publication) override
    {
        const bool isTopic = !publication.topic.empty() &&
                             publication.topic.find_first_of("+#") == std::string::npos;
        if (m_state != State::Connected || !isTopic ||
            m_server.m_waiting.size() >= m_server.mostWaiting)
            return false;
        m_server.PassOn(publication);
        return true;
    }

    State GetState() const override { return m_state; }

    void Stop() override
    {
        m_listener = nullptr;
        m_server.m_clients.erase(this);
        m_state = State::Off;
    }

    // As when the program is killed: the will is published.
    void Die()
    {
        Stop();
        m_server.PassOn(m_will);
    }

private:
    friend class FakeBrokerServer;

    void Connect()
    {
        m_state = State::Connected;
        m_filters.clear();
        Later([](lighting_host::BrokerListener& listener) { listener.OnBrokerConnected(); });
    }

    void Lose()
    {
        m_state = State::Connecting;
        m_filters.clear();
        Later([](lighting_host::BrokerListener& listener) { listener.OnBrokerLost("down"); });
    }

    void Deliver(const lighting_host::BrokerMessage& message)
    {
        Later([message](lighting_host::BrokerListener& listener)
              { listener.OnBrokerMessage(message); });
    }

    void Later(std::function<void(lighting_host::BrokerListener&)> tell)
    {
        m_server.m_waiting.push_back(
            [&server = m_server, this, tell = std::move(tell)]
            {
                if (server.m_clients.count(this) != 0)
                    tell(*m_listener);
            });
    }

    FakeBrokerServer& m_server;
    lighting_host::BrokerListener* m_listener = nullptr;
    lighting_host::BrokerPublication m_will;
    State m_state = State::Off;
    std::vector<std::string> m_filters;
};

void FakeBrokerServer::GoDown()
{
    m_isUp = false;
    for (Client* const client : m_clients)
        client->Lose();
}

void FakeBrokerServer::ComeUp()
{
    m_isUp = true;
    for (Client* const client : m_clients)
        client->Connect();
}

bool FakeBrokerServer::Pump()
{
    if (m_waiting.empty())
        return false;
    const std::function<void()> next = std::move(m_waiting.front());
    m_waiting.pop_front();
    next();
    return true;
}

void FakeBrokerServer::PassOn(const lighting_host::BrokerPublication& publication)
{
    if (publication.retained && publication.payload.empty())
        m_retained.erase(publication.topic);
    else if (publication.retained)
        m_retained[publication.topic] = publication.payload;
    for (Client* const client : m_clients)
    {
        const bool wants =
            std::any_of(client->m_filters.begin(), client->m_filters.end(),
                        [&](const auto& filter) { return Matches(filter, publication.topic); });
        if (wants)
            client->Deliver({publication.topic, publication.payload, false, std::string(),
                             publication.correlation});
    }
}
