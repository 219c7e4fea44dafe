#include "lighting_host/house/InputLines.h"

#include "embedded_host/CallScope.h"
#include "embedded_host/Messages.h"
#include "lighting_common/ParameterNames.h"
#include "lighting_host/house/PlainInput.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/text/JsonWriter.h"
#include "nxshared/NxMIBPacket.h"

#include <cmath>

#include <fmt/format.h>

namespace lighting_host
{
using namespace embedded_host;

namespace
{
// The clock counts nanoseconds in 64 bits: it must not be moved past about 285 years.
constexpr std::int64_t LAST_MS = 9000000000000;

// A number as its shortest text. One beyond 64 bits is written in full: read as an integer it must
// not become its first digit, as "1e+20" would.
std::string NumberText(const Json& value)
{
    constexpr double BEYOND_64_BITS = 9e18;
    if (value.is_number_float() && std::fabs(value.get<double>()) > BEYOND_64_BITS)
        return fmt::format("{:.0f}", value.get<double>());
    return value.dump();
}

std::string ParamText(const Json& value, const std::string& name)
{
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_boolean())
        return value.get<bool>() ? "true" : "false";
    if (value.is_number())
        return NumberText(value);
    if (!HugeInteger(value).empty())
        return HugeInteger(value);
    throw InputError(
        fmt::format("the parameter \"{}\" is neither a text, a number nor a boolean", name));
}

const std::string& ParamType(const Json& value)
{
    if (value.is_boolean())
        return names::type::BOOL;
    return value.is_string() ? names::type::STRING : names::type::INT;
}

template <class Message>
void ReadParams(Fields& fields, Message& message)
{
    if (!fields.Has("params"))
        return;
    const Json& params = fields.Get("params");
    if (!params.is_object())
        throw InputError("\"params\" is no JSON object");
    for (const auto& param : params.items())
        message.Append(
            {param.key(), ParamType(param.value()), ParamText(param.value(), param.key())});
}

// A MIB packet whose parameters stand in "params".
NxMIBPacket ReadPacket(Fields& fields, NxMIB::Type type, const std::string& mib)
{
    NxMIBPacket packet(type, mib);
    if (!fields.Has("params"))
        return packet;
    const Json& params = fields.Get("params");
    if (!params.is_array())
        throw InputError("\"params\" is no JSON array");
    for (const Json& param : params)
        packet.AddParam(ToText(param, "params"));
    return packet;
}
} // namespace

// The inputs that hold for every driver: each reads its fields, refuses what it does not know, and
// then acts.
struct InputLines::Inputs
{
    using Handler = void (*)(InputLines&, nx::DriverHost&, Fields&);

    struct Entry
    {
        const char* word;
        Handler handle;
    };
    static const Entry TABLE[11];

    static void Command(InputLines& lines, nx::DriverHost& driver, Fields& fields)
    {
        CmdMessage message(fields.Text("command"));
        ReadParams(fields, message);
        fields.Finish();
        Tell(lines, driver, message);
    }

    static void Tell(InputLines& lines, nx::DriverHost& driver, const CmdMessage& message)
    {
        const std::string refused = driver.Command(message, CmdDispatcher::CONTROLLER);
        if (!refused.empty())
            lines.WriteError(refused);
    }

    static void Condition(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        CondMessage message(fields.Text("condition"));
        ReadParams(fields, message);
        fields.Finish();
        driver.Condition(message);
    }

    static void Trap(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        const NxMIBPacket trap = ReadPacket(fields, NxMIB::Trap, fields.Text("trap"));
        fields.Finish();
        driver.Trap(trap);
    }

    static void Reply(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        const NxMIBPacket reply = ReadPacket(fields, NxMIB::Reply, fields.Text("reply"));
        if (!fields.Has("request"))
        {
            fields.Finish();
            driver.Reply(reply);
            return;
        }
        const Json& given = fields.Get("request");
        if (given.is_null())
        {
            fields.Finish();
            driver.ReplyTo(reply, nullptr);
            return;
        }
        Fields request(given, "\"request\"");
        const auto type = static_cast<NxMIB::Type>(request.Integer("type", INT32_MIN, INT32_MAX));
        const NxMIBPacket packet = ReadPacket(request, type, reply.GetMib());
        request.Finish();
        fields.Finish();
        driver.ReplyTo(reply, &packet);
    }

    static void Online(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        const bool online = fields.Boolean("online");
        fields.Finish();
        driver.Online(online);
    }

    static void Binding(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        const auto binding = static_cast<unsigned>(fields.Integer("binding", 0, UINT32_MAX));
        const std::string cls = fields.Text("class");
        const bool bound = fields.Boolean("bound");
        fields.Finish();
        driver.BindingMade(binding, cls, bound);
    }

