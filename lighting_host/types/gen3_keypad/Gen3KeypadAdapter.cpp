#include "drivers/gen3_keypad/Gen3KeypadDriver.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/types/TabledAdapter.h"
#include "lighting_host/types/gen3_keypad/Gen3Keypad.h"
#include "lighting_host/types/gen3_keypad/Gen3KeypadOffers.h"
#include "nxshared/XmlNode.h"

#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using embedded_host::CallArgument;
using gen3_lights::Buttons::LEDBehavior;

int IntField(Fields& fields, const char* name)
{
    return static_cast<int>(fields.Integer(name, INT32_MIN, INT32_MAX));
}

const std::uint8_t* Octets(const std::string& bytes)
{
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

// The operations of a button that take nothing.
struct PlainAction
{
    const char* name;
    void (*run)(Gen3Button&);
};

constexpr PlainAction PLAIN_ACTIONS[] = {
    {"push",
     [](Gen3Button& button)
     {
         button.DoPush();
     }},
    {"release",
     [](Gen3Button& button)
     {
         button.DoRelease();
     }},
    {"click",
     [](Gen3Button& button)
     {
         button.DoClick();
     }},
    {"hold",
     [](Gen3Button& button)
     {
         button.OnHoldReceived();
     }},
    {"remote_push",
     [](Gen3Button& button)
     {
         button.RemotePush();
     }},
    {"remote_release",
     [](Gen3Button& button)
     {
         button.RemoteRelease();
     }},
    {"remote_click",
     [](Gen3Button& button)
     {
         button.RemoteClick();
     }},
    {"reset",
     [](Gen3Button& button)
     {
         button.ResetButton();
     }},
    {"send_settings",
     [](Gen3Button& button)
     {
         button.SendSettingsToHW();
     }},
    {"configure_backlight",
     [](Gen3Button& button)
     {
         button.ConfigureBacklight();
     }},
};

// Those that take a number, and whether "force" may stand beside it.
struct NumberAction
{
    const char* name;
    bool takesForce;
    void (*run)(Gen3Button&, int, bool);
};

constexpr NumberAction NUMBER_ACTIONS[] = {
    {"blink", false,
     [](Gen3Button& button, int value, bool)
     {
         button.SetLEDBlinkBehavior(value);
     }},
    {"behavior", true,
     [](Gen3Button& button, int value, bool force)
     {
         button.SetBehavior(value, force);
     }},
    {"led_behavior", true,
     [](Gen3Button& button, int value, bool force)
     {
         button.SetLEDBehavior(static_cast<LEDBehavior>(value), force);
     }},
};

// Those that take a colour.
struct ColorAction
{
    const char* name;
    void (Gen3Button::*run)(const std::string&, bool);
};

constexpr ColorAction COLOR_ACTIONS[] = {
    {"cur_color", &Gen3Button::SetCurColor},
    {"on_color", &Gen3Button::SetOnColor},
    {"off_color", &Gen3Button::SetOffColor},
};

// Whether what an action on a button changes is part of the driver's state.
bool IsKept(const std::string& action)
{
    return action == "behavior" || action == "led_behavior" || action == "on_color" ||
           action == "off_color" || action == "reset";
}

// The keypad driver as the protocol sees it: every call of a button or the queue to its owner is
// reported before the driver does what it does. Without a simulated keypad nothing but the inputs
// puts messages on the bus.
class Gen3KeypadAdapter : public Gen3KeypadDriver, public TabledAdapter<Gen3KeypadAdapter>
{
public:
    explicit Gen3KeypadAdapter(IInstanceManager& instances) : Gen3KeypadDriver(instances)
    {
        SetTellsKeypad(Host().Config().simulatedDevice);
    }

    // --- DriverAdapter ---

    static std::vector<InputRow> Inputs()
    {
        return {
            {{"button", "`id`, `action`", "what the device or the controller does with a button"},
             &Gen3KeypadAdapter::PrepareButtonInput},
            {{"light_level", "", "tells every button, in order of id, the level of the load"},
             &Gen3KeypadAdapter::PrepareLightLevel},
            {{"bus", "", "what is done with the bus, or arrives there"},
             &Gen3KeypadAdapter::PrepareBusInput}};
    }

    static std::vector<FactRow> Facts()
    {
        using Self = Gen3KeypadAdapter;
        const char* const member =
            "boolean; written into the bus queue's members, nothing is sent. The input `online` "
            "leaves them alone.";
        return {
            {{"uses_hold_timer", "", "boolean, true at start"}, &Self::PrepareUsesHoldTimer},
            {{"led_tracking", "", "boolean"}, &Self::PrepareLedTracking},
            {{"gateway_online", "", member}, &Self::PrepareGatewayOnline},
            {{"device_online", "", member}, &Self::PrepareDeviceOnline},
            {{"min_retry_ms", "", "whole number, 20000 at start; likewise"},
             &Self::PrepareMinRetry},
            {{"max_retry_ms", "", "whole number, 40000 at start; likewise"},
             &Self::PrepareMaxRetry},
        };
    }

    static std::vector<QueryRow> Queries()
    {
        return {
            {{"button", "`id`",
              "`xml`, `actuator`, `channel`, `core_behavior`, `binding`, `current_color`, "
              "`led_blink`, `hold_timer`"},
             &Gen3KeypadAdapter::QueryButton},
            {{"bus", "",
              "`queued`, `retry_timer`, `retry_count`, `gateway_online`, `device_online`"},
             &Gen3KeypadAdapter::QueryBus},
            {{"firmware", "", "`text`, `ext_text`, `empty`"}, &Gen3KeypadAdapter::QueryFirmware}};
    }

    std::vector<std::pair<std::string, std::string>> Summary() const override
    {
        std::vector<std::pair<std::string, std::string>> facts;
        for (int id : ButtonIds())
            facts.emplace_back(
                fmt::format("button {}", id),
                fmt::format("\"{}\" shows {}", Button(id)->GetName(), Button(id)->GetCurColor()));
        facts.emplace_back("keypad", Bus().isDeviceOnline() ? "online" : "offline");
        facts.emplace_back(
            "bus", fmt::format("{} messages wait", Bus().getQueuedCount() + WaitingCount()));
        if (!Firmware().Empty())
            facts.emplace_back("firmware", Firmware().ToExtString());
        return facts;
    }

    std::vector<ButtonOffer> Buttons() const override { return keypad_offers::Buttons(*this); }
    std::vector<SettingOffer> Settings() const override
    {
        return keypad_offers::Settings(*this, m_facts);
    }
    std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect) const override
    {
        return keypad_offers::UseOf(effect);
    }
    Json LedInput(const ButtonOffer& button, const std::string& color) const override
    {
        return keypad_offers::LedInput(button, color);
    }
    Json SettingInput(const SettingOffer& setting, const std::string& value) const override
    {
        return keypad_offers::SettingInput(setting, value);
    }
    std::vector<FigureOffer> Figures() const override
    {
        return {{"queue", "Messages waiting",
                 std::to_string(Bus().getQueuedCount() + WaitingCount()), "", false},
                {"link", "Link", Bus().isDeviceOnline() ? "ON" : "OFF", "", true}};
    }

    // --- IGen3ButtonOwner and IBus485Owner, each reported ---

    ID::Timer StartButtonTimer() override
    {
        Report("StartButtonTimer", {});
        return Gen3KeypadDriver::StartButtonTimer();
    }
    void KillButtonTimer(ID::Timer timer) override
    {
        Report("KillButtonTimer", {Number(timer)});
        Gen3KeypadDriver::KillButtonTimer(timer);
    }
    bool UsesHoldTimer() override
    {
        Report("UsesHoldTimer", {});
        return Gen3KeypadDriver::UsesHoldTimer();
    }
    void SendButtonAction(int buttonId, int action, int behavior) override
    {
        Report("SendButtonAction", {Number(buttonId), Number(action), Number(behavior)});
        Gen3KeypadDriver::SendButtonAction(buttonId, action, behavior);
    }
    void OnButtonBehaviorChanged(Gen3Button* button, int behavior) override
    {
        Report("OnButtonBehaviorChanged", {Number(button->GetBtnIndex()), Number(behavior)});
        Gen3KeypadDriver::OnButtonBehaviorChanged(button, behavior);
    }
    void SetLedParam(int led, int parameter, int value) override
    {
        Report("SetLedParam", {Number(led), Number(parameter), Number(value)});
        Gen3KeypadDriver::SetLedParam(led, parameter, value);
    }
    void SetLedColor(int led, int parameter, const std::string& color) override
    {
        Report("SetLedColor", {Number(led), Number(parameter), color});
        Gen3KeypadDriver::SetLedColor(led, parameter, color);
    }
    void SetBacklightDefault(int index) override
    {
        Report("SetBacklightDefault", {Number(index)});
        Gen3KeypadDriver::SetBacklightDefault(index);
    }
    void SetBacklightColor(int index, const std::string& color) override
    {
        Report("SetBacklightColor", {Number(index), color});
        Gen3KeypadDriver::SetBacklightColor(index, color);
    }
    void OnRemoteClick(int buttonId, int count) override
    {
        Report("OnRemoteClick", {Number(buttonId), Number(count)});
        Gen3KeypadDriver::OnRemoteClick(buttonId, count);
    }
    void SendButtonNotification(int buttonId, const std::string& group, const std::string& item,
                                int value) override
    {
        Report("SendButtonNotification", {Number(buttonId), group, item, Number(value)});
        Gen3KeypadDriver::SendButtonNotification(buttonId, group, item, value);
    }
    void SendButtonTextNotification(int buttonId, const std::string& group, const std::string& item,
                                    const std::string& text) override
    {
        Report("SendButtonTextNotification", {Number(buttonId), group, item, text});
        Gen3KeypadDriver::SendButtonTextNotification(buttonId, group, item, text);
    }
    void ReportButtonEvent(int buttonId, int event) override
    {
        Report("ReportButtonEvent", {Number(buttonId), Number(event)});
        Gen3KeypadDriver::ReportButtonEvent(buttonId, event);
    }
    bool IsLedTrackingDevice() override
    {
        Report("IsLedTrackingDevice", {});
        return Gen3KeypadDriver::IsLedTrackingDevice();
    }
    void OnDeviceOffline() override
    {
        Report("OnDeviceOffline", {});
        Gen3KeypadDriver::OnDeviceOffline();
    }

private:
    Action PrepareLightLevel(Fields& fields)
    {
        return [this, level = IntField(fields, "light_level")]
        {
            ReportLightLevel(level);
        };
    }

    Action PrepareButtonInput(Fields& fields)
    {
        Fields button(fields.Get("button"), "\"button\"");
        Gen3Button& target = RequireButton(button);
        Action action = PrepareButton(target, button);
        const bool isKept = IsKept(button.Text("action"));
        button.Finish();
        if (!isKept)
            return action;
        return [this, action = std::move(action)]
        {
            action();
            RequestPersist();
        };
    }

    Action PrepareBusInput(Fields& fields)
    {
        Fields bus(fields.Get("bus"), "\"bus\"");
        Action action = PrepareBus(bus);
        bus.Finish();
        return action;
    }

    Action PrepareUsesHoldTimer(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            SetUsesHoldTimer(on);
            m_facts.usesHoldTimer = on;
        };
    }

    Action PrepareLedTracking(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            SetTracksLeds(on);
            m_facts.ledTracking = on;
        };
    }

    Action PrepareGatewayOnline(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            Bus().setGatewayOnline(on);
        };
    }

    Action PrepareDeviceOnline(const std::string& name, const Json& value)
    {
        return [this, on = ToBoolean(value, name)]
        {
            Bus().setDeviceOnline(on);
        };
    }

    Action PrepareMinRetry(const std::string& name, const Json& value)
    {
        return [this, ms = ToInteger(value, name, INT32_MIN, INT32_MAX)]
        {
            Bus().setMinRetryTime(static_cast<int>(ms));
            m_facts.minRetryMs = ms;
        };
    }

    Action PrepareMaxRetry(const std::string& name, const Json& value)
    {
        return [this, ms = ToInteger(value, name, INT32_MIN, INT32_MAX)]
        {
            Bus().setMaxRetryTime(static_cast<int>(ms));
            m_facts.maxRetryMs = ms;
        };
    }

    Json QueryButton(Fields& fields) const
    {
        const Gen3Button& button = RequireButton(fields);
        return {{"xml", button.toXml()->ToText()},
                {"actuator", button.GetActuator()},
                {"channel", button.GetChannel()},
                {"core_behavior", button.GetCoreBehavior()},
                {"binding", button.GetBinding()},
                {"current_color", button.GetCurColor()},
                {"led_blink", button.GetLEDBlinkBehavior()},
                {"hold_timer", button.GetHoldTimer()}};
    }

    Json QueryBus(Fields&) const
    {
        return {{"queued", Bus().getQueuedCount()},
                {"retry_timer", Bus().getRetryTimer()},
                {"retry_count", Bus().getRetryCount()},
                {"gateway_online", Bus().isGatewayOnline()},
                {"device_online", Bus().isDeviceOnline()}};
    }

    Json QueryFirmware(Fields&) const
    {
        return {{"text", Firmware().ToString()},
                {"ext_text", Firmware().ToExtString()},
                {"empty", Firmware().Empty()}};
    }

    static CallArgument Number(std::int64_t value) { return value; }

    void Report(const char* operation, const std::vector<CallArgument>& arguments) const
    {
        Host().ReportCall(operation, arguments);
    }

    Gen3Button& RequireButton(Fields& fields) const
    {
        const int id = IntField(fields, "id");
        Gen3Button* button = Button(id);
        if (!button)
            throw InputError(fmt::format("there is no button {}", id));
        return *button;
    }

    static Action PrepareButton(Gen3Button& button, Fields& fields)
    {
        const std::string name = fields.Text("action");
        for (const PlainAction& action : PLAIN_ACTIONS)
        {
            if (name == action.name)
                return [&button, &action]
                {
                    action.run(button);
                };
        }
        for (const NumberAction& action : NUMBER_ACTIONS)
        {
            if (name != action.name)
                continue;
            const int value = IntField(fields, "value");
            const bool force = action.takesForce && fields.BooleanOr("force", false);
            return [&button, &action, value, force]
            {
                action.run(button, value, force);
            };
        }
        for (const ColorAction& action : COLOR_ACTIONS)
        {
            if (name != action.name)
                continue;
            const std::string color = fields.Text("color");
            const bool force = fields.BooleanOr("force", false);
            return [&button, &action, color, force]
            {
                (button.*action.run)(color, force);
            };
        }
        throw InputError(fmt::format("a button has no action \"{}\"", name));
    }

    // One message that is to be queued or sent at once.
    struct Message
    {
        explicit Message(Fields&& fields)
            : opcode(IntField(fields, "opcode")), hasPayload(fields.Has("payload")),
              payload(HexToBytes(fields.TextOr("payload", std::string()), "payload"))
        {
            fields.Finish();
        }
        const std::uint8_t* Data() const { return hasPayload ? Octets(payload) : nullptr; }
        int Length() const { return static_cast<int>(payload.size()); }

        int opcode;
        bool hasPayload;
        std::string payload;
    };

    Action PrepareBus(Fields& fields)
    {
        if (fields.Has("queue"))
            return [this, message = Message(Fields(fields.Get("queue"), "\"queue\""))]
            {
                Bus().queueMessage(message.opcode, message.Data(), message.Length());
            };
        if (fields.Has("instant"))
            return [this, message = Message(Fields(fields.Get("instant"), "\"instant\""))]
            {
                Bus().sendInstant(message.opcode, message.Data(), message.Length());
            };
        if (IsAsked(fields, "answered"))
            return [this]
            {
                Bus().resetRetryCounter();
                Bus().sendNext();
            };
        if (IsAsked(fields, "send_next"))
            return [this]
            {
                Bus().sendNext();
            };
        if (IsAsked(fields, "send_front"))
            return [this]
            {
                Bus().sendQueueFront();
            };
        if (IsAsked(fields, "reset"))
            return [this]
            {
                Bus().resetQueue();
            };
        return PrepareFirmware(fields);
    }

    Action PrepareFirmware(Fields& fields)
    {
        // Tried on a copy first, because an input that is wrong must change nothing.
        BusParsers::FirmwareVersion trial;
        if (fields.Has("firmware"))
        {
            const std::string payload = HexToBytes(fields.Text("firmware"), "firmware");
            if (!trial.FromOpcodeFwv(Octets(payload), payload.size()))
                throw InputError("the firmware reply is too short");
            return [this, payload]
            {
                OnFirmwareReply(Octets(payload), payload.size());
            };
        }
        if (fields.Has("announce"))
        {
            const std::string payload = HexToBytes(fields.Text("announce"), "announce");
            if (!trial.FromOpcodeAnnounce(Octets(payload), payload.size()))
                throw InputError("the announce is too short");
            return [this, payload]
            {
                OnAnnounce(Octets(payload), payload.size());
            };
        }
        throw InputError("\"bus\" says nothing that a bus can do");
    }

    static bool IsAsked(Fields& fields, const char* name)
    {
        if (!fields.Has(name))
            return false;
        if (!fields.Boolean(name))
            throw InputError(fmt::format("\"{}\" can only be true", name));
        return true;
    }

    keypad_offers::SetFacts m_facts;
};
} // namespace

TypeTables Gen3KeypadTables()
{
    return Gen3KeypadAdapter::Tables();
}

MadeDriver MakeGen3Keypad(IInstanceManager& instances, LoadFacts&)
{
    return MadeDriver(std::make_unique<Gen3KeypadAdapter>(instances));
}
} // namespace lighting_host
