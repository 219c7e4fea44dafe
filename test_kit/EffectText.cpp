#include "test_kit/EffectText.h"

#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "embedded_host/ZclMessages.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <cctype>
#include <variant>
#include <vector>

namespace test_kit
{
namespace
{
using Text = std::string;

Text Params(const std::vector<embedded_host::MessageParam>& params)
{
    Text text;
    for (const embedded_host::MessageParam& param : params)
        text += " " + param.name + "=" + param.value;
    return text;
}

Text Name(embedded_host::Change change)
{
    switch (change)
    {
    case embedded_host::Change::Add:
        return "add";
    case embedded_host::Change::Set:
        return "set";
    default:
        return "remove";
    }
}

// The levels of the library's logger, 10000 apart.
Text LevelName(int level)
{
    constexpr int STEP = 10000;
    const Text names[] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};
    const int index = level / STEP;
    return index >= 0 && index < static_cast<int>(std::size(names)) ? names[index]
                                                                    : std::to_string(level);
}

// A frame of a stack is its number, "# " and a name.
bool IsFrame(const Text& text)
{
    std::size_t digits = 0;
    while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    return digits > 0 && text.compare(digits, 2, "# ") == 0;
}

struct Writer
{
    Text operator()(const embedded_host::MibSent& e) const
    {
        Text text = "mib " + std::to_string(e.packet.GetType()) + " " + e.packet.GetMib();
        for (const Text& param : e.packet.GetParams())
            text += " " + param;
        return text;
    }
    Text operator()(const embedded_host::ZclSent& e) const
    {
        const embedded_host::zcl::Request& request = e.message.Request();
        Text text = Text("zcl ") + e.message.Name() + " endpoint=" + std::to_string(e.endpoint);
        if (e.message.HasGroup())
            text += " group=" + std::to_string(request.group);
        if (e.message.HasScene())
            text += " scene=" + std::to_string(request.scene);
        if (e.message.HasDetails())
            text += " level=" + std::to_string(request.level) +
                    " time_ms=" + std::to_string(request.timeMs);
        return text;
    }
    Text operator()(const embedded_host::GatewaySent& e) const
    {
        return "gateway " + e.command.GetName() + Params(embedded_host::ParamsOf(e.command));
    }
    Text operator()(const embedded_host::EventFired& e) const
    {
        return "event " + std::to_string(e.event);
    }
    Text operator()(const embedded_host::VariableChanged& e) const
    {
        return "variable " + Name(e.change) + " " + std::to_string(e.id) + " '" + e.name + "' '" +
               e.value + "'";
    }
    Text operator()(const embedded_host::BindingChanged& e) const
    {
        return "binding " + Name(e.change) + " " + std::to_string(e.id) + " '" + e.name + "' " +
               e.cls;
    }
    Text operator()(const embedded_host::BoundCallSent& e) const
    {
        return "call " + std::to_string(e.binding) + " " + e.message.GetName() +
               Params(embedded_host::ParamsOf(e.message));
    }
    Text operator()(const embedded_host::BoundCallResult& e) const
    {
        return "result " + std::to_string(e.result);
    }
    Text operator()(const embedded_host::ConditionResult& e) const
    {
        return "condition " + e.name + (e.result ? " true" : " false");
    }
    Text operator()(const embedded_host::UiData& e) const { return "ui " + e.data.ToText(); }
    Text operator()(const embedded_host::OwnerCall& e) const
    {
        Text text = Text("owner ") + e.operation;
        for (const embedded_host::CallArgument& argument : e.arguments)
            text += " " + std::visit(*this, argument);
        return text;
    }
    Text operator()(const embedded_host::CommandUnhandled& e) const
    {
        return "unhandled " + e.name;
    }
    Text operator()(const embedded_host::LogRecord& e) const
    {
        if (IsFrame(e.text))
            return Text();
        return "log " + LevelName(e.level) + " " + e.file + ": " + e.text;
    }
    Text operator()(const embedded_host::AssertRecord& e) const
    {
        return Text("assert ") + e.file + " " + std::to_string(e.line);
    }
    Text operator()(const embedded_host::DriverFault& e) const { return "fault " + e.what; }

    // Arguments of an owner operation.
    Text operator()(std::int64_t number) const { return std::to_string(number); }
    Text operator()(bool flag) const { return flag ? "true" : "false"; }
    Text operator()(const Text& text) const { return "'" + text + "'"; }
};
} // namespace

std::string EffectText(const embedded_host::Output& output)
{
    return std::visit(Writer(), output.effect);
}
} // namespace test_kit
