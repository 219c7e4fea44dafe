// What a page shows of a puck module: its contacts and snap-on buttons as they are.

#include "drivers/puck/PuckDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "lighting_host/types/TypePicture.h"
#include "lighting_host/types/puck/Puck.h"
#include "simulated_devices/PuckModule.h"

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace lighting_host
{
namespace
{
using simulated::PuckModule;

// On purpose not that of a keypad: each type draws its own lights.
// Above the numbers of every button.
constexpr unsigned LAST_EVENT = 9999;

// Without a device, what the driver was told last: a press runs its hold timer.
bool IsPushed(const PuckModule* module, int number, const PuckButton& button)
{
    return module ? module->IsPushed(number) : button.GetTimerID() != 0;
}

class PuckPicture : public TypePicture
{
public:
    void OnOutput(const embedded_host::Output& output, std::uint64_t) override
    {
        const auto* const fired = std::get_if<embedded_host::EventFired>(&output.effect);
        if (!fired || fired->event > LAST_EVENT)
            return;
        Fired& event = m_fired[fired->event];
        event.lastMs = output.timeMs;
        ++event.times;
    }

    void Describe(const Sides& sides, Json& members) const override
    {
        const auto& driver = static_cast<const PuckDriver&>(sides.driver);
        const auto* const module = static_cast<const PuckModule*>(sides.device);
        members["hold"] = nullptr;
        members["facts"] = Json::array();
        if (driver.HasHoldFeedback())
            members["facts"].push_back({"hold time", std::to_string(driver.HoldTimeMs()) + " ms"});
        Json contacts = Json::array();
        for (unsigned i = 0; const ContactButton* const contact = driver.Contact(i); ++i)
        {
            const int number = PuckModule::FIRST_CONTACT + static_cast<int>(i);
            contacts.push_back({{"pressed", IsPushed(module, number, *contact)}});
            AddHold(sides, *contact, {{"contact", i}}, members);
        }
        members["contacts"] = std::move(contacts);
        Json buttons = Json::array();
        for (unsigned i = 0; const SnapOnButton* const button = driver.SnapOn(i); ++i)
        {
            buttons.push_back(ButtonOf(module, *button, i));
            if (!sides.powered)
                buttons.back()["led"] = DARK;
            AddHold(sides, *button, {{"button", i}}, members);
        }
        members["buttons"] = std::move(buttons);
    }

private:
    Json ButtonOf(const PuckModule* module, const SnapOnButton& button, unsigned index) const
    {
        const std::string shown = module ? module->ButtonLed(index) : std::string();
        const std::string& believed =
            button.GetCurState() == 1 ? button.GetOnColor() : button.GetOffColor();
        const int number = PuckModule::FIRST_BUTTON + static_cast<int>(index);
        return {{"id", index},
                {"name", button.GetVarName()},
                {"pressed", IsPushed(module, number, button)},
                {"led", shown.empty() ? believed : shown},
                {"blink_ms", 0},
                {"on_color", button.GetOnColor()},
                {"off_color", button.GetOffColor()},
                {"led_is_on", "in state 1"},
                {"slots", 1},
                {"uses", PressOf(button).times}};
    }

    struct Fired
    {
        std::int64_t lastMs = 0;
        unsigned times = 0;
    };

    Fired PressOf(const PuckButton& button) const
    {
        const auto press = m_fired.find(button.GetPressEventNum());
        return press == m_fired.end() ? Fired() : press->second;
    }

    // A running hold timer; of several the last one.
    void AddHold(const Sides& sides, const PuckButton& button, Json which, Json& members) const
    {
        const unsigned timer = button.GetTimerID();
        const auto times = timer != 0 && sides.timer ? sides.timer(timer) : std::nullopt;
        if (!times)
            return;
        which["since_ms"] = PressOf(button).lastMs;
        which["ends_ms"] = times->dueMs;
        which["timer"] = timer;
        members["hold"] = std::move(which);
    }

    // By the number of the event.
    std::map<unsigned, Fired> m_fired;
};
} // namespace

std::unique_ptr<TypePicture> MakePuckPicture(const HouseFileDriver&)
{
    return std::make_unique<PuckPicture>();
}
} // namespace lighting_host
