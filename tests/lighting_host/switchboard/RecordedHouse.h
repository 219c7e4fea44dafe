#pragma once

#include "lighting_host/switchboard/FlightRecord.h"
#include "lighting_host/switchboard/FlightRecorder.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "tests/lighting_host/HouseFolder.h"

#include <memory>
#include <string>

namespace lighting_host
{
// A live house that is recorded, on a clock of the test's own.
class RecordedHouse : public HouseVisitor
{
public:
    RecordedHouse(const std::string& house, std::uint64_t seed, FaultLevel faults,
                  bool keepsOutputs = true)
        : m_file(ParseHouseFile(house, "."))
    {
        RecordHead head;
        head.housePath = "house.xml";
        head.houseText = house;
        head.seed = seed;
        head.start = "2026-01-01T22:30:00";
        head.people = true;
        head.faults = NameOf(faults);
        m_recorder = std::make_unique<FlightRecorder>(m_folder.Path("flight.jsonl"), head);
        LiveHouse::Options options;
        options.run.session.seed = seed;
        options.run.session.startLocalSeconds = 1767306600;
        options.run.session.logLevel = 0;
        options.run.faults = faults;
        options.recorder = m_recorder.get();
        options.recordOutputs = keepsOutputs;
        m_house = std::make_unique<LiveHouse>(m_file, options, nullptr);
        m_house->Start(0);
    }

    // Lets time pass, and the house work as long as it wants to.
    void Pass(std::int64_t ms)
    {
        m_nowNs += ms * 1000000;
        // What is due right now waits for the next moment, which does not come by itself here.
        std::int64_t before = -1;
        while (m_house->Work(m_nowNs) == m_nowNs && m_house->Run().NowMs() != before)
            before = m_house->Run().NowMs();
    }

    void Say(const std::string& line)
    {
        m_house->HandIn(*this, line, ++m_lines, m_nowNs);
        while (m_house->IsRewinding())
            m_house->Work(m_nowNs);
    }

    LiveHouse& House() { return *m_house; }

    // Ends it in order, and reads what was recorded.
    FlightRecord End()
    {
        m_house->Stop("test");
        m_recorder->Flush(true);
        return ReadFlightRecord(m_folder.Path("flight.jsonl"));
    }

    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string&) override {}

private:
    const std::string m_name = "desk";
    HouseFolder m_folder;
    const HouseFile m_file;
    std::unique_ptr<FlightRecorder> m_recorder;
    std::unique_ptr<LiveHouse> m_house;
    std::int64_t m_nowNs = 0;
    unsigned long m_lines = 0;
};
} // namespace lighting_host
