#pragma once

// The codes of puck modules: what a button does, what its LED shows. They travel in requests to the
// device and in persisted state (wire values, do not change).
//
// Plain whole numbers, because a device or an old state may hold values that have no name here;
// such a value is kept and sent as it is.
namespace puck
{
namespace MIBS
{
// What a button acts on. 2 unless something else was set.
using ButtonBehavior = int;
// Remote actions go to the device's target 13, 14 or 15.
constexpr ButtonBehavior BEHAVIOR_TARGET_13 = 0;
constexpr ButtonBehavior BEHAVIOR_TARGET_14 = 1;
constexpr ButtonBehavior BEHAVIOR_TARGET_15 = 2;
// No target: remote actions stay in the driver, and the load does not change the button's state.
constexpr ButtonBehavior BEHAVIOR_NO_TARGET = 3;
// The button only knows clicks, each of which turns it over. With target 15 a remote click reaches
// the device.
constexpr ButtonBehavior BEHAVIOR_CLICK_TARGET_15 = 4;
constexpr ButtonBehavior BEHAVIOR_CLICK_NO_TARGET = 5;

// A button's state, which is also what its LED shows.
using ButtonState = int;
constexpr ButtonState STATE_OFF = 0;
constexpr ButtonState STATE_ON = 1;

// What kind of button it is.
using ButtonType = int;
constexpr ButtonType TYPE_CONTACT = 0;
constexpr ButtonType TYPE_SNAP_ON = 1;

// What a contact's LED shows. LED_LOAD unless something else was set.
using LEDBehavior = int;
constexpr LEDBehavior LED_CONTACT_INVERSE = 0;
constexpr LEDBehavior LED_CONTACT = 1;
constexpr LEDBehavior LED_LOAD = 2;
constexpr LEDBehavior LED_LOAD_INVERSE = 3;
constexpr LEDBehavior LED_CONTROLLER = 4;
} // namespace MIBS

// Whether a button is pressed: 0 when it is not.
using ButtonStatus = int;
} // namespace puck