    static void BoundCall(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        Fields call(fields.Get("bound_call"), "\"bound_call\"");
        const auto binding = static_cast<unsigned>(call.Integer("binding", 0, UINT32_MAX));
        const BindMessage message(call.Text("kind"), call.TextOr("name", std::string()),
                                  call.TextOr("xml", std::string()));
        call.Finish();
        fields.Finish();
        driver.BoundCall(binding, message);
    }

    // Every fact is looked at before the first one is set.
    static void Set(InputLines& lines, nx::DriverHost& driver, Fields& fields)
    {
        const Json& facts = fields.Get("set");
        if (!facts.is_object())
            throw InputError("\"set\" is no JSON object");
        fields.Finish();
        DriverAdapter* adapter = lines.m_session.AdapterOf(driver);
        std::vector<std::pair<std::string, DriverAdapter::Action>> actions;
        for (const auto& fact : facts.items())
        {
            auto action = adapter ? adapter->PrepareFact(fact.key(), fact.value()) : nullptr;
            if (!action)
                throw InputError(fmt::format("a driver of type \"{}\" has no fact \"{}\"",
                                             driver.Config().type, fact.key()));
            actions.emplace_back(fact.key(), std::move(action));
        }
        for (const auto& action : actions)
            driver.CallDriver("the fact", action.first.c_str(), action.second);
    }

    static void Persist(InputLines& lines, nx::DriverHost& driver, Fields& fields)
    {
        fields.RequireTrue("persist");
        fields.Finish();
        const std::string state = driver.Persist();
        AppendHead(lines.m_line, driver.GetHouse().GetClock().Now().count(), driver.Config().name);
        lines.m_line += "\"state\":";
        AppendJsonText(lines.m_line, state);
        lines.m_line += '}';
        lines.Flush("state");
    }

    static void Restart(InputLines&, nx::DriverHost& driver, Fields& fields)
    {
        fields.RequireTrue("restart");
        fields.Finish();
        driver.Restart();
    }

    static void Query(InputLines& lines, nx::DriverHost& driver, Fields& fields)
    {
        const std::string word = fields.Text("query");
        DriverAdapter* adapter = lines.m_session.AdapterOf(driver);
        Json value;
        // Not by CallDriver: what is wrong with a query is an error of the input.
        const embedded_host::CallScope call(driver.Config().name.c_str(), "the query",
                                            word.c_str());
        if (!adapter || !adapter->Query(word, fields, value))
            throw InputError(fmt::format("a driver of type \"{}\" has no query \"{}\"",
                                         driver.Config().type, word));
        fields.Finish();
        AppendHead(lines.m_line, driver.GetHouse().GetClock().Now().count(), driver.Config().name);
        lines.m_line += "\"answer\":";
        AppendJsonText(lines.m_line, word);
        lines.m_line += ",\"value\":";
        AppendJson(lines.m_line, value);
        lines.m_line += '}';
        lines.Flush("answer");
    }

    // An input of the driver's own type.
    static void OfType(InputLines& lines, nx::DriverHost& driver, const std::string& word,
                       Fields& fields)
    {
        DriverAdapter* adapter = lines.m_session.AdapterOf(driver);
        const auto action = adapter ? adapter->PrepareInput(word, fields) : nullptr;
        if (!action)
            throw InputError(fmt::format("a driver of type \"{}\" has no input \"{}\"",
                                         driver.Config().type, word));
        fields.Finish();
        driver.CallDriver("the input", word.c_str(), action);
    }

    static void HouseList(InputLines& lines, Fields& fields)
    {
        if (fields.Text("house") != "list")
            throw InputError("\"house\" can only be \"list\"");
        fields.Finish();
        House& house = lines.m_session.House();
        Json list = Json::array();
        for (const auto& driver : house.Drivers())
            list.push_back({{"name", driver->Config().name},
                            {"type", driver->Config().type},
                            {"id", driver->Config().id}});
        lines.m_line += fmt::format("{{\"t_ms\":{},\"house\":", house.GetClock().Now().count());
        AppendJson(lines.m_line, list);
        lines.m_line += '}';
        lines.Flush("house");
    }

    static std::int64_t LongestAdvanceMs(const House& house)
    {
        return LAST_MS - house.GetClock().Now().count();
    }

    static void AdvanceMs(InputLines& lines, Fields& fields)
    {
        House& house = lines.m_session.House();
        const auto ms = fields.Integer("advance_ms", 0, LongestAdvanceMs(house));
        fields.Finish();
        house.Advance(std::chrono::milliseconds(ms));
    }

