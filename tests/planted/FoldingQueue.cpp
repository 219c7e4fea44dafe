#include "tests/planted/PlantedDriver.h"

#include <algorithm>
#include <deque>

namespace
{
// A keypad on a bus that is busy for a while after each message. What waits is folded: a newer
// level makes an older one needless. The defect: a level folds away whatever waits, also that the
// keypad is to be locked. It is seen when somebody presses a button of the keypad that should be
// locked.
class FoldingQueue : public planted::PlantedDriver
{
public:
    explicit FoldingQueue(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("LEVEL", [this](const ICmdMessage&) { Enqueue("LEVEL"); });
        On("LOCK", [this](const ICmdMessage&) { Enqueue("LOCK"); });
        On("UNLOCK", [this](const ICmdMessage&) { Enqueue("UNLOCK"); });
        On("PRESS", [this](const ICmdMessage&) { Press(); });
    }

private:
    void Enqueue(const std::string& word)
    {
        if (word != "LEVEL")
            m_lockWanted = word == "LOCK";
        else
            Fold();
        m_waiting.push_back(word);
        Send();
    }

    void Fold()
    {
        if (std::find(m_waiting.begin(), m_waiting.end(), "LOCK") != m_waiting.end())
            TellTruth("lock folded away");
        m_waiting.clear();
    }

    void Send()
    {
        if (m_busy || m_waiting.empty())
            return;
        const std::string word = m_waiting.front();
        m_waiting.pop_front();
        if (word != "LEVEL")
            m_locked = word == "LOCK";
        m_busy = true;
        After(Random(50, 600),
              [this]
              {
                  m_busy = false;
                  Send();
              });
    }

    void Press()
    {
        if (m_lockWanted && !m_locked && m_waiting.empty())
            ShowSymptom();
    }

    std::deque<std::string> m_waiting;
    bool m_busy = false;
    // As the controller wants it, and as the keypad has it.
    bool m_lockWanted = false;
    bool m_locked = false;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new FoldingQueue(instances);
}
