#include "tests/planted/PlantedDriver.h"

#ifndef LAMP_STEP
// The other build of this driver is changed in this one figure.
#define LAMP_STEP 7
#endif

namespace
{
// A lamp that flickers a little: each command moves its level by a draw, and once it was moved
// often it makes a bigger step.
class Lamp : public planted::PlantedDriver
{
public:
    explicit Lamp(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("MOVE", [this](const ICmdMessage&) { Move(); });
    }

private:
    void Move()
    {
        m_level += Random(0, 3);
        if (++m_moves % 10 == 0)
            m_level += LAMP_STEP;
        SetVariable(TRUTH, std::to_string(m_level));
    }

    int m_level = 0;
    int m_moves = 0;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new Lamp(instances);
}
