#pragma once

#include "lighting_host/broker/MosquittoBroker.h"
#include "lighting_host/broker/Zigbee2Mqtt.h"
#include "lighting_host/switchboard/HouseRun.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// The lamps of a live house that stand behind Zigbee2MQTTs: what the house sends them goes on, and
// what comes from them is handed in as lines of the protocol, so that it is recorded as everything
// that is handed in.
//
// Lives on the house's thread.
class HouseLamps
{
public:
    // Hands a line in; what is due goes first. False when it was refused.
    using HandIn = std::function<bool(const std::string& line)>;

    // `session` says which lamps there are. `post` runs a function on the house's thread.
    HouseLamps(const BrokerAddress& address, Session& session, MosquittoBroker::Post post,
               HandIn handIn, SparseComplaints::Sink complain);
    ~HouseLamps();
    HouseLamps(const HouseLamps&) = delete;
    HouseLamps& operator=(const HouseLamps&) = delete;

    // The names of the drivers of such lamps.
    static std::vector<std::string> DriversIn(const Session& session);

    // From now on the house's lamps are those of this run, whose drivers know of nothing; null for
    // nobody's. The run that was told before must still be.
    void OnPresent(HouseRun* run);

    // Called once, when the house has started.
    void Start(std::int64_t nowNs);

    // Called every 50 ms of real time or so.
    void Work(std::int64_t nowNs);

    // Before the house stops.
    void Stop();

private:
    class Wire;

    void Attach(Session& session);
    void Detach();

    const HandIn m_handIn;
    const SparseComplaints::Sink m_complain;
    MosquittoBroker m_broker;
    Zigbee2Mqtt m_lamps;
    std::vector<std::unique_ptr<Wire>> m_wires;
    bool m_isStarted = false;
    // The drivers of another run have to be told what is known.
    bool m_isToTell = false;
};
} // namespace lighting_host
