#pragma once

#include "lighting_host/types/DriverOffers.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lighting_host
{
// One thing that happened at a button, in the words of the broker's users.
struct ButtonEvent
{
    // The event's type ("press_start") and, for several presses in a row, how many; else 0.
    std::string type;
    unsigned count = 0;
    // What a device trigger for it listens to ("short_press"); empty for none.
    std::string trigger;

    // As the event's message.
    std::string Json() const;
};

// Makes such events of what a driver reports of one button.
//
// A first press is told at once, and its end; one that lasts LONG_PRESS_MS is long. A press soon
// after a release continues the row, and what the device says of it ends the row. A click of which
// no press was reported is told as both its press and its end. Times are of the house's clock.
class ButtonEvents
{
public:
    static constexpr std::int64_t LONG_PRESS_MS = 500;
    // A press that comes later than this after a release begins a new row.
    static constexpr std::int64_t ROW_MS = 1000;

    std::vector<ButtonEvent> OnUse(const ButtonUse& use, std::int64_t nowMs);

    // What has happened just because time has passed.
    std::vector<ButtonEvent> OnTime(std::int64_t nowMs);

    // Whether it is held at the moment.
    bool IsPressed() const { return m_isPressed; }

private:
    std::vector<ButtonEvent> OnPress(std::int64_t nowMs);
    std::vector<ButtonEvent> OnRelease(std::int64_t nowMs);
    std::vector<ButtonEvent> OnClicks(unsigned clicks);

    bool m_isPressed = false;
    bool m_isLong = false;
    // Presses in this row so far.
    unsigned m_presses = 0;
    std::int64_t m_pressedMs = 0;
    std::int64_t m_releasedMs = 0;
};
} // namespace lighting_host
