#include "lighting_host/text/JsonWriter.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlNode.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
constexpr char32_t NOT_UTF8 = 0xFFFFFFFF;

void AppendEscaped(std::string& out, char32_t code)
{
    const auto unit = [&out](unsigned value)
    {
        fmt::format_to(std::back_inserter(out), "\\u{:04x}", value);
    };
    switch (code)
    {
    case '"':
        out += "\\\"";
        return;
    case '\\':
        out += "\\\\";
        return;
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    default:
        break;
    }
    if (code >= 0x20 && code < 0x7F)
        out += static_cast<char>(code);
    else if (code < 0x10000)
        unit(static_cast<unsigned>(code));
    else
    {
        unit(0xD800 + static_cast<unsigned>((code - 0x10000) >> 10));
        unit(0xDC00 + static_cast<unsigned>((code - 0x10000) & 0x3FF));
    }
}

// The code point at `at`, which moves behind it; NOT_UTF8 for anything that is not the shortest
// form of a character.
char32_t NextCodePoint(const std::string& text, std::size_t& at)
{
    const auto first = static_cast<unsigned char>(text[at++]);
    if (first < 0x80)
        return first;
    const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || at + static_cast<std::size_t>(more) > text.size())
        return NOT_UTF8;
    char32_t code = first & (0x3F >> more);
    for (int i = 0; i < more; ++i)
    {
        const auto next = static_cast<unsigned char>(text[at++]);
        if ((next & 0xC0) != 0x80)
            return NOT_UTF8;
        code = code << 6 | (next & 0x3F);
    }
    const bool tooLong = (more == 2 && code < 0x800) || (more == 3 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    return tooLong || surrogate || code > 0x10FFFF ? NOT_UTF8 : code;
}

bool IsUtf8(const std::string& text)
{
    for (std::size_t at = 0; at < text.size();)
    {
        if (NextCodePoint(text, at) == NOT_UTF8)
            return false;
    }
    return true;
}

bool IsPlain(const std::string& text)
{
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F || c == '"' || c == '\\')
            return false;
    }
    return true;
}

template <class Number>
void AppendNumber(std::string& out, Number value)
{
    const fmt::format_int digits(value);
    out.append(digits.data(), digits.size());
}

void AppendTextField(std::string& out, const char* name, const std::string& value)
{
    out += ",\"";
    out += name;
    out += "\":";
    AppendJsonText(out, value);
}

template <class Number>
void AppendNumberField(std::string& out, const char* name, Number value)
{
    out += ",\"";
    out += name;
    out += "\":";
    AppendNumber(out, value);
}

void AppendParams(std::string& out, const std::vector<MessageParam>& params)
{
    out += ",\"params\":[";
    const char* separator = "";
    for (const MessageParam& param : params)
    {
        out += separator;
        out += "{\"name\":";
        AppendJsonText(out, param.name);
        AppendTextField(out, "type", param.type);
        AppendTextField(out, "value", param.value);
        out += '}';
        separator = ",";
    }
    out += ']';
}

const char* ChangeName(Change change)
{
    switch (change)
    {
    case Change::Add:
        return "add";
    case Change::Set:
        return "set";
    default:
        return "remove";
    }
}

const char* LevelName(int level)
{
    if (level >= log4cplus::ERROR_LOG_LEVEL)
        return "ERROR";
    if (level >= log4cplus::WARN_LOG_LEVEL)
        return "WARN";
    if (level >= log4cplus::INFO_LOG_LEVEL)
        return "INFO";
    return level >= log4cplus::DEBUG_LOG_LEVEL ? "DEBUG" : "TRACE";
}

// Writes the fields of one effect behind its kind, beginning with the kind's own value.
struct EffectWriter
{
    std::string& out;

    void operator()(const MibSent& sent) const
    {
        AppendJsonText(out, sent.packet.GetMib());
        AppendNumberField(out, "type", static_cast<int>(sent.packet.GetType()));
        out += ",\"params\":[";
        const char* separator = "";
        for (const std::string& param : sent.packet.GetParams())
        {
            out += separator;
            AppendJsonText(out, param);
            separator = ",";
        }
        out += ']';
    }

    void operator()(const ZclSent& sent) const
    {
        const auto& request = sent.message.Request();
        AppendJsonText(out, sent.message.Name());
        AppendNumberField(out, "cluster", sent.message.Cluster());
        AppendNumberField(out, "endpoint", sent.endpoint);
        if (sent.message.HasGroup())
            AppendNumberField(out, "group", request.group);
        if (sent.message.HasScene())
            AppendNumberField(out, "scene", request.scene);
        if (sent.message.HasDetails())
        {
            AppendNumberField(out, "level", request.level);
            AppendNumberField(out, "time_ms", request.timeMs);
        }
        out += ",\"hex\":\"";
        for (std::size_t i = 0; i < sent.length; ++i)
            fmt::format_to(std::back_inserter(out), "{:02x}", sent.frame[i]);
        out += '"';
    }

