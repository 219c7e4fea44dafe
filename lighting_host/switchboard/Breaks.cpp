#include "lighting_host/switchboard/Breaks.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/Messages.h"
#include "embedded_host/ZclMessages.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "nxshared/NxMIBPacket.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include <fmt/format.h>
#include <log4cplus/loglevel.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
using Test = std::function<bool(const Output&, const std::string&)>;

const std::map<std::string, int> LEVELS = {
    {"TRACE", log4cplus::TRACE_LOG_LEVEL}, {"DEBUG", log4cplus::DEBUG_LOG_LEVEL},
    {"INFO", log4cplus::INFO_LOG_LEVEL},   {"WARN", log4cplus::WARN_LOG_LEVEL},
    {"ERROR", log4cplus::ERROR_LOG_LEVEL},
};

std::string TextOf(const Output& output)
{
    if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        return fault->what;
    std::string text;
    AppendOutput(text, output);
    return text;
}

Test ReadEvent(Fields& when)
{
    if (when.Get("event").is_null())
        return [](const Output& output, const std::string&)
        {
            return std::holds_alternative<EventFired>(output.effect);
        };
    const long long event = when.Integer("event", 0, UINT32_MAX);
    return [event](const Output& output, const std::string&)
    {
        const auto* fired = std::get_if<EventFired>(&output.effect);
        return fired && fired->event == event;
    };
}

Test ReadLog(Fields& when)
{
    const auto level = LEVELS.find(when.Text("log"));
    if (level == LEVELS.end())
        throw InputError("\"log\" is none of TRACE, DEBUG, INFO, WARN, ERROR");
    return [least = level->second](const Output& output, const std::string&)
    {
        const auto* record = std::get_if<LogRecord>(&output.effect);
        return record && record->level >= least;
    };
}

Test ReadAssert(Fields& when)
{
    when.RequireTrue("assert");
    return [](const Output& output, const std::string&)
    {
        return std::holds_alternative<AssertRecord>(output.effect);
    };
}

Test ReadFault(Fields& when)
{
    when.RequireTrue("fault");
    return [](const Output& output, const std::string&)
    {
        return std::holds_alternative<DriverFault>(output.effect);
    };
}

Test ReadPacket(Fields& when)
{
    return [name = when.Text("packet")](const Output& output, const std::string&)
    {
        if (const auto* mib = std::get_if<MibSent>(&output.effect))
            return mib->packet.GetMib() == name;
        if (const auto* zcl = std::get_if<ZclSent>(&output.effect))
            return zcl->message.Name() == name;
        const auto* gateway = std::get_if<GatewaySent>(&output.effect);
        return gateway && gateway->command.GetName() == name;
    };
}

// What a variable's value is held against.
std::function<bool(const std::string&)> ReadValue(Fields& when)
{
    const auto number = [](const std::string& value)
    {
        return std::strtod(value.c_str(), nullptr);
    };
    if (when.Has("above"))
        return [number, limit = when.Get("above").get<double>()](const std::string& value)
        {
            return number(value) > limit;
        };
    if (when.Has("below"))
        return [number, limit = when.Get("below").get<double>()](const std::string& value)
        {
            return number(value) < limit;
        };
    const Json& is = when.Get("is");
    return [text = is.is_string() ? is.get<std::string>() : is.dump()](const std::string& value)
    {
        return value == text;
    };
}

Test ReadVariable(Fields& when)
{
    const Json& which = when.Get("variable");
    const std::string wanted = which.is_string() ? which.get<std::string>() : which.dump();
    const auto value = ReadValue(when);
    return [wanted, value](const Output& output, const std::string& name)
    {
        const auto* variable = std::get_if<VariableChanged>(&output.effect);
        return variable && variable->change != Change::Remove &&
               (name == wanted || std::to_string(variable->id) == wanted) && value(variable->value);
    };
}

Test ReadText(Fields& when)
{
    const std::string text = when.Text("text");
    if (text.empty())
        throw InputError("\"text\" is empty");
    return [text](const Output& output, const std::string&)
    {
        return TextOf(output).find(text) != std::string::npos;
    };
}

struct Kind
{
    const char* name;
    Test (*read)(Fields&);
};
constexpr Kind KINDS_OF_TESTS[] = {
    {"event", &ReadEvent}, {"log", &ReadLog},       {"assert", &ReadAssert},
    {"fault", &ReadFault}, {"packet", &ReadPacket}, {"variable", &ReadVariable},
    {"text", &ReadText},
};
} // namespace

