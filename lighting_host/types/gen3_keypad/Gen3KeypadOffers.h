#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverOffers.h"

#include <optional>
#include <string>
#include <vector>

class Gen3KeypadDriver;

// What a keypad of this type offers to programs beside this one: the operations of DriverAdapter of
// the same names.
namespace lighting_host::keypad_offers
{
std::vector<ButtonOffer> Buttons(const Gen3KeypadDriver& driver);
std::vector<SettingOffer> Settings(const Gen3KeypadDriver& driver);
std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect);
Json LedInput(const ButtonOffer& button, const std::string& color);
Json SettingInput(const SettingOffer& setting, const std::string& value);
} // namespace lighting_host::keypad_offers