    void operator()(const GatewaySent& sent) const
    {
        AppendJsonText(out, sent.command.GetName());
        AppendParams(out, ParamsOf(sent.command));
    }

    void operator()(const EventFired& fired) const { AppendNumber(out, fired.event); }

    void operator()(const VariableChanged& variable) const
    {
        AppendNumber(out, variable.id);
        if (variable.change == Change::Add)
            AppendTextField(out, "name", variable.name);
        if (variable.change != Change::Remove)
            AppendTextField(out, "value", variable.value);
        AppendTextField(out, "op", ChangeName(variable.change));
    }

    void operator()(const BindingChanged& binding) const
    {
        AppendNumber(out, binding.id);
        AppendTextField(out, "name", binding.name);
        AppendTextField(out, "class", binding.cls);
        AppendTextField(out, "op", ChangeName(binding.change));
    }

    void operator()(const BoundCallSent& sent) const
    {
        AppendJsonText(out, sent.message.GetName());
        AppendNumberField(out, "binding", sent.binding);
        const auto& params = ParamsOf(sent.message);
        if (!params.empty())
            AppendParams(out, params);
    }

    void operator()(const BoundCallResult& result) const { AppendNumber(out, result.result); }

    void operator()(const ConditionResult& condition) const
    {
        AppendJsonText(out, condition.name);
        out += condition.result ? ",\"result\":true" : ",\"result\":false";
    }

    void operator()(const UiData& ui) const { AppendJsonText(out, ui.data.ToText()); }

    void operator()(const OwnerCall& call) const
    {
        AppendJsonText(out, call.operation);
        out += ",\"args\":[";
        const char* separator = "";
        for (const CallArgument& argument : call.arguments)
        {
            out += separator;
            if (const auto* number = std::get_if<std::int64_t>(&argument))
                AppendNumber(out, *number);
            else if (const auto* flag = std::get_if<bool>(&argument))
                out += *flag ? "true" : "false";
            else
                AppendJsonText(out, std::get<std::string>(argument));
            separator = ",";
        }
        out += ']';
    }

    void operator()(const CommandUnhandled& command) const { AppendJsonText(out, command.name); }

    void operator()(const LogRecord& record) const
    {
        AppendJsonText(out, record.text);
        AppendTextField(out, "level", LevelName(record.level));
        AppendTextField(out, "file", record.file);
        AppendNumberField(out, "line", record.line);
        AppendTextField(out, "function", record.function);
    }

    void operator()(const AssertRecord& record) const
    {
        AppendJsonText(out, record.file);
        AppendNumberField(out, "line", record.line);
    }

    void operator()(const DriverFault& fault) const { AppendJsonText(out, fault.what); }
};

constexpr const char* KINDS[] = {
    "mib",       "zcl",     "gateway",    "event",
    "variable",  "binding", "bound_call", "bound_call_result",
    "condition", "ui",      "call",       "unhandled",
    "log",       "assert",  "error",
};
static_assert(std::size(KINDS) == std::variant_size_v<Effect>, "one kind for each effect");

constexpr const char* KINDS_OF_ANSWERS[] = {"state", "answer", "house"};
} // namespace

void AppendJsonText(std::string& out, const std::string& text)
{
    out += '"';
    if (IsPlain(text))
        out += text;
    else if (IsUtf8(text))
    {
        for (std::size_t at = 0; at < text.size();)
            AppendEscaped(out, NextCodePoint(text, at));
    }
    else
    {
        for (const char c : text)
            AppendEscaped(out, static_cast<unsigned char>(c));
    }
    out += '"';
}

const char* KindOf(const Effect& effect)
{
    return KINDS[effect.index()];
}

bool IsOutputKind(const std::string& kind)
{
    const auto isIt = [&kind](const char* name)
    {
        return kind == name;
    };
    return std::any_of(std::begin(KINDS), std::end(KINDS), isIt) ||
           std::any_of(std::begin(KINDS_OF_ANSWERS), std::end(KINDS_OF_ANSWERS), isIt);
}

void AppendHead(std::string& out, std::int64_t timeMs, const std::string& driver)
{
    out += "{\"t_ms\":";
    AppendNumber(out, timeMs);
    AppendTextField(out, "driver", driver);
    out += ',';
}

void AppendOutput(std::string& out, const Output& output)
{
    AppendHead(out, output.timeMs, output.driver.Config().name);
    out += '"';
    out += KindOf(output.effect);
    out += "\":";
    std::visit(EffectWriter{out}, output.effect);
    out += '}';
}
} // namespace lighting_host
