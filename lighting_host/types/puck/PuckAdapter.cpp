#include "drivers/puck/PuckDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/Names.h"
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

// What the LED of a contact shows, in words, by the number of its behaviour.
const std::vector<std::string> CONTACT_LEDS = {"on while released", "on while pressed",
                                               "on with the load", "off with the load",
                                               "as it is switched"};
const std::vector<std::string> OFF_ON = {"off", "on"};

// The settings, as their ids begin and end.
const std::string CONTACT = "contact_";
// On purpose not that of a keypad, whose behaviours are others.
constexpr const char* BEHAVIOR = "behavior";
// On purpose not that of a keypad either.
constexpr const char* LED = "led_behavior";
constexpr const char* LOCAL_LED = "local_led";
constexpr const char* FOLLOW_BOUND = "follow_bound";

// A setting that is one of those options, by its number; a number that is none has no words.
SettingOffer Choice(std::string id, std::string name, unsigned button, int value,
                    const std::vector<std::string>& options)
{
    SettingOffer setting;
    setting.id = std::move(id);
    setting.name = std::move(name);
    setting.button = button;
    setting.options = options;
    if (value >= 0 && static_cast<std::size_t>(value) < options.size())
        setting.value = options[static_cast<std::size_t>(value)];
    return setting;
}

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
        for (unsigned i = 0; const ContactButton* contact = Contact(i); ++i)
        {
            const auto add = [&settings, i](const char* what, const char* name, int value,
                                            const std::vector<std::string>& options)
            {
                settings.push_back(Choice(fmt::format("contact_{}_{}", i + 1, what),
                                          fmt::format("Aux {} {}", i + 1, name), i, value,
                                          options));
            };
            add(BEHAVIOR, "remote actions", contact->GetBehavior(), BEHAVIORS);
            add(LED, "LED", contact->GetLEDBehavior(), CONTACT_LEDS);
        }
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
        {
            const auto add = [&settings, k](const char* what, const char* name, int value,
                                            const std::vector<std::string>& options)
            {
                settings.push_back(Choice(fmt::format("button_{}_{}", k + 1, what),
                                          fmt::format("Button {} {}", k + 1, name), k, value,
                                          options));
            };
            add(BEHAVIOR, "remote actions", button->GetBehavior(), BEHAVIORS);
            add(LOCAL_LED, "keeps its LED by itself", button->IsLocalLEDManaged(), OFF_ON);
            add(FOLLOW_BOUND, "takes the bound colors", button->FollowsBoundColor(), OFF_ON);
        }
        return settings;
    }

    Json SettingInput(const SettingOffer& setting, const std::string& value) const override
    {
        const auto number =
            static_cast<int>(std::find(setting.options.begin(), setting.options.end(), value) -
                             setting.options.begin());
        const auto is = [&setting](const char* what)
        {
            const std::string end = std::string("_") + what;
            return setting.id.size() > end.size() &&
                   setting.id.compare(setting.id.size() - end.size(), end.size(), end) == 0;
        };
        if (setting.id.compare(0, CONTACT.size(), CONTACT) == 0)
            return ContactInput(setting.button, !is(LED), number);
        Json button = {{"index", setting.button}};
        for (const char* const truth : {LOCAL_LED, FOLLOW_BOUND})
        {
            if (is(truth))
                button.update({{"action", truth}, {"value", number == 1}});
        }
        if (is(LOCAL_LED))
            button["send"] = true;
        if (is(BEHAVIOR))
            button.update({{"action", BEHAVIOR}, {"value", number}});
        return {{"button", button}};
    }

    std::vector<FigureOffer> Figures() const override
    {
        if (!HasHoldFeedback())
            return {};
        return {{"hold_time", "Hold time", std::to_string(HoldTimeMs()), "ms", false}};
    }

private:
    // A contact gets both at once, so the other one stays as it is.
    Json ContactInput(unsigned index, bool isBehavior, int value) const
    {
        const ContactButton* const contact = Contact(index);
        const int behavior = contact ? contact->GetBehavior() : 0;
        const int led = contact ? contact->GetLEDBehavior() : 0;
        return {{"command", names::puck::CONTACT_STATUS},
                {"params",
                 {{names::puck::CONTACT_NUMBER, index},
                  {names::puck::AUX_BEHAVIOR, isBehavior ? value : behavior},
                  {names::puck::AUX_LEDS, isBehavior ? led : value}}}};
    }

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
