#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/IMessage.h"

// A condition that the controller wants tested: its name ("ON") and its parameters.
class NX_HOST_API ICondMessage : public IMessage
{
};
