#pragma once

#include "NxLibDriverBases/DriverFacts.h"
#include "lighting_common/NxBasePuckDriver.h"
#include "nxshared/Ids.h"

#include <boost/shared_ptr.hpp>

// A doorbell: the push at the door is contact 0 of a puck module, and the module's output rings a
// chime.
//
// The base class has the contacts: their events, links, LEDs and settings. This class adds the
// chime. A push rings it for RING_SECONDS of the configuration; a push while it rings starts the
// time anew. While the bell is quiet, pushes are counted but nothing rings; quiet is kept over a
// restart.
//
// Whoever tests or runs it can tell it the fact "chime_connected" (a boolean, true at first;
// without a chime nothing rings) and ask "bell": how often it was pushed, whether it is quiet,
// whether it rings.
class Doorbell : public NxBasePuckDriver, public IDriverFacts
{
public:
    // The events that it fires.
    static constexpr unsigned EVENT_SILENT = 7000;
    static constexpr unsigned EVENT_RINGING = 7001;

    // Registers the commands "RING" (rings as a push does) and "SET_QUIET" ("QUIET", a boolean).
    explicit Doorbell(IInstanceManager& instances);
    ~Doorbell() override;

    // Reads RING_SECONDS, 1 to 60, 3 when it is absent or something else.
    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override;

    // The base's state with "QUIET" at its end.
    boost::shared_ptr<nx::XmlNode> GetPersistState(unsigned long flags) override;

    void OnTrapBtnAction(const NxMIBPacket& trap) override;
    void OnTimerExpired(ID::Timer timer, time_t time) override;

    // IDriverFacts.
    std::string WhyNot(const std::string& fact, const NxDriverValue& value) const override;
    void SetFact(const std::string& fact, const NxDriverValue& value) override;
    bool Answer(const std::string& query, const NxDriverValues& params,
                NxDriverValues& answer) const override;

private:
    void OnCmdSetQuiet(const ICmdMessage& message);
    void Ring();
    void Silence();
    void SendChime(bool on);

    unsigned m_ringSeconds;
    unsigned m_pushes = 0;
    bool m_quiet = false;
    bool m_hasChime = true;
    // Runs while the chime rings; 0 when it is silent.
    ID::Timer m_ringTimer = 0;
};