    static nx::DriverHost& RunningDriver(InputLines& lines, const std::string& name)
    {
        nx::DriverHost* const driver = lines.m_session.House().Find(name);
        if (!driver)
            throw InputError(fmt::format("there is no driver named \"{}\"", name));
        if (!driver->Driver())
            throw InputError(fmt::format("the driver \"{}\" does not run", name));
        lines.m_driver = driver;
        return *driver;
    }

    // False when the line is none of the plain ones; nothing has happened then.
    static bool Plain(InputLines& lines, const std::string& line)
    {
        PlainInput input;
        if (!ReadPlainInput(line, input))
            return false;
        if (input.kind == PlainInput::Kind::AdvanceMs)
            return PlainAdvance(lines.m_session.House(), input.advanceMs);
        nx::DriverHost& driver = RunningDriver(lines, std::string(input.driver));
        if (input.kind == PlainInput::Kind::Command)
            PlainCommand(lines, driver, input);
        else if (input.kind == PlainInput::Kind::Trap)
            driver.Trap(PlainPacket(NxMIB::Trap, input));
        else
            driver.Reply(PlainPacket(NxMIB::Reply, input));
        return true;
    }

    // A time out of range is refused in words elsewhere.
    static bool PlainAdvance(House& house, std::int64_t ms)
    {
        if (ms < 0 || ms > LongestAdvanceMs(house))
            return false;
        house.Advance(std::chrono::milliseconds(ms));
        return true;
    }

    static void PlainCommand(InputLines& lines, nx::DriverHost& driver, const PlainInput& input)
    {
        CmdMessage message{std::string(input.subject)};
        for (const auto& [name, value] : input.named)
            message.Append({std::string(name),
                            value.isNumber ? names::type::INT : names::type::STRING,
                            std::string(value.text)});
        Tell(lines, driver, message);
    }

    static NxMIBPacket PlainPacket(NxMIB::Type type, const PlainInput& input)
    {
        NxMIBPacket packet(type, std::string(input.subject));
        for (const std::string_view param : input.params)
            packet.AddParam(std::string(param));
        return packet;
    }
};

const InputLines::Inputs::Entry InputLines::Inputs::TABLE[11] = {
    {"command", &Inputs::Command}, {"condition", &Inputs::Condition},
    {"trap", &Inputs::Trap},       {"reply", &Inputs::Reply},
    {"online", &Inputs::Online},   {"bound_call", &Inputs::BoundCall},
    {"binding", &Inputs::Binding}, {"set", &Inputs::Set},
    {"persist", &Inputs::Persist}, {"restart", &Inputs::Restart},
    {"query", &Inputs::Query},
};

InputLines::InputLines(Session& session, Writer writer)
    : m_session(session), m_writer(std::move(writer))
{
}

bool InputLines::Handle(const std::string& line, unsigned long number)
{
    m_number = number;
    m_refused = false;
    m_driver = nullptr;
    try
    {
        Dispatch(line);
    }
    catch (const InputError& error)
    {
        WriteError(error.Message());
    }
    catch (const std::exception& error)
    {
        WriteError(error.what());
    }
    return !m_refused;
}

void InputLines::Dispatch(const std::string& line)
{
    if (Inputs::Plain(*this, line))
        return;
    const Json input = ParseJson(line);
    Fields fields(input, "the input");
    if (fields.Has("advance_ms"))
        return Inputs::AdvanceMs(*this, fields);
    if (fields.Has("house"))
        return Inputs::HouseList(*this, fields);
    nx::DriverHost& driver = Inputs::RunningDriver(*this, fields.Text("driver"));
    for (const Inputs::Entry& entry : Inputs::TABLE)
    {
        if (fields.Has(entry.word))
            return entry.handle(*this, driver, fields);
    }
    for (const auto& field : input.items())
    {
        if (field.key() != "driver")
            return Inputs::OfType(*this, driver, field.key(), fields);
    }
    throw InputError("the input says nothing but a driver's name");
}

void InputLines::WriteFault(const nx::DriverHost& driver, const std::string& what)
{
    WriteError(fmt::format("\"{}\": {}", driver.Config().name, what));
}

void InputLines::WriteError(const std::string& what)
{
    m_refused = true;
    m_line = "{\"error\":";
    AppendJsonText(m_line, what);
    m_line += fmt::format(",\"line\":{}}}", m_number);
    Flush("error");
}

void InputLines::Flush(const char* kind)
{
    m_writer(kind, m_line, m_driver);
    m_line.clear();
}

bool IsSkipped(const std::string& line)
{
    return line.empty() || line == "\r" || line[0] == '#';
}

bool IsJson(const std::string& line)
{
    PlainInput plain;
    if (ReadPlainInput(line, plain))
        return true;
    try
    {
        ParseJson(line);
        return true;
    }
    catch (const InputError&)
    {
        return false;
    }
}
} // namespace lighting_host
