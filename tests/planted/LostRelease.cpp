#include "tests/planted/PlantedDriver.h"

namespace
{
// A lamp that ramps up while a button is held. The radio loses a message now and then. The defect:
// nothing looks after a release that was lost, so the lamp ramps on to full though nobody holds the
// button.
class LostRelease : public planted::PlantedDriver
{
public:
    explicit LostRelease(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("PRESS", [this](const ICmdMessage&) { Press(); });
        On("RELEASE", [this](const ICmdMessage&) { Release(); });
    }

private:
    static constexpr int FULL = 100;
    static constexpr int STEP_MS = 1500;

    void Press()
    {
        m_held = true;
        ++m_ramp;
        m_level = 0;
        Ramp(m_ramp);
    }

    void Release()
    {
        m_held = false;
        if (Random(1, 12) == 1)
            TellTruth("release lost");
        else
            ++m_ramp;
    }

    void Ramp(int ramp)
    {
        if (ramp != m_ramp)
            return;
        if (++m_level < FULL)
            After(STEP_MS, [this, ramp] { Ramp(ramp); });
        else if (!m_held)
            ShowSymptom();
    }

    bool m_held = false;
    int m_level = 0;
    // Counts the ramps; one that is not the present one is over.
    int m_ramp = 0;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new LostRelease(instances);
}
