#include "drivers/puck/PuckDriver.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/puck/Puck.h"

#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr unsigned EVENTS_A_BUTTON = 10;

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
            if (n < EVENTS_A_BUTTON)
                return DescribeButtonEvent(fmt::format("Aux {}", i + 1), n);
        }
        for (unsigned k = 0; const SnapOnButton* button = SnapOn(k); ++k)
        {
            const unsigned n = event - button->GetReleaseEventNum();
            if (n < EVENTS_A_BUTTON)
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

private:
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
        const std::string action = fields.Text("action");
        if (action == "send_settings")
            return [&button]
            {
                button.SendSettingsToHW();
            };
        if (action == "follow_bound")
        {
            const bool value = fields.Boolean("value");
            return [&button, value]
            {
                button.SetFollowBoundColor(value);
            };
        }
        if (action == "behavior")
        {
            const int value = static_cast<int>(fields.Integer("value", INT32_MIN, INT32_MAX));
            const bool force = fields.BooleanOr("force", false);
            return [&button, value, force]
            {
                button.SetBehavior(value, force);
            };
        }
        const bool send = fields.BooleanOr("send", false);
        if (action == "cur_state")
        {
            const int value = static_cast<int>(fields.Integer("value", INT32_MIN, INT32_MAX));
            return [&button, value, send]
            {
                button.SetCurState(value, send);
            };
        }
        if (action == "local_led")
        {
            const bool value = fields.Boolean("value");
            return [&button, value, send]
            {
                button.SetLocalLEDManaged(value, send);
            };
        }
        return PrepareColor(button, action, fields, send);
    }

    static Action PrepareColor(SnapOnButton& button, const std::string& action, Fields& fields,
                               bool send)
    {
        if (action != "on_color" && action != "off_color" && action != "cur_color")
            throw InputError(fmt::format("a snap-on button has no action \"{}\"", action));
        const std::string color = fields.Text("color");
        if (action == "on_color")
            return [&button, color, send]
            {
                button.SetOnColor(color, send);
            };
        if (action == "off_color")
            return [&button, color, send]
            {
                button.SetOffColor(color, send);
            };
        return [&button, color, send]
        {
            button.SetCurColor(color, send);
        };
    }
};
} // namespace

TypeTables PuckTables()
{
    return PuckAdapter::Tables();
}

NxBaseDriver* MakePuck(IInstanceManager& instances, LoadFacts&)
{
    return new PuckAdapter(instances);
}
} // namespace lighting_host
