#include "MyDimmer.h"

#include "NxLibDriverBases/CreateDriver.h"

void MyDimmer::GroupSetLevel(unsigned group, int level, int time)
{
    const bool wasOn = GetLevel() > 0;
    WiredDimmerDriver::GroupSetLevel(group, level, time);
    TellWhetherOn(wasOn);
}

void MyDimmer::SetSceneLevel(unsigned char level)
{
    const bool wasOn = GetLevel() > 0;
    WiredDimmerDriver::SetSceneLevel(level);
    TellWhetherOn(wasOn);
}

void MyDimmer::TellWhetherOn(bool wasOn)
{
    const bool isOn = GetLevel() > 0;
    if (isOn != wasOn)
        FireEvent(isOn ? EVENT_ON : EVENT_OFF);
}

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new MyDimmer(instances);
}