BreakCondition BreakCondition::Read(Fields& when)
{
    BreakCondition condition;
    for (const Kind& kind : KINDS_OF_TESTS)
    {
        if (!when.Has(kind.name))
            continue;
        condition.m_test = kind.read(when);
        condition.m_driver = when.TextOr("driver", std::string());
        when.Finish();
        return condition;
    }
    throw InputError("\"when\" has none of event, log, assert, fault, packet, variable, text");
}

BreakCondition BreakCondition::Parse(const std::string& when)
{
    const lighting_host::Json object = ParseJson(when);
    Fields fields(object, "\"when\"");
    BreakCondition condition = Read(fields);
    condition.m_json = object.dump();
    return condition;
}

bool BreakCondition::IsMetBy(const Output& output, const std::string& variable) const
{
    return (m_driver.empty() || output.driver.Config().name == m_driver) &&
           m_test(output, variable);
}

std::string BreakCondition::Describe(const Output& output) const
{
    const std::string& driver = output.driver.Config().name;
    if (const auto* fired = std::get_if<EventFired>(&output.effect))
        return fmt::format("{} fires event {}", driver, fired->event);
    if (const auto* record = std::get_if<LogRecord>(&output.effect))
        return fmt::format("{} logs \"{}\"", driver, record->text);
    if (const auto* fault = std::get_if<DriverFault>(&output.effect))
        return fmt::format("{} fails: {}", driver, fault->what);
    if (const auto* variable = std::get_if<VariableChanged>(&output.effect))
        return fmt::format("{} sets {} to \"{}\"", driver, variable->id, variable->value);
    return fmt::format("{} puts out a {}", driver, KindOf(output.effect));
}

Breaks::Breaks(std::function<std::uint64_t()> lastNumber) : m_lastNumber(std::move(lastNumber)) {}

unsigned Breaks::Add(BreakCondition condition)
{
    if (m_breaks.size() >= MOST)
        throw InputError(fmt::format("there are {} breaks already", MOST));
    Break added;
    added.id = ++m_lastId;
    added.condition = std::move(condition);
    m_breaks.push_back(std::move(added));
    return m_lastId;
}

Breaks::Break& Breaks::Find(unsigned id)
{
    const auto found = std::find_if(m_breaks.begin(), m_breaks.end(),
                                    [id](const Break& one) { return one.id == id; });
    if (found == m_breaks.end())
        throw InputError(fmt::format("there is no break {}", id));
    return *found;
}

void Breaks::Enable(unsigned id, bool enabled)
{
    Find(id).enabled = enabled;
}

void Breaks::Remove(unsigned id)
{
    m_breaks.erase(m_breaks.begin() + (&Find(id) - m_breaks.data()));
}

std::optional<Breaks::Met> Breaks::Take()
{
    m_isMet = false;
    std::optional<Met> met;
    met.swap(m_met);
    return met;
}

void Breaks::NoteName(const Output& output)
{
    const auto* variable = std::get_if<VariableChanged>(&output.effect);
    if (variable && variable->change == Change::Add)
        m_variables[{output.driver.Config().name, variable->id}] = variable->name;
}

const std::string& Breaks::NameOfVariable(const Output& output) const
{
    static const std::string NONE;
    const auto* variable = std::get_if<VariableChanged>(&output.effect);
    if (!variable)
        return NONE;
    const auto name = m_variables.find({output.driver.Config().name, variable->id});
    return name == m_variables.end() ? NONE : name->second;
}

void Breaks::OnOutput(const Output& output)
{
    NoteName(output);
    if (!m_on || m_breaks.empty())
        return;
    const std::string& variable = NameOfVariable(output);
    for (Break& one : m_breaks)
    {
        if (!one.enabled || !one.condition.IsMetBy(output, variable))
            continue;
        Met met = {one.id, output.timeMs, m_lastNumber(), output.driver.Config().name,
                   one.condition.Describe(output)};
        if (m_filter && !m_filter(met))
            continue;
        one.metMs = met.timeMs;
        one.metSeq = met.seq;
        if (!m_met)
            m_met = std::move(met);
        m_isMet = true;
    }
}
} // namespace lighting_host
