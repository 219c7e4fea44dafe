#include "lighting_host/types/gen3_keypad/Gen3KeypadOffers.h"

#include "drivers/gen3_keypad/Gen3KeypadDriver.h"

#include <fmt/format.h>

namespace lighting_host::keypad_offers
{
namespace
{
// What a button's LED shows, in words, by the number of its behaviour.
constexpr std::pair<int, const char*> LED_BEHAVIORS[] = {
    {gen3_lights::Buttons::LED_FOLLOWS_BOUND_DEVICE, "color of the bound device"},
    {gen3_lights::Buttons::LED_ON_WITH_LOAD, "on with the load"},
    {gen3_lights::Buttons::LED_ON_WHILE_PRESSED, "on while pressed"},
    {gen3_lights::Buttons::LED_AT_LEVEL_FIRST, "on at level 0"},
    {gen3_lights::Buttons::LED_AT_LEVEL_FIRST + 1, "on at level 1"},
    {gen3_lights::Buttons::LED_AT_LEVEL_FIRST + 2, "on at level 2"},
    {gen3_lights::Buttons::LED_AT_LEVEL_FIRST + 3, "on at level 3"},
    {gen3_lights::Buttons::LED_AT_LEVEL_LAST, "on at level 4"},
    {gen3_lights::Buttons::LED_OFF_ON_REMOTE_RELEASE, "off after a remote release"},
    {gen3_lights::Buttons::LED_ON_ON_REMOTE_PUSH, "on after a remote push"},
};

// What a button does, as its owner is told (wire values, do not change).
constexpr std::pair<int, ButtonUse::What> USES[] = {
    {gen3_lights::RELEASED, ButtonUse::Released},
    {gen3_lights::PRESSED, ButtonUse::Pressed},
    {gen3_lights::CLICKED, ButtonUse::Clicked},
};

} // namespace

std::vector<ButtonOffer> Buttons(const Gen3KeypadDriver& driver)
{
    std::vector<ButtonOffer> buttons;
    for (const int id : driver.ButtonIds())
        buttons.push_back({false, static_cast<unsigned>(id), static_cast<unsigned>(id),
                           driver.Button(id)->GetName(), driver.Button(id)->GetCurColor()});
    return buttons;
}

std::vector<SettingOffer> Settings(const Gen3KeypadDriver& driver)
{
    std::vector<SettingOffer> settings;
    for (const int id : driver.ButtonIds())
    {
        SettingOffer setting;
        setting.id = fmt::format("button_{}_led_behavior", id);
        setting.name = fmt::format("Button {} LED", id);
        setting.button = static_cast<unsigned>(id);
        for (const auto& [number, words] : LED_BEHAVIORS)
        {
            setting.options.emplace_back(words);
            if (number == driver.Button(id)->GetLEDBehavior())
                setting.value = words;
        }
        settings.push_back(setting);
    }
    return settings;
}

std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect)
{
    const auto* const call = std::get_if<embedded_host::OwnerCall>(&effect);
    if (!call || std::string("ReportButtonEvent") != call->operation || call->arguments.size() < 2)
        return std::nullopt;
    const auto* const id = std::get_if<std::int64_t>(&call->arguments[0]);
    const auto* const event = std::get_if<std::int64_t>(&call->arguments[1]);
    if (!id || !event)
        return std::nullopt;
    for (const auto& [number, what] : USES)
    {
        if (number == *event)
            return ButtonUse{false, static_cast<unsigned>(*id), what, 1};
    }
    return std::nullopt;
}

Json LedInput(const ButtonOffer& button, const std::string& color)
{
    return {{"button",
             {{"id", button.number}, {"action", "cur_color"}, {"color", color}, {"force", true}}}};
}

Json SettingInput(const SettingOffer& setting, const std::string& value)
{
    for (const auto& [number, words] : LED_BEHAVIORS)
    {
        if (value == words)
            return {{"button",
                     {{"id", setting.button}, {"action", "led_behavior"}, {"value", number}}}};
    }
    return Json::object();
}
} // namespace lighting_host::keypad_offers
