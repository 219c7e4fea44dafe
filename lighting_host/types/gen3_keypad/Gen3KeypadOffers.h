#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverOffers.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class Gen3KeypadDriver;

namespace lighting_host::keypad_offers
{
// What the host protocol's input "set" has set of a keypad's driver that the driver does not tell.
struct SetFacts
{
    bool usesHoldTimer = true;
    bool ledTracking = false;
    std::int64_t minRetryMs = 20000;
    std::int64_t maxRetryMs = 40000;
};

// What a keypad of this type offers to programs beside this one: the operations of DriverAdapter of
// the same names.
std::vector<ButtonOffer> Buttons(const Gen3KeypadDriver& driver);
std::vector<SettingOffer> Settings(const Gen3KeypadDriver& driver, const SetFacts& facts);
std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect);
Json LedInput(const ButtonOffer& button, const std::string& color);
Json SettingInput(const SettingOffer& setting, const std::string& value);
} // namespace lighting_host::keypad_offers
