#pragma once

#include "embedded_host/Messages.h"
#include "embedded_host/Output.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <cctype>
#include <string>
#include <variant>

#include <log4cplus/loglevel.h>

namespace test_support
{
// Writes an effect of a driver as one line of text, so that tests can spell out what they expect:
// a word for its kind, then what it carries, separated by blanks. Stack frames in the log become
// the empty text.
struct EffectText
{
    using Text = std::string;

    Text operator()(const embedded_host::MibSent& e) const
    {
        Text text = "mib " + std::to_string(e.packet.GetType()) + " " + e.packet.GetMib();
        for (const Text& param : e.packet.GetParams())
            text += " " + param;
        return text;
    }
    Text operator()(const embedded_host::ZclSent&) const { return "zcl"; }
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
        return "log " + log4cplus::getLogLevelManager().toString(e.level) + " " + e.file + ": " +
               e.text;
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

private:
    static Text Params(const std::vector<embedded_host::MessageParam>& params)
    {
        Text text;
        for (const embedded_host::MessageParam& param : params)
            text += " " + param.name + "=" + param.value;
        return text;
    }

    static Text Name(embedded_host::Change change)
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

    // A frame is its number, "# " and a name.
    static bool IsFrame(const Text& text)
    {
        std::size_t digits = 0;
        while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])))
            ++digits;
        return digits > 0 && text.compare(digits, 2, "# ") == 0;
    }
};
} // namespace test_support
