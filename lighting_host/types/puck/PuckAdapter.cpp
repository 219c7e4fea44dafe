#include "drivers/puck/PuckDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/puck/Puck.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// How remote actions of a snap-on button are done, in words, by the behaviour's number.
const std::vector<std::string> BEHAVIORS = {"target 13",
                                            "target 14",
                                            "target 15",
                                            "no target",
                                            "clicks only, target 15",
                                            "clicks only, no target"};

// What the event of that number, counted from a button's first, means.
ButtonUse UseOfButton(bool contact, unsigned number, unsigned event)
{
    ButtonUse use;
    use.contact = contact;
    use.number = number;
    use.what = event == 0   ? ButtonUse::Released
               : event == 1 ? ButtonUse::Pressed
                            : ButtonUse::Clicked;
    use.clicks = event < 2 ? 1 : event - 1;
    return use;
}

// What an event of a button is, counted from its first event.
std::string DescribeButtonEvent(const std::string& button, unsigned event)
{
    switch (event)
    {
    case 0:
        return button + " released";
    case 1:
        return button + " pressed";
    case 2:
        return button + " clicked";
    case 3:
        return button + " double-clicked";
    default:
        return fmt::format("{} clicked {} times", button, event - 1);
    }
}

// Whether what an action on a snap-on button changes is part of the driver's state.
bool IsKept(const std::string& action)
{
    return action != "cur_state" && action != "cur_color" && action != "send_settings";
}

// The puck driver as the protocol sees it.
class PuckAdapter : public PuckDriver, public TabledAdapter<PuckAdapter>
{
public:
    using PuckDriver::PuckDriver;

    static std::vector<InputRow> Inputs()
    {
        return {{{"light_level", "", "tells every button the level of the load"},
                 &PuckAdapter::PrepareLightLevel},
                {{"button", "`index`, `action`", "what the controller does with a snap-on button"},
                 &PuckAdapter::PrepareSnapOn}};
    }

    static std::vector<QueryRow> Queries()
    {
        return {{{"contact", "`index`", "`behavior`, `led_behavior`, `state`"},
                 &PuckAdapter::QueryContact},
                {{"button", "`index`",
                  "`behavior`, `state`, `name`, `on_color`, `off_color`, `current_color`, "
                  "`local_led`, `follow_bound`"},
                 &PuckAdapter::QueryButton},
                {{"hold", "", "`feedback`, `time_ms`"}, &PuckAdapter::QueryHold}};
    }

    // The module is not told the settings of snap-on buttons by anything else.
    void SendSettings() override
    {
        for (unsigned k = 0; SnapOnButton* button = SnapOn(k); ++k)
            button->SendSettingsToHW();
    }

    std::string DescribeEvent(unsigned event) const override
    {
        for (unsigned i = 0; const ContactButton* contact = Contact(i); ++i)
        {
            const unsigned n = event - contact->GetReleaseEventNum();
            if (n < PuckButton::EVENTS_PER_BUTTON)
                return DescribeButtonEvent(fmt::format("Aux {}", i + 1), n);
        }
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
        {
            const unsigned n = event - button->GetReleaseEventNum();
            if (n < PuckButton::EVENTS_PER_BUTTON)
                return DescribeButtonEvent("\"" + button->GetVarName() + "\"", n);
        }
        return std::string();
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        std::vector<std::pair<std::string, std::string>> facts;
        for (unsigned i = 0; const ContactButton* contact = Contact(i); ++i)
            facts.emplace_back(fmt::format("Aux {}", i + 1),
                               contact->GetCurState() == 1 ? "LED on" : "LED off");
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
            facts.emplace_back(button->GetVarName(),
                               button->GetCurState() == 1 ? "LED on" : "LED off");
        if (HasHoldFeedback())
            facts.emplace_back("hold time", fmt::format("{} ms", HoldTimeMs()));
        return facts;
    }

    std::vector<ButtonOffer> Buttons() const override
    {
        std::vector<ButtonOffer> offers;
        for (unsigned i = 0; Contact(i); ++i)
            offers.push_back({true, i, i + 1, fmt::format("Aux {}", i + 1), std::string()});
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
            offers.push_back({false, k, k + 1, button->GetVarName(), button->GetCurColor()});
        return offers;
    }

    std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect) const override
    {
        const auto* const fired = std::get_if<embedded_host::EventFired>(&effect);
        if (!fired)
            return std::nullopt;
        for (unsigned i = 0; const ContactButton* contact = Contact(i); ++i)
        {
            const unsigned n = fired->event - contact->GetReleaseEventNum();
            if (n < PuckButton::EVENTS_PER_BUTTON)
                return UseOfButton(true, i, n);
        }
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
        {
            const unsigned n = fired->event - button->GetReleaseEventNum();
            if (n < PuckButton::EVENTS_PER_BUTTON)
                return UseOfButton(false, k, n);
        }
        return std::nullopt;
    }

    Json LedInput(const ButtonOffer& button, const std::string& color) const override
    {
        return {{"button",
                 {{"index", button.number},
                  {"action", "cur_color"},
                  {"color", color},
                  {"send", true}}}};
    }

    std::vector<SettingOffer> Settings() const override
    {
        std::vector<SettingOffer> settings;
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
        {
            const auto behavior = static_cast<std::size_t>(button->GetBehavior());
            SettingOffer setting;
            setting.id = fmt::format("button_{}_behavior", k + 1);
            setting.name = fmt::format("Button {} remote actions", k + 1);
            setting.button = k;
            setting.value = behavior < BEHAVIORS.size() ? BEHAVIORS[behavior] : std::string();
            setting.options = BEHAVIORS;
            settings.push_back(setting);
        }
        return settings;
    }

    Json SettingInput(const SettingOffer& setting, const std::string& value) const override
    {
        const auto option = std::find(BEHAVIORS.begin(), BEHAVIORS.end(), value);
        return {{"button",
                 {{"index", setting.button},
                  {"action", "behavior"},
                  {"value", option - BEHAVIORS.begin()}}}};
    }

    std::vector<FigureOffer> Figures() const override
    {
        if (!HasHoldFeedback())
            return {};
        return {{"hold_time", "Hold time", std::to_string(HoldTimeMs()), "ms", false}};
    }

