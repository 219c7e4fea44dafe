#include "nxshared/NxTime.h"
#include "tests/planted/PlantedDriver.h"

namespace
{
// A plug that reports what it uses at times of its own choice. The defect: the day's total begins
// anew with a report in the first half minute of a day, and not with the first report of a day.
// When no report comes in that half minute the total goes on, which is seen when somebody reads it.
class MidnightTotal : public planted::PlantedDriver
{
public:
    explicit MidnightTotal(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("READ", [this](const ICmdMessage&) { Read(); });
    }

    bool Initialize(unsigned id, boost::shared_ptr<nx::XmlNode>& config,
                    boost::shared_ptr<nx::XmlNode> state) override
    {
        m_lastDay = m_dayOfTotal = NxTime::GetCurrentTime().GetDay();
        Wait();
        return PlantedDriver::Initialize(id, config, state);
    }

private:
    void Wait()
    {
        After(Random(10000, 60000),
              [this]
              {
                  Report();
                  Wait();
              });
    }

    void Report()
    {
        const NxTime now = NxTime::GetCurrentTime();
        const bool isNewDay = now.GetDay() != m_lastDay;
        m_lastDay = now.GetDay();
        if (now.GetHour() == 0 && now.GetMinute() == 0 && now.GetSecond() < 30)
            m_dayOfTotal = m_lastDay;
        else if (isNewDay)
            TellTruth("midnight skipped");
    }

    void Read()
    {
        if (m_dayOfTotal != NxTime::GetCurrentTime().GetDay())
            ShowSymptom();
    }

    // The day of the last report, and the day that the total began with.
    int m_lastDay = 0;
    int m_dayOfTotal = 0;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new MidnightTotal(instances);
}
