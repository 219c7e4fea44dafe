#pragma once

#include "nxshared/HostApi.h"

#include <string>

namespace nx
{
// The controller's variables of devices: numbered, named texts that users see and program with.
class NX_HOST_API IVariableManager
{
public:
    // The host's type codes (wire values of the host, do not change): a number, and a number that
    // programming may read only.
    static constexpr unsigned TYPE_NUMBER = 2;
    static constexpr unsigned TYPE_READ_ONLY_NUMBER = 4;

    virtual ~IVariableManager() = default;

    // Adds variable `id` of the device. `type` is one of the type codes above; the last three are
    // the host's flags (0, 1, 0). 0 on success; otherwise nothing changed: the device is unknown or
    // has that variable already.
    virtual int AddVariable(unsigned deviceId, unsigned id, const std::string& name, unsigned type,
                            const std::string& value, int hidden, int readOnly, int reserved) = 0;

    // Sets variable `id` of the device. `source` is the device that does it, `notify` the host's
    // flag (1). 0 on success; otherwise the variable is unknown and nothing changed. A value equal
    // to the present one is reported all the same.
    virtual int SetVariable(unsigned deviceId, unsigned id, const std::string& value,
                            unsigned source, int notify) = 0;

    // Removes variable `id` of the device. 0 on success, otherwise it is unknown.
    virtual int RemoveVariable(unsigned deviceId, unsigned id) = 0;
};
} // namespace nx
