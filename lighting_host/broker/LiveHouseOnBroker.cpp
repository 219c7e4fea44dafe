#include "lighting_host/broker/LiveHouseOnBroker.h"

#include "lighting_host/house/StateKeeper.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <chrono>

namespace lighting_host
{
namespace
{
// What is kept for the next life is under this name beside the drivers' states.
const std::string NOTE = "broker";

// What an answer says is wrong; empty when it says nothing of that kind.
std::string ErrorIn(const std::string& answer)
{
    if (answer.compare(0, 9, "{\"error\":") != 0)
        return std::string();
    return Json::parse(answer).at("error").get<std::string>();
}
} // namespace

LiveHouseOnBroker::LiveHouseOnBroker(BrokerOptions options, const HousePlan& plan, std::string name,
                                     DiscoveryFacts facts, MosquittoBroker::Post post,
                                     std::function<void()> wake, HouseOnBroker::Complaint complain)
    : m_options(std::move(options)), m_plan(plan), m_houseName(std::move(name)),
      m_facts(std::move(facts)), m_wake(std::move(wake)), m_complain(std::move(complain)),
      m_broker(m_options.address, std::move(post))
{
}

LiveHouseOnBroker::~LiveHouseOnBroker()
{
    Stop();
}

void LiveHouseOnBroker::OnPresent(HouseRun* run)
{
    if (m_run && m_onBroker)
        m_run->GetListeners().Remove(*m_onBroker);
    m_run = run;
    if (m_run && m_onBroker)
    {
        m_onBroker->OnOtherMoment();
        Attach();
    }
}

void LiveHouseOnBroker::Start(LiveHouse& house)
{
    m_house = &house;
    m_passedOn = house.Ring().Last();
    StateKeeper* const keeper = m_run->GetSession().Keeper();
    if (keeper)
    {
        BrokerMemory::Store store;
        store.load = [keeper]
        {
            return keeper->Note(NOTE);
        };
        // Another moment of the house has another keeper.
        store.save = [this](const std::string& text)
        {
            if (m_run && m_run->GetSession().Keeper())
                m_run->GetSession().Keeper()->SaveNote(NOTE, text);
        };
        m_memory = BrokerMemory(store);
    }
    HouseOnBroker::Options options;
    options.topics = m_options.topics;
    options.discovery = m_options.discovery;
    options.protocol = m_options.protocol;
    options.keepsEnergy = keeper != nullptr;
    options.houseName = m_houseName;
    options.facts = m_facts;
    BrokeredHouse& self = *this;
    m_onBroker = std::make_unique<HouseOnBroker>(options, self, m_broker, m_memory, m_complain);
    Attach();
    m_onBroker->Start();
}

void LiveHouseOnBroker::Attach()
{
    m_run->GetListeners().Add(*m_onBroker);
    StateKeeper* const keeper = m_run->GetSession().Keeper();
    if (!keeper)
        return;
    keeper->onSaved = [this, before = keeper->onSaved](const std::vector<nx::DriverHost*>& drivers)
    {
        if (before)
            before(drivers);
        if (m_onBroker)
            m_onBroker->OnSaved(drivers);
    };
}

void LiveHouseOnBroker::Work(std::int64_t nowNs)
{
    if (!m_onBroker)
        return;
    PassOnLines();
    m_onBroker->Work(nowNs);
}

void LiveHouseOnBroker::Stop()
{
    if (!m_onBroker)
        return;
    m_onBroker->Stop();
    if (m_run)
        m_run->GetListeners().Remove(*m_onBroker);
    m_onBroker.reset();
}

RunStatistics::Counts LiveHouseOnBroker::CountsOf(const nx::DriverHost& driver)
{
    Simulation* const simulation = m_run->GetSimulation();
    return simulation ? simulation->Statistics().Of(driver) : RunStatistics::Counts();
}

std::string LiveHouseOnBroker::HandIn(const std::string& line, std::vector<std::string>& answers)
{
    if (!m_run)
        return "the house stands at an earlier moment";
    m_answers.clear();
    const bool isTaken = m_house->HandIn(*this, line, ++m_number, MonotonicNs());
    PassOnLines();
    answers.insert(answers.end(), m_answers.begin(), m_answers.end());
    m_wake();
    if (isTaken)
        return std::string();
    for (const std::string& answer : m_answers)
    {
        const std::string error = ErrorIn(answer);
        if (!error.empty())
            return error;
    }
    return "refused";
}

// Lines that the ring has lost meanwhile are gone.
void LiveHouseOnBroker::PassOnLines()
{
    const OutputRing& ring = m_house->Ring();
    if (!m_options.protocol || !m_run)
    {
        m_passedOn = ring.Last();
        return;
    }
    m_passedOn = std::min(std::max(m_passedOn, ring.First() - 1), ring.Last());
    while (m_passedOn < ring.Last())
        m_onBroker->OnProtocolLine(ring.At(++m_passedOn).text);
}
} // namespace lighting_host
