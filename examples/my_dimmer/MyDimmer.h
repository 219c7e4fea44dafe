#pragma once

#include "drivers/wired_dimmer/WiredDimmerDriver.h"

// A wired dimmer that also fires an event when a group or a scene turns its load on or off.
class MyDimmer : public WiredDimmerDriver
{
public:
    // The events that it fires.
    static constexpr unsigned EVENT_OFF = 7000;
    static constexpr unsigned EVENT_ON = 7001;

    using WiredDimmerDriver::WiredDimmerDriver;

    void GroupSetLevel(unsigned group, int level, int time) override;
    void SetSceneLevel(unsigned char level) override;

private:
    void TellWhetherOn(bool wasOn);
};
