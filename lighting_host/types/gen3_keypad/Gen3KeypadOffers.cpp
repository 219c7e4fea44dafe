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

// The actions of the settings, and the ends of their ids.
constexpr const char* LED_BEHAVIOR = "led_behavior";
constexpr const char* BEHAVIOR = "behavior";
// Of the last one with a meaning, on the second channel.
constexpr int LAST_BEHAVIOR = 18;

// Facts that are settings; their ids too.
constexpr const char* HOLD_TIMER = "uses_hold_timer";
constexpr const char* LED_TRACKING = "led_tracking";
constexpr const char* MIN_RETRY = "min_retry_ms";
constexpr const char* MAX_RETRY = "max_retry_ms";
constexpr std::int64_t LEAST_RETRY_MS = 1000;
constexpr std::int64_t MOST_RETRY_MS = 600000;
constexpr const char* OFF = "off";
constexpr const char* ON = "on";

// What a button does, as its owner is told (wire values, do not change).
constexpr std::pair<int, ButtonUse::What> USES[] = {
    {gen3_lights::RELEASED, ButtonUse::Released},
    {gen3_lights::PRESSED, ButtonUse::Pressed},
    {gen3_lights::CLICKED, ButtonUse::Clicked},
};

SettingOffer Number(const std::string& id, const std::string& name, long long least, long long most,
                    long long value)
{
    SettingOffer setting;
    setting.id = id;
    setting.name = name;
    setting.least = least;
    setting.most = most;
    if (value >= least && value <= most)
        setting.value = std::to_string(value);
    return setting;
}

SettingOffer Retry(const char* fact, const std::string& name, std::int64_t value)
{
    SettingOffer setting = Number(fact, name, LEAST_RETRY_MS, MOST_RETRY_MS, value);
    setting.unit = "ms";
    return setting;
}

SettingOffer Truth(const char* fact, const std::string& name, bool value)
{
    SettingOffer setting;
    setting.id = fact;
    setting.name = name;
    setting.options = {OFF, ON};
    setting.value = value ? ON : OFF;
    return setting;
}
} // namespace

std::vector<ButtonOffer> Buttons(const Gen3KeypadDriver& driver)
{
    std::vector<ButtonOffer> buttons;
    for (const int id : driver.ButtonIds())
        buttons.push_back({false, static_cast<unsigned>(id), static_cast<unsigned>(id),
                           driver.Button(id)->GetName(), driver.Button(id)->GetCurColor()});
    return buttons;
}

std::vector<SettingOffer> Settings(const Gen3KeypadDriver& driver, const SetFacts& facts)
{
    std::vector<SettingOffer> settings;
    for (const int id : driver.ButtonIds())
    {
        SettingOffer setting;
        setting.id = fmt::format("button_{}_{}", id, LED_BEHAVIOR);
        setting.name = fmt::format("Button {} LED", id);
        setting.button = static_cast<unsigned>(id);
        for (const auto& [number, words] : LED_BEHAVIORS)
        {
            setting.options.emplace_back(words);
            if (number == driver.Button(id)->GetLEDBehavior())
                setting.value = words;
        }
        settings.push_back(setting);
        setting =
            Number(fmt::format("button_{}_{}", id, BEHAVIOR), fmt::format("Button {} behavior", id),
                   0, LAST_BEHAVIOR, driver.Button(id)->GetBehavior());
        setting.button = static_cast<unsigned>(id);
        settings.push_back(setting);
    }
    settings.push_back(Truth(HOLD_TIMER, "Hold timer", facts.usesHoldTimer));
    settings.push_back(Truth(LED_TRACKING, "LED tracking", facts.ledTracking));
    settings.push_back(Retry(MIN_RETRY, "Shortest wait for an answer", facts.minRetryMs));
    settings.push_back(Retry(MAX_RETRY, "Longest wait for an answer", facts.maxRetryMs));
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
    const auto input = [&setting](const char* action, int number) -> Json
    {
        return {{"button", {{"id", setting.button}, {"action", action}, {"value", number}}}};
    };
    for (const char* const fact : {HOLD_TIMER, LED_TRACKING})
    {
        if (setting.id == fact)
            return {{"set", {{fact, value == ON}}}};
    }
    for (const char* const fact : {MIN_RETRY, MAX_RETRY})
    {
        if (setting.id == fact)
            return {{"set", {{fact, std::stoll(value)}}}};
    }
    if (setting.options.empty())
        return input(BEHAVIOR, std::stoi(value));
    for (const auto& [number, words] : LED_BEHAVIORS)
    {
        if (value == words)
            return input(LED_BEHAVIOR, number);
    }
    return Json::object();
}
} // namespace lighting_host::keypad_offers
