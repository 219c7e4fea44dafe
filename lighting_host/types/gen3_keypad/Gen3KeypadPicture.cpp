// What a page shows of a keypad on the bus: its buttons with their LEDs as the keypad shows them,
// a hold timer that runs, and the queue.

#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/gen3_keypad/Gen3Keypad.h"
#include "lighting_host/types/gen3_keypad/KeypadQueuePicture.h"
#include "simulated_devices/KeypadOnBus.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using namespace embedded_host;
using gen3_lights::Buttons::LEDBehavior;
using simulated::BusKeypad;

// Half of a blink, for every way of blinking.
constexpr int BLINK_MS = 500;

std::string TextOf(const BusKeypad::Color& color)
{
    return fmt::format("{:02x}{:02x}{:02x}", color[0], color[1], color[2]);
}

std::string LedIsOn(LEDBehavior behavior)
{
    using namespace gen3_lights::Buttons;
    if (behavior == LED_FOLLOWS_BOUND_DEVICE)
        return "as the bound device shows";
    if (behavior == LED_ON_WITH_LOAD)
        return "with the load";
    if (behavior == LED_ON_WHILE_PRESSED)
        return "while pressed";
    if (behavior >= LED_AT_LEVEL_FIRST && behavior <= LED_AT_LEVEL_LAST)
        return fmt::format("at level {}", behavior - LED_AT_LEVEL_FIRST);
    return "as the controller says";
}

class Gen3KeypadPicture : public TypePicture
{
public:
    void OnOutput(const Output& output, std::uint64_t) override
    {
        m_queue.OnOutput(output);
        const auto* const call = std::get_if<OwnerCall>(&output.effect);
        if (!call || call->operation != std::string("ReportButtonEvent"))
            return;
        const auto* const id = std::get_if<std::int64_t>(&call->arguments[0]);
        const auto* const event = std::get_if<std::int64_t>(&call->arguments[1]);
        if (!id || !event)
            return;
        Use& use = m_uses[*id];
        use.pressed = *event == gen3_lights::PRESSED;
        use.times += *event == gen3_lights::PRESSED || *event == gen3_lights::CLICKED ? 1 : 0;
        if (use.pressed)
            use.pressedMs = output.timeMs;
    }

    void OnBus(std::int64_t nowMs, const wire::BusFrame& frame) override
    {
        m_queue.OnBus(nowMs, frame);
    }

    void Describe(const Sides& sides, Json& members) const override
    {
        const auto& driver = static_cast<const Gen3KeypadDriver&>(sides.driver);
        const auto* const device = static_cast<const simulated::KeypadOnBus*>(sides.device);
        Json buttons = Json::array();
        members["hold"] = nullptr;
        members["facts"] = Json::array();
        if (!driver.Firmware().Empty())
            members["facts"].push_back({"firmware", driver.Firmware().ToExtString()});
        for (const int id : driver.ButtonIds())
        {
            const Gen3Button& button = *driver.Button(id);
            buttons.push_back(ButtonOf(device ? &device->Keypad() : nullptr, button));
            if (!sides.powered)
                buttons.back().update({{"led", DARK}, {"blink_ms", 0}});
            const auto times = Times(sides, button.GetHoldTimer());
            if (times)
                members["hold"] = {{"button", id},
                                   {"since_ms", UseOf(id).pressedMs},
                                   {"ends_ms", times->dueMs},
                                   {"timer", button.GetHoldTimer()}};
        }
        members["buttons"] = std::move(buttons);
        const auto retry = Times(sides, driver.Bus().getRetryTimer());
        members["queue"] =
            m_queue.Describe(driver, retry ? std::optional(retry->dueMs) : std::nullopt);
    }

private:
    struct Use
    {
        bool pressed = false;
        std::int64_t pressedMs = 0;
        unsigned times = 0;
    };

    static std::optional<TimerTimes> Times(const Sides& sides, unsigned timer)
    {
        return timer != 0 && sides.timer ? sides.timer(timer) : std::nullopt;
    }

    Use UseOf(int id) const
    {
        const auto use = m_uses.find(id);
        return use == m_uses.end() ? Use() : use->second;
    }

    Json ButtonOf(const BusKeypad* keypad, const Gen3Button& button) const
    {
        const Use use = UseOf(button.GetBtnIndex());
        std::string shown = button.GetCurColor();
        bool blinks = button.GetLEDBlinkBehavior() != 0;
        if (keypad)
            std::tie(shown, blinks) = ShownBy(*keypad, button, use.pressed);
        return {{"id", button.GetBtnIndex()},
                {"name", button.GetName()},
                {"pressed", use.pressed},
                {"led", shown},
                {"blink_ms", blinks ? BLINK_MS : 0},
                {"on_color", button.GetOnColor()},
                {"off_color", button.GetOffColor()},
                {"led_is_on", LedIsOn(button.GetLEDBehavior())},
                {"slots", button.GetSlots()},
                {"uses", use.times}};
    }

    // The color of the button's first LED, and whether it blinks. A keypad that has not been told
    // of the LED shows nothing.
    static std::pair<std::string, bool> ShownBy(const BusKeypad& keypad, const Gen3Button& button,
                                                bool pressed)
    {
        const auto led = std::find_if(keypad.Leds().begin(), keypad.Leds().end(),
                                      [&button](const auto& one)
                                      { return one.second.actuator == button.GetActuator(); });
        if (led == keypad.Leds().end())
            return {DARK, false};
        const bool blinks = led->second.blink != 0;
        if (button.GetLEDBehavior() == gen3_lights::Buttons::LED_ON_WHILE_PRESSED)
            return {TextOf(pressed ? led->second.on : led->second.off), blinks};
        const auto present = keypad.CurrentColors().find(led->first);
        return {TextOf(present == keypad.CurrentColors().end() ? led->second.off : present->second),
                blinks};
    }

    // By the button's id.
    std::map<std::int64_t, Use> m_uses;
    KeypadQueuePicture m_queue;
};
} // namespace

std::unique_ptr<TypePicture> MakeGen3KeypadPicture(const HouseFileDriver&)
{
    return std::make_unique<Gen3KeypadPicture>();
}
} // namespace lighting_host
