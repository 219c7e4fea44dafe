#pragma once

#include "lighting_host/broker/BrokerOptions.h"
#include "lighting_host/broker/HouseOnBroker.h"
#include "lighting_host/broker/MosquittoBroker.h"
#include "lighting_host/switchboard/LiveHouse.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// A live house on a real broker: one more visitor of the house, named "mqtt".
//
// Made before the house, which tells it by OnPresent which run lives. Lives on the house's thread.
class LiveHouseOnBroker : private BrokeredHouse, private HouseVisitor
{
public:
    // `name` is the house's; `post` runs a function on the house's thread; `wake` is called when
    // the house may want to be worked on earlier than it said.
    LiveHouseOnBroker(BrokerOptions options, const HousePlan& plan, std::string name,
                      DiscoveryFacts facts, MosquittoBroker::Post post, std::function<void()> wake,
                      HouseOnBroker::Complaint complain);
    ~LiveHouseOnBroker() override;
    LiveHouseOnBroker(const LiveHouseOnBroker&) = delete;
    LiveHouseOnBroker& operator=(const LiveHouseOnBroker&) = delete;

    // See LiveHouse::Options.
    void OnPresent(HouseRun* run);

    // Called once, when the house has started; it must outlive the call of Stop.
    void Start(LiveHouse& house);

    // Called every 50 ms of real time or so.
    void Work(std::int64_t nowNs);

    // Says that the house is gone. Before the house stops.
    void Stop();

private:
    // BrokeredHouse.
    const HousePlan& Plan() const override { return m_plan; }
    Session& GetSession() override { return m_run->GetSession(); }
    RunStatistics::Counts CountsOf(const nx::DriverHost& driver) override;
    bool IsNow() const override { return m_run != nullptr; }
    std::string HandIn(const std::string& line, std::vector<std::string>& answers) override;

    // HouseVisitor.
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string& text) override { m_answers.push_back(text); }

    void Attach();
    void PassOnLines();

    const BrokerOptions m_options;
    const HousePlan& m_plan;
    const std::string m_name = "mqtt";
    const std::string m_houseName;
    const DiscoveryFacts m_facts;
    const std::function<void()> m_wake;
    const HouseOnBroker::Complaint m_complain;
    MosquittoBroker m_broker;
    BrokerMemory m_memory;
    std::unique_ptr<HouseOnBroker> m_onBroker;
    LiveHouse* m_house = nullptr;
    // Null while the house is in the past.
    HouseRun* m_run = nullptr;
    unsigned long m_number = 0;
    std::vector<std::string> m_answers;
    // The last line of the house that was passed on.
    std::uint64_t m_passedOn = 0;
};
} // namespace lighting_host
