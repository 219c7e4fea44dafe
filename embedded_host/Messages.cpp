#include "embedded_host/Messages.h"

#include "nxshared/XmlDocument.h"

#include <charconv>
#include <cstdlib>

#include <fmt/format.h>

namespace embedded_host
{
namespace
{
const std::string NO_VALUE;
const std::vector<MessageParam> NO_PARAMS;
const std::string COMMAND = "command";
const std::string PARAM = "param";
const std::string NAME = "name";
const std::string TYPE = "type";
} // namespace

long long LeadingInteger(const std::string& text)
{
    return LeadingInteger(text.c_str(), text.size());
}

long long LeadingInteger(const char* text, std::size_t size)
{
    // Nearly every number begins with its digits and fits.
    long long number = 0;
    if (std::from_chars(text, text + size, number).ec == std::errc())
        return number;
    return std::strtoll(text, nullptr, 10);
}

bool LeadingTruth(const std::string& text)
{
    return !text.empty() && (text[0] == 'T' || text[0] == 't' || text[0] == '1');
}

template <class Interface>
const MessageParam* ParamMessage<Interface>::Find(const std::string& name) const
{
    for (const MessageParam& param : m_params)
    {
        if (param.name == name)
            return &param;
    }
    return nullptr;
}

template <class Interface>
const std::string& ParamMessage<Interface>::GetParamString(const std::string& name) const
{
    const MessageParam* param = Find(name);
    return param ? param->value : NO_VALUE;
}

template <class Interface>
int ParamMessage<Interface>::GetParamInt(const std::string& name) const
{
    return static_cast<int>(LeadingInteger(GetParamString(name)));
}

template <class Interface>
unsigned ParamMessage<Interface>::GetParamUInt(const std::string& name) const
{
    return static_cast<unsigned>(LeadingInteger(GetParamString(name)));
}

template <class Interface>
bool ParamMessage<Interface>::GetParamBool(const std::string& name) const
{
    return LeadingTruth(GetParamString(name));
}

template class ParamMessage<ICmdMessage>;
template class ParamMessage<ICondMessage>;
template class ParamMessage<IBindMessage>;

void CmdMessage::AddParam(const std::string& name, const std::string& type, long long value)
{
    Append({name, type, fmt::format("{}", value)});
}

void CmdMessage::AddParam(const std::string& name, const std::string& type,
                          const std::string& value)
{
    Append({name, type, value});
}

bool CmdMessage::FromXml(const boost::shared_ptr<nx::XmlNode>& command)
{
    if (!command || command->GetName() != COMMAND || command->GetAttribute(NAME).empty())
        return false;
    m_name = command->GetAttribute(NAME);
    m_params.clear();
    for (std::size_t i = 0; i < command->GetChildCount(); ++i)
    {
        const auto child = command->GetChildAt(i);
        if (child->GetName() == PARAM)
            Append({child->GetAttribute(NAME), child->GetAttribute(TYPE), child->GetData()});
    }
    return true;
}

std::string CmdMessage::ToXml() const
{
    const auto command = nx::CreateXmlNode();
    command->Initialize(COMMAND, NO_VALUE);
    command->SetAttribute(NAME, m_name);
    for (const MessageParam& param : m_params)
    {
        const auto child = nx::CreateXmlNode();
        child->Initialize(PARAM, param.value);
        child->SetAttribute(NAME, param.name);
        child->SetAttribute(TYPE, param.type);
        command->AddChild(child);
    }
    return command->ToText();
}

void BindMessage::AddParam(const std::string& name, const std::string& type, long long value)
{
    Append({name, type, fmt::format("{}", value)});
}

void BindMessage::AddParam(const std::string& name, const std::string& type,
                           const std::string& value)
{
    Append({name, type, value});
}

const std::vector<MessageParam>& ParamsOf(const ICmdMessage& message)
{
    const auto* own = dynamic_cast<const CmdMessage*>(&message);
    return own ? own->Params() : NO_PARAMS;
}

const std::vector<MessageParam>& ParamsOf(const IBindMessage& message)
{
    const auto* own = dynamic_cast<const BindMessage*>(&message);
    return own ? own->Params() : NO_PARAMS;
}
} // namespace embedded_host
