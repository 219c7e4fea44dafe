#pragma once

#include "nxshared/ICmdMessage.h"

#include <string>

#include <boost/shared_ptr.hpp>

// A message for the keypad on its way through the transmit queue: the command that the gateway
// gets, and beside it the number under which the keypad will answer. The number travels in the
// queue's text and never leaves with the command, so that the driver knows which of its messages is
// sent.
//
// Passes every operation of ICmdMessage on to the command.
class KeypadMessage : public ICmdMessage
{
public:
    // `command` is the host's own message, never null. `number` is 0 for a message that awaits no
    // answer by number.
    KeypadMessage(boost::shared_ptr<ICmdMessage> command, unsigned number);

    const ICmdMessage& Command() const { return *m_command; }
    unsigned Number() const { return m_number; }

    // Whether it was read from the queue's text; false for one that is sent at once.
    bool WasQueued() const { return m_wasQueued; }

    // IMessage and ICmdMessage.
    const std::string& GetName() const override;
    bool HasParam(const std::string& name) const override;
    const std::string& GetParamString(const std::string& name) const override;
    int GetParamInt(const std::string& name) const override;
    unsigned GetParamUInt(const std::string& name) const override;
    bool GetParamBool(const std::string& name) const override;
    void AddParam(const std::string& name, const std::string& type, long long value) override;
    void AddParam(const std::string& name, const std::string& type,
                  const std::string& value) override;

    // The command's element inside one that carries the number, and back.
    bool FromXml(const boost::shared_ptr<nx::XmlNode>& queued) override;
    std::string ToXml() const override;

private:
    boost::shared_ptr<ICmdMessage> m_command;
    unsigned m_number;
    bool m_wasQueued = false;
};
