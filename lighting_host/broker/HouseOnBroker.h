#pragma once

#include "lighting_host/broker/Broker.h"
#include "lighting_host/broker/BrokerCommands.h"
#include "lighting_host/broker/BrokerMemory.h"
#include "lighting_host/broker/BrokerNames.h"
#include "lighting_host/broker/ButtonEvents.h"
#include "lighting_host/broker/Discovery.h"
#include "lighting_host/broker/HouseWatch.h"
#include "lighting_host/broker/SparseComplaints.h"
#include "lighting_host/simulation/HouseListener.h"
#include "lighting_host/simulation/RunStatistics.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace lighting_host
{
// The house that HouseOnBroker puts on a broker: what it asks of it, and where commands go.
class BrokeredHouse
{
public:
    virtual ~BrokeredHouse() = default;

    virtual const HousePlan& Plan() const = 0;
    virtual Session& GetSession() = 0;
    virtual RunStatistics::Counts CountsOf(const nx::DriverHost& driver) = 0;

    // False while the house stands at an earlier moment, which is nobody else's business.
    virtual bool IsNow() const = 0;

    // Hands in one line. Why it was refused; empty when it was not. Its answers are appended, each
    // without a line end.
    virtual std::string HandIn(const std::string& line, std::vector<std::string>& answers) = 0;
};

// A house on a broker: its devices as programs that look for devices are told of them, their states
// as they change, their buttons' events as they happen; and commands that come back.
//
// States are retained and told again after each connection; events and commands never are, so an
// event without a connection is gone. What cannot be sent now is tried again at the next Work.
// While the house is not at the moment that is now, nothing is told and every command is refused.
// Everything is called on the house's thread.
class HouseOnBroker : public BrokerListener, public HouseListener
{
public:
    struct Options
    {
        BrokerTopics topics;
        // Whether devices are told of.
        bool discovery = true;
        // Whether the host protocol itself is there.
        bool protocol = false;
        // Whether energy totals outlive the program, and so may be told.
        bool keepsEnergy = false;
        // As people call the house.
        std::string houseName;
        DiscoveryFacts facts;
        // The longest wait before everything is told anew to a program that has just come.
        std::int64_t mostBirthDelayMs = 5000;
    };

    // Told in words what went wrong with a message or the connection.
    using Complaint = SparseComplaints::Sink;

    struct Counts
    {
        unsigned long published = 0;
        unsigned long commands = 0;
        unsigned long refused = 0;
    };

    // All must outlive this; `memory` is read and kept from now on.
    HouseOnBroker(Options options, BrokeredHouse& house, Broker& broker, BrokerMemory& memory,
                  Complaint complaint);
    ~HouseOnBroker() override;

    // Called once, when the house's drivers run: connects.
    void Start();

    // Says that the house is gone, and ends the connection. May be called again.
    void Stop();

    // Tells what has changed. Called every 50 ms of real time or so, with the machine's monotonic
    // clock.
    void Work(std::int64_t nowNs);

    // The house has come to another moment: what was going on there is not known.
    void OnOtherMoment();

    // The drivers' states were saved: their energy totals may be told.
    void OnSaved(const std::vector<nx::DriverHost*>& drivers);

    // One line that the house put out, for those who follow the protocol.
    void OnProtocolLine(const std::string& line);

    const Counts& GetCounts() const { return m_counts; }

    // BrokerListener.
    void OnBrokerConnected() override;
    void OnBrokerLost(const std::string& why) override;
    void OnBrokerMessage(const BrokerMessage& message) override;

    // HouseListener.
    void OnOutput(const embedded_host::Output& output) override;

private:
    // A fade that a command began.
    struct Fade
    {
        int level = 0;
        std::int64_t endMs = 0;
    };
    struct Light
    {
        LightMemory memory;
        std::optional<Fade> fade;
        std::int64_t toldNs = 0;
    };

    bool Publish(const BrokerPublication& publication);
    bool PublishRetained(const std::string& topic, const std::string& payload, bool again = false);
    void Announce(bool again);
    bool AnnounceDevice(const DeviceModel& device);
    bool ClearGhosts(const std::vector<std::string>& ghosts);
    std::set<std::string> TopicsOfHouse() const;
    bool TellDevice(std::size_t place);
    bool TellEntity(std::size_t place, const Entity& entity, const nx::DriverHost* driver);
    // Whether all is said; else it is to be told again soon.
    bool TellLight(const std::string& topic, Light& light, int level);
    void TellEvents(const DeviceModel& device, const Entity& entity,
                    const std::vector<ButtonEvent>& events);
    std::optional<std::string> ValueOf(const DeviceModel& device, const Entity& entity,
                                       const nx::DriverHost* driver);
    void LookAtHouse();
    void LookAtEnergy(const std::vector<nx::DriverHost*>& drivers);
    void OnCommand(const BrokerMessage& message);
    std::string Obey(const DeviceModel& device, const Entity& entity, const std::string& payload);
    void BeginFade(const std::string& device, const std::string& entity,
                   const BrokerCommand& command);
    void OnProtocolInput(const BrokerMessage& message);
    void Refuse(const BrokerMessage& message, const std::string& why);
    void Answer(const BrokerMessage& message, const std::string& answer);
    void Complain(const std::string& what);
    void SaveMemory();
    std::int64_t NowMs();

    Options m_options;
    BrokeredHouse& m_house;
    Broker& m_broker;
    BrokerMemory& m_memory;
    SparseComplaints m_complaints;
    HouseWatch m_watch;
    bool m_started = false;
    // Whether this connection has been told everything yet, or at least has been tried to; and
    // whether something of that could not be sent.
    bool m_announced = false;
    bool m_isUnsaid = false;
    // What each retained topic holds, as far as this connection was told.
    std::map<std::string, std::string> m_told;
    // By the topics of their entities.
    std::map<std::string, ButtonEvents> m_buttons;
    std::map<std::string, Light> m_lights;
    // By driver, in kWh.
    std::map<std::string, std::string> m_energy;
    std::mt19937 m_random;
    std::int64_t m_nowNs = 0;
    std::int64_t m_lookedNs = 0;
    // When everything is told anew; 0 for not.
    std::int64_t m_birthNs = 0;
    Counts m_counts;
};
} // namespace lighting_host
