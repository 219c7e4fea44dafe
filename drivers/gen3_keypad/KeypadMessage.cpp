#include "drivers/gen3_keypad/KeypadMessage.h"

#include "nxshared/XmlDocument.h"

#include <utility>

namespace
{
const std::string QUEUED = "queued";
const std::string NUMBER = "number";
} // namespace

KeypadMessage::KeypadMessage(boost::shared_ptr<ICmdMessage> command, unsigned number)
    : m_command(std::move(command)), m_number(number)
{
}

const std::string& KeypadMessage::GetName() const
{
    return m_command->GetName();
}

bool KeypadMessage::HasParam(const std::string& name) const
{
    return m_command->HasParam(name);
}

const std::string& KeypadMessage::GetParamString(const std::string& name) const
{
    return m_command->GetParamString(name);
}

int KeypadMessage::GetParamInt(const std::string& name) const
{
    return m_command->GetParamInt(name);
}

unsigned KeypadMessage::GetParamUInt(const std::string& name) const
{
    return m_command->GetParamUInt(name);
}

bool KeypadMessage::GetParamBool(const std::string& name) const
{
    return m_command->GetParamBool(name);
}

void KeypadMessage::AddParam(const std::string& name, const std::string& type, long long value)
{
    m_command->AddParam(name, type, value);
}

void KeypadMessage::AddParam(const std::string& name, const std::string& type,
                             const std::string& value)
{
    m_command->AddParam(name, type, value);
}

bool KeypadMessage::FromXml(const boost::shared_ptr<nx::XmlNode>& queued)
{
    if (!queued || queued->GetName() != QUEUED || !m_command->FromXml(queued->GetChildAt(0)))
        return false;
    m_number = static_cast<unsigned>(nx::ToInt(queued->GetAttribute(NUMBER)));
    m_wasQueued = true;
    return true;
}

std::string KeypadMessage::ToXml() const
{
    return "<" + QUEUED + " " + NUMBER + "=\"" + std::to_string(m_number) + "\">" +
           m_command->ToXml() + "</" + QUEUED + ">";
}
