// Any parameters for a keypad button: a command that makes it, commands that set it, a tree of its
// settings, and use in between. Lines "NAME=value" are parameters; an empty line ends a command.

#include "embedded_host/Messages.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Gen3Button.h"
#include "lighting_common/IGen3ButtonOwner.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using fuzzing::Require;

namespace
{
constexpr std::size_t MOST_CALLS = 20000;

// A keypad driver that checks what it is asked for.
class CheckingOwner : public IGen3ButtonOwner
{
public:
    ID::Timer StartButtonTimer() override
    {
        Require(m_running == 0);
        return m_running = ++m_lastTimer;
    }
    void KillButtonTimer(ID::Timer timer) override
    {
        Require(timer != 0 && timer == m_running);
        m_running = 0;
    }
    bool UsesHoldTimer() override { return true; }
    void SendButtonAction(int id, int action, int) override
    {
        RequireId(id);
        Require(action >= 0 && action <= 2);
    }
    void OnButtonBehaviorChanged(Gen3Button* button, int behavior) override
    {
        Require(button && button->GetBehavior() == behavior);
    }
    void SetLedParam(int, int parameter, int value) override
    {
        Count();
        Require(parameter >= 0 && parameter <= 2 && value >= INT8_MIN && value <= INT8_MAX);
    }
    void SetLedColor(int, int parameter, const std::string&) override
    {
        Count();
        Require(parameter >= 3 && parameter <= 5);
    }
    void SetBacklightDefault(int) override { Count(); }
    void SetBacklightColor(int, const std::string& color) override
    {
        Count();
        Require(color == Gen3Button::BLACK);
    }
    void OnRemoteClick(int id, int count) override
    {
        RequireId(id);
        Require(count == 1);
    }
    void SendButtonNotification(int id, const std::string& group, const std::string&,
                                int value) override
    {
        RequireId(id);
        Require(!group.empty() && value >= -1 && value <= 1);
    }
    void SendButtonTextNotification(int id, const std::string&, const std::string&,
                                    const std::string&) override
    {
        RequireId(id);
    }
    void ReportButtonEvent(int id, int event) override
    {
        RequireId(id);
        Require(event >= 0 && event <= 2);
    }
    bool IsLedTrackingDevice() override { return true; }

private:
    static void RequireId(int id) { Require(id >= INT8_MIN && id <= INT8_MAX); }
    void Count() { Require(++m_calls < MOST_CALLS); }

    ID::Timer m_lastTimer = 0;
    ID::Timer m_running = 0;
    std::size_t m_calls = 0;
};

// The commands that the octets spell.
std::vector<embedded_host::CmdMessage> ReadCommands(const std::string& text)
{
    constexpr std::size_t MOST_COMMANDS = 8;
    std::vector<embedded_host::CmdMessage> commands(1, embedded_host::CmdMessage("X"));
    std::size_t at = 0;
    while (at < text.size() && commands.size() < MOST_COMMANDS)
    {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        at = end + 1;
        const std::size_t equals = line.find('=');
        if (line.empty())
            commands.emplace_back("X");
        else if (equals != std::string::npos)
            commands.back().AddParam(line.substr(0, equals), "STRING", line.substr(equals + 1));
    }
    return commands;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    fuzzing::SilenceLog();
    const auto commands = ReadCommands(std::string(data, data + size));
    CheckingOwner owner;
    Gen3Button button(owner, commands.front());
    for (const embedded_host::CmdMessage& command : commands)
    {
        button.DoPush();
        button.applySettings(command);
        button.InformLightLevel(command.GetParamInt("LEVEL"));
        button.RemotePush();
        button.RemoteRelease();
        button.RemoteClick();
        button.SetLEDBlinkBehavior(command.GetParamInt("LED_BLINK_BEHAVIOR"));
        Require(button.GetChannel() >= -1 && button.GetChannel() <= 1);
        Require(button.GetCoreBehavior() >= -1 && button.GetCoreBehavior() <= 5);
        button.OnHoldTimerExpired();
    }
    // What the button writes, it reads again without a change of its own.
    const std::string written = button.toXml()->ToText();
    const auto document = nx::CreateXmlDocument(written);
    if (document)
        button.applySettings(document->GetRoot());
    button.SendSettingsToHW();
    button.ResetButton();
    Require(button.GetBehavior() == 0 && button.GetHoldTimer() == 0);
    return 0;
}
