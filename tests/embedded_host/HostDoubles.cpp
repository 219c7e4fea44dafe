#include "HostDoubles.h"

#include <log4cplus/loglevel.h>

namespace host_test
{
using namespace embedded_host;

namespace
{
const char* const CHANGES[] = {"add", "set", "remove"};

template <class Message>
std::string ParamsInWords(const Message& message)
{
    std::string text;
    for (const MessageParam& param : ParamsOf(message))
        text += " " + param.name + "=" + param.value;
    return text;
}

// Each kind of effect in words.
struct Words
{
    std::string operator()(const MibSent& sent) const { return "mib " + InWords(sent.packet); }
    std::string operator()(const ZclSent& sent) const
    {
        return "zcl of " + std::to_string(sent.length) + " to " + std::to_string(sent.endpoint);
    }
    std::string operator()(const GatewaySent& sent) const
    {
        return "gateway " + sent.command.GetName() + ParamsInWords(sent.command);
    }
    std::string operator()(const EventFired& fired) const
    {
        return "event " + std::to_string(fired.event);
    }
    std::string operator()(const VariableChanged& change) const
    {
        return "variable " + std::to_string(change.id) + " " + change.name + "=" + change.value +
               " " + CHANGES[static_cast<int>(change.change)];
    }
    std::string operator()(const BindingChanged& change) const
    {
        return "binding " + std::to_string(change.id) + " " + change.name + " " + change.cls + " " +
               CHANGES[static_cast<int>(change.change)];
    }
    std::string operator()(const BoundCallSent& sent) const
    {
        return "bound call " + std::to_string(sent.binding) + " " + sent.message.GetName() +
               ParamsInWords(sent.message);
    }
    std::string operator()(const BoundCallResult& result) const
    {
        return "bound call result " + std::to_string(result.result);
    }
    std::string operator()(const ConditionResult& result) const
    {
        return "condition " + result.name + (result.result ? " true" : " false");
    }
    std::string operator()(const UiData& data) const { return "ui " + data.data.ToText(); }
    std::string operator()(const OwnerCall& call) const
    {
        std::string text = call.operation;
        for (const CallArgument& argument : call.arguments)
            text += (text.empty() ? "" : " ") + std::get<std::string>(argument);
        return text;
    }
    std::string operator()(const CommandUnhandled& unhandled) const
    {
        return "unhandled " + unhandled.name;
    }
    std::string operator()(const LogRecord& record) const
    {
        return "log " + log4cplus::getLogLevelManager().toString(record.level) + " " + record.text +
               " at " + record.file + ":" + std::to_string(record.line) + " in " + record.function;
    }
    std::string operator()(const AssertRecord& record) const
    {
        return std::string("assert ") + record.file + ":" + std::to_string(record.line);
    }
    std::string operator()(const DriverFault& fault) const { return "fault " + fault.what; }
};
} // namespace

std::string InWords(const NxMIBPacket& packet)
{
    return std::to_string(packet.GetType()) + " " + packet.ProperToString();
}

void RecordingSink::Write(const Output& output)
{
    m_seen.push_back(std::to_string(output.timeMs) + " " + output.driver.Config().name + " " +
                     std::visit(Words(), output.effect));
}

void TestDriver::ReportReplies(const std::string& mib)
{
    GetMibDispatcher().RegisterResponse(mib,
                                        [this](const NxMIBPacket& reply, const NxMIBPacket* request)
                                        {
                                            Say("reply " + reply.ProperToString() + " to " +
                                                (request ? InWords(*request) : "nothing"));
                                        });
}

void TestDriver::SendMib(const std::string& mib, const Strings& params)
{
    const boost::shared_ptr<NxMIBPacket> packet(new NxMIBPacket(NxMIB::Invoke, mib));
    for (const std::string& param : params)
        packet->AddParam(param);
    SendMibPacket(packet, QUEUE_RULE_DEFAULT);
}

void TestDriver::Say(const std::string& what)
{
    Host().ReportCall("", {what});
}

CmdMessage Command(const std::string& name, const Strings& params)
{
    CmdMessage message(name);
    for (std::size_t i = 0; i + 1 < params.size(); i += 2)
        message.Append({params[i], "", params[i + 1]});
    return message;
}

boost::shared_ptr<nx::XmlNode> Node(const std::string& name, const std::string& text)
{
    const auto node = nx::CreateXmlNode();
    node->Initialize(name, text);
    return node;
}

nx::DriverHost& HouseTest::Add(const std::string& name, unsigned id,
                               std::function<void(TestDriver&)> construct)
{
    DriverConfig config;
    config.name = name;
    config.type = "test";
    config.id = id;
    config.create = [construct](IInstanceManager& instances)
    {
        auto driver = std::make_unique<TestDriver>(instances);
        if (construct)
            construct(*driver);
        return driver.release();
    };
    return *house.Add(std::move(config));
}

TestDriver& HouseTest::Made(const std::string& name, unsigned id,
                            std::function<void(TestDriver&)> construct)
{
    nx::DriverHost& host = Add(name, id, std::move(construct));
    host.Start(nullptr);
    return DriverOf(host);
}
} // namespace host_test
