#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/IMessage.h"

#include <string>

#include <boost/shared_ptr.hpp>

namespace nx
{
class XmlNode;
}

// A command: from the controller to a driver, or from a driver to a group of loads or a gateway.
//
// As XML: <command name="X"><param name="N" type="INT">5</param></command>.
class NX_HOST_API ICmdMessage : public IMessage
{
public:
    // Appends a parameter. `type` is a type name of the controller, "INT" for a number.
    virtual void AddParam(const std::string& name, const std::string& type, long long value) = 0;

    // Appends a parameter. `type` is a type name of the controller, "STRING" for a text.
    virtual void AddParam(const std::string& name, const std::string& type,
                          const std::string& value) = 0;

    // Takes name and parameters from a "command" element and returns true. Any other element, or a
    // null node, returns false and leaves the message untouched.
    virtual bool FromXml(const boost::shared_ptr<nx::XmlNode>& command) = 0;

    // The message as one compact "command" element.
    virtual std::string ToXml() const = 0;
};