private:
    // What the controller can do with a snap-on button.
    struct ButtonAction
    {
        const char* name;
        Action (*prepare)(SnapOnButton& button, Fields& fields);
    };

    Action PrepareLightLevel(Fields& fields)
    {
        const int level = static_cast<int>(fields.Integer("light_level", INT32_MIN, INT32_MAX));
        return [this, level]
        {
            ReportLightLevel(level);
        };
    }

    Action PrepareSnapOn(Fields& fields)
    {
        Fields button(fields.Get("button"), "\"button\"");
        SnapOnButton& target = RequireSnapOn(button);
        Action action = PrepareButton(target, button);
        const bool isKept = IsKept(button.Text("action"));
        button.Finish();
        if (!isKept)
            return action;
        return [this, action = std::move(action)]
        {
            action();
            SettingsChanged();
        };
    }

    Json QueryContact(Fields& fields) const
    {
        const auto index = static_cast<unsigned>(fields.Integer("index", 0, UINT32_MAX));
        const ContactButton* contact = Contact(index);
        if (!contact)
            throw InputError(fmt::format("there is no contact {}", index));
        return {{"behavior", contact->GetBehavior()},
                {"led_behavior", contact->GetLEDBehavior()},
                {"state", contact->GetCurState()}};
    }

    Json QueryButton(Fields& fields) const
    {
        const SnapOnButton& button = RequireSnapOn(fields);
        return {{"behavior", button.GetBehavior()},
                {"state", button.GetCurState()},
                {"name", button.GetVarName()},
                {"on_color", button.GetOnColor()},
                {"off_color", button.GetOffColor()},
                {"current_color", button.GetCurColor()},
                {"local_led", button.IsLocalLEDManaged()},
                {"follow_bound", button.FollowsBoundColor()}};
    }

    Json QueryHold(Fields&) const
    {
        return {{"feedback", HasHoldFeedback()}, {"time_ms", HoldTimeMs()}};
    }

    SnapOnButton& RequireSnapOn(Fields& fields) const
    {
        const auto index = static_cast<unsigned>(fields.Integer("index", 0, UINT32_MAX));
        SnapOnButton* button = SnapOn(index);
        if (!button)
            throw InputError(fmt::format("there is no snap-on button {}", index));
        return *button;
    }

    static Action PrepareButton(SnapOnButton& button, Fields& fields)
    {
        static const ButtonAction actions[] = {
            {"send_settings", &PrepareSendSettings},
            {"follow_bound", &PrepareFollowBound},
            {"behavior", &PrepareBehavior},
            {"cur_state", &PrepareCurState},
            {"local_led", &PrepareLocalLed},
            {"on_color", &PrepareColor<&SnapOnButton::SetOnColor>},
            {"off_color", &PrepareColor<&SnapOnButton::SetOffColor>},
            {"cur_color", &PrepareColor<&SnapOnButton::SetCurColor>},
        };
        const std::string name = fields.Text("action");
        for (const ButtonAction& action : actions)
        {
            if (name == action.name)
                return action.prepare(button, fields);
        }
        throw InputError(fmt::format("a snap-on button has no action \"{}\"", name));
    }

    static Action PrepareSendSettings(SnapOnButton& button, Fields&)
    {
        return [&button]
        {
            button.SendSettingsToHW();
        };
    }

    static Action PrepareFollowBound(SnapOnButton& button, Fields& fields)
    {
        return [&button, value = fields.Boolean("value")]
        {
            button.SetFollowBoundColor(value);
        };
    }

    static Action PrepareBehavior(SnapOnButton& button, Fields& fields)
    {
        const int value = static_cast<int>(fields.Integer("value", INT32_MIN, INT32_MAX));
        const bool force = fields.BooleanOr("force", false);
        return [&button, value, force]
        {
            button.SetBehavior(value, force);
        };
    }

    static Action PrepareCurState(SnapOnButton& button, Fields& fields)
    {
        const bool send = fields.BooleanOr("send", false);
        const int value = static_cast<int>(fields.Integer("value", INT32_MIN, INT32_MAX));
        return [&button, value, send]
        {
            button.SetCurState(value, send);
        };
    }

    static Action PrepareLocalLed(SnapOnButton& button, Fields& fields)
    {
        const bool send = fields.BooleanOr("send", false);
        const bool value = fields.Boolean("value");
        return [&button, value, send]
        {
            button.SetLocalLEDManaged(value, send);
        };
    }

    template <void (SnapOnButton::*SetColor)(const std::string& color, bool send)>
    static Action PrepareColor(SnapOnButton& button, Fields& fields)
    {
        const bool send = fields.BooleanOr("send", false);
        const std::string color = fields.Text("color");
        return [&button, color, send]
        {
            (button.*SetColor)(color, send);
        };
    }
};
} // namespace

TypeTables PuckTables()
{
    return PuckAdapter::Tables();
}

MadeDriver MakePuck(IInstanceManager& instances, LoadFacts&)
{
    return MadeDriver(std::make_unique<PuckAdapter>(instances));
}
} // namespace lighting_host
