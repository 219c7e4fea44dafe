#pragma once

#include "nxshared/IBindMessage.h"
#include "nxshared/ICmdMessage.h"
#include "nxshared/ICmdReturn.h"
#include "nxshared/ICondMessage.h"

#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
// One parameter of a message, in the order in which it was added.
struct MessageParam
{
    std::string name;
    std::string type;
    std::string value;
};

// What the host's messages have in common, for each of the three kinds of message. A parameter
// given twice is kept twice; the first one is read.
template <class Interface>
class ParamMessage : public Interface
{
public:
    const std::string& GetName() const override { return m_name; }
    bool HasParam(const std::string& name) const override { return Find(name) != nullptr; }
    const std::string& GetParamString(const std::string& name) const override;
    int GetParamInt(const std::string& name) const override;
    unsigned GetParamUInt(const std::string& name) const override;
    bool GetParamBool(const std::string& name) const override;

    const std::vector<MessageParam>& Params() const { return m_params; }
    void Append(MessageParam param) { m_params.push_back(std::move(param)); }

protected:
    const MessageParam* Find(const std::string& name) const;

    std::string m_name;
    std::vector<MessageParam> m_params;
};

// A command.
class CmdMessage : public ParamMessage<ICmdMessage>
{
public:
    explicit CmdMessage(std::string name) { m_name = std::move(name); }

    void AddParam(const std::string& name, const std::string& type, long long value) override;
    void AddParam(const std::string& name, const std::string& type,
                  const std::string& value) override;
    bool FromXml(const boost::shared_ptr<nx::XmlNode>& command) override;
    std::string ToXml() const override;
};

// A condition to be tested.
class CondMessage : public ParamMessage<ICondMessage>
{
public:
    explicit CondMessage(std::string name) { m_name = std::move(name); }
};

// A call between bound drivers.
class BindMessage : public ParamMessage<IBindMessage>
{
public:
    BindMessage() = default;
    BindMessage(std::string kind, std::string name, std::string xml)
        : m_kind(std::move(kind)), m_xml(std::move(xml))
    {
        m_name = std::move(name);
    }

    const std::string& GetKind() const override { return m_kind; }
    const std::string& GetXml() const override { return m_xml; }
    void SetName(const std::string& name) override { m_name = name; }
    void AddParam(const std::string& name, const std::string& type, long long value) override;
    void AddParam(const std::string& name, const std::string& type,
                  const std::string& value) override;

private:
    std::string m_kind;
    std::string m_xml;
};

// Remembers the first reason for which a command was refused.
class CmdReturn : public ICmdReturn
{
public:
    void Refuse(const std::string& reason) override
    {
        if (m_reason.empty())
            m_reason = reason.empty() ? "the driver refused the command" : reason;
    }

    // Empty when the command was not refused.
    const std::string& Reason() const { return m_reason; }

private:
    std::string m_reason;
};

// The message's parameters, in order; none for a message that the host did not make.
const std::vector<MessageParam>& ParamsOf(const ICmdMessage& message);
const std::vector<MessageParam>& ParamsOf(const IBindMessage& message);

// The leading decimal integer of a text: blanks and one sign may stand before it; 0 when there is
// none; beyond 64 bits the nearest end of the range.
long long LeadingInteger(const std::string& text);
// The same of a text of that size with a NUL behind it.
long long LeadingInteger(const char* text, std::size_t size);

// Whether a text begins with T, t or 1.
bool LeadingTruth(const std::string& text);
} // namespace embedded_host
