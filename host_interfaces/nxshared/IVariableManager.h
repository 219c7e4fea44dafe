#pragma once

#include "nxshared/HostApi.h"

#include <string>

namespace nx
{
// The variables of devices in the controller. Each has a number, a name and a text; users see them.
class NX_HOST_API IVariableManager
{
public:
    // Types of a variable (wire values of the host, do not change): a number, and a number that
    // users' programs can read but not set.
    static constexpr unsigned TYPE_NUMBER = 2;
    static constexpr unsigned TYPE_READ_ONLY_NUMBER = 4;

    virtual ~IVariableManager() = default;

    // Adds variable `id` to the device. `type` is one of the types above. Drivers pass 0, 1 and 0
    // as the last three. Returns 0 on success. Any other result: the device is unknown or already
    // has that variable, and nothing changed.
    virtual int AddVariable(unsigned deviceId, unsigned id, const std::string& name, unsigned type,
                            const std::string& value, int hidden, int readOnly, int reserved) = 0;

    // Sets variable `id` of the device. `source` is the number of the device that sets it. Drivers
    // pass 1 as `notify`. Returns 0 on success. Any other result: the variable is unknown, and
    // nothing changed. Setting the value that it already has is reported too.
    virtual int SetVariable(unsigned deviceId, unsigned id, const std::string& value,
                            unsigned source, int notify) = 0;

    // Removes variable `id` of the device. Returns 0 on success, else the variable is unknown.
    virtual int RemoveVariable(unsigned deviceId, unsigned id) = 0;
};
} // namespace nx
