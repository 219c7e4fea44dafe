#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/IMessage.h"

#include <string>

// A message between two drivers that are bound to each other.
class NX_HOST_API IBindMessage : public IMessage
{
public:
    // What the message carries: "PROTOCOL_COMMAND" for a command as XML, else the caller's word.
    virtual const std::string& GetKind() const = 0;

    // The carried command as XML, for a kind that carries one; else empty.
    virtual const std::string& GetXml() const = 0;

    // Names the message: the bound command, for instance "DO_PUSH".
    virtual void SetName(const std::string& name) = 0;

    // Appends a parameter. `type` is a type name of the controller, "INT" for a number.
    virtual void AddParam(const std::string& name, const std::string& type, long long value) = 0;

    // Appends a parameter. `type` is a type name of the controller, "STRING" for a text.
    virtual void AddParam(const std::string& name, const std::string& type,
                          const std::string& value) = 0;
};
