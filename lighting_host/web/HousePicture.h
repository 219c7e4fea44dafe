#pragma once

#include "lighting_host/switchboard/HouseRun.h"
#include "lighting_host/switchboard/HouseView.h"
#include "lighting_host/web/DriverPicture.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// What a page shows of a run: what the house has told so far, gathered as it is told, and what its
// drivers and devices can be asked.
//
// Bounded: of everything that grows it keeps the last. Lives on the house's thread.
class HousePicture : public HouseView
{
public:
    // `run` must outlive this, and is asked from its start on.
    explicit HousePicture(HouseRun& run);
    ~HousePicture() override;

    // HouseView.
    std::string Snapshot() override;
    std::vector<std::string> TakeChanges() override;
    void NoteBreak(std::int64_t timeMs, const std::string& driver,
                   const std::string& words) override;
    std::string Drivers() override;
    std::string DifferencesFrom(const std::string& drivers) override;
    std::map<std::string, DriverFigures> Figures() override;

    // HouseListener.
    void OnOutput(const embedded_host::Output& output) override;
    void OnPerson(const nx::DriverHost& driver, const std::string& what) override;
    void OnAct(const nx::DriverHost& driver, const std::string& words) override;
    void OnControllerAct(const nx::DriverHost& driver, const std::string& what) override;
    void OnPowerFailure(const nx::DriverHost& driver) override;
    void OnBus(const nx::DriverHost& driver, const wire::BusFrame& frame) override;
    void OnMib(const nx::DriverHost& driver, const wire::MibMessage& message) override;
    void OnZcl(const nx::DriverHost& driver, const wire::ZclFrame& frame) override;

private:
    struct Mark
    {
        std::int64_t timeMs = 0;
        const char* kind = "";
        std::string driver;
        std::string words;
    };
    struct Act
    {
        std::int64_t timeMs = 0;
        std::string driver;
        std::string words;
    };
    std::int64_t NowMs() const;
    DriverPicture& Of(const nx::DriverHost& driver);
    void AddMark(const char* kind, const std::string& driver, const std::string& words);
    void AddAct(const nx::DriverHost& driver, const std::string& words);
    void CountActivity(std::int64_t timeMs);
    Members DescribeHouse();
    std::string Marks() const;
    static std::string MarkText(const Mark& mark);
    std::string People() const;
    std::string Activity() const;

    HouseRun& m_run;
    std::vector<std::unique_ptr<DriverPicture>> m_drivers;
    std::deque<Mark> m_marks;
    // How many marks have been sent, of all that there ever were.
    std::uint64_t m_markCount = 0;
    std::uint64_t m_marksTold = 0;
    std::deque<Act> m_people;
    std::vector<unsigned> m_activity;
    Members m_toldHouse;
};
} // namespace lighting_host
