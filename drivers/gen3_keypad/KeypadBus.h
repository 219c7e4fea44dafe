#pragma once

#include <cstddef>

// What the gen3_keypad driver and its keypad say to each other on the bus (wire values, do not
// change). The opcodes are this driver's own choice; the README beside this file lists the
// payloads.
namespace keypad_bus
{
// How long the number is with which each message to the keypad begins, and which the keypad's
// answer repeats.
constexpr std::size_t NUMBER_SIZE = 2;

// To the keypad.
enum ToKeypad : int
{
    // States: each message holds all that there is of its kind, so that of several waiting ones
    // only the newest is worth sending. These are opcodes that Bus485Helper folds.
    BACKLIGHT = 0x1110,
    LED_COLORS = 0x1280,
    LED_SETUP = 0x12C0,
    BUTTON_BEHAVIORS = 0x13C0,

    // One button is to act as if it were used. Every one counts.
    BUTTON_ACTION = 0x2110,
};

// From the keypad, and from the gateway on its own behalf.
enum FromKeypad : int
{
    // The answer to the message of that number.
    ANSWER = 0x9000,
    // The keypad tells that it is there, and its firmware version.
    ANNOUNCE = 0x9010,
    FIRMWARE = 0x9020,
    // Somebody uses a button.
    BUTTON_USED = 0x9030,
    // The gateway is online (1) or about to go offline (0).
    GATEWAY_STATUS = 0x9100,
};

// What BUTTON_USED says of the button: a gen3_lights::ButtonUse, or that it is still held.
constexpr int STILL_HELD = 3;

// Where an announce says that the keypad has lost what it was told: this octet is not 0.
constexpr unsigned ANNOUNCE_RESTARTED_AT = 1;
} // namespace keypad_bus
