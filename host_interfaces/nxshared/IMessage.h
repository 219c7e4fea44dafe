#pragma once

#include "nxshared/HostApi.h"

#include <string>

// What every message of the controller has: a name and named text parameters.
//
// A parameter that is missing reads as the empty text, 0 or false. A number is the leading decimal
// integer of the text (blanks and one sign may stand before it; 0 when there is none), read as 64
// bits, then cut to the type asked for. A boolean is true when the text begins with T, t or 1.
class NX_HOST_API IMessage
{
public:
    virtual ~IMessage() = default;

    // The message's name, for instance "PUSH_SCENE". Valid as long as the message.
    virtual const std::string& GetName() const = 0;

    // Whether there is a parameter of that name, with or without a text.
    virtual bool HasParam(const std::string& name) const = 0;

    // The parameter's text; valid as long as the message is not changed.
    virtual const std::string& GetParamString(const std::string& name) const = 0;

    // The parameter as a number, cut to 32 bits.
    virtual int GetParamInt(const std::string& name) const = 0;

    // The parameter as a number, cut to 32 bits and taken as unsigned.
    virtual unsigned GetParamUInt(const std::string& name) const = 0;

    // The parameter as a boolean.
    virtual bool GetParamBool(const std::string& name) const = 0;
};
